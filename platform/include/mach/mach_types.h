// mach_types.h: the Mach scalar and port types, as in the platform's 64-bit build.
#pragma once

#include <stdint.h>

typedef int kern_return_t;
typedef unsigned int natural_t;
typedef int integer_t;
typedef natural_t mach_port_t;
typedef mach_port_t host_t;
typedef natural_t mach_msg_type_number_t;
typedef int boolean_t;

typedef integer_t cpu_type_t;
typedef integer_t cpu_subtype_t;
typedef integer_t cpu_threadtype_t;

#define MACH_PORT_NULL ((mach_port_t)0)

#define KERN_SUCCESS 0
#define KERN_INVALID_ARGUMENT 4
#define KERN_FAILURE 5
#define KERN_INVALID_HOST 22

#define CPU_ARCH_ABI64 0x01000000
#define CPU_TYPE_X86 ((cpu_type_t)7)
#define CPU_TYPE_X86_64 (CPU_TYPE_X86 | CPU_ARCH_ABI64)
#define CPU_TYPE_ARM ((cpu_type_t)12)
#define CPU_TYPE_ARM64 (CPU_TYPE_ARM | CPU_ARCH_ABI64)
#define CPU_TYPE_ANY ((cpu_type_t)-1)
#define CPU_SUBTYPE_X86_64_ALL ((cpu_subtype_t)3)
#define CPU_SUBTYPE_ARM64_ALL ((cpu_subtype_t)0)
#define CPU_SUBTYPE_MULTIPLE ((cpu_subtype_t)-1)
#define CPU_THREADTYPE_NONE ((cpu_threadtype_t)0)
#define CPU_THREADTYPE_INTEL_HTT ((cpu_threadtype_t)1)

// host_info.h: the basic host information record, laid out as on the platform (packed to 4 bytes,
// 12 words: max_mem takes two).
#pragma once

#include <mach/mach_types.h>

typedef integer_t* host_info_t;
typedef integer_t host_flavor_t;

#define HOST_BASIC_INFO 1

#pragma pack(push, 4)
struct host_basic_info {
  integer_t max_cpus;     // processors the machine has room for (configured)
  integer_t avail_cpus;   // processors online
  natural_t memory_size;  // physical memory in bytes, at most 2 GB (see max_mem)
  cpu_type_t cpu_type;
  cpu_subtype_t cpu_subtype;
  cpu_threadtype_t cpu_threadtype;
  integer_t physical_cpu;      // cores the process may run on now
  integer_t physical_cpu_max;  // cores the machine has
  integer_t logical_cpu;       // logical processors the process may run on now
  integer_t logical_cpu_max;   // logical processors the machine has
  uint64_t max_mem;            // physical memory in bytes
};
#pragma pack(pop)

typedef struct host_basic_info host_basic_info_data_t;
typedef struct host_basic_info* host_basic_info_t;

#define HOST_BASIC_INFO_COUNT ((mach_msg_type_number_t)(sizeof(host_basic_info_data_t) / sizeof(integer_t)))
#define HOST_BASIC_INFO_OLD_COUNT ((mach_msg_type_number_t)5)

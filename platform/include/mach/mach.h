// mach.h: the Mach host interface the host layer answers: host_info with HOST_BASIC_INFO on the
// port mach_host_self() gives.
#pragma once

#include <mach/host_info.h>
#include <mach/mach_types.h>

#ifdef __cplusplus
extern "C" {
#endif

// The name of the host port (never MACH_PORT_NULL); the same value on every call.
extern __attribute__((visibility("default"))) host_t mach_host_self(void);

// Fills *host_info_out for the flavor (HOST_BASIC_INFO only) and sets *host_info_outCnt to the
// number of words written. A count of HOST_BASIC_INFO_COUNT gets the whole record; a count from
// HOST_BASIC_INFO_OLD_COUNT up gets its first five fields; a smaller count gives KERN_FAILURE.
// KERN_INVALID_HOST for a port that is not the host's; KERN_INVALID_ARGUMENT for another flavor or
// NULL pointers.
extern __attribute__((visibility("default"))) kern_return_t host_info(host_t host, host_flavor_t flavor,
                                                                      host_info_t host_info_out,
                                                                      mach_msg_type_number_t* host_info_outCnt);

#ifdef __cplusplus
}
#endif

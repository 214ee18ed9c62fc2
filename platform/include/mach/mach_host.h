// mach_host.h: host_info and mach_host_self, as mach.h declares them.
#pragma once

#include <mach/mach.h>

#pragma once

// Names of Mach's ports and results, for systems that do not have <mach/mach.h>.

using mach_port_t = unsigned int;
using kern_return_t = int;

#define MACH_PORT_NULL 0
#define KERN_SUCCESS 0
#define KERN_INVALID_NAME 15

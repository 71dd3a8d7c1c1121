#pragma once

// Types and constants of <mach/mach.h> for systems without that header.

using mach_port_t = unsigned int;
using kern_return_t = int;

#define MACH_PORT_NULL 0
#define KERN_SUCCESS 0
#define KERN_INVALID_NAME 15

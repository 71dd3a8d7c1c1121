#pragma once

// Declares the parts of I/O Kit that platform/macos uses, for builds without the framework's
// headers. Source: developer.apple.com/documentation/iokit.

#include <CoreFoundation/CoreFoundation.h>
#include <mach/mach.h>

extern "C" {

typedef mach_port_t io_object_t;
typedef io_object_t io_iterator_t;
typedef io_object_t io_service_t;
typedef io_object_t io_registry_entry_t;
typedef UInt32 IOOptionBits;
typedef char io_name_t[128];
typedef struct IONotificationPort* IONotificationPortRef;
typedef void (*IOServiceMatchingCallback)(void* context, io_iterator_t iterator);

#define IO_OBJECT_NULL ((io_object_t)0)

extern const mach_port_t kIOMasterPortDefault;

kern_return_t IOMasterPort(mach_port_t bootstrapPort, mach_port_t* masterPort);
CFMutableDictionaryRef IOServiceMatching(const char* name);

// Consumes one reference to the dictionary.
kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, CFDictionaryRef matching,
                                           io_iterator_t* existing);

io_object_t IOIteratorNext(io_iterator_t iterator);
kern_return_t IOObjectRelease(io_object_t object);
CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef allocator, IOOptionBits options);

IONotificationPortRef IONotificationPortCreate(mach_port_t masterPort);
void IONotificationPortDestroy(IONotificationPortRef port);
CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port);

// Consumes one reference to the dictionary, even on failure.
kern_return_t IOServiceAddMatchingNotification(IONotificationPortRef port, const io_name_t kind,
                                               CFDictionaryRef matching,
                                               IOServiceMatchingCallback callback, void* context,
                                               io_iterator_t* notification);

}  // extern "C"

#pragma once

// What platform/macos calls of I/O Kit, declared anew for builds without the framework's own
// headers. Each was checked against its public declaration; behind it stands the name of the page
// at developer.apple.com/documentation/iokit (IOKitLib.h) that describes it.

#include <CoreFoundation/CoreFoundation.h>
#include <mach/mach.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef mach_port_t io_object_t;                           // io_object_t
typedef io_object_t io_iterator_t;                         // io_iterator_t
typedef io_object_t io_service_t;                          // io_service_t
typedef io_object_t io_registry_entry_t;                   // io_registry_entry_t
typedef UInt32 IOOptionBits;                               // IOOptionBits
typedef char io_name_t[128];                               // io_name_t
typedef struct IONotificationPort* IONotificationPortRef;  // IONotificationPortRef
typedef void (*IOServiceMatchingCallback)(void* context,
                                          io_iterator_t iterator);  // IOServiceMatchingCallback

#define IO_OBJECT_NULL ((io_object_t)0)  // IO_OBJECT_NULL

extern const mach_port_t kIOMasterPortDefault;  // kIOMasterPortDefault

kern_return_t IOMasterPort(mach_port_t bootstrapPort, mach_port_t* masterPort);  // IOMasterPort
CFMutableDictionaryRef IOServiceMatching(const char* name);  // IOServiceMatching

// Consumes one reference to the dictionary. IOServiceGetMatchingServices
kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, CFDictionaryRef matching,
                                           io_iterator_t* existing);

io_object_t IOIteratorNext(io_iterator_t iterator);  // IOIteratorNext
kern_return_t IOObjectRelease(io_object_t object);   // IOObjectRelease
CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef allocator,
                                          IOOptionBits options);  // IORegistryEntryCreateCFProperty

IONotificationPortRef IONotificationPortCreate(mach_port_t masterPort);  // IONotificationPortCreate
void IONotificationPortDestroy(IONotificationPortRef port);  // IONotificationPortDestroy
CFRunLoopSourceRef IONotificationPortGetRunLoopSource(
    IONotificationPortRef port);  // IONotificationPortGetRunLoopSource

// Consumes one reference to the dictionary, also when it fails. IOServiceAddMatchingNotification
kern_return_t IOServiceAddMatchingNotification(IONotificationPortRef port, const io_name_t kind,
                                               CFDictionaryRef matching,
                                               IOServiceMatchingCallback callback, void* context,
                                               io_iterator_t* notification);

#ifdef __cplusplus
}
#endif

#pragma once

// Declares the parts of <objc/runtime.h> that platform/macos uses, for systems without that header.
// Source: Objective-C Runtime reference.

using Class = struct objc_class*;
using id = struct objc_object*;
using SEL = struct objc_selector*;
using BOOL = signed char;

extern "C" Class objc_getClass(const char* name);
extern "C" SEL sel_registerName(const char* name);

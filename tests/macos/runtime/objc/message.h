#pragma once

// objc_msgSend for systems without <objc/message.h>. Callers cast it to the method's function type.

#include <objc/runtime.h>

extern "C" void objc_msgSend(void);

#pragma once

// The sending of messages, for systems that do not have <objc/message.h>. The function is called
// as one of the type that the method has.

#include <objc/runtime.h>

extern "C" void objc_msgSend(void);

#pragma once

#include <objc/message.h>
#include <objc/runtime.h>

namespace quillet::platform::macos {

// The toolkit's classes are reached through the C functions of the Objective-C runtime, so that
// this folder is plain C++. Any thread, as far as the class that is called allows it.

/// The class of this name, as an object that takes messages; null when no loaded framework has it.
inline id ClassNamed(const char* name) {
  return reinterpret_cast<id>(objc_getClass(name));
}

/// Sends a message. objc_msgSend has to be called as a function of the very type that the method
/// has (objc_msgSend in the Objective-C Runtime reference), so the caller names the result's type
/// and passes arguments of the types that the method declares: pointers, whole numbers and BOOL.
/// @param receiver   an object or a class; null is allowed and gives 0
/// @param selector   the method's name with its colons
/// @param arguments  what it takes, in its order
template <typename Result, typename... Arguments>
Result Send(id receiver, const char* selector, Arguments... arguments) {
  using Method = Result (*)(id, SEL, Arguments...);
  return reinterpret_cast<Method>(objc_msgSend)(receiver, sel_registerName(selector), arguments...);
}

/// Takes up what the calls in its scope return without handing it over, and releases it at the end
/// of the scope. Threads that Core Foundation did not make have no such pool of their own
/// (NSAutoreleasePool).
class AutoreleasePool {
 public:
  AutoreleasePool() : pool_(Send<id>(Send<id>(ClassNamed("NSAutoreleasePool"), "alloc"), "init")) {}
  ~AutoreleasePool() { Send<void>(pool_, "drain"); }
  AutoreleasePool(const AutoreleasePool&) = delete;
  AutoreleasePool& operator=(const AutoreleasePool&) = delete;

 private:
  const id pool_;
};

}  // namespace quillet::platform::macos

#pragma once

#include <objc/message.h>
#include <objc/runtime.h>

namespace quillet::platform::macos {

// Calls Objective-C methods from plain C++. Each class documents the threads that may call it.

/// Returns the class object with this name, or null if no loaded framework defines the class.
inline id ClassNamed(const char* name) {
  return reinterpret_cast<id>(objc_getClass(name));
}

/// Sends a message. `Result` and `Arguments` must match the method's types exactly, because
/// objc_msgSend is called as a function of this type (Objective-C Runtime reference).
/// @param receiver   an object or a class; if null, the result is 0
/// @param selector   the method's name, including colons
/// @param arguments  pointers, integers or BOOL
template <typename Result, typename... Arguments>
Result Send(id receiver, const char* selector, Arguments... arguments) {
  using Method = Result (*)(id, SEL, Arguments...);
  return reinterpret_cast<Method>(objc_msgSend)(receiver, sel_registerName(selector), arguments...);
}

/// Releases autoreleased objects at the end of its scope. C++ threads have no default pool
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

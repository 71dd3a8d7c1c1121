#pragma once

#include "platform/posix/SyslogLog.h"

namespace quillet::platform::posix {

/// Opens /dev/null on each of the descriptors 0, 1 and 2 that is closed: a file with such a number
/// would receive what is printed. To be called first, while there is one thread.
void EnsureStandardDescriptors();

/// Ends the process in good order while its other threads still run: what was written to the log
/// reaches it (waiting at most five seconds for a log that has stalled), standard output is
/// flushed, and no destructor and no exit handler runs. Any thread.
///
/// @param status  the process's exit status, 0 to 255
/// @param log     the program's log
[[noreturn]] void LeaveProcess(int status, SyslogLog& log);

/// From now on, a library that ends the process with exit() ends it in that same order, with status
/// 1; the toolkit does so when the X server goes. Handlers that are registered later still run.
/// To be called once, from any thread.
///
/// @param log  the program's log; it is never destroyed
void LeaveLikewiseOnExit(SyslogLog& log);

}  // namespace quillet::platform::posix

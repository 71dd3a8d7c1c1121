#pragma once

#include <chrono>

#include "platform/posix/SyslogLog.h"

namespace quillet::platform::posix {

/// Opens /dev/null for each of the descriptors 0, 1 and 2 that is closed. Otherwise a file opened
/// later could get one of these numbers and receive printed messages. Call first, before starting
/// threads.
void EnsureStandardDescriptors();

/// Ends the process while other threads are running: flushes the log and standard output, and runs
/// no destructors or exit handlers. Any thread.
/// @param status        exit status, 0 to 255
/// @param log           the program's log
/// @param longestFlush  longest wait for the log
[[noreturn]] void LeaveProcess(int status, SyslogLog& log,
                               std::chrono::milliseconds longestFlush = std::chrono::seconds(5));

/// Restarts the program in this process (execve(2)): flushes the log and standard output, runs no
/// destructors or exit handlers, and closes all descriptors except the standard ones. If this
/// fails, ends the process with status 1. Any thread.
/// @param arguments  the arguments of main, including the program's name and the final null
/// @param log        the program's log
[[noreturn]] void RestartProcess(char* const* arguments, SyslogLog& log);

/// Makes exit() call LeaveProcess with status 1. Qt calls exit() if the X server exits. Exit
/// handlers registered after this call still run. Call once, from any thread.
/// @param log  the program's log; must live until the process ends
void LeaveLikewiseOnExit(SyslogLog& log);

}  // namespace quillet::platform::posix

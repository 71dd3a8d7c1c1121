#pragma once

#include <set>
#include <string>
#include <vector>

namespace quillet::test {

struct ProgramResult {
  int status = -1;  ///< exit status; minus the signal's number when a signal ended it
  std::string output;
  std::string errors;
};

/// Runs a program to its end and collects what it prints.
/// @param arguments  the program, found on PATH, and its arguments
/// @param closed     which of the descriptors 0, 1 and 2 the program starts without
ProgramResult RunProgram(std::vector<std::string> arguments, const std::set<int>& closed = {});

/// What to put before a program's arguments to run it in a mount namespace of its own, with
/// further options to follow: "bwrap --dev-bind / /".
std::vector<std::string> InOwnNamespace(const std::vector<std::string>& options,
                                        const std::vector<std::string>& arguments);

/// Whether InOwnNamespace works here; some containers forbid it.
bool OwnNamespaceWorks();

}  // namespace quillet::test

#pragma once

#include <set>
#include <string>
#include <vector>

namespace quillet::test {

struct ProgramResult {
  int status = -1;  ///< exit status, or -N if signal N ended the program
  std::string output;
  std::string errors;
};

/// Runs a program to completion and collects its output.
/// @param arguments  the program, found on PATH, and its arguments
/// @param closed     standard descriptors (0 to 2) to close before the program starts
ProgramResult RunProgram(const std::vector<std::string>& arguments,
                         const std::set<int>& closed = {});

/// Returns a command that runs a program in a new mount namespace.
/// @param options    additional options for bwrap(1)
/// @param arguments  the program and its arguments
std::vector<std::string> InOwnNamespace(const std::vector<std::string>& options,
                                        const std::vector<std::string>& arguments);

/// Returns true if this system allows InOwnNamespace. Some containers forbid it.
bool OwnNamespaceWorks();

}  // namespace quillet::test

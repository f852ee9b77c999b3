#pragma once

#include <string>
#include <vector>

namespace ostreljet::testsupport {

// What a finished child process left behind.
struct CommandResult {
    int exitStatus = -1; // the exit code, or 128 + the signal number if a signal ended it
    std::string out;     // everything written to standard output
    std::string err;     // everything written to standard error
};

// Runs a program with the given arguments (no shell involved) and waits for it to end.
CommandResult runCommand(const std::string &program, const std::vector<std::string> &arguments);

} // namespace ostreljet::testsupport

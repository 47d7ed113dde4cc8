#pragma once

#include <functional>
#include <string>

namespace corvid {

// Text with `"`, `\`, `$` and backtick escaped for the inside of a shell's double quotes.
std::string escapedForShell(const char* text);

// Runs a command through the system's shell and waits for it. While it runs, `tick`, if any, is
// called about twenty times a second. The exit status, or -1 when the command could not be run or
// did not exit by itself.
int runShellCommand(const std::string& command, const std::function<void()>& tick);

} // namespace corvid

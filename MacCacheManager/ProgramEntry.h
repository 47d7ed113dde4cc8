#pragma once

namespace corvid {

// Reads the command line, from the second argument on, and starts the session's log:
//   -lastModified   select the oldest project at launch
//   -devLogging     write the developer level too
//   anything else   the first such argument starts the log; without one the session writes none
void startSession(int argc, const char* const* argv);

// The whole program; returns the exit status.
int runProgram(int argc, char** argv);

} // namespace corvid

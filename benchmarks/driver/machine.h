#pragma once

#include <string>
#include <vector>

namespace corvid::bench {

// What the figures depend on, one line each: processor, memory, kernel, file system of the folder,
// Qt, load, date.
std::vector<std::string> describeMachine(const std::string& folder);

} // namespace corvid::bench

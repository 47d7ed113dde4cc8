#pragma once

// Sizes as people read them.

#include <cstdint>
#include <string>

namespace corvid {

// A size as it is shown: bytes below 512, then KB, MB and GB, each up to 1000 of it, with 1024 to
// the next.
struct SizeInUnit {
    double number;
    int decimals;
    const char* unit;
};
SizeInUnit sizeInUnit(std::uint64_t bytes);

// The number and its unit, rounded as printf's "%.2f" does, with a point in every locale.
std::string sizeText(std::uint64_t bytes);

} // namespace corvid

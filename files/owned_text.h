#pragma once

#include <cstdlib>
#include <memory>

namespace corvid {

struct FreeText {
    void operator()(char* text) const { std::free(text); }
};
// A text made with malloc or strdup.
using OwnedText = std::unique_ptr<char, FreeText>;

} // namespace corvid

#pragma once

#include <cstddef>
#include <cstring>

namespace corvid {

// A name as it is handed down to the cache model: at most 1,024 bytes. A longer one is cut where
// names are only looked up, and becomes empty where something is removed or moved, so that no other
// name is meant.
enum class OverlongName { Cut, Empty };

class BoundedName {
public:
    explicit BoundedName(const char* name, OverlongName overlong = OverlongName::Cut) {
        const std::size_t length = std::strlen(name);
        if (length <= kLength) {
            std::memcpy(m_text, name, length);
        } else if (overlong == OverlongName::Cut) {
            std::memcpy(m_text, name, kLength);
        }
    }
    const char* text() const { return m_text; }

private:
    static constexpr std::size_t kLength = 1024;
    char m_text[kLength + 1] = {};
};

} // namespace corvid

#include "files/size_text.h"

#include <charconv>

namespace corvid {

SizeInUnit sizeInUnit(std::uint64_t bytes) {
    const auto size = static_cast<double>(bytes);
    constexpr double kKilo = 1024.0;
    if (size < 512) {
        return {size, 0, "bytes"};
    }
    if (size / kKilo < 1000) {
        return {size / kKilo, 2, "KB"};
    }
    if (size / (kKilo * kKilo) < 1000) {
        return {size / (kKilo * kKilo), 2, "MB"};
    }
    return {size / (kKilo * kKilo * kKilo), 2, "GB"};
}

std::string sizeText(std::uint64_t bytes) {
    const SizeInUnit size = sizeInUnit(bytes);
    char text[32]; // the largest number has eleven digits before the point
    const auto end = std::to_chars(text, text + sizeof(text), size.number, std::chars_format::fixed,
                                   size.decimals)
                         .ptr;
    return std::string(text, end) + ' ' + size.unit;
}

} // namespace corvid

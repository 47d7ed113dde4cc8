#include "upkeep/shown_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <ctime>
#include <limits>
#include <utility>

namespace corvid {

namespace {

// The character that begins there and the number of its bytes; no bytes when they are no UTF-8
// (RFC 3629).
std::pair<char32_t, std::size_t> decoded(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = first < 0x80 ? 1 : first >> 5U == 6 ? 2 : first >> 4U == 14 ? 3 : 4;
    if (length == 1) {
        return {first, 1};
    }
    if (first < 0xc2 || first > 0xf4 || text.size() < length) {
        return {0, 0};
    }
    char32_t character = first & (0x7fU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte >> 6U != 2) {
            return {0, 0};
        }
        character = character << 6U | (byte & 0x3fU);
    }
    constexpr std::array<char32_t, 5> kLeast = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = character >= 0xd800 && character <= 0xdfff;
    const bool isOne = character >= kLeast[length] && character <= 0x10ffff && !isSurrogate;
    return {character, isOne ? length : 0};
}

bool isInvisible(char32_t character) {
    return character < 0x20 || (character >= 0x7f && character < 0xa0) ||
           (character >= 0x200e && character <= 0x200f) ||
           (character >= 0x2028 && character <= 0x202e) ||
           (character >= 0x2066 && character <= 0x2069);
}

std::string hexadecimal(unsigned number, std::size_t digits) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text(digits, '0');
    for (std::size_t i = digits; i-- > 0; number >>= 4U) {
        text[i] = kDigits[number & 15U];
    }
    return text;
}

std::string escaped(char32_t character) {
    switch (character) {
    case '\n':
        return "\\n";
    case '\t':
        return "\\t";
    case '\r':
        return "\\r";
    default:
        return character < 0x80 ? "\\x" + hexadecimal(character, 2)
                                : "\\u" + hexadecimal(character, 4);
    }
}

// The number that the text is, decimal and not negative, with all of it.
std::optional<double> plainNumber(std::string_view text) {
    double number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    const bool isPlain = isWhole && text.front() >= '0' && text.front() <= '9';
    return isPlain && std::isfinite(number) ? std::optional(number) : std::nullopt;
}

struct Unit {
    char letter;
    double factor;
};

// The number times its unit, below `limit`.
template <std::size_t count>
std::optional<double> withUnit(std::string_view text, const std::array<Unit, count>& units,
                               double limit) {
    if (text.empty()) {
        return std::nullopt;
    }
    for (const Unit& unit : units) {
        if (text.back() == unit.letter) {
            const std::optional<double> number = plainNumber(text.substr(0, text.size() - 1));
            return number && *number * unit.factor < limit ? std::optional(*number * unit.factor)
                                                           : std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace

std::string shownText(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const auto [character, length] = decoded(bytes);
        if (length == 0) {
            text += "\\x" + hexadecimal(static_cast<unsigned char>(bytes.front()), 2);
        } else if (isInvisible(character)) {
            text += escaped(character);
        } else {
            text += bytes.substr(0, length);
        }
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}

std::string localTimeText(long seconds) {
    std::tm time{};
    char text[64];
    const std::time_t whole = seconds;
    if (seconds == 0 || ::localtime_r(&whole, &time) == nullptr) {
        return "-";
    }
    return {text, std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M", &time)};
}

std::string groupedText(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t place = text.size(); place > 3;) {
        place -= 3;
        text.insert(place, 1, ',');
    }
    return text;
}

std::optional<std::uint64_t> parseSize(std::string_view text) {
    constexpr std::array<Unit, 5> kUnits = {
        {{'K', 0x1p10}, {'M', 0x1p20}, {'G', 0x1p30}, {'T', 0x1p40}, {'P', 0x1p50}}};
    constexpr double kLimit = 0x1p63;
    std::uint64_t plain = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), plain);
    if (error == std::errc() && end == text.data() + text.size()) {
        return plain;
    }
    const std::optional<double> bytes = withUnit(text, kUnits, kLimit);
    return bytes ? std::optional(static_cast<std::uint64_t>(*bytes)) : std::nullopt;
}

std::optional<std::chrono::seconds> parseAge(std::string_view text) {
    constexpr std::array<Unit, 5> kUnits = {
        {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 604800}}};
    constexpr double kLimit = 1e11; // some three thousand years
    const std::optional<double> seconds = withUnit(text, kUnits, kLimit);
    return seconds ? std::optional(std::chrono::seconds(static_cast<std::int64_t>(*seconds)))
                   : std::nullopt;
}

} // namespace corvid

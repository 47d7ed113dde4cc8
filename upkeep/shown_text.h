#pragma once

// Texts for people, and the sizes and ages that people type.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvid {

// A name as a terminal may show it: control characters, bytes that are no UTF-8 and what turns the
// direction of writing are escaped as "\n", "\x1b" or "\u202e".
std::string shownText(std::string_view bytes);
// Local time to the minute; "-" for 0.
std::string localTimeText(long seconds);
// 1234567 as "1,234,567".
std::string groupedText(std::uint64_t number);

// "500", "20M", "1.5G", "2T": bytes, in powers of 1024. None for anything else.
std::optional<std::uint64_t> parseSize(std::string_view text);
// "90s", "30m", "12h", "30d", "8w". None for anything else.
std::optional<std::chrono::seconds> parseAge(std::string_view text);

} // namespace corvid

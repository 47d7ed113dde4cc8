// The tokenizer against the system's own, step by step, and the clipper against the standard
// library. The input is two sets of delimiters and a text, with a NUL byte between them; the sets
// take turns.

#include "fuzz/round_trip.h"

#include <cstring>

using namespace corvid::fuzz; // NOLINT(google-build-using-namespace)

namespace {

std::string takeText(std::string_view& rest) {
    const std::size_t end = std::min(rest.find('\0'), rest.size());
    std::string text(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return text;
}

std::ptrdiff_t offsetIn(const std::string& text, const char* place) {
    return place != nullptr ? place - text.data() : -1;
}

void requireSameTokens(const std::string& text, const std::string (&delimiters)[2]) {
    std::string ours = text;
    std::string theirs = text;
    char* ourRest = nullptr;
    char* theirRest = nullptr;
    for (std::size_t step = 0, missed = 0; missed < 2; ++step) {
        const char* set = delimiters[step % 2].c_str();
        const char* our = KavroPISSstrtok_r(step == 0 ? ours.data() : nullptr, set, &ourRest);
        const char* their = ::strtok_r(step == 0 ? theirs.data() : nullptr, set, &theirRest);
        require(offsetIn(ours, our) == offsetIn(theirs, their),
                "a token begins where the system's begins");
        require(offsetIn(ours, ourRest) == offsetIn(theirs, theirRest),
                "the rest begins where the system's begins");
        require(ours == theirs, "the text is cut as the system cuts it");
        missed = our != nullptr ? 0 : missed + 1;
    }
}

void requireClipped(const std::string& text, const std::string& delimiters) {
    std::string copy = text;
    const char* clipped = KavroPISSClipPrefixedWhiteSpace(copy.data(), delimiters.c_str());
    const std::size_t begin = text.find_first_not_of(delimiters);
    require(offsetIn(copy, clipped) ==
                (begin != std::string::npos ? static_cast<std::ptrdiff_t>(begin) : -1),
            "what is left begins behind the leading delimiters");
    require(copy == text, "clipping changes nothing in the text");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    std::string delimiters[2];
    delimiters[0] = takeText(rest);
    delimiters[1] = takeText(rest);
    const std::string text = takeText(rest);
    requireSameTokens(text, delimiters);
    requireClipped(text, delimiters[0]);
    require(KavroPISSClipPrefixedWhiteSpace(nullptr, delimiters[0].c_str()) == nullptr,
            "no text has no rest");
    return 0;
}

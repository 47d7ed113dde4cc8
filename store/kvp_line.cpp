#include "store/kvp_line.h"

#include "files/text_file.h"
#include "runtime/maro_log.h"
#include "store/PISSFileUtilities.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace corvid {

namespace {

bool isWord(const char* text) {
    return text != nullptr && *text != '\0' && std::strpbrk(text, " \t\n") == nullptr;
}

// A line that fills a reader's whole piece goes without its line feed, as it came: the feed would
// be a piece of its own, an empty line, which ends the reading.
void appendLine(std::string& out, const char* indent, const char* scope, const char* type,
                const char* key, const char* value, LineRule isHarmless) {
    const std::size_t begin = out.size();
    out.append(indent).append(scope).append(1, ' ').append(type).append(1, '\t');
    out.append(key).append(1, ' ').append(value);
    const std::size_t length = out.size() - begin;
    // A scope that is one word leads to these very parts; the blanks of any other shift them.
    std::string asRead = isWord(scope) ? std::string() : out.substr(begin);
    const bool isWritten = length <= kLinePiece && out.find('\n', begin) == std::string::npos &&
                           isHarmless(asRead.empty() ? KvpFields{scope, type, key, value}
                                                     : splitKvpLine(asRead.data()));
    if (!isWritten) {
        out.resize(begin);
        warnOfLeftOutLine(key);
    } else if (length < kLinePiece) {
        out.append(1, '\n');
    }
}

struct IntegerText {
    explicit IntegerText(int value) {
        *std::to_chars(text, text + sizeof(text) - 1, value).ptr = '\0';
    }
    char text[16];
};

} // namespace

KvpFields splitKvpLine(char* line) {
    stripLineFeed(line);
    KvpFields fields;
    char* rest = nullptr;
    fields.scope = KavroPISSstrtok_r(line, kBlanks, &rest);
    fields.type = KavroPISSstrtok_r(nullptr, kBlanks, &rest);
    fields.key = KavroPISSstrtok_r(nullptr, kBlanks, &rest);
    fields.value = KavroPISSClipPrefixedWhiteSpace(rest, kBlanks);
    return fields;
}

int decimalValue(const char* text) {
    if (text == nullptr) {
        return 0;
    }
    const long value = std::strtol(text, nullptr, 10);
    return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

void appendKvpLine(std::string& out, const char* indent, const char* scope, const char* key,
                   const char* value, LineRule isHarmless) {
    appendLine(out, indent, scope, kStringType, key, value != nullptr ? value : "", isHarmless);
}

void appendKvpLine(std::string& out, const char* indent, const char* scope, const char* key,
                   int value, LineRule isHarmless) {
    appendLine(out, indent, scope, kIntegerType, key, IntegerText(value).text, isHarmless);
}

bool fitsKvpLine(const char* scope, const char* key, const char* value) {
    if (!isWord(scope) || !isWord(key)) {
        return false;
    }
    const char* text = value != nullptr ? value : "";
    constexpr std::size_t kSeparators = 3; // two blanks and a TAB
    return std::strchr(text, '\n') == nullptr && std::strlen(scope) + std::strlen(kStringType) +
                                                         std::strlen(key) + std::strlen(text) +
                                                         kSeparators <=
                                                     kLinePiece;
}

void warnOfLeftOutLine(const char* key) {
    constexpr int kMostOfKey = 256;
    const auto length =
        static_cast<int>(std::min<std::size_t>(std::strcspn(key, "\n"), kMostOfKey));
    maro_logWarning(
        "The line of key '%.*s' is left out of its file, because readers would lose other "
        "lines by it\n",
        length, key);
}

} // namespace corvid

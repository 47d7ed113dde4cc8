#include "store/kvp_line.h"

#include "store/PISSFileUtilities.h"
#include "store/text_file.h"

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

// The length of the line but for its value and line feed.
std::size_t frameLength(const char* scope, const char* type, const char* key) {
    return std::strlen(scope) + 1 + std::strlen(type) + 1 + std::strlen(key) + 1;
}

// A line that fills a reader's whole piece goes without its line feed, as it came: the feed would
// be a piece of its own, an empty line, which ends the reading.
void appendLine(std::string& out, const char* indent, const char* scope, const char* type,
                const char* key, const char* value) {
    const std::size_t begin = out.size();
    out.append(indent).append(scope).append(1, ' ').append(type).append(1, '\t');
    out.append(key).append(1, ' ').append(value);
    if (out.size() - begin < kLinePiece) {
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
                   const char* value) {
    appendLine(out, indent, scope, kStringType, key, value != nullptr ? value : "");
}

void appendKvpLine(std::string& out, const char* indent, const char* scope, const char* key,
                   int value) {
    appendLine(out, indent, scope, kIntegerType, key, IntegerText(value).text);
}

bool fitsKvpLine(const char* scope, const char* key, const char* value) {
    if (!isWord(scope) || !isWord(key)) {
        return false;
    }
    const char* text = value != nullptr ? value : "";
    return std::strchr(text, '\n') == nullptr &&
           frameLength(scope, kStringType, key) + std::strlen(text) <= kLinePiece;
}

bool fitsKvpLine(const char* scope, const char* key, int value) {
    return isWord(scope) && isWord(key) &&
           frameLength(scope, kIntegerType, key) + std::strlen(IntegerText(value).text) <=
               kLinePiece;
}

bool hasKvpValue(const char* value) {
    return value != nullptr && value[std::strspn(value, kBlanks)] != '\0';
}

} // namespace corvid

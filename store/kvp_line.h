#pragma once

// The key/value line that all stores share:
//
//   scope BLANK type TAB key BLANK value LF
//
// type is "string" or "int". Reading splits at blanks and tabs; the value is the rest of the line,
// without its leading blanks. What differs between the stores (which types they know, what ends the
// reading) is theirs.

#include <string>

namespace corvid {

constexpr char kBlanks[] = " \t";
constexpr char kStringType[] = "string";
constexpr char kIntegerType[] = "int";

// One line's parts, pointing into the line; null for a part that the line does not have.
struct KvpFields {
    const char* scope = nullptr;
    const char* type = nullptr;
    const char* key = nullptr;
    const char* value = nullptr;
};

// Splits a line in place, its line feed removed first. The first token is the scope.
KvpFields splitKvpLine(char* line);
// The leading decimal integer of a text as the stores read it: 0 for none, held within 32 bits.
int decimalValue(const char* text);

// Whether a reader of the store that meets this line still reads the others as they are: it keeps
// the line, or passes over it.
using LineRule = bool (*)(const KvpFields& line);

// Appends one line; `indent` (may be "") stands before the scope. A null value is written as an
// empty one. A line that would do harm to others is left out, with one warning that names the key:
// one that holds a line feed, that is longer than a reader's piece, or that `isHarmless` tells from
// what a reader makes of it.
void appendKvpLine(std::string& out, const char* indent, const char* scope, const char* key,
                   const char* value, LineRule isHarmless);
void appendKvpLine(std::string& out, const char* indent, const char* scope, const char* key,
                   int value, LineRule isHarmless);

// Whether the line that these make is read back as it is written: scope and key are words, and no
// line feed or excess length breaks it.
bool fitsKvpLine(const char* scope, const char* key, const char* value);

// Writes the warning of a line that is left out of a file.
void warnOfLeftOutLine(const char* key);

} // namespace corvid

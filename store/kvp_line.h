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

// Appends one line; `indent` (may be "") stands before the scope. A null value is written as an
// empty one.
void appendKvpLine(std::string& out, const char* indent, const char* scope, const char* key,
                   const char* value);
void appendKvpLine(std::string& out, const char* indent, const char* scope, const char* key,
                   int value);

// Whether the line that these make is read back as it is written: scope and key are words, and no
// line feed or excess length breaks it.
bool fitsKvpLine(const char* scope, const char* key, const char* value);
bool fitsKvpLine(const char* scope, const char* key, int value);
// Whether reading a line with this value gives one; a reader takes blanks, like nothing, for no
// value.
bool hasKvpValue(const char* value);

} // namespace corvid

#pragma once

// How the texts of the settings sheet are read.

#include <QString>

#include <optional>
#include <string>

namespace corvid {

// The number that a text begins with, 0 for none; a decimal point is a full stop in every locale.
// What a limit in megabytes cannot be, which has 32 bits and a sign, is the nearest that it can.
double numberInField(const QString& text);
// That number truncated towards zero.
int limitInField(const QString& text);
// A number as the field shows it, without needless digits.
QString fieldText(double number);
// The field's text after a step up or down, in single precision: not below 0, and not above what a
// limit can be.
QString steppedText(const QString& text, float step);

// The folder to store for a typed path, "/" appended when it lacks one. Nothing when the path is
// empty, does not exist, or could not be kept in the settings (a line feed in it, or too long).
std::optional<std::string> folderInField(const QString& path);

} // namespace corvid

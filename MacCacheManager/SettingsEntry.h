#pragma once

// How the texts of the settings sheet are read.

#include <QString>

#include <optional>
#include <string>

namespace corvid {

// The number that a text begins with, 0 for none; a decimal point is a full stop in every locale.
double numberInField(const QString& text);
// That number as a cache limit in megabytes: truncated towards zero, held within 32 bits.
int limitInField(const QString& text);
// A number as the field shows it, without needless digits.
QString fieldText(double number);
QString fieldText(float number);

// The folder to store for a typed path, "/" appended when it lacks one. Nothing when the path is
// empty, does not exist, or could not be kept in the settings (a line feed in it, or too long).
std::optional<std::string> folderInField(const QString& path);

} // namespace corvid

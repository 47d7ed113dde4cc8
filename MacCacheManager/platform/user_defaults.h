#pragma once

#include <QRect>
#include <QString>

#include <optional>

namespace corvid {

// The value that the user set for `key`, nothing when the key is absent. Only the program's own
// settings of this user count. Text reads as its leading integer, 0 without digits; a number too
// large for an int reads as the nearest one.
std::optional<int> userDefaultInteger(const QString& key);

// Keeps a rectangle for `key`, and gives it back in a later run; nothing when there is none.
void setUserDefaultRect(const QString& key, const QRect& rect);
std::optional<QRect> userDefaultRect(const QString& key);

} // namespace corvid

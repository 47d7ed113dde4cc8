#pragma once

#include <QFont>

namespace corvid {

// The system's font at a size given in logical pixels for a system whose own font has 13; it grows
// with a larger system font and never shrinks below the given size.
double systemFontGrowth(); // 1 or more
QFont systemFontOfSize(int size, QFont::Weight weight = QFont::Normal);

} // namespace corvid

#pragma once

// What the outline shows of a node, column by column.

#include "MacCacheManager/FrameCacheEntry.h"

#include <QString>
#include <Qt>

#include <vector>

namespace corvid {

struct Column {
    const char* identifier; // as the data source knows it
    const char* title;      // to be translated, in the context of OutlineModel
    Qt::AlignmentFlag alignment;
    int usualWidth; // in pixels; 0 for what the others leave
    QString (*text)(const FrameCacheEntry& node);

    // A column of figures has what tells the width of its texts without making them all: texts of
    // one shape (below kTextShapes) differ by their digits only.
    int (*shape)(const FrameCacheEntry& node); // null for a column that is as wide as usual
    QString (*textOfNumber)(const FrameCacheEntry& node); // had the number been set
    // One text, in any digits, of every shape that there can be; null where these are too many.
    std::vector<QString> (*allShapes)();
};

constexpr int kTextShapes = 2048;
// The column with the names, the triangles and the levels.
constexpr int kTreeColumn = 0;

// The outline's columns, from the left.
const std::vector<Column>& outlineColumns();

} // namespace corvid

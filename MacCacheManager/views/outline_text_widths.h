#pragma once

// How much room the texts of the outline's columns need.

#include "MacCacheManager/OutlineModel.h"

#include <QFont>

#include <cstddef>
#include <optional>
#include <vector>

class QFontMetricsF;
class QWidget;

namespace corvid {

// Finds the widest texts among ten thousands of rows without making them all: texts of one shape
// (as many digits, the same unit) differ by their digits only, and where a shape fits with the
// font's widest digits all its texts do.
class OutlineTextWidths {
public:
    // The width of the widest text that the model's rows have in each of its columns, in the
    // view's font and in pixels; where all are narrower, or the column is as wide as usual, the
    // width that is `fitting` anyway.
    std::vector<int> widest(const OutlineModel& model, const QWidget& view,
                            const std::vector<int>& fitting);

private:
    static int widestText(const OutlineModel& model, const Column& column, std::vector<int>& bounds,
                          const QFontMetricsF& metrics, int width);
    bool isEveryTextFitting(const Column& column, std::size_t i, const QFontMetricsF& metrics,
                            int width);

    QFont m_font;
    // By column: of every shape in that font, 0 for not known; and of all texts there can be.
    std::vector<std::vector<int>> m_bounds;
    std::vector<std::optional<int>> m_widestEver;
};

} // namespace corvid

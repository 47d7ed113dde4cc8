#include "MacCacheManager/views/outline_text_widths.h"

#include <QFontMetricsF>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace corvid {

namespace {

// From so many texts on, which differ only in a font with uneven digits, some pixels are not worth
// the time.
constexpr int kMostMeasured = 2000;

int widthOf(const QString& text, const QFontMetricsF& metrics) {
    return static_cast<int>(std::ceil(metrics.horizontalAdvance(text)));
}

// The width that no text of the same shape exceeds.
int boundOf(const QString& text, const QFontMetricsF& metrics) {
    int widest = 0;
    for (int digit = 0; digit < 10; ++digit) {
        QString uniform = text;
        for (QChar& character : uniform) {
            if (character.digitValue() >= 0) { // in the language's own digits
                character = QChar(character.unicode() - character.digitValue() + digit);
            }
        }
        widest = std::max(widest, widthOf(uniform, metrics));
    }
    return widest;
}

} // namespace

std::vector<int> OutlineTextWidths::widest(const OutlineModel& model, const QWidget& view,
                                           const std::vector<int>& fitting) {
    const std::vector<Column>& columns = model.columns();
    if (m_font != view.font() || m_bounds.size() != columns.size()) {
        m_font = view.font();
        m_bounds.assign(columns.size(), {});
        m_widestEver.assign(columns.size(), std::nullopt);
    }
    const QFontMetricsF metrics(m_font, &view);
    std::vector<int> widths = fitting;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (columns[i].shape != nullptr && !isEveryTextFitting(columns[i], i, metrics, widths[i])) {
            widths[i] = widestText(model, columns[i], m_bounds[i], metrics, widths[i]);
        }
    }
    return widths;
}

int OutlineTextWidths::widestText(const OutlineModel& model, const Column& column,
                                  std::vector<int>& bounds, const QFontMetricsF& metrics,
                                  int width) {
    const int unset = widthOf(column.text(FrameCacheEntry()), metrics);
    bounds.resize(kTextShapes);
    int measured = 0;
    for (int row = 0; row < model.rowCount(); ++row) {
        const FrameCacheEntry& node = *model.itemAtRow(row);
        int& bound = bounds[static_cast<std::size_t>(column.shape(node))];
        if (bound == 0) {
            bound = std::max(boundOf(column.textOfNumber(node), metrics), unset);
        }
        if (bound > width) {
            ++measured;
            width = measured > kMostMeasured ? bound
                                             : std::max(width, widthOf(column.text(node), metrics));
        }
    }
    return width;
}

// Of all texts that there can be.
bool OutlineTextWidths::isEveryTextFitting(const Column& column, std::size_t i,
                                           const QFontMetricsF& metrics, int width) {
    if (column.allShapes == nullptr) {
        return false;
    }
    std::optional<int>& widest = m_widestEver[i];
    if (!widest) {
        widest = widthOf(column.text(FrameCacheEntry()), metrics);
        for (const QString& text : column.allShapes()) {
            widest = std::max(*widest, boundOf(text, metrics));
        }
    }
    return *widest <= width;
}

} // namespace corvid

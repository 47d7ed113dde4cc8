#include "MacCacheManager/DarkHeaderCell.h"

#include "tests/support/view_pixels.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace {

class DarkHeaderCellPixels : public ViewPixels {};

QImage pixelsOfCell(const DarkHeaderCell& cell, const QRect& frame) {
    QImage image(100, 24, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    cell.drawWithFrame(&painter, frame);
    return image;
}

} // namespace

TEST_P(DarkHeaderCellPixels, HeaderCellHasGradientAndBothEdges) {
    const QRect frame(10, 2, 80, 20);
    expectHeaderCell(pixelsOfCell(DarkHeaderCell(), frame), frame, m_colors);
}

TEST_P(DarkHeaderCellPixels, HeaderCellDrawsNothingOutsideItsFrame) {
    const QRect frame(10, 2, 80, 20);
    const QImage image = pixelsOfCell(DarkHeaderCell(QString(50, QLatin1Char('W'))), frame);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            EXPECT_EQ(image.pixelColor(x, y).alpha() != 0, frame.contains(x, y)) << x << "," << y;
        }
    }
}

TEST_P(DarkHeaderCellPixels, HeaderTitleStandsInsideItsInsetInTheTextColor) {
    const QRect frame(0, 0, 100, 24);
    const QImage empty = pixelsOfCell(DarkHeaderCell(), frame);
    const QImage titled = pixelsOfCell(DarkHeaderCell(QStringLiteral("Last modified")), frame);
    int nearest = 255;
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            if (titled.pixel(x, y) == empty.pixel(x, y)) {
                continue;
            }
            EXPECT_TRUE(frame.adjusted(9, 2, -9, -2).contains(x, y)) << x << "," << y;
            nearest = std::min(
                nearest, std::abs(greyAt(titled, x, y) - m_colors.getClrTextTableHeader().red()));
        }
    }
    EXPECT_LE(nearest, 40);
}

INSTANTIATE_TEST_SUITE_P(Brightness, DarkHeaderCellPixels, schemeBrightnesses());

TEST(DarkHeaderCell, TitleFontIsOfSizeNine) {
    EXPECT_EQ(DarkHeaderCell::titleFont().pixelSize(), 9);
}

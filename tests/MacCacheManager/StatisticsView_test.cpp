#include "MacCacheManager/StatisticsView.h"

#include "tests/support/view_pixels.h"

#include <QLabel>

namespace {

class StatisticsViewPixels : public ViewPixels {};

} // namespace

TEST_P(StatisticsViewPixels, StatisticsPanelDrawsItsBoxAndLine) {
    StatisticsView panel;
    panel.resize(300, 100);
    const QImage image = pixelsOf(panel);
    expectGrey(image, 150, 5, m_colors.getClrFillSecondary());
    expectGrey(image, 20, 50, m_colors.getClrFillSecondary());
    expectGrey(image, 279, 50, m_colors.getClrFillSecondary());
    expectGrey(image, 150, 94, m_colors.getClrFillSecondary());
    for (const int x : {20, 150, 279}) {
        expectGrey(image, x, 26, m_colors.getClrFillSecondary());
        expectGrey(image, x, 27, m_colors.getClrFillPrimary());
        expectGrey(image, x, 28, m_colors.getClrFillSecondary());
    }
    for (const QPoint& outside : {QPoint(150, 4), QPoint(19, 50), QPoint(280, 27), QPoint(150, 95),
                                  QPoint(20, 5), QPoint(279, 94)}) {
        EXPECT_LT(image.pixelColor(outside).alpha(), 40) << outside.x() << "," << outside.y();
    }
}

TEST_P(StatisticsViewPixels, StatisticsLabelsTakeTheTextColor) {
    StatisticsView panel;
    auto* label = new QLabel(QStringLiteral("12"), &panel);
    auto* group = new QWidget(&panel);
    auto* nested = new QLabel(QStringLiteral("13"), group);
    panel.awakeFromNib();
    EXPECT_EQ(label->palette().color(QPalette::WindowText), m_colors.getClrTextStats());
    EXPECT_EQ(nested->palette().color(QPalette::WindowText), m_colors.getClrTextStats());
    EXPECT_TRUE(panel.isVisible());
}

INSTANTIATE_TEST_SUITE_P(Brightness, StatisticsViewPixels, schemeBrightnesses());

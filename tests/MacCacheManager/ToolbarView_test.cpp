#include "MacCacheManager/ToolbarView.h"

#include "MacCacheManager/views/ToolbarButton.h"
#include "tests/support/view_pixels.h"

namespace {

class ToolbarViewPixels : public ViewPixels {};

} // namespace

TEST_P(ToolbarViewPixels, ToolbarIsFilledToItsEdges) {
    ToolbarView toolbar;
    toolbar.resize(60, 30);
    const QImage image = pixelsOf(toolbar);
    for (const QPoint& point : {QPoint(0, 0), QPoint(59, 0), QPoint(30, 15), QPoint(59, 29)}) {
        expectGrey(image, point.x(), point.y(), m_colors.getClrFillToolbar());
    }
}

TEST_P(ToolbarViewPixels, ToolbarButtonsTakeTextColorAndImages) {
    ToolbarView toolbar;
    for (const char* name : {"m_btnDelete", "m_btnRefresh", "m_btnFinder", "m_btnSettings"}) {
        auto* button = new corvid::ToolbarButton(&toolbar);
        button->setObjectName(QLatin1String(name));
        button->setText(QStringLiteral("Title"));
    }
    toolbar.awakeFromNib();
    for (const auto* button : toolbar.findChildren<QAbstractButton*>()) {
        EXPECT_EQ(button->palette().color(QPalette::ButtonText), m_colors.getClrTextOutlineView());
        EXPECT_FALSE(button->icon().isNull());
        EXPECT_EQ(button->text(), QStringLiteral("Title"));
    }
}

TEST_P(ToolbarViewPixels, ToolbarWithoutButtonsStaysEmpty) {
    ToolbarView toolbar;
    toolbar.awakeFromNib();
    EXPECT_TRUE(toolbar.children().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Brightness, ToolbarViewPixels, schemeBrightnesses());

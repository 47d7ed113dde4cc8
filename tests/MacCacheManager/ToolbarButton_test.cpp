#include "MacCacheManager/ToolbarButton.h"

#include "MacCacheManager/ToolbarView.h"
#include "tests/support/view_pixels.h"

#include <QTest>

#include <algorithm>
#include <cmath>

namespace {

class ToolbarButtonPixels : public ViewPixels {};

// A toolbar with one button, as the window shows it.
class ButtonOnToolbar {
public:
    ButtonOnToolbar() : m_button(new corvid::ToolbarButton(&m_toolbar)) {
        m_button->setObjectName(QStringLiteral("m_btnRefresh"));
        m_button->setText(QStringLiteral("Refresh"));
        m_button->resize(m_button->sizeHint());
        m_toolbar.resize(m_button->size());
        m_toolbar.awakeFromNib();
    }

    corvid::ToolbarButton& button() { return *m_button; }
    QImage pixels() { return pixelsOf(m_toolbar); }

private:
    ToolbarView m_toolbar;
    corvid::ToolbarButton* m_button;
};

int greatestDifference(const QImage& image, int grey) {
    int greatest = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            greatest = std::max(greatest, std::abs(greyAt(image, x, y) - grey));
        }
    }
    return greatest;
}

} // namespace

TEST_P(ToolbarButtonPixels, RestingButtonIsFlatWithItsFaceInTheTextColor) {
    ButtonOnToolbar toolbar;
    const QImage image = toolbar.pixels();
    expectGrey(image, 4, 10, m_colors.getClrFillToolbar());
    const int toolbarGrey = m_colors.getClrFillToolbar().red();
    const int textContrast = std::abs(m_colors.getClrTextOutlineView().red() - toolbarGrey);
    EXPECT_NEAR(greatestDifference(image, toolbarGrey), textContrast, kTolerance);
}

TEST_P(ToolbarButtonPixels, HoveredButtonIsRaised) {
    ButtonOnToolbar toolbar;
    toolbar.button().setAttribute(Qt::WA_UnderMouse);
    const QImage image = toolbar.pixels();
    EXPECT_GT(greyAt(image, 5, 6), greyAt(image, 5, image.height() - 6));
}

TEST_P(ToolbarButtonPixels, PressedButtonIsSunk) {
    ButtonOnToolbar toolbar;
    toolbar.button().setDown(true);
    expectGrey(toolbar.pixels(), 5, 10, m_colors.getClrScrollSlotGradStart());
}

TEST_P(ToolbarButtonPixels, DisabledButtonFadesAndIgnoresTheMouse) {
    ButtonOnToolbar toolbar;
    toolbar.button().setEnabled(false);
    toolbar.button().setAttribute(Qt::WA_UnderMouse);
    const QImage image = toolbar.pixels();
    expectGrey(image, 5, 10, m_colors.getClrFillToolbar());
    const int toolbarGrey = m_colors.getClrFillToolbar().red();
    const int textContrast = std::abs(m_colors.getClrTextOutlineView().red() - toolbarGrey);
    EXPECT_NEAR(greatestDifference(image, toolbarGrey), 0.4 * textContrast, 4);
}

INSTANTIATE_TEST_SUITE_P(Brightness, ToolbarButtonPixels, schemeBrightnesses());

TEST(ToolbarButton, KeyboardFocusShowsARingInTheTextColor) {
    ToolbarView toolbar;
    auto* button = new corvid::ToolbarButton(&toolbar);
    button->setObjectName(QStringLiteral("m_btnDelete"));
    button->resize(80, 48);
    toolbar.resize(80, 48);
    toolbar.awakeFromNib();
    toolbar.show();
    toolbar.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&toolbar));
    button->clearFocus();
    const QImage without = pixelsOf(toolbar);
    button->setFocus(Qt::TabFocusReason);
    const QImage with = pixelsOf(toolbar);
    const int text = UISettings::instance()->getClrTextOutlineView().red();
    EXPECT_LT(std::abs(greyAt(with, 1, 24) - text), std::abs(greyAt(without, 1, 24) - text));
}

TEST(ToolbarButton, ButtonIsWideEnoughForItsTitle) {
    corvid::ToolbarButton button;
    button.setText(QString(40, QLatin1Char('W')));
    EXPECT_GT(button.sizeHint().width(), button.fontMetrics().horizontalAdvance(button.text()));
    EXPECT_EQ(button.minimumSizeHint(), button.sizeHint());
}

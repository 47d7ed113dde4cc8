#include "MacCacheManager/views/ToolbarButton.h"

#include "MacCacheManager/ToolbarView.h"
#include "tests/support/view_pixels.h"

#include <QTest>

#include <algorithm>
#include <cmath>

namespace {

class ToolbarButtonPixels : public ViewPixels {};
class ToolbarButtonDefaults : public UserDefaultsFolder {};

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
    for (const QPoint& edge : {QPoint(1, image.height() / 2), QPoint(image.width() / 2, 1)}) {
        for (const QColor& beside :
             {m_colors.getClrFillToolbar(), image.pixelColor(edge + QPoint(2, 2))}) {
            EXPECT_GE(contrastOf(image.pixelColor(edge), beside), 3.0);
        }
    }
}

TEST_P(ToolbarButtonPixels, PressedButtonIsSunk) {
    ButtonOnToolbar toolbar;
    toolbar.button().setDown(true);
    expectGrey(toolbar.pixels(), 5, 10, m_colors.getClrScrollSlotGradStart());
}

TEST_P(ToolbarButtonPixels, DisabledButtonFadesToWhatCanBeReadAndIgnoresTheMouse) {
    ButtonOnToolbar toolbar;
    toolbar.button().setEnabled(false);
    toolbar.button().setAttribute(Qt::WA_UnderMouse);
    const QImage image = toolbar.pixels();
    expectGrey(image, 5, 10, m_colors.getClrFillToolbar());
    const QColor surface = image.pixelColor(5, 10);
    const QRect icon(0, 0, image.width(), 30);
    const QRect title(0, 30, image.width(), image.height() - 30);
    EXPECT_GE(greatestContrast(image.copy(title), surface), 2.9); // small letters blur
    EXPECT_LT(greatestContrast(image.copy(title), surface), 3.3);
    const int textContrast = std::abs(m_colors.getClrTextOutlineView().red() - surface.red());
    EXPECT_NEAR(greatestDifference(image.copy(icon), surface.red()), 0.4 * textContrast, 4);
}

INSTANTIATE_TEST_SUITE_P(Brightness, ToolbarButtonPixels, schemeBrightnesses());

TEST_F(ToolbarButtonDefaults, KeyboardFocusAndMouseAreMarkedAtEveryBrightness) {
    ToolbarView toolbar;
    auto* button = new corvid::ToolbarButton(&toolbar);
    button->setObjectName(QStringLiteral("m_btnDelete"));
    button->resize(80, 48);
    toolbar.resize(80, 48);
    toolbar.show();
    toolbar.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&toolbar));
    for (int brightness = -100; brightness <= 200; ++brightness) {
        setBrightness(brightness);
        UISettings::instance()->setupDefaults();
        toolbar.awakeFromNib();
        button->clearFocus();
        button->setAttribute(Qt::WA_UnderMouse, false); // wherever the mouse really is
        const QImage before = pixelsOf(toolbar);
        button->setAttribute(Qt::WA_UnderMouse);
        EXPECT_GE(visibleChange(before, pixelsOf(toolbar)), 2 * (66 + 34)) << brightness;
        button->setAttribute(Qt::WA_UnderMouse, false);
        button->setFocus(Qt::TabFocusReason);
        EXPECT_GE(visibleChange(before, pixelsOf(toolbar)), 4 * (64 + 32)) << brightness;
    }
}

TEST(ToolbarButton, ButtonIsWideEnoughForItsTitle) {
    corvid::ToolbarButton button;
    button.setText(QString(40, QLatin1Char('W')));
    EXPECT_GT(button.sizeHint().width(), button.fontMetrics().horizontalAdvance(button.text()));
    EXPECT_EQ(button.minimumSizeHint(), button.sizeHint());
}

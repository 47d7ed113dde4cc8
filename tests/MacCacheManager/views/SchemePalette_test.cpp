#include "MacCacheManager/views/SchemePalette.h"

#include "MacCacheManager/UISettings.h"
#include "tests/support/view_pixels.h"

namespace {

// Below and above all levels that differ.
constexpr int kDarkest = -101;
constexpr int kBrightest = 200;

struct OnSurface {
    QPalette::ColorRole color;
    QPalette::ColorRole surface;
};

constexpr OnSurface kTexts[] = {{QPalette::WindowText, QPalette::Window},
                                {QPalette::Link, QPalette::Window},
                                {QPalette::Text, QPalette::Base},
                                {QPalette::ButtonText, QPalette::Button},
                                {QPalette::ToolTipText, QPalette::ToolTipBase},
                                {QPalette::HighlightedText, QPalette::Highlight}};

TEST(SchemePalette, EveryTextCanBeReadAtEveryBrightness) {
    for (int brightness = kDarkest; brightness <= kBrightest; ++brightness) {
        const QPalette scheme = corvid::schemePalette(UISettings(brightness));
        for (const auto& [text, surface] : kTexts) {
            EXPECT_GE(contrastOf(scheme.color(text), scheme.color(surface)), 4.5)
                << brightness << " role " << text;
        }
    }
}

TEST(SchemePalette, WhatIsDisabledCanBeSeenAndToldFromTheRestAtEveryBrightness) {
    for (int brightness = kDarkest; brightness <= kBrightest; ++brightness) {
        const QPalette scheme = corvid::schemePalette(UISettings(brightness));
        for (const auto& [text, surface] : kTexts) {
            if (text == QPalette::HighlightedText) {
                continue; // nothing that is disabled is highlighted
            }
            const QColor disabled = scheme.color(QPalette::Disabled, text);
            const QColor on = scheme.color(QPalette::Disabled, surface);
            EXPECT_EQ(disabled.alpha(), 255);
            EXPECT_GE(contrastOf(disabled, on), 3.0) << brightness << " role " << text;
            EXPECT_LT(contrastOf(disabled, on), 3.5) << brightness << " role " << text;
        }
    }
}

TEST(SchemePalette, WhatIsHighlightedStandsOutFromEverySurfaceAtEveryBrightness) {
    for (int brightness = kDarkest; brightness <= kBrightest; ++brightness) {
        const QPalette scheme = corvid::schemePalette(UISettings(brightness));
        for (const auto surface : {QPalette::Window, QPalette::Base, QPalette::Button}) {
            EXPECT_GE(contrastOf(scheme.color(QPalette::Highlight), scheme.color(surface)), 3.0)
                << brightness << " role " << surface;
        }
        EXPECT_GE(contrastOf(scheme.color(QPalette::PlaceholderText), scheme.color(QPalette::Base)),
                  3.0)
            << brightness;
    }
}

TEST(SchemePalette, SurfacesAndLegibleTextsAreTheSchemes) {
    for (const int brightness : {-100, 0, 100}) {
        const UISettings colors(brightness);
        const QPalette scheme = corvid::schemePalette(colors);
        EXPECT_EQ(scheme.color(QPalette::Window), colors.getClrFillPrimary());
        EXPECT_EQ(scheme.color(QPalette::Base), colors.getClrFillSecondary());
        EXPECT_EQ(scheme.color(QPalette::Button), colors.getClrFillToolbar());
        EXPECT_EQ(scheme.color(QPalette::WindowText), colors.getClrTextOutlineView());
        EXPECT_EQ(scheme.color(QPalette::Text), colors.getClrTextOutlineView());
    }
}

} // namespace

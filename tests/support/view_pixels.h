#pragma once

// What the views really put on the screen, pixel by pixel.

#include "MacCacheManager/UISettings.h"
#include "tests/support/user_defaults_folder.h"

#include <QImage>

class QRect;
class QWidget;

// The rounding that a pixel may show.
constexpr int kTolerance = 2;

// The shared scheme at a brightness, the parameter, that the user set in defaults of his own.
class ViewPixels : public UserDefaultsFolder, public ::testing::WithParamInterface<int> {
protected:
    ViewPixels();

    // The scheme that the views must show, computed apart from the one that they share.
    UISettings m_colors{GetParam()};
};

// No brightness set, the darkest, both sides of the turn to the bright scheme, middle and
// brightest.
inline auto schemeBrightnesses() {
    return ::testing::Values(-100, -99, -74, -73, 0, 100);
}

// A widget's pixels with its children; what they leave out stays transparent.
QImage pixelsOf(QWidget& widget);

int greyAt(const QImage& image, int x, int y);

// The grey of a gradient at t, 0 to 1.
int expectedGrey(const QColor& start, const QColor& end, double t);

void expectGrey(const QImage& image, int x, int y, const QColor& color);

// The contrast of two colours, 1 to 21, and the greatest of an image's pixels against one.
double contrastOf(const QColor& left, const QColor& right);
double greatestContrast(const QImage& image, const QColor& surface);
// How many pixels changed so much that the change can be seen: by a contrast of 3 or more.
int visibleChange(const QImage& before, const QImage& after);

// An untitled header cell in the frame: gradient, light inner and dark outer edge.
void expectHeaderCell(const QImage& image, const QRect& frame, const UISettings& colors);

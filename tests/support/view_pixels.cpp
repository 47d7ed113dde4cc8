#include "tests/support/view_pixels.h"

#include <QRect>
#include <QRegion>
#include <QWidget>

#include <algorithm>
#include <array>
#include <cmath>

ViewPixels::ViewPixels() {
    setBrightness(GetParam());
    UISettings::instance()->setupDefaults();
}

QImage pixelsOf(QWidget& widget) {
    QImage image(widget.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

int greyAt(const QImage& image, int x, int y) {
    return image.pixelColor(x, y).red();
}

int expectedGrey(const QColor& start, const QColor& end, double t) {
    const double grey = start.redF() + t * (end.redF() - start.redF());
    return static_cast<int>(std::lround(grey * 255.0));
}

void expectGrey(const QImage& image, int x, int y, const QColor& color) {
    EXPECT_NEAR(greyAt(image, x, y), color.red(), kTolerance) << "at " << x << "," << y;
    EXPECT_EQ(image.pixelColor(x, y).alpha(), 255) << "at " << x << "," << y;
}

namespace {

// By 8-bit part, computed once: images have many.
std::array<double, 256> linearParts() {
    std::array<double, 256> parts{};
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const double part = static_cast<double>(i) / 255.0;
        parts[i] = part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    }
    return parts;
}

double luminanceOf(const QColor& color) {
    static const std::array<double, 256> kLinear = linearParts();
    const auto linear = [](int part) { return kLinear[static_cast<std::size_t>(part)]; };
    return 0.2126 * linear(color.red()) + 0.7152 * linear(color.green()) +
           0.0722 * linear(color.blue());
}

} // namespace

double contrastOf(const QColor& left, const QColor& right) {
    const auto [darker, lighter] = std::minmax({luminanceOf(left), luminanceOf(right)});
    return (lighter + 0.05) / (darker + 0.05);
}

double greatestContrast(const QImage& image, const QColor& surface) {
    double greatest = 1.0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            greatest = std::max(greatest, contrastOf(image.pixelColor(x, y), surface));
        }
    }
    return greatest;
}

int visibleChange(const QImage& before, const QImage& after) {
    EXPECT_EQ(before.size(), after.size());
    int pixels = 0;
    for (int y = 0; y < before.height(); ++y) {
        for (int x = 0; x < before.width(); ++x) {
            if (before.pixel(x, y) != after.pixel(x, y)) {
                const double contrast = contrastOf(before.pixelColor(x, y), after.pixelColor(x, y));
                pixels += contrast >= 3.0 ? 1 : 0;
            }
        }
    }
    return pixels;
}

void expectHeaderCell(const QImage& image, const QRect& frame, const UISettings& colors) {
    const int middle = frame.center().x();
    expectGrey(image, middle, frame.top(), colors.getClrHeaderOutlineShadow());
    expectGrey(image, middle, frame.top() + 1, colors.getClrHeaderOutlineHighlight());
    expectGrey(image, middle, frame.bottom(), colors.getClrHeaderOutlineShadow());
    expectGrey(image, frame.left(), frame.center().y(), colors.getClrHeaderOutlineHighlight());
    expectGrey(image, frame.right(), frame.center().y(), colors.getClrHeaderOutlineShadow());
    for (const int row : {2, frame.height() / 2, frame.height() - 2}) {
        const int expected =
            expectedGrey(colors.getClrHeaderGradStart(), colors.getClrHeaderGradEnd(),
                         (row + 0.5) / frame.height());
        EXPECT_NEAR(greyAt(image, middle, frame.top() + row), expected, kTolerance) << row;
    }
}

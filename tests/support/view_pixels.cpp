#include "tests/support/view_pixels.h"

#include <QRect>
#include <QRegion>
#include <QWidget>

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

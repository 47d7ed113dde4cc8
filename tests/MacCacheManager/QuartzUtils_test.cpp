#include "MacCacheManager/QuartzUtils.h"

#include <gtest/gtest.h>

#include <QColor>
#include <QImage>
#include <QPainter>

#include <cmath>

namespace {

constexpr int kWidth = 20;
constexpr int kHeight = 10;
const QRectF kRect(2, 3, 10, 4);

class GradientFill : public ::testing::Test {
protected:
    GradientFill() : m_image(kWidth, kHeight, QImage::Format_ARGB32_Premultiplied) {
        m_image.fill(Qt::transparent);
    }

    void fill(const QColor& start, const QColor& end, int orientation) {
        QPainter painter(&m_image);
        QuartzUtils::gradientFillRectangle(&painter, kRect, start, end, orientation);
    }

    void expectPixel(int x, int y, const QColor& start, const QColor& end, double t) const {
        const QColor pixel = m_image.pixelColor(x, y);
        EXPECT_NEAR(pixel.redF(), start.redF() + t * (end.redF() - start.redF()), 0.01);
        EXPECT_NEAR(pixel.greenF(), start.greenF() + t * (end.greenF() - start.greenF()), 0.01);
        EXPECT_NEAR(pixel.blueF(), start.blueF() + t * (end.blueF() - start.blueF()), 0.01);
        EXPECT_EQ(pixel.alpha(), 255);
    }

    QImage m_image;
};

const QColor kStart(200, 40, 0);
const QColor kEnd(20, 80, 240);

} // namespace

TEST_F(GradientFill, AlongYBeginsAtTheLowestY) {
    fill(kStart, kEnd, 0);
    for (int row = 0; row < 4; ++row) {
        expectPixel(2, 3 + row, kStart, kEnd, (row + 0.5) / 4.0);
        expectPixel(11, 3 + row, kStart, kEnd, (row + 0.5) / 4.0);
    }
}

TEST_F(GradientFill, AlongXBeginsAtTheLowestX) {
    fill(kStart, kEnd, 1);
    for (int column = 0; column < 10; ++column) {
        expectPixel(2 + column, 3, kStart, kEnd, (column + 0.5) / 10.0);
        expectPixel(2 + column, 6, kStart, kEnd, (column + 0.5) / 10.0);
    }
}

TEST_F(GradientFill, NothingOutsideTheRectangleIsTouched) {
    fill(kStart, kEnd, 0);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const bool inside = kRect.contains(QPointF(x + 0.5, y + 0.5));
            EXPECT_EQ(m_image.pixelColor(x, y).alpha(), inside ? 255 : 0) << x << "," << y;
        }
    }
}

TEST_F(GradientFill, TranslucentColorsAreDrawnOpaque) {
    fill(QColor(200, 40, 0, 10), QColor(20, 80, 240, 0), 0);
    for (int row = 0; row < 4; ++row) {
        expectPixel(5, 3 + row, kStart, kEnd, (row + 0.5) / 4.0);
    }
}

TEST_F(GradientFill, AnotherOrientationDrawsNothing) {
    const QImage before = m_image;
    fill(kStart, kEnd, 2);
    fill(kStart, kEnd, -1);
    EXPECT_EQ(m_image, before);
}

TEST_F(GradientFill, ThePainterKeepsItsState) {
    QPainter painter(&m_image);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setBrush(Qt::red);
    QuartzUtils::gradientFillRectangle(&painter, kRect, kStart, kEnd, 0);
    EXPECT_TRUE(painter.testRenderHint(QPainter::Antialiasing));
    EXPECT_EQ(painter.brush(), QBrush(Qt::red));
}

TEST(RoundedRectangle, CornersAreQuarterCircles) {
    const QPainterPath path = QuartzUtils::bezierPathWithRoundedRect(QRectF(10, 20, 40, 30), 8);
    EXPECT_EQ(path.boundingRect(), QRectF(10, 20, 40, 30));
    // On the diagonal of a corner the arc is one radius away from its centre.
    const double onArc = 8.0 - 8.0 / std::sqrt(2.0);
    EXPECT_FALSE(path.contains(QPointF(10 + onArc - 0.1, 20 + onArc - 0.1)));
    EXPECT_TRUE(path.contains(QPointF(10 + onArc + 0.1, 20 + onArc + 0.1)));
    EXPECT_FALSE(path.contains(QPointF(50 - onArc + 0.1, 50 - onArc + 0.1)));
    EXPECT_TRUE(path.contains(QPointF(50 - onArc - 0.1, 50 - onArc - 0.1)));
}

TEST(RoundedRectangle, PathIsOneClosedLoop) {
    const QPainterPath path = QuartzUtils::bezierPathWithRoundedRect(QRectF(0, 0, 40, 30), 8);
    EXPECT_EQ(path.toSubpathPolygons().size(), 1);
    EXPECT_TRUE(path.toSubpathPolygons().constFirst().isClosed());
}

TEST(RoundedRectangle, TooLargeARadiusMakesAStadium) {
    const QRectF rect(0, 0, 40, 20);
    EXPECT_EQ(QuartzUtils::bezierPathWithRoundedRect(rect, 100),
              QuartzUtils::bezierPathWithRoundedRect(rect, 10));
    const QPainterPath path = QuartzUtils::bezierPathWithRoundedRect(rect, 100);
    EXPECT_EQ(path.boundingRect(), rect);
    EXPECT_TRUE(path.contains(QPointF(20, 0.5)));
    EXPECT_TRUE(path.contains(QPointF(10.5, 0.5)));
    EXPECT_FALSE(path.contains(QPointF(1, 1)));
}

TEST(RoundedRectangle, TooLargeARadiusOfASquareMakesACircle) {
    const QPainterPath path = QuartzUtils::bezierPathWithRoundedRect(QRectF(0, 0, 20, 20), 50);
    for (int degrees = 0; degrees < 360; degrees += 15) {
        const double angle = degrees * std::acos(-1.0) / 180.0;
        const QPointF direction(std::cos(angle), std::sin(angle));
        EXPECT_TRUE(path.contains(QPointF(10, 10) + direction * 9.9)) << degrees;
        EXPECT_FALSE(path.contains(QPointF(10, 10) + direction * 10.1)) << degrees;
    }
}

TEST(RoundedRectangle, RadiusOfZeroOrLessIsThePlainRectangle) {
    QPainterPath plain;
    plain.addRect(QRectF(3, 4, 10, 20));
    EXPECT_EQ(QuartzUtils::bezierPathWithRoundedRect(QRectF(3, 4, 10, 20), 0), plain);
    EXPECT_EQ(QuartzUtils::bezierPathWithRoundedRect(QRectF(3, 4, 10, 20), -5), plain);
}

TEST(RoundedRectangle, EmptyRectangleHasNoArea) {
    EXPECT_TRUE(
        QuartzUtils::bezierPathWithRoundedRect(QRectF(3, 4, 0, 20), 5).boundingRect().isEmpty());
}

#include "MacCacheManager/ImageResources.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <QPixmap>

TEST(ImageResources, EveryImageIsThereForEveryDensity) {
    for (const char* name :
         {"collapsed", "expanded", "scrollarrow_up", "scrollarrow_dn", "scrollarrow_lt",
          "scrollarrow_rt", "toolbar_delete", "toolbar_refresh", "toolbar_finder",
          "toolbar_settings", "alert_information", "alert_warning"}) {
        const QIcon image = corvid::imageNamed(QLatin1String(name));
        const QSize size = corvid::imageSize(image);
        ASSERT_FALSE(size.isEmpty()) << name;
        for (const int density : {1, 2, 3}) {
            EXPECT_EQ(image.pixmap(size, density).size(), size * density) << name;
        }
    }
}

TEST(ImageResources, ScrollerArrowsAreOfOneSize) {
    for (const char* name :
         {"scrollarrow_up", "scrollarrow_dn", "scrollarrow_lt", "scrollarrow_rt"}) {
        EXPECT_EQ(corvid::imageSize(corvid::imageNamed(QLatin1String(name))), QSize(15, 15))
            << name;
    }
}

TEST(ImageResources, ProgramIconHasAllItsSizes) {
    const QIcon icon = corvid::programIcon();
    for (const int size : {16, 24, 32, 48, 64, 128}) {
        EXPECT_TRUE(icon.availableSizes().contains(QSize(size, size))) << size;
    }
}

TEST(ImageResources, MissingImageIsNullAndDrawsNothing) {
    const QIcon missing = corvid::imageNamed(QStringLiteral("missing"));
    EXPECT_TRUE(missing.isNull());
    EXPECT_EQ(corvid::imageSize(missing), QSize(0, 0));
    QImage image(10, 10, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    const QImage before = image;
    QPainter painter(&image);
    corvid::drawImage(&painter, QPointF(0, 0), missing);
    corvid::drawShape(&painter, QPointF(0, 0), missing, Qt::red);
    EXPECT_EQ(image, before);
}

TEST(ImageResources, DoubleDensityIsDrawnSharp) {
    const QIcon arrow = corvid::imageNamed(QStringLiteral("scrollarrow_up"));
    QImage image(30, 30, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(2);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    corvid::drawImage(&painter, QPointF(0, 0), arrow);
    painter.end();
    image.setDevicePixelRatio(1);
    EXPECT_EQ(image, arrow.pixmap(QSize(15, 15), 2).toImage().convertToFormat(image.format()));
}

#include "MacCacheManager/views/DarkHeaderView.h"

#include "MacCacheManager/DarkHeaderCell.h"
#include "tests/support/view_pixels.h"

#include <QFontMetrics>
#include <QStandardItemModel>

namespace {

class DarkHeaderViewPixels : public ViewPixels {};

} // namespace

TEST_P(DarkHeaderViewPixels, HeaderViewIsCellsAllTheWay) {
    QStandardItemModel model(0, 2);
    corvid::DarkHeaderView header(Qt::Horizontal);
    header.setModel(&model);
    model.setHorizontalHeaderLabels({QString(), QString()});
    header.resize(300, 20);
    header.resizeSection(0, 100);
    header.resizeSection(1, 80);
    const QImage image = pixelsOf(header);
    expectHeaderCell(image, QRect(0, 0, 100, 20), m_colors);
    expectHeaderCell(image, QRect(100, 0, 80, 20), m_colors);
    expectHeaderCell(image, QRect(180, 0, 120, 20), m_colors);
}

INSTANTIATE_TEST_SUITE_P(Brightness, DarkHeaderViewPixels, schemeBrightnesses());

TEST(DarkHeaderView, SectionHasRoomForItsTitle) {
    QStandardItemModel model(0, 1);
    model.setHorizontalHeaderLabels({QStringLiteral("Last modified")});
    corvid::DarkHeaderView header(Qt::Horizontal);
    header.setModel(&model);
    const QFontMetrics metrics(DarkHeaderCell::titleFont());
    EXPECT_EQ(header.sectionSizeHint(0),
              metrics.horizontalAdvance(QStringLiteral("Last modified")) + 18);
    EXPECT_GE(header.sizeHint().height(), metrics.height() + 4);
}

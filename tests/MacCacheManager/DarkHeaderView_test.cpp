#include "MacCacheManager/DarkHeaderView.h"

#include "MacCacheManager/DarkHeaderCell.h"
#include "tests/support/view_pixels.h"

#include <QApplication>
#include <QFontMetrics>
#include <QHoverEvent>
#include <QStandardItemModel>
#include <QTest>

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

TEST(DarkHeaderView, ClickableSectionAnswersTheMouse) {
    QStandardItemModel model(0, 1);
    corvid::DarkHeaderView header(Qt::Horizontal);
    header.setModel(&model);
    header.setSectionsClickable(true);
    header.resize(100, 20);
    header.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&header));
    const int before = greyAt(pixelsOf(header), 50, 17);
    QHoverEvent hover(QEvent::HoverMove, QPointF(50, 10), QPointF(50, 10), QPointF(0, 0));
    QApplication::sendEvent(header.viewport(), &hover);
    QApplication::sendEvent(&header, &hover);
    EXPECT_GT(greyAt(pixelsOf(header), 50, 17), before);
}

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

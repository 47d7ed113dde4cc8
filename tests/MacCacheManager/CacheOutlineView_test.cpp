#include "MacCacheManager/CacheOutlineView.h"

#include "MacCacheManager/AEScroller.h"
#include "MacCacheManager/DarkCornerView.h"
#include "MacCacheManager/DarkHeaderView.h"
#include "MacCacheManager/platform/date_formatter.h"
#include "tests/support/outline_fixture.h"

#include <QDateTime>
#include <QHeaderView>
#include <QScrollBar>
#include <QSignalSpy>

#include <numeric>

namespace {

using corvid::outlineColumnWidths;
using corvid::test::addNode;

class OutlineSelection : public corvid::test::OutlineTest {};

TEST_F(OutlineSelection, StartsEmpty) {
    EXPECT_EQ(view.selectedRow(), -1);
    EXPECT_EQ(view.numberOfSelectedRows(), 0);
    EXPECT_FALSE(view.isRowSelected(0));
    EXPECT_FALSE(view.isRowSelected(-1));
    EXPECT_FALSE(view.isRowSelected(99));
    EXPECT_FALSE(view.isItemSelected(nullptr));
}

TEST_F(OutlineSelection, SelectingARowSelectsItAlone) {
    view.selectRow(0, false);
    view.selectRow(2, false);
    EXPECT_EQ(selected(), QStringList("empty"));
    EXPECT_EQ(view.selectedRow(), 2);
    EXPECT_EQ(view.numberOfSelectedRows(), 1);
}

TEST_F(OutlineSelection, ExtendingKeepsTheOthers) {
    view.selectRow(2, false);
    view.selectRow(0, true);
    EXPECT_EQ(selected(), (QStringList{"alpha", "empty"}));
    EXPECT_EQ(view.selectedRow(), 0);
    EXPECT_EQ(view.numberOfSelectedRows(), 2);
}

TEST_F(OutlineSelection, ARowThatIsNotThereChangesNothing) {
    view.selectRow(1, false);
    view.selectRow(-1, false);
    view.selectRow(3, false);
    view.deselectRow(-1);
    view.deselectRow(3);
    EXPECT_EQ(selected(), QStringList("beta"));
}

TEST_F(OutlineSelection, DeselectingTakesOneRowOut) {
    view.selectAll();
    view.deselectRow(1);
    EXPECT_EQ(selected(), (QStringList{"alpha", "empty"}));
    view.deselectAll();
    EXPECT_EQ(view.numberOfSelectedRows(), 0);
}

TEST_F(OutlineSelection, EveryChangeIsToldOnce) {
    const QSignalSpy told(&view, &CacheOutlineView::selectionDidChange);
    view.selectRow(1, false);
    EXPECT_EQ(told.count(), 1);
    view.selectAll();
    EXPECT_EQ(told.count(), 2);
    view.deselectAll();
    EXPECT_EQ(told.count(), 3);
    view.deselectAll();
    EXPECT_EQ(told.count(), 3);
}

TEST_F(OutlineSelection, FollowsItsItemsWhenRowsComeAndGoAbove) {
    view.selectRow(1, false);
    view.expandItem(project(0), true);
    EXPECT_EQ(selected(), QStringList("beta"));
    EXPECT_EQ(view.selectedRow(), 7);
    view.collapseItem(project(0), false);
    EXPECT_EQ(selected(), QStringList("beta"));
    EXPECT_EQ(view.selectedRow(), 1);
}

TEST_F(OutlineSelection, RowsThatAppearInsideItAreNotPartOfIt) {
    view.selectAll();
    view.expandItem(project(0), true);
    EXPECT_EQ(selected(), (QStringList{"alpha", "beta", "empty"}));
    EXPECT_EQ(view.numberOfSelectedRows(), 3);
}

TEST_F(OutlineSelection, CollapsingTakesTheHiddenRowsOutAndTellsOfIt) {
    view.expandItem(project(0), true);
    view.selectAll();
    const QSignalSpy told(&view, &CacheOutlineView::selectionDidChange);
    view.collapseItem(project(0), false);
    EXPECT_EQ(selected(), (QStringList{"alpha", "beta", "empty"}));
    EXPECT_EQ(view.numberOfSelectedRows(), 3);
    EXPECT_GE(told.count(), 1);
}

TEST_F(OutlineSelection, CollapsingAroundTheCurrentRowMovesItToTheCollapsedItem) {
    view.expandItem(project(0), true);
    view.selectRow(3, false);
    view.collapseItem(project(0), false);
    EXPECT_EQ(view.currentIndex().row(), 0);
    EXPECT_EQ(selected(), QStringList());
}

TEST_F(OutlineSelection, ExpandingAnOpenItemFullyKeepsWhatIsSelectedInIt) {
    view.expandItem(project(0), false);
    view.selectRow(2, false);
    view.expandItem(project(0), true);
    EXPECT_EQ(selected(), QStringList("alpha two"));
}

TEST_F(OutlineSelection, SurvivesOpeningAndClosingSeveralWhereItsRowsRemain) {
    view.expandItem(project(0), false);
    view.selectRow(2, false);
    view.selectRow(3, true);
    view.expandItems({project(0), project(1)});
    EXPECT_EQ(selected(), (QStringList{"alpha two", "beta"}));
    const QSignalSpy told(&view, &CacheOutlineView::selectionDidChange);
    view.collapseItems({project(0), project(1)});
    EXPECT_EQ(selected(), QStringList("beta"));
    EXPECT_EQ(told.count(), 1);
}

TEST_F(OutlineSelection, IsFoundAgainByPathAfterARebuild) {
    view.expandItem(project(0), false);
    view.selectRow(2, false);
    const corvid::OutlineState state = view.takeState();
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_EQ(view.numberOfSelectedRows(), 0);
    source.reload(); // drops every node
    FrameCacheEntry* other = addNode(*source.getRootNode(), corvid::kProjectNode, "zero");
    FrameCacheEntry* alpha = addNode(*source.getRootNode(), corvid::kProjectNode, "alpha");
    addNode(*alpha, corvid::kCompositionNode, "alpha two");
    addNode(*other, corvid::kCompositionNode, "hidden");
    view.restoreState(state);
    EXPECT_EQ(rows(), (QStringList{"zero", "alpha", "alpha two"}));
    EXPECT_EQ(selected(), QStringList("alpha two"));
    EXPECT_EQ(view.currentIndex().row(), 2);
}

class OutlineSetUp : public corvid::test::OutlineTest {};

TEST_F(OutlineSetUp, HasItsOwnScrollersHeaderAndCorner) {
    EXPECT_NE(qobject_cast<AEScroller*>(view.verticalScrollBar()), nullptr);
    EXPECT_NE(qobject_cast<AEScroller*>(view.horizontalScrollBar()), nullptr);
    EXPECT_NE(qobject_cast<corvid::DarkHeaderView*>(view.header()), nullptr);
    const auto* corner = view.findChild<DarkCornerView*>();
    ASSERT_NE(corner, nullptr);
    EXPECT_EQ(corner->height(), view.header()->height());
}

TEST_F(OutlineSetUp, ColumnsFillTheView) {
    int sum = 0;
    for (int column = 0; column < 4; ++column) {
        sum += view.columnWidth(column);
    }
    EXPECT_EQ(sum, view.viewport()->width());
    EXPECT_GE(view.columnWidth(1), 60);
    EXPECT_GE(view.columnWidth(2), 60);
    EXPECT_GE(view.columnWidth(3), 150);
}

TEST_F(OutlineSetUp, ColumnsFollowTheViewsWidth) {
    const int before = view.columnWidth(0);
    view.resize(view.width() + 100, view.height());
    QTest::qWait(1);
    EXPECT_EQ(view.columnWidth(0), before + 100);
    EXPECT_GE(view.columnWidth(3), 150);
}

TEST_F(OutlineSetUp, ColumnsGrowWithTheFont) {
    QFont large = view.font();
    large.setPixelSize(30);
    view.setFont(large);
    const QFontMetrics metrics(large);
    for (int month = 1; month <= 12; ++month) {
        const QDateTime time(QDate(2026, month, 23), QTime(22, 55, 55));
        const QString date = corvid::shortDateTime(time.toSecsSinceEpoch());
        EXPECT_GT(view.columnWidth(3), metrics.horizontalAdvance(date)) << date.toStdString();
    }
    EXPECT_GT(view.columnWidth(1), metrics.horizontalAdvance(QStringLiteral("999.99 MB")));
    EXPECT_GT(view.columnWidth(2), metrics.horizontalAdvance(QStringLiteral("1000000")));
}

TEST_F(OutlineSetUp, ANarrowViewLeavesTheFirstColumnItsMinimum) {
    view.resize(200, 300);
    QTest::qWait(1);
    EXPECT_EQ(view.columnWidth(0), view.header()->minimumSectionSize());
    EXPECT_GT(view.columnWidth(0), 0);
}

TEST(OutlineColumnWidths, TheFirstGetsWhatTheOthersLeave) {
    EXPECT_EQ(outlineColumnWidths(800, {}), (std::vector<int>{530, 60, 60, 150}));
    EXPECT_EQ(outlineColumnWidths(800, {10, 10, 10}), (std::vector<int>{530, 60, 60, 150}));
    EXPECT_EQ(outlineColumnWidths(270, {}), (std::vector<int>{0, 60, 60, 150}));
}

TEST(OutlineColumnWidths, ANarrowViewAsksForANegativeFirstOne) {
    EXPECT_EQ(outlineColumnWidths(200, {}), (std::vector<int>{-70, 60, 60, 150}));
}

TEST(OutlineColumnWidths, WideTextsWidenTheirColumn) {
    EXPECT_EQ(outlineColumnWidths(800, {70, 0, 160}), (std::vector<int>{510, 70, 60, 160}));
}

TEST(DisclosureRect, IsIndentedByDepth) {
    const QRect cell(5, 20, 300, 18);
    const QRect top = CacheOutlineView::disclosureRect(cell, 0);
    const QRect below = CacheOutlineView::disclosureRect(cell, 2);
    EXPECT_TRUE(cell.contains(top));
    EXPECT_EQ(top.top(), cell.top());
    EXPECT_EQ(top.height(), cell.height());
    EXPECT_EQ(below.left() - top.left(),
              2 * (CacheOutlineView::disclosureRect(cell, 1).left() - top.left()));
    EXPECT_GE(CacheOutlineView::disclosureRect(cell, 1).left(), top.right());
}

TEST_F(OutlineSetUp, APlaceholderIsToldToThoseWhoCannotSeeIt) {
    view.setPlaceholderText("Nothing here");
    EXPECT_EQ(view.placeholderText(), "Nothing here");
    EXPECT_EQ(view.accessibleDescription(), "Nothing here");
}

} // namespace

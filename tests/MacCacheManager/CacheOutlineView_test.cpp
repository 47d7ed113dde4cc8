#include "MacCacheManager/CacheOutlineView.h"

#include "MacCacheManager/AEScroller.h"
#include "MacCacheManager/DarkCornerView.h"
#include "MacCacheManager/views/DarkHeaderView.h"
#include "tests/support/outline_fixture.h"

#include <QAccessible>
#include <QHeaderView>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QtMath>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <random>

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

TEST_F(OutlineSelection, IsTheNextRowThatIsLeftAfterARebuildForTheKeyboard) {
    struct Case {
        int current;
        std::vector<const char*> left;
        const char* expected;
    };
    const Case cases[] = {{1, {"alpha", "beta", "empty"}, "beta"}, {1, {"alpha", "empty"}, "empty"},
                          {1, {"empty", "alpha"}, "empty"},        {0, {"empty"}, "empty"},
                          {2, {"alpha", "beta"}, "beta"},          {2, {"alpha"}, "alpha"},
                          {1, {"new", "alpha"}, "alpha"},          {1, {"new"}, nullptr}};
    for (const Case& given : cases) {
        source.reload();
        for (const char* name : {"alpha", "beta", "empty"}) {
            addNode(*source.getRootNode(), corvid::kProjectNode, name);
        }
        model.reloadData();
        view.selectRow(given.current, false);
        view.deselectAll();
        const corvid::OutlineState state = view.takeState();
        source.reload();
        for (const char* name : given.left) {
            addNode(*source.getRootNode(), corvid::kProjectNode, name);
        }
        view.restoreState(state);
        EXPECT_EQ(view.currentIndex().data().toString(), QString(given.expected));
        EXPECT_EQ(selected(), QStringList());
    }
}

TEST_F(OutlineSelection, LeavesTheRowWithTheKeyboardInSightAfterARebuild) {
    const auto addRows = [this](int first) {
        source.reload();
        for (int i = first; i < 300; ++i) {
            addNode(*source.getRootNode(), corvid::kProjectNode, "more " + std::to_string(i));
        }
    };
    addRows(0);
    model.reloadData();
    view.selectRow(150, false);
    const corvid::OutlineState state = view.takeState();
    addRows(151);
    view.restoreState(state);
    EXPECT_EQ(view.currentIndex().row(), 0);
    EXPECT_TRUE(view.viewport()->rect().contains(rowRect(0)));
}

class OutlineSetUp : public corvid::test::OutlineTest {};

TEST_F(OutlineSetUp, ItsParentScrollViewIsTheFirstPlainOneFromItsParentsParentOn) {
    EXPECT_EQ(view.parentScrollView(), nullptr);
    class OtherScrollArea : public QScrollArea {};
    QScrollArea outer;
    auto* other = new OtherScrollArea;
    outer.setWidget(other);
    auto* inner = new CacheOutlineView;
    inner->setParent(&outer);
    EXPECT_EQ(inner->parentScrollView(), nullptr); // its own parent is not asked
    other->setWidget(inner);
    EXPECT_EQ(inner->parentScrollView(), &outer);
    QScrollArea nearest;
    nearest.setWidget(inner);
    EXPECT_EQ(inner->parentScrollView(), &nearest);
}

TEST_F(OutlineSetUp, HasItsOwnScrollersHeaderAndCorner) {
    EXPECT_NE(qobject_cast<AEScroller*>(view.verticalScrollBar()), nullptr);
    EXPECT_NE(qobject_cast<AEScroller*>(view.horizontalScrollBar()), nullptr);
    EXPECT_NE(qobject_cast<corvid::DarkHeaderView*>(view.header()), nullptr);
    const auto* corner = view.findChild<DarkCornerView*>();
    ASSERT_NE(corner, nullptr);
    EXPECT_EQ(corner->height(), view.header()->height());
}

// The figure columns among rows with figures of their own.
class OutlineColumns : public corvid::test::OutlineTest {
protected:
    static FrameCacheEntry& withFigures(FrameCacheEntry& node, std::uint64_t bytes, int files,
                                        int seconds) {
        node.setFileSize(bytes);
        node.setFileCount(files);
        node.setModifiedTime(seconds);
        return node;
    }
    FrameCacheEntry& addProject(std::uint64_t bytes, int files, int seconds) {
        return withFigures(*addNode(*source.getRootNode(), corvid::kProjectNode, "more"), bytes,
                           files, seconds);
    }
    std::vector<int> widths() const {
        QCoreApplication::processEvents();
        return {view.columnWidth(1), view.columnWidth(2), view.columnWidth(3)};
    }
    // The widths that the texts in sight call for.
    std::vector<int> neededWidths() const {
        std::vector<int> widths = {60, 60, 150};
        const QFontMetricsF metrics(view.font());
        constexpr int kSpacing = 10;
        for (int row = 0; row < model.rowCount(); ++row) {
            for (int column = 1; column < 4; ++column) {
                const QString text = model.index(row, column).data().toString();
                int& width = widths[static_cast<std::size_t>(column) - 1];
                width = std::max(width, qCeil(metrics.horizontalAdvance(text)) + kSpacing);
            }
        }
        return widths;
    }
    void setFontSize(int pixels) {
        QFont font = view.font();
        font.setPixelSize(pixels);
        view.setFont(font);
    }
};

TEST_F(OutlineColumns, HaveTheirUsualWidthsWhileEveryTextFits) {
    EXPECT_EQ(widths(), (std::vector<int>{60, 60, 150}));
    addProject(5, 9999, 1700000000);
    model.reloadData();
    EXPECT_EQ(widths(), (std::vector<int>{60, 60, 150}));
}

TEST_F(OutlineColumns, FillTheView) {
    EXPECT_EQ(view.columnWidth(0), view.viewport()->width() - 270);
    view.resize(view.width() + 100, view.height());
    QTest::qWait(1);
    EXPECT_EQ(view.columnWidth(0), view.viewport()->width() - 270);
}

TEST_F(OutlineColumns, AreAsMuchWiderAsATextInSightNeeds) {
    addProject(std::numeric_limits<std::uint64_t>::max(), 2000000000, 1700000000);
    model.reloadData();
    EXPECT_EQ(widths(), neededWidths());
    EXPECT_GT(view.columnWidth(1), 60);
    EXPECT_GT(view.columnWidth(2), 60);
    EXPECT_EQ(view.columnWidth(0), view.viewport()->width() - view.columnWidth(1) -
                                       view.columnWidth(2) - view.columnWidth(3));
}

TEST_F(OutlineColumns, FollowTheTextsThatComeAndGo) {
    FrameCacheEntry& inner = *addNode(*project(2), corvid::kCompositionNode, "inner");
    withFigures(inner, std::numeric_limits<std::uint64_t>::max(), -2000000000, 1700000000);
    model.reloadData();
    EXPECT_EQ(widths(), (std::vector<int>{60, 60, 150}));
    view.expandItem(project(2), false);
    EXPECT_EQ(widths(), neededWidths());
    EXPECT_GT(view.columnWidth(2), 60);
    view.collapseItem(project(2), false);
    EXPECT_EQ(widths(), (std::vector<int>{60, 60, 150}));
    view.expandItems({project(2)});
    EXPECT_EQ(widths(), neededWidths());
    model.forgetData();
    EXPECT_EQ(widths(), (std::vector<int>{60, 60, 150}));
}

TEST_F(OutlineColumns, FollowTheFont) {
    addProject(999999, 100, 1700000000);
    model.reloadData();
    for (const int pixels : {11, 20, 40, 11}) {
        setFontSize(pixels);
        EXPECT_EQ(widths(), neededWidths()) << pixels;
    }
}

TEST_F(OutlineColumns, NeedWhatTheWidestOfManyTextsNeeds) {
    std::mt19937_64 random(7);
    for (const int pixels : {8, 11, 13, 27}) {
        setFontSize(pixels);
        for (int round = 0; round < 20; ++round) {
            source.reload();
            for (int i = 0; i < 10; ++i) {
                addProject(random() >> random() % 64,
                           static_cast<int>(random() % 2000000000) >> random() % 32,
                           static_cast<int>(random() % 2000000000));
            }
            model.reloadData();
            EXPECT_EQ(widths(), neededWidths()) << pixels;
        }
    }
}

// A font whose digits differ in width, or a language with long dates, is no reason to cut a text.
TEST_F(OutlineColumns, NeedWhatTheirTextsNeedAroundTheTurnsOfUnitsAndDays) {
    setFontSize(23);
    for (const std::uint64_t bytes : {511ULL, 512ULL, 102394ULL, 102395ULL, 1023994ULL, 1023999ULL,
                                      104857599ULL, 1048575999ULL}) {
        for (const int seconds : {0, -1, 86399, 1767225599, 1767225600, 1765497599}) {
            source.reload();
            addProject(bytes, 10, seconds);
            model.reloadData();
            EXPECT_EQ(widths(), neededWidths()) << bytes << " " << seconds;
        }
    }
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

// The table that the view has with one line more: when a node's oldest frame was made, which here
// is the time it was changed.
class OutlineWithOneColumnMore : public corvid::test::OutlineTest {
protected:
    OutlineWithOneColumnMore() {
        for (int i = 0; i < 3; ++i) {
            project(i)->setModifiedTime(1700000000);
        }
        wider.reloadData();
        view.setOutlineModel(&wider);
        QCoreApplication::processEvents(); // which lays out the columns
    }
    ~OutlineWithOneColumnMore() override { view.setOutlineModel(&model); }
    static std::vector<corvid::Column> columns() {
        std::vector<corvid::Column> columns = corvid::outlineColumns();
        columns.push_back(columns.back());
        columns.back().identifier = "oldest_frame";
        columns.back().title = "Oldest frame";
        columns.back().usualWidth = 40;
        return columns;
    }

    OutlineModel wider{source, columns()};
};

TEST_F(OutlineWithOneColumnMore, ItHasItsHeaderItsTextsAndItsWidth) {
    EXPECT_EQ(view.header()->count(), 5);
    EXPECT_EQ(view.model()->headerData(4, Qt::Horizontal).toString(), "Oldest frame");
    EXPECT_EQ(view.model()->index(0, 4).data().toString(), project(0)->getLastModifiedTime());
    const int needed =
        QFontMetrics(view.font()).horizontalAdvance(project(0)->getLastModifiedTime());
    EXPECT_GE(view.columnWidth(4), needed + 10);
    EXPECT_LE(view.columnWidth(4), needed + 12);
    EXPECT_EQ(view.columnWidth(0), view.viewport()->width() - 270 - view.columnWidth(4));
    view.clearFocus();
    const QRect cell = view.visualRect(wider.index(1, 4));
    const QImage row = view.viewport()->grab(cell).toImage();
    const QRgb empty = UISettings::instance()->getClrFillPrimary().rgb();
    int drawn = 0;
    for (int y = 0; y < row.height(); ++y) {
        for (int x = 0; x < row.width(); ++x) {
            drawn += row.pixelColor(x, y).rgb() != empty ? 1 : 0;
        }
    }
    EXPECT_GT(drawn, 50) << "the text is painted";
}

TEST_F(OutlineWithOneColumnMore, AScreenReaderFindsIt) {
    QAccessibleInterface* tree = QAccessible::queryAccessibleInterface(&view);
    ASSERT_NE(tree->tableInterface(), nullptr);
    EXPECT_EQ(tree->tableInterface()->columnCount(), 5);
    EXPECT_EQ(tree->tableInterface()->columnDescription(4), "Oldest frame");
    EXPECT_EQ(tree->tableInterface()->cellAt(0, 4)->text(QAccessible::Name),
              project(0)->getLastModifiedTime());
    EXPECT_EQ(tree->childCount(), (3 + 1) * 5);
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

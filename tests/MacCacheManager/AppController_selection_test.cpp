// Selecting, the totals, and the commands that move around in the tree.

#include "MacCacheManager/CorvidPanel.h"
#include "tests/support/controller_fixture.h"

#include <QScrollBar>
#include <QSignalSpy>
#include <QToolButton>

namespace {

using corvid::test::ControllerTest;
using corvid::test::HandMadeCache;

class ControllerSelection : public ControllerTest {
protected:
    ControllerSelection() {
        makeSample();
        launch();
    }
    QStringList selectedTotals() const { return statistics().mid(3); }
};

TEST_F(ControllerSelection, NothingIsSelectedAtFirst) {
    EXPECT_EQ(selectedRows(), QStringList());
    EXPECT_EQ(controller->getSelectedItem(), nullptr);
    EXPECT_EQ(statistics(), (QStringList{"3", "7", "2.76 KB", "0", "0", "0 bytes"}));
}

TEST_F(ControllerSelection, AProjectCountsAsAWhole) {
    click("New.aep");
    EXPECT_EQ(selectedTotals(), (QStringList{"1", "4", "2.46 KB"}));
}

TEST_F(ControllerSelection, AProjectAndItsCompositionCountOnce) {
    expand("New.aep");
    click("New.aep");
    click("Side", Qt::ControlModifier);
    EXPECT_EQ(selectedTotals(), (QStringList{"2", "4", "2.46 KB"}));
}

TEST_F(ControllerSelection, TwoCompositionsCountTogether) {
    expand("New.aep");
    click("Main");
    click("Side", Qt::ControlModifier);
    EXPECT_EQ(selectedTotals(), (QStringList{"2", "4", "2.46 KB"}));
    click("Side");
    EXPECT_EQ(selectedTotals(), (QStringList{"1", "1", "500 bytes"}));
}

TEST_F(ControllerSelection, AFeatureAndTheCompositionAboveItCountOnce) {
    controller->expandAll();
    click("Main");
    click("Precomp Proxy", Qt::ControlModifier);
    EXPECT_EQ(selectedTotals(), (QStringList{"2", "3", "1.98 KB"}));
    click("Precomp Proxy");
    EXPECT_EQ(selectedTotals(), (QStringList{"1", "1", "24 bytes"}));
}

TEST_F(ControllerSelection, AnEmptyProjectAddsNothing) {
    click("Empty.aep");
    EXPECT_EQ(selectedTotals(), (QStringList{"1", "0", "0 bytes"}));
}

TEST_F(ControllerSelection, TotalsOfAMissingNodeAreZero) {
    EXPECT_EQ(controller->calculateSelectionFilesize(nullptr), 0U);
    EXPECT_EQ(controller->calculateSelectionFilecount(nullptr), 0);
}

TEST_F(ControllerSelection, TotalsCanBeAskedOfAnyNode) {
    expand("New.aep");
    click("Side");
    EXPECT_EQ(controller->calculateSelectionFilesize(item("New.aep")), 500U);
    EXPECT_EQ(controller->calculateSelectionFilecount(item("New.aep")), 1);
    EXPECT_EQ(controller->calculateSelectionFilesize(item("Old.aep")), 0U);
}

TEST_F(ControllerSelection, SelectAllSelectsTheVisibleRows) {
    expand("New.aep");
    controller->selectAll();
    EXPECT_EQ(selectedRows(), rows());
    EXPECT_EQ(selectedTotals(), (QStringList{"5", "7", "2.76 KB"}));
}

TEST_F(ControllerSelection, DeselectAllLeavesNothing) {
    controller->selectAll();
    controller->deselectAll();
    EXPECT_EQ(selectedRows(), QStringList());
    EXPECT_EQ(selectedTotals(), (QStringList{"0", "0", "0 bytes"}));
}

TEST_F(ControllerSelection, TheSelectedItemIsTheFirstSelectedRow) {
    click("Old.aep");
    click("New.aep", Qt::ControlModifier);
    EXPECT_EQ(controller->getSelectedItem(), item("New.aep"));
}

TEST_F(ControllerSelection, CollapsingDeselectsWhatItHides) {
    expand("New.aep");
    click("Side");
    click("Old.aep", Qt::ControlModifier);
    triangle(row("New.aep"));
    EXPECT_EQ(selectedRows(), QStringList("Old.aep"));
    EXPECT_EQ(selectedTotals(), (QStringList{"1", "3", "300 bytes"}));
    expand("New.aep");
    EXPECT_EQ(selectedRows(), QStringList("Old.aep"));
}

TEST_F(ControllerSelection, CollapsingSelectsNothingInPlaceOfWhatItHides) {
    expand("New.aep");
    click("Side");
    triangle(row("New.aep"));
    EXPECT_EQ(selectedRows(), QStringList());
    EXPECT_EQ(selectedTotals(), (QStringList{"0", "0", "0 bytes"}));
}

TEST_F(ControllerSelection, NewRowsInsideASelectionAreNotSelected) {
    controller->selectAll();
    triangle(row("New.aep"));
    EXPECT_EQ(selectedRows(), (QStringList{"New.aep", "Old.aep", "Empty.aep"}));
    EXPECT_EQ(labelText("m_labelSelectedProjects"), "3");
}

TEST_F(ControllerSelection, ExpandAllOpensEveryLevelOfAPartlyOpenTree) {
    expand("Old.aep");
    controller->expandAll();
    EXPECT_EQ(model().rowCount(), 10);
    for (int i = 0; i < model().rowCount(); ++i) {
        EXPECT_EQ(model().isItemExpanded(model().itemAtRow(i)),
                  model().itemAtRow(i)->getNumberOfChildren() > 0);
    }
}

TEST_F(ControllerSelection, CollapseAllClosesEveryLevel) {
    controller->expandAll();
    controller->collapseAll();
    EXPECT_EQ(rows(), (QStringList{"New.aep", "Old.aep", "Empty.aep"}));
    expand("New.aep");
    EXPECT_FALSE(model().isItemExpanded(item("Main")));
}

TEST_F(ControllerSelection, ProjectsStaySelectedThroughExpandAllAndCollapseAll) {
    click("Old.aep");
    controller->expandAll();
    EXPECT_EQ(selectedRows(), QStringList("Old.aep"));
    EXPECT_EQ(selectedTotals(), (QStringList{"1", "3", "300 bytes"}));
    controller->collapseAll();
    EXPECT_EQ(selectedRows(), QStringList("Old.aep"));
}

TEST_F(ControllerSelection, CollapseAllDeselectsWhatItHides) {
    controller->expandAll();
    controller->selectAll();
    controller->collapseAll();
    EXPECT_EQ(selectedRows(), (QStringList{"New.aep", "Old.aep", "Empty.aep"}));
    EXPECT_EQ(labelText("m_labelSelectedProjects"), "3");
}

TEST_F(ControllerSelection, DeselectingTheDescendantsSparesTheNodeItself) {
    controller->expandAll();
    controller->selectAll();
    controller->deselectAllDescendants(item("New.aep"));
    EXPECT_EQ(selectedRows(),
              (QStringList{"New.aep", "Old.aep", "Intro", "Spec Preview", "Empty.aep"}));
    controller->deselectAllDescendants(nullptr);
    controller->deselectAllDescendants(controller->dataSource()->getRootNode());
    EXPECT_EQ(selectedRows(), QStringList());
}

TEST_F(ControllerSelection, DeselectingTheDescendantsOfAClosedNodeDoesNothing) {
    controller->selectAll();
    controller->deselectAllDescendants(item("New.aep"));
    EXPECT_EQ(selectedRows(), (QStringList{"New.aep", "Old.aep", "Empty.aep"}));
}

TEST_F(ControllerSelection, TheOldestProjectIsTheUndatedOne) {
    controller->selectOldestProject();
    EXPECT_EQ(selectedRows(), QStringList("Empty.aep"));
}

TEST_F(ControllerSelection, TheOldestProjectIsOpenedWithAllItsDescendants) {
    item("Empty.aep")->setModifiedTime(static_cast<int>(kNewest));
    click("New.aep");
    controller->selectOldestProject();
    EXPECT_EQ(rows(), (QStringList{"New.aep", "Old.aep", "Intro", "Spec Preview", "Empty.aep"}));
    EXPECT_EQ(selectedRows(), QStringList("Old.aep"));
    EXPECT_EQ(selectedTotals(), (QStringList{"1", "3", "300 bytes"}));
}

TEST_F(ControllerSelection, OfEquallyOldProjectsTheUpperOneIsTaken) {
    item("Empty.aep")->setModifiedTime(static_cast<int>(kOldest));
    controller->selectOldestProject();
    EXPECT_EQ(selectedRows(), QStringList("Old.aep"));
    for (const char* name : {"New.aep", "Empty.aep"}) {
        item(name)->setModifiedTime(static_cast<int>(kOldest));
    }
    controller->selectOldestProject();
    EXPECT_EQ(selectedRows(), QStringList("New.aep"));
}

TEST_F(ControllerSelection, ATimeBefore1970IsOlderThanNone) {
    item("New.aep")->setModifiedTime(-1);
    controller->selectOldestProject();
    EXPECT_EQ(selectedRows(), QStringList("New.aep"));
}

TEST_F(ControllerSelection, TheRevealButtonNeedsASelection) {
    const auto* reveal = controller->getWindow()->findChild<QToolButton*>("m_btnFinder");
    EXPECT_FALSE(reveal->isEnabled());
    click("Old.aep");
    EXPECT_TRUE(reveal->isEnabled());
    controller->deselectAll();
    EXPECT_FALSE(reveal->isEnabled());
}

class ControllerRefresh : public ControllerSelection {};

TEST_F(ControllerRefresh, ShowsWhatIsOnTheDiskNow) {
    caches[2].addComposition("/Jobs/Empty.aep", "Fresh");
    caches[2].addFrame("/Jobs/Empty.aep", "Fresh", "PROXY", 0, 1024, kNewest);
    controller->refreshData();
    expand("Empty.aep");
    EXPECT_GE(row("Fresh"), 0);
    EXPECT_EQ(statistics(), (QStringList{"3", "8", "3.76 KB", "0", "0", "0 bytes"}));
}

TEST_F(ControllerRefresh, OpensAgainWhatWasOpen) {
    expand("New.aep");
    expand("Main");
    const QStringList before = rows();
    controller->refreshData();
    EXPECT_EQ(rows(), before);
}

TEST_F(ControllerRefresh, OpensAgainWhatWasOpenBelowAClosedItem) {
    expand("New.aep");
    expand("Main");
    const QStringList open = rows();
    outline().collapseItem(item("New.aep"), false);
    controller->refreshData();
    expand("New.aep");
    EXPECT_EQ(rows(), open);
}

TEST_F(ControllerRefresh, SelectsAgainWhatTheUserSelected) {
    expand("New.aep");
    click("Side");
    click("Old.aep", Qt::ControlModifier);
    controller->refreshData();
    EXPECT_EQ(selectedRows(), (QStringList{"Side", "Old.aep"}));
    EXPECT_EQ(selectedTotals(), (QStringList{"2", "4", "0.78 KB"}));
}

TEST_F(ControllerRefresh, SelectsNothingInPlaceOfWhatIsGone) {
    click("Old.aep");
    corvid::test::removeTree(caches[1].projectPath("/Jobs/Old.aep"));
    controller->refreshData();
    EXPECT_EQ(rows(), (QStringList{"New.aep", "Empty.aep"}));
    EXPECT_EQ(selectedRows(), QStringList());
    EXPECT_EQ(statistics(), (QStringList{"2", "4", "2.46 KB", "0", "0", "0 bytes"}));
}

TEST_F(ControllerRefresh, SelectsNothingWhenNothingWasSelected) {
    outline().setFocus();
    for (int i = 0; i < 3; ++i) {
        controller->refreshData();
        EXPECT_EQ(selectedRows(), QStringList());
    }
}

TEST_F(ControllerRefresh, DoesNotSelectASecondRowThatLeadsToTheSameDirectory) {
    HandMadeCache& cache = caches[2];
    cache.addComposition("/Jobs/Empty.aep", "Twin");
    cache.addCompositionLine("0123456789abcdef0123456789abcdef", "Twin");
    corvid::test::makeDirectory(cache.compositionPath("/Jobs/Empty.aep", "Twin") + "/PROXY");
    corvid::test::makeDirectory(cache.projectPath("/Jobs/Empty.aep") +
                                "/0123456789abcdef0123456789abcdef");
    controller->refreshData();
    expand("Empty.aep");
    const int first = row("Twin");
    ASSERT_EQ(rows().count("Twin"), 2);
    outline().expandItem(model().itemAtRow(first), true);
    outline().expandItem(model().itemAtRow(first + 2), true);
    click(row("Precomp Proxy"));
    controller->refreshData();
    EXPECT_EQ(selectedRows(), QStringList("Precomp Proxy"));
}

TEST_F(ControllerRefresh, KeepsTheScrollPosition) {
    for (int i = 0; i < 100; ++i) {
        caches[2].addProject("/Jobs/More " + std::to_string(i) + ".aep");
    }
    controller->refreshData();
    QScrollBar* bar = outline().verticalScrollBar();
    ASSERT_GT(bar->maximum(), 100);
    bar->setValue(77);
    controller->refreshData();
    EXPECT_EQ(bar->value(), 77);
}

TEST_F(ControllerRefresh, KeepsTheCurrentRowForTheKeyboard) {
    click("Old.aep");
    controller->refreshData();
    outline().setFocus();
    press(Qt::Key_Down);
    EXPECT_EQ(selectedRows(), QStringList("Empty.aep"));
}

TEST_F(ControllerRefresh, TellsOfTheChangeOnce) {
    click("Old.aep");
    const QSignalSpy told(&outline(), &CacheOutlineView::selectionDidChange);
    controller->refreshData();
    EXPECT_EQ(told.count(), 0); // the totals are filled by the command itself
    EXPECT_EQ(selectedTotals(), (QStringList{"1", "3", "300 bytes"}));
}

class EmptyController : public ControllerTest {
protected:
    EmptyController() { launch(); }
};

TEST_F(EmptyController, ShowsZeroTotals) {
    EXPECT_EQ(statistics(), (QStringList{"0", "0", "0", "0", "0", "0 bytes"}));
}

TEST_F(EmptyController, CommandsHaveNothingToDo) {
    controller->selectOldestProject();
    controller->selectAll();
    controller->expandAll();
    controller->collapseAll();
    controller->deselectAll();
    controller->revealInFinder();
    controller->showProjectPath();
    controller->refreshStats();
    controller->deselectAllDescendants(controller->dataSource()->getRootNode());
    EXPECT_EQ(selectedRows(), QStringList());
    EXPECT_EQ(statistics(), (QStringList{"0", "0", "0", "0", "0", "0 bytes"}));
}

} // namespace

// The context menus and the message about a project's path.

#include "tests/support/controller_fixture.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QMenu>
#include <QScrollBar>
#include <QTest>

namespace {

using corvid::test::ControllerTest;
using corvid::test::titleOf;
using corvid::test::titlesOf;

class ContextMenus : public ControllerTest {
protected:
    ContextMenus() {
        makeSample();
        launch();
        expand("New.aep");
    }
    static QStringList elevenEntries() {
        return {"Delete selected item(s)",
                "-",
                "Select the oldest project",
                "Select all",
                "Deselect all",
                "-",
                "Expand all",
                "Collapse all",
                "-",
                "Reveal in Finder",
                "Refresh data"};
    }
    static QStringList thirteenEntries() {
        return {"Delete selected item(s)",
                "Move cache to new location",
                "-",
                "Select the oldest project",
                "Select all",
                "Deselect all",
                "-",
                "Expand all",
                "Collapse all",
                "-",
                "Get location of AE project",
                "Reveal in Finder",
                "Refresh data"};
    }
    static QAction* entry(const QMenu& menu, const char* title) {
        for (QAction* action : menu.actions()) {
            if (titleOf(*action) == QLatin1String(title)) {
                return action;
            }
        }
        return nullptr;
    }
};

TEST_F(ContextMenus, WithoutASelectionThereIsNone) {
    EXPECT_EQ(rightClick(row("New.aep")), nullptr);
    EXPECT_EQ(selectedRows(), QStringList());
}

TEST_F(ContextMenus, ACompositionOffersElevenEntries) {
    click("Main");
    const QMenu* menu = rightClick(row("Main"));
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(titlesOf(*menu), elevenEntries());
    EXPECT_EQ(menu, controller->contextMenu());
}

TEST_F(ContextMenus, AFeatureOffersElevenEntries) {
    expand("Side");
    click("Spec Preview");
    const QMenu* menu = rightClick(row("Spec Preview"));
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(titlesOf(*menu), elevenEntries());
}

TEST_F(ContextMenus, AProjectOffersThirteenEntries) {
    click("Old.aep");
    const QMenu* menu = rightClick(row("Old.aep"));
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(titlesOf(*menu), thirteenEntries());
    EXPECT_EQ(menu, controller->contextMenuProjectsOnly());
}

TEST_F(ContextMenus, TheFirstSelectedRowDecides) {
    click("Main");
    click("New.aep", Qt::ControlModifier);
    EXPECT_EQ(rightClick(row("Main")), controller->contextMenuProjectsOnly());
    click("Main");
    click("Old.aep", Qt::ControlModifier);
    EXPECT_EQ(rightClick(row("Old.aep")), controller->contextMenu());
}

TEST_F(ContextMenus, ARightClickLeavesTheSelectionAlone) {
    click("Main");
    EXPECT_NE(rightClick(row("Old.aep")), nullptr);
    EXPECT_EQ(selectedRows(), QStringList("Main"));
    const QRect last = outline().visualRect(model().index(model().rowCount() - 1, 0));
    EXPECT_NE(rightClick(QPoint(20, last.bottom() + 20)), nullptr);
    EXPECT_EQ(selectedRows(), QStringList("Main"));
}

TEST_F(ContextMenus, ARightClickOnATriangleOpensNothing) {
    click("Old.aep");
    const QRect cell = outline().visualRect(model().index(row("Old.aep"), 0));
    EXPECT_NE(rightClick(CacheOutlineView::disclosureRect(cell, 0).center()), nullptr);
    EXPECT_FALSE(model().isItemExpanded(item("Old.aep")));
}

TEST_F(ContextMenus, DeselectingLeavesTheMenuInPlaceButOffersNone) {
    click("Old.aep");
    controller->deselectAll();
    EXPECT_EQ(outline().menu(), controller->contextMenuProjectsOnly());
    EXPECT_EQ(outline().menuForEvent(), nullptr);
    EXPECT_EQ(rightClick(row("Old.aep")), nullptr);
}

TEST_F(ContextMenus, TheKeyboardsMenuComesUpAtTheSelection) {
    click("Main");
    QContextMenuEvent request(QContextMenuEvent::Keyboard, QPoint(0, 0), QPoint(0, 0));
    QApplication::sendEvent(outline().viewport(), &request);
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_EQ(menu, controller->contextMenu());
    const QRect cell = outline().visualRect(model().index(row("Main"), 0));
    const QPoint at = outline().viewport()->mapFromGlobal(menu->pos());
    menu->close();
    EXPECT_TRUE(cell.adjusted(-2, -2, 2, 2).contains(at) || menu->pos().y() == 0);
}

TEST_F(ContextMenus, EntriesShowNoKeyEquivalent) {
    for (const QMenu* menu : {controller->contextMenu(), controller->contextMenuProjectsOnly()}) {
        for (const QAction* action : menu->actions()) {
            EXPECT_TRUE(action->isSeparator() || !action->isShortcutVisibleInContextMenu())
                << action->text().toStdString();
        }
    }
}

TEST_F(ContextMenus, EntriesDoWhatTheySay) {
    click("Old.aep");
    const QMenu& menu = *controller->contextMenuProjectsOnly();
    entry(menu, "Expand all")->trigger();
    EXPECT_EQ(model().rowCount(), 10);
    entry(menu, "Collapse all")->trigger();
    EXPECT_EQ(model().rowCount(), 3);
    entry(menu, "Select all")->trigger();
    EXPECT_EQ(selectedRows().size(), 3);
    entry(menu, "Deselect all")->trigger();
    EXPECT_EQ(selectedRows().size(), 0);
    entry(menu, "Select the oldest project")->trigger();
    EXPECT_EQ(selectedRows(), QStringList("Empty.aep"));
    caches[2].addProject("/Jobs/Another.aep");
    entry(menu, "Refresh data")->trigger();
    EXPECT_GE(row("Another.aep"), 0);
}

TEST_F(ContextMenus, DeletingWithoutASelectionIsAnswered) {
    user.willClick("OK");
    entry(*controller->contextMenu(), "Delete selected item(s)")->trigger();
    EXPECT_EQ(user.seen().size(), 1U);
}

TEST_F(ContextMenus, MenusAreBuiltWhenTheInterfaceIsLoaded) {
    controller = nullptr;
    awake();
    EXPECT_EQ(outline().menu(), controller->contextMenu());
    EXPECT_EQ(titlesOf(*controller->contextMenu()), elevenEntries());
    EXPECT_EQ(titlesOf(*controller->contextMenuProjectsOnly()), thirteenEntries());
}

TEST_F(ContextMenus, CanBeSetUpAnew) {
    click("Old.aep");
    controller->setupContextMenus();
    EXPECT_EQ(outline().menu(), controller->contextMenu());
    EXPECT_EQ(titlesOf(*controller->contextMenu()), elevenEntries());
    EXPECT_EQ(titlesOf(*controller->contextMenuProjectsOnly()), thirteenEntries());
}

TEST_F(ContextMenus, ShiftAndF10BringUpTheMenuOfTheSelection) {
    click("Old.aep");
    press(Qt::Key_F10, Qt::ShiftModifier);
    QWidget* popup = QApplication::activePopupWidget();
    EXPECT_EQ(popup, controller->contextMenuProjectsOnly());
    if (popup != nullptr) {
        popup->close();
    }
}

TEST_F(ContextMenus, ShowingThePathNeedsASelection) {
    controller->showProjectPath();
    EXPECT_TRUE(user.seen().empty());
}

struct PathText {
    const char* name;
    const char* shown;
};

class ShownProjectPath : public ControllerTest, public ::testing::WithParamInterface<PathText> {};

TEST_P(ShownProjectPath, IsTheWholeNameAsItIs) {
    corvid::test::HandMadeCache cache(root.path("cache"));
    cache.addProject(GetParam().name);
    registerRoot(cache.path());
    launch();
    ASSERT_EQ(model().rowCount(), 1);
    click(0);
    user.willClick("OK");
    controller->showProjectPath();
    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, "The project path for the selected item is:");
    EXPECT_EQ(user.seen()[0].message, GetParam().shown);
    EXPECT_THAT(user.seen()[0].buttons, ::testing::ElementsAre("OK"));
    EXPECT_TRUE(user.seen()[0].isPlain);
}

INSTANTIATE_TEST_SUITE_P(
    Names, ShownProjectPath,
    ::testing::Values(PathText{"/Jobs/Film.aep", "/Jobs/Film.aep"},
                      PathText{"/Jobs/100%.aep", "/Jobs/100%.aep"},
                      PathText{"/Jobs/%s %d %n %@.aep", "/Jobs/%s %d %n %@.aep"},
                      PathText{"/Jobs/100%%.aep", "/Jobs/100%.aep"}, PathText{"%", "%"},
                      PathText{"/Jobs/<b>bold</b> &amp; &lt;.aep",
                               "/Jobs/<b>bold</b> &amp; &lt;.aep"},
                      PathText{"/Jobs/Été «1».aep", "/Jobs/Été «1».aep"}));

} // namespace

// The commands as they are offered: one action for each, open to the user where it means something.

#include "tests/support/command_fixture.h"
#include "tests/support/controller_fixture.h"

#include <QMenu>

#include <map>
#include <set>

using namespace corvid::test;
using ::testing::IsEmpty;

namespace {

class Commands : public CommandTest {
protected:
    Commands() {
        addFeature(alpha(), "Main", "PROXY");
        addFeature(alpha(), "Main", "SPEC_RENDER");
        addFeature(beta(), "Main", "PROXY");
        open();
    }
    // Each command of the menu bar by its title, without mnemonic and dots.
    std::map<std::string, QAction*> menuBar() {
        std::map<std::string, QAction*> all;
        for (const QAction* top : controller().getWindow()->menuBar()->actions()) {
            for (QAction* action : top->menu()->actions()) {
                if (!action->isSeparator()) {
                    all[titleOf(*action)] = action;
                }
            }
        }
        return all;
    }
    std::set<std::string> disabled() {
        std::set<std::string> titles;
        for (const auto& [title, action] : menuBar()) {
            if (!action->isEnabled()) {
                titles.insert(title);
            }
        }
        return titles;
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers) {
        QTest::keyClick(&view(), key, modifiers);
    }
};

constexpr char kMove[] = "Move cache to new location";
constexpr char kLocation[] = "Get location of AE project";
constexpr char kReveal[] = "Reveal in Finder";

TEST_F(Commands, AreOneActionEachInMenuBarContextMenusAndToolbar) {
    const std::map<std::string, QAction*> all = menuBar();
    for (const QMenu* menu : {controller().contextMenu(), controller().contextMenuProjectsOnly()}) {
        for (QAction* action : menu->actions()) {
            if (!action->isSeparator()) {
                EXPECT_EQ(all.at(titleOf(*action)), action) << titleOf(*action);
            }
        }
    }
    const std::map<const char*, const char*> toolbar = {{"m_btnDelete", "Delete selected item(s)"},
                                                        {"m_btnRefresh", "Refresh data"},
                                                        {"m_btnFinder", kReveal},
                                                        {"m_btnSettings", "Settings"}};
    for (const auto& [button, title] : toolbar) {
        EXPECT_EQ(widget<QToolButton>(button).defaultAction(), all.at(title)) << button;
    }
}

TEST_F(Commands, ToolbarKeepsItsShortTitlesImagesAndNames) {
    const struct {
        const char* button;
        const char* title;
        const char* accessibleName;
        const char* toolTip;
    } buttons[] = {{"m_btnDelete", "Delete", "Delete selected item(s)", "Delete selected item(s)"},
                   {"m_btnRefresh", "Refresh", "Refresh data", "Read every cache again"},
                   {"m_btnFinder", "Reveal", "Reveal in the file browser",
                    "Show the selected item in the file browser"},
                   {"m_btnSettings", "Settings", "Settings", "Change the cache settings"}};
    clickRow({alpha()}); // a change of state renews what a button takes from its action
    for (const auto& expected : buttons) {
        const auto& button = widget<QToolButton>(expected.button);
        EXPECT_EQ(button.text(), expected.title);
        EXPECT_EQ(button.accessibleName(), expected.accessibleName);
        EXPECT_EQ(button.toolTip(), expected.toolTip);
        EXPECT_FALSE(button.icon().isNull()) << expected.button;
    }
}

TEST_F(Commands, MenusShowNoImages) {
    for (const auto& [title, action] : menuBar()) {
        EXPECT_TRUE(action->icon().isNull() || !action->isIconVisibleInMenu()) << title;
    }
}

TEST_F(Commands, WithoutASelectionThoseForAnItemAreDisabled) {
    EXPECT_THAT(disabled(), ::testing::ElementsAre(kLocation, kMove, kReveal));
    clickRow({alpha()});
    controller().deselectAll();
    EXPECT_THAT(disabled(), ::testing::ElementsAre(kLocation, kMove, kReveal));
}

TEST_F(Commands, ThoseForAProjectWantOneAsTheFirstSelectedRow) {
    const std::string first = controller().dataSource()->getRootNode()->getChildAt(0)->getName();
    const std::string second = controller().dataSource()->getRootNode()->getChildAt(1)->getName();
    clickRow({first});
    EXPECT_THAT(disabled(), IsEmpty());
    clickRow({first, "Main"});
    EXPECT_THAT(disabled(), ::testing::ElementsAre(kLocation, kMove));
    clickRow({first, "Main", "PROXY"});
    EXPECT_THAT(disabled(), ::testing::ElementsAre(kLocation, kMove));
    clickRow({second}, Qt::ControlModifier);
    EXPECT_THAT(disabled(), ::testing::ElementsAre(kLocation, kMove));
    clickRow({first}, Qt::ControlModifier);
    EXPECT_THAT(disabled(), IsEmpty());
}

TEST_F(Commands, ARefreshThatLosesTheSelectionDisablesThem) {
    clickRow({alpha()});
    removeTree(folderOf(alpha()));
    controller().refreshData();
    EXPECT_THAT(disabled(), ::testing::ElementsAre(kLocation, kMove, kReveal));
}

TEST_F(Commands, TheKeyThatMovesAProjectLeavesACompositionAlone) {
    clickRow({alpha(), "Main"});
    const Snapshot before = snapshot(root.path());
    const std::vector<std::string> shown = rows();

    press(Qt::Key_M, Qt::ControlModifier);

    EXPECT_THAT(user.seen(), IsEmpty());
    EXPECT_EQ(snapshot(root.path()), before);
    EXPECT_EQ(rows(), shown);
}

TEST_F(Commands, TheKeyThatTellsAProjectsPathTellsNoFeaturesName) {
    clickRow({alpha(), "Main", "SPEC_RENDER"});
    press(Qt::Key_L, Qt::ControlModifier);
    EXPECT_THAT(user.seen(), IsEmpty());

    clickRow({alpha()});
    user.willClick("OK");
    press(Qt::Key_L, Qt::ControlModifier);
    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].message, alpha());
}

TEST_F(Commands, TheDeleteKeySaysThatNothingIsSelected) {
    user.willClick("OK");
    press(Qt::Key_Delete, Qt::NoModifier);
    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, "You have not selected any items for deletion.");
}

// Where neither a file browser nor anything else that opens folders can be reached.
class BareDesktop : public Commands {
private:
    const EnvironmentGuard m_noBus{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"};
    const EnvironmentGuard m_noPrograms{"PATH", "/nonexistent"};
};

TEST_F(BareDesktop, RevealingSaysThatNothingShowsTheItem) {
    clickRow({alpha()});
    user.willClick("OK");
    clickButton("m_btnFinder");
    ASSERT_TRUE(waitFor([this] { return user.hasAnsweredAll(); }));
    EXPECT_EQ(user.seen()[0].title, "The item cannot be shown in a file browser.");
    EXPECT_THAT(user.seen()[0].message, ::testing::HasSubstr(folderOf(alpha())));
}

TEST_F(BareDesktop, ItSaysSoAfterTheCommandAtWork) {
    clickRow({alpha()});
    controller().revealInFinder();
    user.will([](QDialog& path) {
        QTest::qWait(100);
        DialogUser::click(path, "OK");
    });
    controller().showProjectPath();
    user.willClick("OK");
    ASSERT_TRUE(waitFor([this] { return user.hasAnsweredAll(); }));
    EXPECT_EQ(user.seen()[0].title, "The project path for the selected item is:");
    EXPECT_EQ(user.seen()[1].title, "The item cannot be shown in a file browser.");
}

} // namespace

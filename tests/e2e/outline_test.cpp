// The outline with keyboard and mouse in the running program.

#include "tests/e2e/command_test.h"

#include <gmock/gmock.h>

#include <fstream>

namespace corvid::test {

namespace {

using ::testing::ElementsAre;

class OutlineInTheProgram : public CommandProgramTest {
protected:
    // The names of the selected rows.
    std::vector<std::string> selected() {
        const Accessible tree = readAccessibleTree(session);
        std::vector<std::string> names;
        for (const std::string& name : rows()) {
            for (const Accessible* cell : tree.all(name, "tree item")) {
                if (cell->isSelected) {
                    names.push_back(name);
                }
            }
        }
        return names;
    }
};

TEST_F(OutlineInTheProgram, IsWalkedWithTheKeyboardAlone) {
    const SampleCache cache = makeCache(smallCache(2, 1, 2));
    open();
    const std::string first = shownName(cache.projects[0]);
    const std::string second = shownName(cache.projects[1]);

    press("Down"); // the outline has the keyboard from the start
    press("Home");
    EXPECT_THAT(selected(), ElementsAre(first));
    press("Right");
    EXPECT_THAT(rows(), ElementsAre(first, "Comp 1", second));
    press("Right");
    EXPECT_THAT(selected(), ElementsAre("Comp 1"));
    press("Right");
    press("Down");
    EXPECT_EQ(rows().size(), 5U);
    EXPECT_EQ(selected().size(), 1U);
    press("Left");
    EXPECT_THAT(selected(), ElementsAre("Comp 1"));
    press("Left");
    EXPECT_THAT(rows(), ElementsAre(first, "Comp 1", second));
    press("Left");
    press("Left");
    EXPECT_THAT(rows(), ElementsAre(first, second));
    press("End");
    EXPECT_THAT(selected(), ElementsAre(second));
}

TEST_F(OutlineInTheProgram, BeginsAtTheLastRowWithEnd) {
    const SampleCache cache = makeCache(smallCache(3));
    open();
    press("End");
    EXPECT_THAT(selected(), ElementsAre(shownName(cache.projects[2])));
}

TEST_F(OutlineInTheProgram, SelectsNothingByAPressOnATriangle) {
    const SampleCache cache = makeCache(smallCache(3));
    open();
    const Accessible row = waitForAccessible(session, shownName(cache.projects[0]), "tree item");
    const QPoint triangle = row.place.topLeft() + QPoint(12, row.place.height() / 2);

    session.display().drag(triangle, triangle + QPoint(60, 2 * row.place.height()));
    session.waitUntilIdle(window.id);
    EXPECT_THAT(selected(), ElementsAre());
    EXPECT_EQ(rows().size(), 3U);
    session.clickOnScreen(triangle);
    session.waitUntilIdle(window.id);

    EXPECT_THAT(selected(), ElementsAre());
    EXPECT_EQ(rows().size(), 4U);
}

TEST_F(OutlineInTheProgram, OpensAndSelectsRowsForAScreenReader) {
    const SampleCache cache = makeCache(smallCache(2));
    open();
    const std::string project = shownName(cache.projects[0]);
    const Accessible closed = waitForAccessible(session, project, "tree item");
    EXPECT_TRUE(closed.isExpandable);
    EXPECT_FALSE(closed.isExpanded);

    ASSERT_TRUE(doAction(session, closed, "Toggle"));
    EXPECT_THAT(rowsBecoming({project, "Comp 1", shownName(cache.projects[1])}),
                ElementsAre(project, "Comp 1", shownName(cache.projects[1])));
    EXPECT_TRUE(waitForAccessible(session, project, "tree item").isExpanded);
    EXPECT_THAT(selected(), ElementsAre());

    const Accessible program = readAccessibleTree(session);
    const Accessible& tree = *program.allWithRole("tree").at(0);
    EXPECT_TRUE(selectRowOf(session, tree, 1));
    EXPECT_TRUE(selectRowOf(session, tree, 2));
    EXPECT_TRUE(shows("Selected rows: 2"));
    EXPECT_THAT(selectedRowsOf(session, tree), ElementsAre(1, 2));
    EXPECT_TRUE(doAction(session, waitForAccessible(session, "Comp 1", "tree item"), "Press"));
    EXPECT_TRUE(shows("Selected rows: 1"));
    EXPECT_THAT(selected(), ElementsAre("Comp 1"));
}

TEST_F(OutlineInTheProgram, OpensItsMenuWithTheKeyboard) {
    const SampleCache cache = makeCache(smallCache(2));
    open();
    const char* keys[] = {"Shift+F10", "Menu"};
    for (std::size_t i = 0; i < 2; ++i) {
        clickRow(shownName(cache.projects[i])); // another each time: not a double-click
        session.chooseFromMenu([&] { session.pressKey(window.id, keys[i]); }, 4); // all
        session.waitUntilIdle(window.id);
        EXPECT_EQ(selected().size(), 2U) << keys[i];
    }
}

TEST_F(OutlineInTheProgram, SelectsEverythingAndNothingWithTheKeyboard) {
    const SampleCache cache = makeCache(smallCache(3));
    open();

    press("Ctrl+A");
    EXPECT_EQ(selected().size(), cache.projects.size());
    EXPECT_TRUE(shows("Selected rows: 3"));
    press("Ctrl+Shift+A");

    EXPECT_TRUE(selected().empty());
}

TEST_F(OutlineInTheProgram, ShowsFilesThatWereAddedAfterF5) {
    const SampleCache cache = makeCache(smallCache(1, 1, 1));
    open();
    EXPECT_TRUE(shows("Files in the whole cache: 3"));
    std::ofstream(cache.projects[0].node.members[0].path + "/SPEC_PREVIEW/00000003.raw") << "new";

    press("F5");

    EXPECT_TRUE(shows("Files in the whole cache: 4"));
}

TEST_F(OutlineInTheProgram, KeepsWhatIsOpenAndSelectedOverARefresh) {
    const SampleCache cache = makeCache(smallCache(2, 1, 1));
    open();
    clickRow(shownName(cache.projects[0]));
    press("Alt+Right");
    clickRow("Spec Preview");
    const std::vector<std::string> before = rows();

    press("F5");

    EXPECT_EQ(rowsBecoming(before), before);
    EXPECT_THAT(selected(), ElementsAre("Spec Preview"));
}

TEST_F(OutlineInTheProgram, ExpandsAndCollapsesEverythingFromTheContextMenu) {
    const SampleCache cache = makeCache(smallCache(1, 1, 2));
    open();
    const std::string project = shownName(cache.projects[0]);
    clickRow(project);
    const Accessible row = waitForAccessible(session, project, "tree item");
    // Two right-clicks at once in one place would be a double-click.
    const auto menuAt = [&](int offset) {
        session.clickOnScreen(row.place.center() + QPoint(offset, 0), MouseButton::Right);
    };

    session.chooseFromMenu([&] { menuAt(0); }, 6);
    session.waitUntilIdle(window.id);
    EXPECT_EQ(rows().size(), 4U);
    session.chooseFromMenu([&] { menuAt(100); }, 7);
    session.waitUntilIdle(window.id);

    EXPECT_THAT(rows(), ElementsAre(project));
}

TEST_F(OutlineInTheProgram, TellsTheProjectsPathFromTheContextMenu) {
    const SampleCache cache = makeCache(smallCache(1));
    open();
    clickRow(shownName(cache.projects[0]));
    const Accessible row = waitForAccessible(session, shownName(cache.projects[0]), "tree item");

    session.chooseFromMenu([&] { session.clickOnScreen(row.place.center(), MouseButton::Right); },
                           8);

    EXPECT_TRUE(shows("The project path for the selected item is:"));
    EXPECT_TRUE(shows(cache.projects[0].node.name));
    answer("OK");
}

TEST_F(OutlineInTheProgram, SaysThatNoFileBrowserIsThere) {
    const SampleCache cache = makeCache(smallCache(1));
    session.environment().insert(QStringLiteral("PATH"), QStringLiteral("/nonexistent"));
    open();
    clickRow(shownName(cache.projects[0]));

    press("Ctrl+Shift+R");

    EXPECT_TRUE(shows("The item cannot be shown in a file browser."));
    answer("OK");
}

TEST_F(OutlineInTheProgram, OffersNoMenuWithoutASelection) {
    const SampleCache cache = makeCache(smallCache(1));
    open();
    const std::size_t windows = session.display().windows().size();

    clickRow(shownName(cache.projects[0]), MouseButton::Right);

    EXPECT_EQ(session.display().windows().size(), windows);
}

TEST_F(OutlineInTheProgram, LooksDifferentWithEverySelection) {
    const SampleCache cache = makeCache(smallCache(2));
    open();
    session.display().moveMouse({0, 0});
    const QImage none = session.settledPicture(window.id);

    press("Down");
    const QImage one = session.settledPicture(window.id);
    press("Down");
    const QImage other = session.settledPicture(window.id);

    EXPECT_NE(none, one);
    EXPECT_NE(one, other);
    EXPECT_EQ(one.size(), window.geometry.size());
}

} // namespace

} // namespace corvid::test

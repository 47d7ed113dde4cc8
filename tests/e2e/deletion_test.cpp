// Deleting with mouse and keys, and what is on the disk afterwards.

#include "tests/e2e/command_test.h"

#include <gmock/gmock.h>

namespace corvid::test {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kDelete[] = "Delete selected item(s)";
constexpr char kQuestion[] = "Are you sure you want to delete the selected item(s)?";

class DeletingInTheProgram : public CommandProgramTest {};

TEST_F(DeletingInTheProgram, NoLeavesTheDiskAsItIs) {
    const SampleCache cache = makeCache(smallCache(2));
    open();
    const Contents before = contents(cache.cacheRoots[0]);
    clickRow(shownName(cache.projects[0]));

    clickOn(session, kDelete, "push button");
    EXPECT_TRUE(shows(kQuestion));
    answer("No");

    EXPECT_EQ(contents(cache.cacheRoots[0]), before);
    EXPECT_EQ(rows().size(), 2U);
}

TEST_F(DeletingInTheProgram, YesRemovesTheProjectAndKeepsItsNeighbour) {
    const SampleCache cache = makeCache(smallCache(2));
    open();
    const SampleProject& gone = cache.projects[0];
    const SampleProject& kept = cache.projects[1];
    const Contents neighbour = contents(kept.node.path);
    clickRow(shownName(gone));

    clickOn(session, kDelete, "push button");
    answer("Yes");

    EXPECT_THAT(rowsBecoming({shownName(kept)}), ElementsAre(shownName(kept)));
    EXPECT_FALSE(std::filesystem::exists(gone.node.path));
    EXPECT_EQ(contents(kept.node.path), neighbour);
    EXPECT_TRUE(shows("Projects in the whole cache: 1"));
}

TEST_F(DeletingInTheProgram, TheDeleteKeyAsksToo) {
    const SampleCache cache = makeCache(smallCache(1));
    open();
    clickRow(shownName(cache.projects[0]));

    press("Delete");
    answer("Yes");

    EXPECT_THAT(rowsBecoming({}), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(cache.projects[0].node.path));
}

TEST_F(DeletingInTheProgram, EscapeMeansNo) {
    const SampleCache cache = makeCache(smallCache(1));
    open();
    const Contents before = contents(cache.cacheRoots[0]);
    clickRow(shownName(cache.projects[0]));
    press("Delete");
    waitForAccessible(session, "Yes", "push button");

    session.display().pressKey("Escape");
    waitFor([&] { return readAccessibleTree(session).all("Yes").empty(); });

    EXPECT_EQ(contents(cache.cacheRoots[0]), before);
    EXPECT_EQ(rows().size(), 1U);
}

TEST_F(DeletingInTheProgram, WithoutASelectionItSaysSo) {
    const SampleCache cache = makeCache(smallCache(1));
    open();
    const Contents before = contents(cache.cacheRoots[0]);

    clickOn(session, kDelete, "push button");
    EXPECT_TRUE(shows("You have not selected any items for deletion."));
    EXPECT_TRUE(shows("Cache Manager has nothing to delete."));
    answer("OK");

    EXPECT_EQ(contents(cache.cacheRoots[0]), before);
}

TEST_F(DeletingInTheProgram, AllOfTheMenuBarEmptiesTheCache) {
    const SampleCache cache = makeCache(smallCache(3));
    open();

    session.chooseFromMenu([this] { clickOn(session, "Edit", "menu item"); }, 2);
    answer("Yes");

    EXPECT_THAT(rowsBecoming({}), IsEmpty());
    for (const SampleProject& project : cache.projects) {
        EXPECT_FALSE(std::filesystem::exists(project.node.path)) << project.node.name;
    }
    EXPECT_TRUE(std::filesystem::exists(cache.cacheRoots[0] + "ProjectHash.txt"));
    EXPECT_TRUE(shows("Projects in the whole cache: 0"));
    EXPECT_TRUE(shows("Files in the whole cache: 0"));
}

TEST_F(DeletingInTheProgram, TheLastFeatureTakesItsProjectWithIt) {
    const SampleCache cache = makeCache(smallCache(2, 1, 1));
    open();
    const SampleProject& gone = cache.projects[0];
    const SampleProject& kept = cache.projects[1];
    const Contents neighbour = contents(kept.node.path);
    clickRow(shownName(gone));
    press("Alt+Right");
    clickRow("Spec Preview");

    press("Delete");
    answer("Yes");

    EXPECT_THAT(rowsBecoming({shownName(kept)}), ElementsAre(shownName(kept)));
    EXPECT_FALSE(std::filesystem::exists(gone.node.path));
    EXPECT_EQ(contents(kept.node.path), neighbour);
}

TEST_F(DeletingInTheProgram, OneOfTwoFeaturesKeepsTheOther) {
    const SampleCache cache = makeCache(smallCache(1, 1, 2));
    open();
    const SampleNode& composition = cache.projects[0].node.members[0];
    const Contents neighbour = contents(composition.path + "/SPEC_RENDER");
    clickRow(shownName(cache.projects[0]));
    press("Alt+Right");
    clickRow("Spec Preview");

    press("Delete");
    answer("Yes");

    const std::vector<std::string> left = {shownName(cache.projects[0]), "Comp 1", "Spec Render"};
    EXPECT_EQ(rowsBecoming(left), left);
    EXPECT_FALSE(std::filesystem::exists(composition.path + "/SPEC_PREVIEW"));
    EXPECT_EQ(contents(composition.path + "/SPEC_RENDER"), neighbour);
}

TEST_F(DeletingInTheProgram, TheContextMenuDeletesWhatIsSelected) {
    const SampleCache cache = makeCache(smallCache(2));
    open();
    clickRow(shownName(cache.projects[1]));

    session.chooseFromMenu(
        [&] {
            const Accessible row =
                waitForAccessible(session, shownName(cache.projects[1]), "tree item");
            session.clickOnScreen(row.place.center(), MouseButton::Right);
        },
        1);
    answer("Yes");

    EXPECT_THAT(rowsBecoming({shownName(cache.projects[0])}),
                ElementsAre(shownName(cache.projects[0])));
    EXPECT_FALSE(std::filesystem::exists(cache.projects[1].node.path));
}

// What the user does meanwhile waits for the end of the deletion.
TEST_F(DeletingInTheProgram, ClosingTheWindowMeanwhileEndsTheProgramAfterwards) {
    SampleOptions options = smallCache(1, 1, 1);
    options.frames = 20000;
    const SampleCache cache = makeCache(options);
    open();
    clickRow(shownName(cache.projects[0]));
    press("Delete");

    clickOn(session, "Yes", "push button");
    session.close(window.id);

    EXPECT_EQ(session.waitForExit(), 0) << session.output();
    EXPECT_FALSE(std::filesystem::exists(cache.projects[0].node.path));
}

} // namespace

} // namespace corvid::test

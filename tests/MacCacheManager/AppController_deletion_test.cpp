// What the deletion commands ask, and what they leave on the disk.

#include "tests/support/command_fixture.h"

#include <sys/stat.h>

using namespace corvid::test;
using corvid::hashOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

constexpr char kQuestion[] = "Are you sure you want to delete the selected item(s)?";

class Deletion : public CommandTest {
protected:
    // Clicks the toolbar's button and answers the question.
    void deleteSelected(const std::string& answer = "Yes") {
        user.willClick(answer);
        clickButton("m_btnDelete");
    }
};

TEST_F(Deletion, SaysThatThereIsNothingToDeleteWithoutASelection) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    const Snapshot before = snapshot(root.path("Volumes"));

    user.willClick("OK");
    clickButton("m_btnDelete");

    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, "You have not selected any items for deletion.");
    EXPECT_EQ(user.seen()[0].message, "Cache Manager has nothing to delete.");
    EXPECT_THAT(user.seen()[0].buttons, ElementsAre("OK"));
    EXPECT_EQ(snapshot(root.path("Volumes")), before);
}

TEST_F(Deletion, AsksOnceWithYesAsTheDefault) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    clickRow({alpha()});

    deleteSelected("No");

    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, kQuestion);
    EXPECT_EQ(user.seen()[0].message,
              "If you select \"Yes\", the selected item and all of its childrenwill be permanently "
              "removed.");
    EXPECT_THAT(user.seen()[0].buttons, UnorderedElementsAre("Yes", "No"));
    EXPECT_EQ(user.seen()[0].defaultButton, "Yes");
}

TEST_F(Deletion, ChangesNothingWhenAnsweredNo) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    clickRow({alpha(), "Main"});
    const FrameCacheEntry* rootNode = controller().dataSource()->getRootNode();
    const std::vector<std::string> rowsBefore = rows();
    const Snapshot before = snapshot(root.path());
    const std::vector<std::string> log = root.logMessages();

    deleteSelected("No");

    EXPECT_EQ(snapshot(root.path()), before);
    EXPECT_EQ(controller().dataSource()->getRootNode(), rootNode) << "the tree was rebuilt";
    EXPECT_EQ(rows(), rowsBefore);
    EXPECT_EQ(controller().getSelectedItem(), node({alpha(), "Main"}));
    EXPECT_EQ(root.logMessages(), log);
}

TEST_F(Deletion, ChangesNothingWhenTheQuestionIsEscaped) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    clickRow({alpha()});
    const Snapshot before = snapshot(root.path("Volumes"));

    user.will([](QDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); });
    clickButton("m_btnDelete");

    EXPECT_EQ(snapshot(root.path("Volumes")), before);
}

TEST_F(Deletion, GoesOnWhenTheQuestionIsAnsweredWithReturn) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    clickRow({alpha()});

    user.will([](QDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Return); });
    clickButton("m_btnDelete");

    EXPECT_FALSE(exists(folderOf(alpha())));
}

TEST_F(Deletion, OfAProjectRemovesItsDirectoryAndNothingElse) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(alpha(), "Titles", "SPEC_RENDER");
    addFeature(beta(), "Main", "PROXY");
    open();
    const Snapshot neighbour = snapshot(folderOf(beta()));
    const std::string projects = projectTable();
    const std::string compositions = compositionTable();
    const std::string registry = readFile(registryFile());

    clickRow({alpha()});
    deleteSelected();

    EXPECT_FALSE(exists(folderOf(alpha())));
    EXPECT_EQ(snapshot(folderOf(beta())), neighbour);
    EXPECT_EQ(projectTable(), projects);
    EXPECT_EQ(compositionTable(), compositions);
    EXPECT_EQ(readFile(registryFile()), registry);
    EXPECT_THAT(rows(), ElementsAre("Beta.aep"));
}

TEST_F(Deletion, OfAProjectFollowsNoLinkOutOfTheCache) {
    const std::string feature = addFeature(alpha(), "Main", "PROXY");
    writeFile(root.path("precious/file"), "keep me");
    ASSERT_EQ(::symlink(root.path("precious").c_str(), (feature + "/out").c_str()), 0);
    open();

    clickRow({alpha()});
    deleteSelected();

    EXPECT_FALSE(exists(folderOf(alpha())));
    EXPECT_EQ(readFile(root.path("precious/file")), "keep me");
}

// The two names reach the cache model in the order composition, project: it looks for a composition
// named like the project in a project named like the composition, which is not there. Both names
// are entered in the tables on the way; the composition stays and the rebuild shows it again.
TEST_F(Deletion, OfACompositionLeavesItOnTheDiskBecauseTheNamesAreSwapped) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(alpha(), "Titles", "PROXY");
    open();
    const Snapshot project = snapshot(folderOf(alpha()));
    const std::string projects = projectTable();
    const std::string compositions = compositionTable();

    clickRow({alpha(), "Main"});
    deleteSelected();

    EXPECT_EQ(snapshot(folderOf(alpha())), project);
    EXPECT_EQ(projectTable(), projects + hashOf("Main") + " Main\n");
    EXPECT_EQ(compositionTable(), compositions + hashOf(alpha()) + " " + alpha() + "\n");
    EXPECT_TRUE(root.hasLogged("ERROR\tDeleteComposition: Failed to DeleteDirectory '" +
                               cacheRoot() + "/" + hashOf("Main") + "/" + hashOf(alpha()) + "'\n"));
    EXPECT_THAT(rows(), UnorderedElementsAre("Alpha.aep", "  Main", "  Titles"));
}

TEST_F(Deletion, OfACompositionRemovesTheOneThatTheSwappedNamesMean) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(alpha(), "Titles", "PROXY");
    addFeature("Main", alpha(), "PROXY");
    addFeature("Main", "Other", "PROXY");
    open();
    const Snapshot project = snapshot(folderOf(alpha()));
    const Snapshot other = snapshot(folderOf("Main", "Other"));

    clickRow({alpha(), "Main"});
    deleteSelected();

    EXPECT_EQ(snapshot(folderOf(alpha())), project);
    EXPECT_FALSE(exists(folderOf("Main", alpha())));
    EXPECT_EQ(snapshot(folderOf("Main", "Other")), other);
}

// The emptied node's project goes by the first name of the call, the composition's.
TEST_F(Deletion, OfTheOnlyCompositionRemovesTheProjectNamedLikeIt) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature("Main", "Other", "PROXY");
    open();
    const Snapshot project = snapshot(folderOf(alpha()));

    clickRow({alpha(), "Main"});
    deleteSelected();

    EXPECT_EQ(snapshot(folderOf(alpha())), project);
    EXPECT_FALSE(exists(folderOf("Main")));
    EXPECT_THAT(rows(), ElementsAre("Alpha.aep", "  Main"));
}

TEST_F(Deletion, OfTheOnlyCompositionKeepsItsProjectOnTheDisk) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    const Snapshot project = snapshot(folderOf(alpha()));

    clickRow({alpha(), "Main"});
    deleteSelected();

    EXPECT_EQ(snapshot(folderOf(alpha())), project);
    EXPECT_TRUE(root.hasLogged("ERROR\tDeleteProject: Failed to DeleteDirectory '" + cacheRoot() +
                               "/" + hashOf("Main") + "'\n"));
}

TEST_F(Deletion, OfAFeatureRemovesItsDirectoryAndKeepsItsNeighbours) {
    const std::string proxy = addFeature(alpha(), "Main", "PROXY");
    const std::string render = addFeature(alpha(), "Main", "SPEC_RENDER");
    addFeature(beta(), "Main", "PROXY");
    open();
    const Snapshot neighbour = snapshot(render);
    const Snapshot otherProject = snapshot(folderOf(beta()));

    clickRow({alpha(), "Main", "PROXY"});
    deleteSelected();

    EXPECT_FALSE(exists(proxy));
    EXPECT_EQ(snapshot(render), neighbour);
    EXPECT_EQ(snapshot(folderOf(beta())), otherProject);
    EXPECT_THAT(rows(), UnorderedElementsAre("Alpha.aep", "  Main", "    Spec Render", "Beta.aep"));
}

TEST_F(Deletion, OfAFeatureWithAShellsCharactersInItsNameRemovesIt) {
    const std::string odd = addFeature(alpha(), "Main", "a\"b $HOME `id` %s");
    addFeature(alpha(), "Main", "PROXY");
    open();

    clickRow({alpha(), "Main", "a\"b $HOME `id` %s"});
    deleteSelected();

    EXPECT_FALSE(exists(odd));
}

TEST_F(Deletion, OfTheLastFeatureRemovesItsCompositionToo) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(alpha(), "Titles", "PROXY");
    open();
    const Snapshot neighbour = snapshot(folderOf(alpha(), "Titles"));

    clickRow({alpha(), "Main", "PROXY"});
    deleteSelected();

    EXPECT_FALSE(exists(folderOf(alpha(), "Main")));
    EXPECT_EQ(snapshot(folderOf(alpha(), "Titles")), neighbour);
    EXPECT_THAT(rows(), ElementsAre("Alpha.aep", "  Titles"));
}

TEST_F(Deletion, OfTheLastFeatureOfTheLastCompositionRemovesAllThreeLevels) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(beta(), "Main", "PROXY");
    open();
    const Snapshot neighbour = snapshot(folderOf(beta()));

    clickRow({alpha(), "Main", "PROXY"});
    deleteSelected();

    EXPECT_FALSE(exists(folderOf(alpha())));
    EXPECT_EQ(snapshot(folderOf(beta())), neighbour);
    EXPECT_THAT(rows(), ElementsAre("Beta.aep"));
}

TEST_F(Deletion, OfAllFeaturesOfAProjectRemovesTheProject) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(alpha(), "Main", "SPEC_RENDER");
    addFeature(alpha(), "Titles", "PROXY");
    open();

    clickRow({alpha(), "Main", "PROXY"});
    clickRow({alpha(), "Main", "SPEC_RENDER"}, Qt::ControlModifier);
    clickRow({alpha(), "Titles", "PROXY"}, Qt::ControlModifier);
    deleteSelected();

    EXPECT_FALSE(exists(folderOf(alpha())));
    EXPECT_THAT(rows(), IsEmpty());
}

TEST_F(Deletion, RemovesEachNodeFromTheCacheItLivesIn) {
    const std::string second = root.path("Volumes/Second Cache");
    addFeature(cacheRoot(), alpha(), "Main", "PROXY");
    addFeature(second, alpha(), "Main", "PROXY");
    addFeature(second, beta(), "Main", "PROXY");
    registerProject(alpha(), cacheRoot());
    open();
    const Snapshot first = snapshot(cacheRoot());

    clickRow({beta(), "Main", "PROXY"});
    deleteSelected();

    EXPECT_FALSE(exists(projectIn(second, beta())));
    EXPECT_TRUE(exists(projectIn(second, alpha())));
    EXPECT_EQ(snapshot(cacheRoot()), first);
}

TEST_F(Deletion, StopsAtAReadOnlyFrameAndShowsWhatIsLeft) {
    const std::string feature = addFeature(alpha(), "Main", "PROXY", 1);
    const std::string frame = feature + "/00000000.raw";
    const std::string bytes = readFile(frame);
    ASSERT_EQ(::chmod(frame.c_str(), 0444), 0);
    open();

    clickRow({alpha()});
    deleteSelected();

    EXPECT_EQ(user.seen().size(), 1U) << "a failure shows no alert";
    EXPECT_EQ(readFile(frame), bytes);
    EXPECT_TRUE(root.hasLogged("ERROR\tDeleteDirectory: Failed to DeleteFile '" + frame + "'\n"));
    EXPECT_THAT(rows(), ElementsAre("Alpha.aep"));
    EXPECT_EQ(label("m_labelTotalFiles"), "1");
}

TEST_F(Deletion, AllAsksTheSameQuestionWithEveryVisibleRowSelected) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(beta(), "Main", "PROXY");
    open();
    const Snapshot before = snapshot(root.path("Volumes"));

    user.willClick("No");
    chooseInMenuBar("Delete all");

    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, kQuestion);
    EXPECT_EQ(label("m_labelSelectedProjects"), "2");
    EXPECT_EQ(snapshot(root.path("Volumes")), before);
}

TEST_F(Deletion, AllRemovesEveryProjectWithItsCollapsedChildren) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(beta(), "Main", "PROXY");
    const std::string stranger = root.path("Volumes/Cache/notes.txt");
    writeFile(stranger, "not a project");
    open();

    user.willClick("Yes");
    chooseInMenuBar("Delete all");

    EXPECT_FALSE(exists(folderOf(alpha())));
    EXPECT_FALSE(exists(folderOf(beta())));
    EXPECT_EQ(readFile(stranger), "not a project");
    EXPECT_THAT(rows(), IsEmpty());
    EXPECT_EQ(label("m_labelTotalProjects"), "0");
    EXPECT_EQ(label("m_labelTotalFiles"), "0");
    EXPECT_EQ(label("m_labelTotalSpace"), "0");
    EXPECT_EQ(label("m_labelSelectedProjects"), "0");
}

TEST_F(Deletion, AllSaysThatThereIsNothingToDeleteInAnEmptyWindow) {
    open();

    user.willClick("OK");
    chooseInMenuBar("Delete all");

    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, "You have not selected any items for deletion.");
}

TEST_F(Deletion, IsOfferedByBothContextMenus) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(beta(), "Main", "PROXY");
    addFeature(beta(), "Main", "SPEC_RENDER");
    open();

    clickRow({alpha()});
    user.willClick("Yes");
    choose(*controller().contextMenuProjectsOnly(), "Delete selected item(s)");
    clickRow({beta(), "Main", "PROXY"});
    user.willClick("Yes");
    choose(*controller().contextMenu(), "Delete selected item(s)");

    EXPECT_THAT(rows(), ElementsAre("Beta.aep", "  Main", "    Spec Render"));
}

} // namespace

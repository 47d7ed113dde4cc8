// Moving a project's cache to a new root: what ends up where.

#include "tests/support/command_fixture.h"
#include "tests/support/failing_calls.h"

#include <QFileDialog>
#include <QLineEdit>

#include <cerrno>
#include <ostream>
#include <sys/stat.h>

using namespace corvid::test;
using corvid::hashOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

class Migration : public CommandTest {
protected:
    Migration() { makeDirectory(newRoot()); }

    std::string newRoot() const { return root.path("Volumes/New Place"); }
    void migrate() {
        choose(*controller().contextMenuProjectsOnly(), "Move cache to new location");
    }
    void migrateTo(const std::string& folder) {
        user.willChoose(folder);
        migrate();
    }
    // The settings file of a project, hidden beside the project file.
    static std::string settingsFile(const std::string& project) {
        return project.substr(0, project.rfind('/') + 1) + ".CorvidPro2ProjectConfig.cvp";
    }
    // What that file holds after a move when it did not exist before.
    static std::string settingsOf(const std::string& project, const std::string& cache) {
        const std::size_t slash = project.rfind('/') + 1;
        const std::string identity = project.substr(0, slash) + "::*::" + project.substr(slash);
        return "cvp-version:1\n" + hashOf(identity) + " string\tDirectoryLocationOfFrameCache " +
               cache + "\n";
    }
    static std::string registryLine(const std::string& project, const std::string& cache) {
        return hashOf(project) + " string\tPathToCache " + cache + "\n";
    }
    static std::string tableLine(const std::string& key) { return hashOf(key) + " " + key + "\n"; }
};

TEST_F(Migration, DoesNothingWithoutASelectionNotEvenOpenTheChooser) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    const Snapshot before = snapshot(root.path());

    controller().migrateCache();

    EXPECT_THAT(user.seen(), IsEmpty());
    EXPECT_EQ(snapshot(root.path()), before);
}

TEST_F(Migration, AsksForTheNewRootInTheProjectsOwnDirectory) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    clickRow({alpha()});

    user.will([](QDialog& dialog) { dialog.reject(); });
    migrate();

    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, "Select a new location for the cache files");
    EXPECT_EQ(user.seen()[0].message, folderOf(alpha()));
    EXPECT_THAT(user.seen()[0].buttons, ::testing::Contains("Choose folder"));
}

TEST_F(Migration, WritesNothingWhenTheChooserIsCancelled) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    clickRow({alpha()});
    const Snapshot before = snapshot(root.path());
    const FrameCacheEntry* rootNode = controller().dataSource()->getRootNode();

    user.will([](QDialog& dialog) { dialog.reject(); });
    migrate();

    EXPECT_EQ(snapshot(root.path()), before);
    EXPECT_EQ(controller().dataSource()->getRootNode(), rootNode);
}

TEST_F(Migration, MovesTheFramesByteForByte) {
    const std::string feature = addFeature(alpha(), "Main", "PROXY", 3);
    addFeature(beta(), "Main", "PROXY", 3);
    open();
    const Snapshot frames = snapshot(feature);
    const Snapshot neighbour = snapshot(folderOf(beta()));

    clickRow({alpha()});
    migrateTo(newRoot());

    EXPECT_FALSE(exists(folderOf(alpha())));
    EXPECT_EQ(snapshot(compositionIn(newRoot(), alpha(), "Main") + "/PROXY"), frames);
    EXPECT_EQ(snapshot(folderOf(beta())), neighbour);
}

TEST_F(Migration, RecordsTheNewRootInTheRegistry) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(beta(), "Main", "PROXY");
    open();

    clickRow({alpha()});
    migrateTo(newRoot());

    EXPECT_EQ(readFile(registryFile()),
              registryLine(alpha(), newRoot()) + registryLine(beta(), cacheRoot() + "/"));
}

TEST_F(Migration, RecordsTheNewRootInTheProjectsHiddenFile) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(beta(), "Main", "PROXY");
    open();

    clickRow({alpha()});
    migrateTo(newRoot());

    EXPECT_EQ(readFile(settingsFile(alpha())), settingsOf(alpha(), newRoot()));
    EXPECT_FALSE(exists(settingsFile(beta())));
}

TEST_F(Migration, ReplacesTheRootInAnExistingHiddenFileAndKeepsTheRest) {
    addFeature(alpha(), "Main", "PROXY");
    const std::string other = "0123456789abcdef0123456789abcdef int\tOther 5\n";
    writeFile(settingsFile(alpha()), settingsOf(alpha(), "/somewhere/else/") + other);
    open();

    clickRow({alpha()});
    migrateTo(newRoot());

    EXPECT_EQ(readFile(settingsFile(alpha())), settingsOf(alpha(), newRoot()) + other);
}

TEST_F(Migration, EntersTheProjectInTheNewRootsTablesAndKeepsTheOldOnes) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(beta(), "Titles", "PROXY");
    open();
    const std::string projects = projectTable();
    const std::string compositions = compositionTable();

    clickRow({alpha()});
    migrateTo(newRoot());

    EXPECT_EQ(readFile(newRoot() + "/ProjectHash.txt"), tableLine(alpha()));
    EXPECT_EQ(readFile(newRoot() + "/CompositionHash.txt"), tableLine("Main"));
    EXPECT_EQ(projectTable(), projects);
    EXPECT_EQ(compositionTable(), compositions);
}

TEST_F(Migration, KeepsWhatTheNewRootsTablesHold) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(newRoot(), beta(), "Titles", "PROXY");
    open();

    clickRow({alpha()});
    migrateTo(newRoot());

    EXPECT_EQ(readFile(newRoot() + "/ProjectHash.txt"), tableLine(beta()) + tableLine(alpha()));
    EXPECT_EQ(readFile(newRoot() + "/CompositionHash.txt"),
              tableLine("Titles") + tableLine("Main"));
}

TEST_F(Migration, ShowsTheProjectUnderItsNewRoot) {
    addFeature(alpha(), "Main", "PROXY", 3);
    open();

    clickRow({alpha()});
    migrateTo(newRoot());

    EXPECT_STREQ(node({alpha()})->getPathToRootCache(), newRoot().c_str());
    EXPECT_EQ(node({alpha(), "Main", "PROXY"})->getFileCount(), 3);
}

TEST_F(Migration, OfThreeCompositionsEntersOnlyTheFirst) {
    for (const char* composition : {"Main", "Titles", "Credits"}) {
        addFeature(alpha(), composition, "PROXY");
    }
    open();
    const std::string first = node({alpha()})->getChildAt(0)->getName();

    clickRow({alpha()});
    migrateTo(newRoot());

    EXPECT_EQ(readFile(newRoot() + "/CompositionHash.txt"), tableLine(first));
    for (const char* composition : {"Main", "Titles", "Credits"}) {
        EXPECT_TRUE(exists(compositionIn(newRoot(), alpha(), composition) + "/PROXY/00000001.raw"));
    }
}

TEST_F(Migration, OfAProjectWithoutCompositionsLeavesTheTablesOut) {
    const KavroPISSFrameCache model((cacheRoot() + "/").c_str(), alpha().c_str());
    makeDirectory(folderOf(alpha()));
    registerProject(alpha(), cacheRoot());
    open();

    clickRow({alpha()});
    migrateTo(newRoot());

    EXPECT_FALSE(exists(folderOf(alpha())));
    EXPECT_TRUE(exists(projectIn(newRoot(), alpha())));
    EXPECT_FALSE(exists(newRoot() + "/ProjectHash.txt"));
    EXPECT_FALSE(exists(newRoot() + "/CompositionHash.txt"));
    EXPECT_EQ(readFile(registryFile()), registryLine(alpha(), newRoot()));
    EXPECT_EQ(readFile(settingsFile(alpha())), settingsOf(alpha(), newRoot()));
}

TEST_F(Migration, WritesNothingWhenTheChosenFolderIsTheOldRoot) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    clickRow({alpha()});
    const Snapshot before = snapshot(root.path());
    const FrameCacheEntry* rootNode = controller().dataSource()->getRootNode();

    migrateTo(cacheRoot());

    EXPECT_EQ(snapshot(root.path()), before);
    EXPECT_EQ(controller().dataSource()->getRootNode(), rootNode);
}

TEST_F(Migration, MovesOnlyTheFirstSelectedProject) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(beta(), "Main", "PROXY");
    open();
    const FrameCacheEntry* rootNode = controller().dataSource()->getRootNode();
    const std::string first = rootNode->getChildAt(0)->getName();
    const std::string second = rootNode->getChildAt(1)->getName();
    const Snapshot left = snapshot(folderOf(second));

    clickRow({second});
    clickRow({first}, Qt::ControlModifier);
    migrateTo(newRoot());

    EXPECT_TRUE(exists(projectIn(newRoot(), first)));
    EXPECT_FALSE(exists(folderOf(first)));
    EXPECT_EQ(snapshot(folderOf(second)), left);
    EXPECT_FALSE(exists(settingsFile(second)));
}

// The node's type is not looked at: a composition's name is taken for a project's.
TEST_F(Migration, TakesACompositionForAProjectOfItsName) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    const Snapshot project = snapshot(folderOf(alpha()));
    const std::string registry = readFile(registryFile());

    clickRow({alpha(), "Main"});
    user.willChoose(newRoot());
    controller().migrateCache();

    EXPECT_EQ(snapshot(folderOf(alpha())), project);
    EXPECT_EQ(readFile(registryFile()), registry + registryLine("Main", newRoot()));
    EXPECT_TRUE(root.hasLogged("WARNING\tPerProjectConfig::PerProjectConfig : pathToProject has "
                               "length 0.\n"));
    EXPECT_EQ(readFile(newRoot() + "/ProjectHash.txt"), tableLine("Main"));
    EXPECT_EQ(readFile(newRoot() + "/CompositionHash.txt"), tableLine("PROXY"));
}

// Another file system cannot be renamed to: the frames are copied, names that begin with a full
// stop are not, and the old directory goes with them.
TEST_F(Migration, CopiesToAnotherFileSystemWithoutTheHiddenFilesOfTheProject) {
    const std::string feature = addFeature(alpha(), "Main", "PROXY");
    writeFile(folderOf(alpha()) + "/.hidden", "at the top");
    writeFile(feature + "/.hidden", "further down");
    const std::string frame = readFile(feature + "/00000001.raw");
    open();
    const FailNth otherFileSystem(Call::Rename, 1, EXDEV, hashOf(alpha()));

    clickRow({alpha()});
    migrateTo(newRoot());

    ASSERT_EQ(otherFileSystem.failures(), 1);
    const std::string moved = compositionIn(newRoot(), alpha(), "Main") + "/PROXY";
    EXPECT_EQ(readFile(moved + "/00000001.raw"), frame);
    EXPECT_EQ(readFile(moved + "/.hidden"), "further down");
    EXPECT_FALSE(exists(projectIn(newRoot(), alpha()) + "/.hidden"));
    EXPECT_FALSE(exists(folderOf(alpha())));
    EXPECT_EQ(readFile(registryFile()), registryLine(alpha(), newRoot()));
}

TEST_F(Migration, CopiesFoldersWithAShellsCharactersInTheirNames) {
    const std::string odd = root.path("Volumes/a\"b $HOME `touch x` \\ %s");
    makeDirectory(odd);
    const std::string feature = addFeature(alpha(), "Main", "PROXY");
    const std::string frame = readFile(feature + "/00000001.raw");
    open();
    const FailNth otherFileSystem(Call::Rename, 1, EXDEV, hashOf(alpha()));

    clickRow({alpha()});
    migrateTo(odd);

    ASSERT_EQ(otherFileSystem.failures(), 1);
    EXPECT_EQ(readFile(compositionIn(odd, alpha(), "Main") + "/PROXY/00000001.raw"), frame);
    EXPECT_FALSE(exists(folderOf(alpha())));
}

// A move that fails leaves the frames, while the settings already name the new root.
TEST_F(Migration, LeavesTheFramesWhenAFileIsInTheWay) {
    const std::string feature = addFeature(alpha(), "Main", "PROXY");
    addFeature(beta(), "Main", "PROXY");
    writeFile(projectIn(newRoot(), alpha()), "in the way");
    open();
    const Snapshot frames = snapshot(feature);

    clickRow({alpha()});
    migrateTo(newRoot());

    EXPECT_EQ(user.seen().size(), 1U) << "a failure shows no alert";
    EXPECT_EQ(snapshot(feature), frames);
    EXPECT_EQ(readFile(projectIn(newRoot(), alpha())), "in the way");
    EXPECT_TRUE(root.hasLogged("ERROR\t MoveProject: Error moving files to new directory."));
    EXPECT_EQ(readFile(registryFile()),
              registryLine(alpha(), newRoot()) + registryLine(beta(), cacheRoot() + "/"));
    EXPECT_EQ(readFile(settingsFile(alpha())), settingsOf(alpha(), newRoot()));
    EXPECT_THAT(rows(), UnorderedElementsAre("Alpha.aep", "Beta.aep"));
    EXPECT_STREQ(node({alpha()})->getPathToRootCache(), cacheRoot().c_str());
}

// Nobody, not even the administrator, makes a directory there.
TEST_F(Migration, LeavesTheFramesWhenTheNewRootCannotBeWritten) {
    const std::string unwritable = "/proc/sys";
    if (!exists(unwritable)) {
        GTEST_SKIP() << "no such folder on this system";
    }
    const std::string feature = addFeature(alpha(), "Main", "PROXY");
    open();
    const Snapshot frames = snapshot(feature);

    clickRow({alpha()});
    migrateTo(unwritable);

    EXPECT_EQ(snapshot(feature), frames);
    EXPECT_TRUE(root.hasLogged("ERROR\t MoveProject: Error moving files to new directory."));
    EXPECT_EQ(readFile(registryFile()), registryLine(alpha(), unwritable));
    EXPECT_EQ(readFile(settingsFile(alpha())), settingsOf(alpha(), unwritable));
}

// Where a project's cache must not go, as a user may name it; the table of every root below says
// whose directory it is.
struct ForbiddenFolder {
    const char* what;
    const char* below;  // the folder below a project's directory; made when missing
    bool isOther;       // another project's, in another root
    const char* linked; // the name of a link to it, or null
};

void PrintTo(const ForbiddenFolder& folder, std::ostream* out) {
    *out << folder.what;
}

class ForbiddenMigration : public Migration,
                           public ::testing::WithParamInterface<ForbiddenFolder> {};

TEST_P(ForbiddenMigration, IsRefusedAndWritesNothing) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(newRoot(), beta(), "Titles", "PROXY");
    const std::string project =
        GetParam().isOther ? projectIn(newRoot(), beta()) : folderOf(alpha());
    std::string target = project + GetParam().below;
    makeDirectory(target);
    if (GetParam().linked != nullptr) {
        const std::string link = root.path(GetParam().linked);
        ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
        target = link;
    }
    open();
    clickRow({alpha()});
    const Snapshot before = snapshot(root.path());
    const FrameCacheEntry* rootNode = controller().dataSource()->getRootNode();

    user.will([&](QDialog& chooser) {
        dynamic_cast<QFileDialog&>(chooser).setDirectory(QString::fromStdString(target));
        chooser.findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))
            ->setText(QString::fromStdString(target));
        DialogUser::click(chooser, "Choose folder");
    });
    user.willClick("OK");
    migrate();

    ASSERT_EQ(user.seen().size(), 2U);
    EXPECT_EQ(user.seen()[1].title, "The cache cannot be moved there.");
    EXPECT_THAT(user.seen()[1].message,
                ::testing::HasSubstr(GetParam().isOther ? "another project" : "the project's own"));
    EXPECT_EQ(snapshot(root.path()), before);
    EXPECT_EQ(controller().dataSource()->getRootNode(), rootNode);
    EXPECT_THAT(rows(), UnorderedElementsAre("Alpha.aep", "Beta.aep"));
}

INSTANTIATE_TEST_SUITE_P(
    Folders, ForbiddenMigration,
    ::testing::Values(ForbiddenFolder{"OwnDirectory", "", false, nullptr},
                      ForbiddenFolder{"BelowIt", "/new/place", false, nullptr},
                      ForbiddenFolder{"LinkToIt", "", false, "link"},
                      ForbiddenFolder{"LinkBelowIt", "/new", false, "link"},
                      ForbiddenFolder{"OthersDirectory", "", true, nullptr},
                      ForbiddenFolder{"BelowOthers", "/new/place", true, nullptr},
                      ForbiddenFolder{"LinkBelowOthers", "/new/place", true, "link"}),
    [](const auto& folder) { return std::string(folder.param.what); });

TEST_F(Migration, ToAnotherSpellingOfTheOldRootLosesNoFrame) {
    const std::string linked = root.path("Volumes/Linked");
    ASSERT_EQ(::symlink(cacheRoot().c_str(), linked.c_str()), 0);
    const std::string feature = addFeature(alpha(), "Main", "PROXY");
    registerProject(alpha(), linked);
    open();
    const Snapshot frames = snapshot(feature);

    clickRow({alpha()});
    migrateTo(cacheRoot());

    EXPECT_EQ(snapshot(feature), frames);
    EXPECT_EQ(readFile(registryFile()), registryLine(alpha(), cacheRoot()));
}

TEST_F(Migration, ToARootWhereTheProjectHasACacheAlreadyKeepsBoth) {
    addFeature(newRoot(), alpha(), "Old", "PROXY");
    addFeature(alpha(), "Main", "PROXY");
    open();

    clickRow({alpha()});
    migrateTo(newRoot());

    EXPECT_TRUE(exists(compositionIn(newRoot(), alpha(), "Old") + "/PROXY/00000001.raw"));
    EXPECT_TRUE(exists(compositionIn(newRoot(), alpha(), "Main") + "/PROXY/00000001.raw"));
    EXPECT_FALSE(exists(folderOf(alpha())));
}

TEST_F(Migration, StopsTheActivityWhenItIsDone) {
    addFeature(alpha(), "Main", "PROXY");
    open();

    clickRow({alpha()});
    migrateTo(newRoot());

    EXPECT_FALSE(widget<ActivityView>("m_progressSpinner").isAnimating());
}

} // namespace

#include "store/KavroPISSFrameCache.h"

#include "store/PISSMD5.h"
#include "tests/support/failing_calls.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::hashOf;
using corvid::test::Call;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::Snapshot;
using corvid::test::snapshot;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FrameCacheRenamingTest : public corvid::test::ProductTest {
protected:
    FrameCacheRenamingTest() {
        writeFile(root.path("guarded/file"), "kept");
        m_guarded = snapshot(root.path("guarded"));
        const KavroPISSFrameCache recorded(cache().c_str(), "old");
        writeFile(cache() + hashOf("old") + "/file", "frame");
        root.clearLog();
    }
    void TearDown() override { EXPECT_EQ(m_guarded, snapshot(root.path("guarded"))); }

    std::string cache() const { return root.path("cache/"); }
    std::string other() const { return root.path("other/"); }
    std::string cannotList(const std::string& path) const {
        return "ERROR\tDeleteDirectory::GetDirectoryOrFileList( '" + path + "' ) failed\n";
    }
    std::string table(const std::string& cacheRoot) const {
        return readFile(cacheRoot + "ProjectHash.txt");
    }
    static std::string line(const std::string& key) { return hashOf(key) + " " + key + "\n"; }

private:
    Snapshot m_guarded;
};

TEST_F(FrameCacheRenamingTest, AProjectGetsTheDirectoryOfItsNewKey) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.RenameProject("old", "new", nullptr, nullptr));
    EXPECT_EQ("frame", readFile(cache() + hashOf("new") + "/file"));
    EXPECT_FALSE(exists(cache() + hashOf("old")));
    EXPECT_EQ(line("old") + line("new"), table(cache()));
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotList(cache() + hashOf("old"))));
}

TEST_F(FrameCacheRenamingTest, AProjectMayChangeItsRoot) {
    makeDirectory(other());
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.RenameProject("old", "new", nullptr, other().c_str()));
    EXPECT_EQ("frame", readFile(other() + hashOf("new") + "/file"));
    EXPECT_FALSE(exists(cache() + hashOf("old")));
    EXPECT_EQ(line("old") + line("new"), table(cache())) << "the source's table has the new key";
    EXPECT_FALSE(exists(other() + "ProjectHash.txt"));
}

TEST_F(FrameCacheRenamingTest, TheSourceMayBeAnotherRoot) {
    writeFile(other() + hashOf("old") + "/file", "other frame");
    const Snapshot before = snapshot(cache() + hashOf("old"));
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.RenameProject("old", "new", other().c_str(), nullptr));
    EXPECT_EQ("other frame", readFile(other() + hashOf("new") + "/file"));
    EXPECT_EQ(line("new"), table(other()));
    EXPECT_EQ(line("old"), table(cache()));
    EXPECT_EQ(before, snapshot(cache() + hashOf("old")));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tDeleteDirectory: Failed sanity check on path of '" + other() +
                            hashOf("old") + "'\n"));
}

TEST_F(FrameCacheRenamingTest, BothRootsMayBeGiven) {
    makeDirectory(other());
    writeFile(root.path("third/") + hashOf("old") + "/file", "third frame");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.RenameProject("old", "new", root.path("third/").c_str(), other().c_str()));
    EXPECT_EQ("third frame", readFile(other() + hashOf("new") + "/file"));
    EXPECT_EQ("frame", readFile(cache() + hashOf("old") + "/file"));
}

TEST_F(FrameCacheRenamingTest, AConfiguredRootWithoutASeparatorRenamesItsOwnProject) {
    writeFile(root.productFile("Config.txt"),
              "default string\tDirectoryLocationOfFrameCache " + root.path("bare") + "\n");
    KavroPISSFrameCache model(false, "old");
    writeFile(root.path("bare") + hashOf("old") + "/file", "bare frame");
    EXPECT_EQ(1, model.RenameProject("old", "new", nullptr, nullptr));
    EXPECT_FALSE(exists(root.path("bare") + hashOf("old")));
    EXPECT_EQ("bare frame", readFile(root.path("bare") + hashOf("new") + "/file"));
}

TEST_F(FrameCacheRenamingTest, EqualKeysMoveNothing) {
    const Snapshot before = snapshot(cache() + hashOf("old"));
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.RenameProject("old", "old", nullptr, nullptr));
    EXPECT_EQ(before, snapshot(cache() + hashOf("old")));
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre(
            "WARNING\tRenameProject: Cache Directory's are identical. Ignoring Rename request."));
}

TEST_F(FrameCacheRenamingTest, EqualKeysMoveNothingToAnotherRootEither) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.RenameProject("old", "old", nullptr, other().c_str()));
    EXPECT_EQ("frame", readFile(cache() + hashOf("old") + "/file"));
    EXPECT_FALSE(exists(other() + hashOf("old")));
}

TEST_F(FrameCacheRenamingTest, NullKeysAreRefused) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.RenameProject(nullptr, "new", nullptr, nullptr));
    EXPECT_EQ(0, model.RenameProject("old", nullptr, nullptr, nullptr));
    EXPECT_THAT(root.logMessages(), ElementsAre("ERROR\tRenameProject: oldProjectName is null.",
                                                "ERROR\tRenameProject: newProjectName is null."));
}

TEST_F(FrameCacheRenamingTest, AnUnknownProjectIsRefused) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.RenameProject("unknown", "new", nullptr, nullptr));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tRenameProject: FindProjectNameHashGivenKey[unknown] failed\n"));
    EXPECT_EQ(line("old"), table(cache()));
}

TEST_F(FrameCacheRenamingTest, ATableThatCannotBeWrittenDoesNotHinderTheRename) {
    KavroPISSFrameCache model(cache().c_str());
    const FailNth noRoom(Call::Write, 1, ENOSPC, "ProjectHash.txt");
    EXPECT_EQ(1, model.RenameProject("old", "new", nullptr, nullptr));
    EXPECT_EQ(1, noRoom.failures());
    EXPECT_EQ("frame", readFile(cache() + hashOf("new") + "/file"));
    EXPECT_FALSE(exists(cache() + hashOf("old")));
    EXPECT_EQ(line("old"), table(cache()));
    EXPECT_TRUE(root.hasLogged("ERROR\tWriteProjectHashTable: Could not open '" + cache() +
                               "ProjectHash.txt' for writing\n"));
}

TEST_F(FrameCacheRenamingTest, ANewKeyThatCannotBeHashedIsReported) {
    KavroPISSFrameCache model(cache().c_str());
    const std::string oldPath = cache() + hashOf("old");
    const std::string newPath = cache() + hashOf("new");
    const std::string message = "ERROR\tRenameProject: FindProjectNameHashGivenKey[new] failed\n";
    bool isReported = false;
    bool hasFailed = true;
    for (int nth = 1; hasFailed && !isReported; ++nth) {
        const FailNth outOfMemory(Call::Strdup, nth, ENOMEM);
        const int result = model.RenameProject("old", "new", nullptr, nullptr);
        hasFailed = outOfMemory.failures() > 0;
        isReported = static_cast<bool>(root.hasLogged(message));
        EXPECT_FALSE(isReported && result != 0);
        EXPECT_TRUE(exists(result == 1 ? newPath : oldPath));
        static_cast<void>(::rename(newPath.c_str(), oldPath.c_str()));
    }
    EXPECT_TRUE(isReported);
    EXPECT_EQ("frame", readFile(oldPath + "/file"));
}

TEST_F(FrameCacheRenamingTest, AModelWithoutARootNeedsASource) {
    writeFile(root.productFile("Config.txt"), "");
    KavroPISSFrameCache model(false, "old");
    root.clearLog();
    EXPECT_EQ(0, model.RenameProject("old", "new", nullptr, nullptr));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tRenameProject: Unable to GetCompletePathToCacheRoot\n"));
    EXPECT_EQ(1, model.RenameProject("old", "new", cache().c_str(), nullptr));
    EXPECT_EQ("frame", readFile(cache() + hashOf("new") + "/file"));
}

TEST_F(FrameCacheRenamingTest, AFailedRenameLeavesTheProject) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.RenameProject("old", "new", nullptr, root.path("missing/").c_str()));
    EXPECT_THAT(root.logMessages(), ElementsAre("ERROR\tRenameProject: renameX() failed."));
    EXPECT_EQ("frame", readFile(cache() + hashOf("old") + "/file"));
}

TEST_F(FrameCacheRenamingTest, AProjectIsNeverPutOverAnother) {
    writeFile(cache() + hashOf("new") + "/file", "another's");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.RenameProject("old", "new", nullptr, nullptr));
    EXPECT_EQ("another's", readFile(cache() + hashOf("new") + "/file"));
    EXPECT_EQ("frame", readFile(cache() + hashOf("old") + "/file"));
}

TEST_F(FrameCacheRenamingTest, OddKeysNeverReachAShell) {
    KavroPISSFrameCache model(cache().c_str());
    const std::vector<std::string> keys = {"$(touch canary)", "%s%n", "-rf", "a\nb", "`x`"};
    std::string before = "old";
    for (const std::string& key : keys) {
        KavroPISSFrameCache holder(cache().c_str(), before.c_str());
        EXPECT_EQ(1, holder.RenameProject(before.c_str(), key.c_str(), nullptr, nullptr)) << key;
        EXPECT_EQ("frame", readFile(cache() + hashOf(key) + "/file"));
        before = key;
    }
    EXPECT_FALSE(exists("canary"));
}

TEST_F(FrameCacheRenamingTest, ARootThatIsTooLongIsRefused) {
    KavroPISSFrameCache model(cache().c_str());
    const std::string longer = other() + std::string(300, 'x') + "/";
    makeDirectory(other());
    const Snapshot before = snapshot(other());
    EXPECT_EQ(0, model.RenameProject("old", "new", nullptr, longer.c_str()));
    EXPECT_EQ(before, snapshot(other()));
    EXPECT_EQ("frame", readFile(cache() + hashOf("old") + "/file"));
}

class FrameCacheFrameFileTest : public FrameCacheRenamingTest {
protected:
    std::string feature() const { return cache() + hashOf("p") + "/" + hashOf("c") + "/PROXY/"; }
};

TEST_F(FrameCacheFrameFileTest, AFrameFileIsNamedByItsNumber) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    for (const auto& [frame, name] :
         std::vector<std::pair<int, std::string>>{{12, "00000012.raw"},
                                                  {0, "00000000.raw"},
                                                  {99999999, "99999999.raw"},
                                                  {123456789, "123456789.raw"},
                                                  {INT_MAX, "2147483647.raw"},
                                                  {-5, "-00000005.raw"},
                                                  {INT_MIN, "-2147483648.raw"}}) {
        EXPECT_EQ(1, model.TestFunctionToCreateAFrameFile(frame));
        EXPECT_EQ("", readFile(feature() + name));
    }
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheFrameFileTest, AFrameThatIsThereIsEmptied) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    writeFile(feature() + "00000001.raw", "old");
    EXPECT_EQ(1, model.TestFunctionToCreateAFrameFile(1));
    EXPECT_EQ("", readFile(feature() + "00000001.raw"));
}

TEST_F(FrameCacheFrameFileTest, AFrameFileNeedsAFeature) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c");
    EXPECT_EQ(0, model.TestFunctionToCreateAFrameFile(1));
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre("ERROR\tTestFunctionToCreateAFrameFile: GetCompletePathToFrameCache failed\n"));
}

TEST_F(FrameCacheFrameFileTest, AFrameFileNeedsADirectory) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    ASSERT_EQ(0, ::rmdir(feature().c_str()));
    EXPECT_EQ(0, model.TestFunctionToCreateAFrameFile(1));
    EXPECT_THAT(root.logMessages(), ElementsAre("ERROR\tUnable to create frame file '" + feature() +
                                                "/00000001.raw'\n"));
}

} // namespace

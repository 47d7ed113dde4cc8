#include "store/KavroPISSConfig.h"

#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::test::Call;
using corvid::test::endedWell;
using corvid::test::FailNth;
using corvid::test::holdsInChild;
using corvid::test::kNobody;
using corvid::test::Lasting;
using corvid::test::readFile;
using corvid::test::removeTree;
using corvid::test::ShortWrites;
using corvid::test::startChild;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

const char kOld[] = "default int\tsize 1\ndefault string\tname somewhere\n";

class ConfigCommitTest : public corvid::test::ProductTest {
protected:
    ConfigCommitTest() { writeFile(file(), kOld); }

    std::string file() const { return root.productFile("Config.txt"); }
    std::string cannotWrite() const {
        return "WARNING\tCommit: Cannot open generic config file '" + file() + "' for writing\n";
    }
    struct stat statusOf(const std::string& path) const {
        struct stat status {};
        EXPECT_EQ(0, ::lstat(path.c_str(), &status));
        return status;
    }
    // Every name in the product's folder.
    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const auto& entry : std::filesystem::directory_iterator(root.productFile())) {
            all.push_back(entry.path().filename().string());
        }
        return all;
    }
    // The old text with a first line that is changed and many more lines behind it.
    static void change(KavroPISSConfig& config) {
        config.ChangeItem("default", "size", 424242);
        for (int i = 0; i < 20; ++i) {
            config.Add("default", "more", i);
        }
    }
    static std::string changedText() {
        std::string text = "default int\tsize 424242\ndefault string\tname somewhere\n";
        for (int i = 0; i < 20; ++i) {
            text += "default int\tmore " + std::to_string(i) + "\n";
        }
        return text;
    }
    void expectFailedCommitThatKeepsTheFile() {
        KavroPISSConfig config;
        change(config);
        root.clearLog();
        EXPECT_FALSE(config.Commit());
        ASSERT_EQ(1U, root.logMessages().size());
        EXPECT_THAT(root.logMessages()[0], StartsWith("WARNING\t"));
        EXPECT_EQ(kOld, readFile(file()));
        EXPECT_EQ(22U, config.NumberOfKeyValuePairsInList());
        EXPECT_THAT(names(), ElementsAre("Config.txt"));
    }
};

TEST_F(ConfigCommitTest, WritesEveryEntryInItsFormatAndListOrder) {
    KavroPISSConfig config;
    change(config);
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ(changedText(), readFile(file()));
    EXPECT_THAT(names(), ElementsAre("Config.txt"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(ConfigCommitTest, AShorterTextLeavesNothingOfTheLongerOne) {
    {
        KavroPISSConfig config;
        change(config);
        config.Commit();
    }
    writeFile(root.productFile("Config.txt"), changedText() + "\nhidden\n");
    KavroPISSConfig config;
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ(changedText(), readFile(file()));
}

TEST_F(ConfigCommitTest, CreatesAMissingFile) {
    KavroPISSConfig config;
    ASSERT_EQ(0, ::unlink(file().c_str()));
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ(kOld, readFile(file()));
}

TEST_F(ConfigCommitTest, AnInvalidObjectCommitsWhatItRead) {
    writeFile(file(), "default int\ta 1\ndefault odd\tb 2\n");
    KavroPISSConfig config;
    ASSERT_EQ(0, config.IsValid());
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("default int\ta 1\n", readFile(file()));
}

TEST_F(ConfigCommitTest, AnUnknownTypeEndsTheWritingBeforeItsEntry) {
    KavroPISSConfig config;
    config.Add("default", "third", 3);
    config.PrepareKeyValuePairList();
    config.GetNextKeyValuePairInList();
    config.GetNextKeyValuePairInList()->type = 2;
    EXPECT_FALSE(config.Commit());
    EXPECT_EQ("default int\tsize 1\n", readFile(file()));
    EXPECT_THAT(root.logMessages(), ElementsAre("WARNING\tCommit: Invalid type in KVP list\n"));
    EXPECT_EQ(3U, config.NumberOfKeyValuePairsInList());
}

TEST_F(ConfigCommitTest, FailsWhenTheFolderIsGone) {
    KavroPISSConfig config;
    removeTree(root.productFile());
    EXPECT_FALSE(config.Commit());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotWrite()));
    EXPECT_EQ(2U, config.NumberOfKeyValuePairsInList());
}

TEST_F(ConfigCommitTest, FailsWhenTheFileHasBecomeADirectory) {
    KavroPISSConfig config;
    ASSERT_EQ(0, ::unlink(file().c_str()));
    corvid::test::makeDirectory(file());
    EXPECT_FALSE(config.Commit());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotWrite()));
}

TEST_F(ConfigCommitTest, FailsWhenTheFileMayNotBeWritten) {
    corvid::test::letOthersIn(root);
    ASSERT_EQ(0, ::chmod(file().c_str(), 0444));
    EXPECT_TRUE(holdsInChild([] {
        if (!corvid::test::becomeNobody()) {
            return false;
        }
        KavroPISSConfig config;
        change(config);
        return config.IsValid() == 1 && !config.Commit() &&
               config.NumberOfKeyValuePairsInList() == 22;
    }));
    EXPECT_EQ(kOld, readFile(file()));
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotWrite()));
}

TEST_F(ConfigCommitTest, AFailingFirstWriteKeepsTheOldText) {
    const FailNth failing(Call::Write, 1, ENOSPC, "Config.txt", Lasting::FromThenOn);
    expectFailedCommitThatKeepsTheFile();
    EXPECT_GE(failing.failures(), 1);
}

TEST_F(ConfigCommitTest, ADiskThatFillsUpInTheMiddleKeepsTheOldText) {
    const ShortWrites slowly(50);
    const FailNth failing(Call::Write, 5, ENOSPC, "Config.txt", Lasting::FromThenOn);
    expectFailedCommitThatKeepsTheFile();
    EXPECT_GE(failing.failures(), 1);
}

TEST_F(ConfigCommitTest, AFailingRenameKeepsTheOldText) {
    const FailNth failing(Call::Rename, 1, EIO);
    expectFailedCommitThatKeepsTheFile();
    EXPECT_EQ(1, failing.failures());
}

TEST_F(ConfigCommitTest, AFailingWriteIntoANewFileLeavesNone) {
    KavroPISSConfig config;
    ASSERT_EQ(0, ::unlink(file().c_str()));
    {
        const FailNth failing(Call::Write, 1, ENOSPC, "Config.txt", Lasting::FromThenOn);
        EXPECT_FALSE(config.Commit());
    }
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_EQ(1U, root.logMessages().size());
}

TEST_F(ConfigCommitTest, WritesThatTakeLittleAtATimeAreContinued) {
    const ShortWrites slowly(3);
    KavroPISSConfig config;
    change(config);
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ(changedText(), readFile(file()));
}

TEST_F(ConfigCommitTest, AnInterruptedWriteIsRepeated) {
    const FailNth failing(Call::Write, 1, EINTR, "Config.txt");
    KavroPISSConfig config;
    change(config);
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ(1, failing.failures());
    EXPECT_EQ(changedText(), readFile(file()));
}

// With a second name the file must stay the same file, so it is rewritten where it is.
class ConfigCommitInPlaceTest : public ConfigCommitTest {
protected:
    ConfigCommitInPlaceTest() {
        EXPECT_EQ(0, ::link(file().c_str(), root.path("second name").c_str()));
    }
};

TEST_F(ConfigCommitInPlaceTest, BothNamesShowTheNewText) {
    const ino_t inode = statusOf(file()).st_ino;
    KavroPISSConfig config;
    change(config);
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ(changedText(), readFile(root.path("second name")));
    EXPECT_EQ(inode, statusOf(file()).st_ino);
    EXPECT_THAT(names(), ElementsAre("Config.txt"));
}

TEST_F(ConfigCommitInPlaceTest, AShorterTextIsCutToItsLength) {
    writeFile(file(), std::string(kOld) + "\n" + std::string(5000, 'x'));
    KavroPISSConfig config;
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ(kOld, readFile(root.path("second name")));
}

TEST_F(ConfigCommitInPlaceTest, AFailingFirstWriteKeepsTheOldText) {
    const FailNth failing(Call::Write, 1, ENOSPC, "Config.txt", Lasting::FromThenOn);
    expectFailedCommitThatKeepsTheFile();
    EXPECT_GE(failing.failures(), 1);
}

TEST_F(ConfigCommitInPlaceTest, AWriteThatFailsOnTheWayPutsTheOldTextBack) {
    const ShortWrites slowly(50);
    for (int n = 2; n <= 8; ++n) {
        const FailNth failing(Call::Write, n, ENOSPC, "Config.txt");
        expectFailedCommitThatKeepsTheFile();
        EXPECT_EQ(1, failing.failures());
    }
}

TEST_F(ConfigCommitInPlaceTest, AFailingCutPutsTheOldTextBack) {
    const FailNth failing(Call::Truncate, 1, EIO, "Config.txt");
    expectFailedCommitThatKeepsTheFile();
    EXPECT_EQ(1, failing.failures());
}

TEST_F(ConfigCommitTest, AFileOfAnotherOwnerKeepsIt) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    ASSERT_EQ(0, ::chown(file().c_str(), kNobody, kNobody));
    const ino_t inode = statusOf(file()).st_ino;
    KavroPISSConfig config;
    change(config);
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ(changedText(), readFile(file()));
    EXPECT_EQ(kNobody, statusOf(file()).st_uid);
    EXPECT_EQ(inode, statusOf(file()).st_ino);
}

TEST_F(ConfigCommitTest, AFileOfAnotherOwnerKeepsItsTextOnAFullDisk) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    ASSERT_EQ(0, ::chown(file().c_str(), kNobody, kNobody));
    const ShortWrites slowly(50);
    const FailNth failing(Call::Write, 3, ENOSPC, "Config.txt");
    expectFailedCommitThatKeepsTheFile();
}

TEST_F(ConfigCommitTest, AFolderThatTakesNoNewFileIsNoHindrance) {
    const FailNth failing(Call::Open, 1, EACCES, ".new", Lasting::FromThenOn);
    KavroPISSConfig config;
    change(config);
    EXPECT_TRUE(config.Commit());
    EXPECT_GE(failing.failures(), 1);
    EXPECT_EQ(changedText(), readFile(file()));
}

TEST_F(ConfigCommitTest, ALinkStaysALink) {
    const std::string target = root.path("settings/real.txt");
    writeFile(target, kOld);
    ASSERT_EQ(0, ::unlink(file().c_str()));
    ASSERT_EQ(0, ::symlink(target.c_str(), file().c_str()));
    KavroPISSConfig config;
    change(config);
    EXPECT_TRUE(config.Commit());
    EXPECT_TRUE(S_ISLNK(statusOf(file()).st_mode));
    EXPECT_TRUE(S_ISREG(statusOf(target).st_mode));
    EXPECT_EQ(changedText(), readFile(target));
}

TEST_F(ConfigCommitTest, ARelativeLinkStaysALink) {
    writeFile(root.productFile("real.txt"), kOld);
    ASSERT_EQ(0, ::unlink(file().c_str()));
    ASSERT_EQ(0, ::symlink("real.txt", file().c_str()));
    KavroPISSConfig config;
    change(config);
    EXPECT_TRUE(config.Commit());
    EXPECT_TRUE(S_ISLNK(statusOf(file()).st_mode));
    EXPECT_EQ(changedText(), readFile(root.productFile("real.txt")));
}

TEST_F(ConfigCommitTest, ThePermissionsOfTheFileAreKept) {
    for (const mode_t mode : {0600U, 0640U, 0666U, 0604U}) {
        ASSERT_EQ(0, ::chmod(file().c_str(), mode));
        KavroPISSConfig config;
        EXPECT_TRUE(config.Commit());
        EXPECT_EQ(mode, statusOf(file()).st_mode & 07777);
    }
}

TEST_F(ConfigCommitTest, ANewFileHasThePermissionsThatTheUmaskLeaves) {
    KavroPISSConfig config;
    ASSERT_EQ(0, ::unlink(file().c_str()));
    const mode_t before = ::umask(027);
    EXPECT_TRUE(config.Commit());
    ::umask(before);
    EXPECT_EQ(0640U, statusOf(file()).st_mode & 07777);
}

// Two processes that commit at the same time, for a second each, and the texts that they write.
class TwoWriters {
public:
    TwoWriters() {
        for (int i = 0; i < 400; ++i) {
            add(0, "first", i);
            add(1, "the-second-one", i);
        }
    }
    void start() {
        for (int writer = 0; writer < 2; ++writer) {
            m_children[writer] =
                startChild([this, writer] { return commitForAWhile(m_configs[writer]); });
        }
    }
    void expectEnd() const {
        EXPECT_TRUE(endedWell(m_children[0]));
        EXPECT_TRUE(endedWell(m_children[1]));
    }
    bool isOneOfTheTexts(const std::string& text) const {
        return text == m_texts[0] || text == m_texts[1];
    }

private:
    void add(int writer, const char* key, int value) {
        m_configs[writer].Add("default", key, value);
        m_texts[writer] += "default int\t" + std::string(key) + " " + std::to_string(value) + "\n";
    }
    static bool commitForAWhile(KavroPISSConfig& config) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
        while (std::chrono::steady_clock::now() < end) {
            if (!config.Commit()) {
                return false;
            }
        }
        return true;
    }

    KavroPISSConfig m_configs[2];
    std::string m_texts[2] = {kOld, kOld};
    pid_t m_children[2] = {};
};

TEST_F(ConfigCommitTest, WhatIsReadWhileTwoProcessesWriteIsAlwaysWhole) {
    TwoWriters writers;
    writers.start();
    for (int i = 0; i < 300; ++i) {
        const std::string seen = readFile(file());
        EXPECT_TRUE(seen == kOld || writers.isOneOfTheTexts(seen)) << seen;
        ::usleep(2000);
    }
    writers.expectEnd();
    EXPECT_TRUE(writers.isOneOfTheTexts(readFile(file())));
    EXPECT_THAT(names(), ElementsAre("Config.txt"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(ConfigCommitInPlaceTest, TwoProcessesAtOnceLeaveTheTextOfOneOfThem) {
    TwoWriters writers;
    writers.start();
    writers.expectEnd();
    EXPECT_TRUE(writers.isOneOfTheTexts(readFile(file())));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

} // namespace

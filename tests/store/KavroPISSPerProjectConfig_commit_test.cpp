#include "store/KavroPISSPerProjectConfig.h"

#include "store/PISSMD5.h"
#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::hashOf;
using corvid::test::Call;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::Lasting;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::ShortWrites;
using corvid::test::writeFile;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class PerProjectConfigCommitTest : public corvid::test::ProductTest {
protected:
    PerProjectConfigCommitTest() { writeFile(file(), oldText()); }

    std::string folder() const { return root.path("Shots/"); }
    std::string file() const { return folder() + ".CorvidPro2ProjectConfig.cvp"; }
    static std::string oldText() {
        return "cvp-version:1\n" + hashOf("a") + " int\tsize 1\n" + hashOf("a") +
               " string\tname some where\n";
    }
    static void change(KavroPISSPerProjectConfig& config) {
        EXPECT_TRUE(config.ChangeItem("a", "size", 424242));
        for (int i = 0; i < 20; ++i) {
            EXPECT_TRUE(config.Add("b", "more", i));
        }
    }
    static std::string newText() {
        std::string text = "cvp-version:1\n" + hashOf("a") + " int\tsize 424242\n" + hashOf("a") +
                           " string\tname some where\n";
        for (int i = 0; i < 20; ++i) {
            text += hashOf("b") + " int\tmore " + std::to_string(i) + "\n";
        }
        return text;
    }
    std::string cannotOpen() const {
        return "WARNING\tPer Project Commit: Cannot open generic config file '" + file() +
               "' for writing\n";
    }
    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const auto& entry : std::filesystem::directory_iterator(folder())) {
            all.push_back(entry.path().filename().string());
        }
        return all;
    }
    // A commit that fails with one warning and leaves the old text and nothing beside it.
    void expectTheOldTextToStay() {
        KavroPISSPerProjectConfig config(folder().c_str());
        change(config);
        root.clearLog();
        EXPECT_FALSE(config.Commit());
        EXPECT_THAT(root.logMessages(), ElementsAre(StartsWith("WARNING\tPer Project Commit: ")));
        EXPECT_EQ(oldText(), readFile(file()));
        EXPECT_THAT(names(), ElementsAre(".CorvidPro2ProjectConfig.cvp"));
        EXPECT_EQ(22U, config.NumberOfKeyValuePairsInList());
    }
};

TEST_F(PerProjectConfigCommitTest, WritesTheHeaderAndEveryEntryInListOrder) {
    KavroPISSPerProjectConfig config(folder().c_str());
    change(config);
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ(newText(), readFile(file()));
    EXPECT_THAT(names(), ElementsAre(".CorvidPro2ProjectConfig.cvp"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(PerProjectConfigCommitTest, CreatesAMissingFileWithItsHeader) {
    ASSERT_EQ(0, ::unlink(file().c_str()));
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("cvp-version:1\n", readFile(file()));
}

TEST_F(PerProjectConfigCommitTest, NothingIsWrittenWithoutACommit) {
    {
        KavroPISSPerProjectConfig config(folder().c_str());
        change(config);
    }
    EXPECT_EQ(oldText(), readFile(file()));
}

TEST_F(PerProjectConfigCommitTest, AnOutOfDateFileIsReplaced) {
    writeFile(file(), "cvp-version:0\n" + hashOf("a") + " int\tsize 1\n");
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_TRUE(config.Add("b", "key", 2));
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("cvp-version:1\n" + hashOf("b") + " int\tkey 2\n", readFile(file()));
}

TEST_F(PerProjectConfigCommitTest, WhatWasReadIsWrittenBackUnchanged) {
    {
        KavroPISSPerProjectConfig config(folder().c_str());
        change(config);
        EXPECT_TRUE(config.Commit());
    }
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ(newText(), readFile(file()));
}

TEST_F(PerProjectConfigCommitTest, AnUnknownTypeEndsTheWritingBeforeItsEntry) {
    KavroPISSPerProjectConfig config(folder().c_str());
    config.PrepareKeyValuePairList();
    config.GetNextKeyValuePairInList();
    config.GetNextKeyValuePairInList()->type = 2;
    EXPECT_FALSE(config.Commit());
    EXPECT_EQ("cvp-version:1\n" + hashOf("a") + " int\tsize 1\n", readFile(file()));
    EXPECT_THAT(root.logMessages(), ElementsAre("WARNING\tCommit: Invalid type in KVP list\n"));
}

TEST_F(PerProjectConfigCommitTest, AMissingFolderIsWarnedAbout) {
    KavroPISSPerProjectConfig config(root.path("missing").c_str());
    EXPECT_FALSE(config.Commit());
    EXPECT_THAT(root.logMessages(),
                ElementsAre("WARNING\tPer Project Commit: Cannot open generic config file '" +
                            root.path("missing/.CorvidPro2ProjectConfig.cvp") + "' for writing\n"));
    EXPECT_FALSE(exists(root.path("missing")));
}

TEST_F(PerProjectConfigCommitTest, AFileThatIsADirectoryIsWarnedAbout) {
    ASSERT_EQ(0, ::unlink(file().c_str()));
    makeDirectory(file());
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_FALSE(config.Commit());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotOpen()));
}

TEST_F(PerProjectConfigCommitTest, AFileThatMayNotBeWrittenIsWarnedAbout) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to become another user";
    }
    corvid::test::letOthersIn(root);
    ASSERT_EQ(0, ::chmod(file().c_str(), 0444));
    KavroPISSPerProjectConfig config(folder().c_str());
    change(config);
    EXPECT_TRUE(corvid::test::holdsInChild(
        [&config] { return corvid::test::becomeNobody() && !config.Commit(); }));
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotOpen()));
    EXPECT_EQ(oldText(), readFile(file()));
}

TEST_F(PerProjectConfigCommitTest, AFailingOpenKeepsTheOldText) {
    const FailNth failing(Call::Open, 1, EIO, "ProjectConfig.cvp", Lasting::FromThenOn);
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_FALSE(config.Commit());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotOpen()));
    EXPECT_EQ(oldText(), readFile(file()));
}

TEST_F(PerProjectConfigCommitTest, AFullDiskKeepsTheOldText) {
    const FailNth full(Call::Write, 1, ENOSPC, "Shots", Lasting::FromThenOn);
    expectTheOldTextToStay();
    EXPECT_GT(full.failures(), 0);
}

TEST_F(PerProjectConfigCommitTest, ADiskThatFillsUpHalfwayKeepsTheOldText) {
    const ShortWrites pieces(64);
    const FailNth full(Call::Write, 3, ENOSPC, "Shots", Lasting::FromThenOn);
    expectTheOldTextToStay();
    EXPECT_GT(full.failures(), 0);
}

TEST_F(PerProjectConfigCommitTest, AFailingRenameKeepsTheOldText) {
    const FailNth failing(Call::Rename, 1, EIO, "Shots");
    expectTheOldTextToStay();
    EXPECT_EQ(1, failing.failures());
}

TEST_F(PerProjectConfigCommitTest, WithoutRoomForASecondFileAFailingWriteKeepsTheOldText) {
    const FailNth noSecondFile(Call::Open, 1, EACCES, ".new", Lasting::FromThenOn);
    const FailNth failing(Call::Write, 1, ENOSPC, "Shots");
    expectTheOldTextToStay();
    EXPECT_GT(noSecondFile.failures(), 0);
    EXPECT_EQ(1, failing.failures());
}

TEST_F(PerProjectConfigCommitTest, AFailedFirstCommitLeavesNoFile) {
    ASSERT_EQ(0, ::unlink(file().c_str()));
    const FailNth full(Call::Write, 1, ENOSPC, "Shots", Lasting::FromThenOn);
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_TRUE(config.Add("a", "key", 1));
    EXPECT_FALSE(config.Commit());
    EXPECT_THAT(root.logMessages(), ElementsAre(StartsWith("WARNING\t")));
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(PerProjectConfigCommitTest, ShortWritesAreContinued) {
    const ShortWrites bytes(1);
    KavroPISSPerProjectConfig config(folder().c_str());
    change(config);
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ(newText(), readFile(file()));
}

// Whichever call fails, the file holds the old or the new text and the answer tells which.
TEST_F(PerProjectConfigCommitTest, EveryFailingCallLeavesOneOfTheTexts) {
    for (const Call call : {Call::Open, Call::Write, Call::Truncate, Call::Rename}) {
        bool hasFailed = true;
        for (int nth = 1; hasFailed; ++nth) {
            ASSERT_LT(nth, 100);
            writeFile(file(), oldText());
            KavroPISSPerProjectConfig config(folder().c_str());
            change(config);
            root.clearLog();
            const FailNth failing(call, nth, EIO, "Shots");
            const bool committed = config.Commit();
            hasFailed = failing.failures() > 0;
            EXPECT_EQ(committed ? newText() : oldText(), readFile(file()));
            EXPECT_EQ(committed ? 0U : 1U, root.logMessages().size());
            EXPECT_THAT(names(), ElementsAre(".CorvidPro2ProjectConfig.cvp"));
        }
    }
}

} // namespace

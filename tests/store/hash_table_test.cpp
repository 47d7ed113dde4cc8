#include "store/hash_table.h"

#include "files/text_file.h"
#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::HashTable;
using corvid::KeyTable;
using corvid::OwnedText;
using corvid::sharedHashTable;
using corvid::test::Call;
using corvid::test::callsMade;
using corvid::test::FailNth;
using corvid::test::holdsInChild;
using corvid::test::Lasting;
using corvid::test::readFile;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(HashTable, FindsTheFirstOfSeveralEntries) {
    HashTable table;
    EXPECT_TRUE(table.add("h1", "key one"));
    EXPECT_TRUE(table.add("h1", "key two"));
    EXPECT_TRUE(table.add("h2", "key one"));
    EXPECT_EQ(3U, table.size());
    EXPECT_STREQ("key one", table.keyOf("h1"));
    EXPECT_STREQ("h1", table.hashOf("key one"));
    EXPECT_STREQ("key one", table.keyOf("h2"));
}

TEST(HashTable, RefusesOnlyAPairThatIsThere) {
    HashTable table;
    EXPECT_TRUE(table.add("h", "k"));
    EXPECT_FALSE(table.add("h", "k"));
    EXPECT_TRUE(table.contains("h", "k"));
    EXPECT_FALSE(table.contains("h", "K"));
    EXPECT_FALSE(table.contains("hk", ""));
    EXPECT_EQ(1U, table.size());
}

TEST(HashTable, WhatIsNotThereIsNull) {
    const HashTable table;
    EXPECT_EQ(nullptr, table.keyOf("h"));
    EXPECT_EQ(nullptr, table.hashOf("k"));
    EXPECT_EQ("", table.text());
}

TEST(HashTable, ACopyIsIndependentOfItsOriginal) {
    HashTable original;
    original.add("h", "k");
    HashTable copy(original);
    copy.add("h2", "k2");
    original.add("h3", "k3");
    EXPECT_STREQ("k", copy.keyOf("h"));
    EXPECT_EQ(nullptr, copy.keyOf("h3"));
    EXPECT_EQ(nullptr, original.keyOf("h2"));
}

TEST(HashTable, ALongHashIsCut) {
    HashTable table;
    table.add(std::string(50, 'h'), "k");
    EXPECT_EQ(std::string(35, 'h'), table.hashOf("k"));
}

TEST(HashTable, TheTextHasALinePerEntryInOrder) {
    HashTable table;
    table.add("h2", "/some project.aep");
    table.add("h1", "key  with blanks ");
    EXPECT_EQ("h2 /some project.aep\nh1 key  with blanks \n", table.text());
}

class HashTableFileTest : public corvid::test::ProductTest {
protected:
    std::string file() const { return root.path("cache/ProjectHash.txt"); }
    std::string textOf(const std::string& content) const {
        writeFile(file(), content);
        HashTable table;
        EXPECT_EQ(corvid::ReadResult::Whole, table.readFile(file().c_str()));
        return table.text();
    }
};

TEST_F(HashTableFileTest, WhatIsWrittenIsReadBack) {
    HashTable table;
    table.add("h1", "key  with\tblanks ");
    table.add("h1", "another");
    const std::string longest(1022 - 3, 'x');
    table.add("h3", longest);
    EXPECT_EQ(table.text(), textOf(table.text()));
    EXPECT_NE(std::string::npos, table.text().find(longest));
}

TEST_F(HashTableFileTest, BlanksAndTabsSeparateTheHashFromTheKey) {
    EXPECT_EQ("h1 the key \nh2 k\n", textOf(" \th1 \t the key \nh2\tk"));
}

TEST_F(HashTableFileTest, AnEmptyLineEndsTheReading) {
    EXPECT_EQ("h1 k\n", textOf("h1 k\n\nh2 k\n"));
    EXPECT_EQ("h1 k\n", textOf("h1 k\n \t\nh2 k\n"));
}

TEST_F(HashTableFileTest, ARepeatedPairIsReadOnce) {
    EXPECT_EQ("h1 k\nh1 l\n", textOf("h1 k\nh1 k\nh1 l\n"));
}

TEST_F(HashTableFileTest, LinesWithoutAKeyAreRememberedForTheirMessage) {
    writeFile(file(), "h1 \nh2 k\nh3\n");
    HashTable table;
    table.readFile(file().c_str());
    EXPECT_THAT(table.hashesWithoutKey(), ElementsAre("h1", "h3"));
    EXPECT_EQ(1U, table.size());
}

TEST_F(HashTableFileTest, WhatIsNoFileCannotBeRead) {
    HashTable table;
    EXPECT_EQ(corvid::ReadResult::Missing, table.readFile(file().c_str()));
    EXPECT_EQ(corvid::ReadResult::Unreadable, table.readFile(root.path().c_str()));
    EXPECT_EQ(nullptr, sharedHashTable(file().c_str()));
    EXPECT_EQ(nullptr, sharedHashTable(root.path().c_str()));
}

TEST_F(HashTableFileTest, APipeInPlaceOfTheTableDoesNotBlock) {
    corvid::test::makeDirectory(root.path("cache"));
    ASSERT_EQ(0, ::mkfifo(file().c_str(), 0666));
    const std::string path = file();
    EXPECT_TRUE(holdsInChild([&path] { return sharedHashTable(path.c_str()) == nullptr; }, 10));
}

TEST_F(HashTableFileTest, ATableOfAnySizeAndContentIsRead) {
    std::string binary;
    for (int i = 0; i < 50000; ++i) {
        binary.push_back(static_cast<char>(i * 7919 % 256));
    }
    writeFile(file(), binary);
    HashTable table;
    EXPECT_EQ(corvid::ReadResult::Whole, table.readFile(file().c_str()));
    EXPECT_EQ("h k\n", textOf("h k\nlong " + std::string(100000, 'x')).substr(0, 4));
}

// Changes the file in place to another text of the same length and puts its time stamp back.
void changeUnnoticed(const std::string& path, const std::string& text) {
    struct stat before {};
    ASSERT_EQ(0, ::stat(path.c_str(), &before));
    ASSERT_EQ(static_cast<std::size_t>(before.st_size), text.size());
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(static_cast<ssize_t>(text.size()), ::pwrite(file, text.data(), text.size(), 0));
    const timespec times[] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(0, ::futimens(file, times));
    ::close(file);
}

TEST_F(HashTableFileTest, AChangeRightAfterReadingIsSeenWhateverTheTimeStampSays) {
    writeFile(file(), "h key0000\n");
    for (int i = 1; i <= 300; ++i) {
        std::string key = "key0000";
        key.replace(7 - std::to_string(i).size(), std::string::npos, std::to_string(i));
        changeUnnoticed(file(), "h " + key + "\n");
        ASSERT_EQ(key, sharedHashTable(file().c_str())->keyOf("h"));
    }
}

TEST_F(HashTableFileTest, AReplacedTableIsSeen) {
    writeFile(file(), "h key1\n");
    EXPECT_STREQ("key1", sharedHashTable(file().c_str())->keyOf("h"));
    EXPECT_EQ(corvid::ReplaceOutcome::Replaced,
              corvid::replaceTextFile(file().c_str(), "h key2\n"));
    EXPECT_STREQ("key2", sharedHashTable(file().c_str())->keyOf("h"));
    ASSERT_EQ(0, ::unlink(file().c_str()));
    EXPECT_EQ(nullptr, sharedHashTable(file().c_str()));
    writeFile(file(), "h key3\n");
    EXPECT_STREQ("key3", sharedHashTable(file().c_str())->keyOf("h"));
}

// The one test that waits until a table is old enough to be trusted.
TEST_F(HashTableFileTest, AnOldTableIsParsedOnceWhateverItsLengthUntilItChanges) {
    const std::string large = root.path("cache/large.txt");
    std::string text;
    for (int i = 0; i < 20000; ++i) {
        text += "hash" + std::to_string(i) + " /a/project/number " + std::to_string(i) + ".aep\n";
    }
    writeFile(file(), "h key1\n");
    writeFile(large, text);
    std::this_thread::sleep_for(std::chrono::milliseconds(3200));
    const auto first = sharedHashTable(file().c_str());
    const auto firstLarge = sharedHashTable(large.c_str());
    const std::uint64_t opens = callsMade(Call::Open);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(first, sharedHashTable(file().c_str()));
        EXPECT_EQ(firstLarge, sharedHashTable(large.c_str()));
        KeyTable table("Project");
        EXPECT_EQ(1, table.read(large.c_str()));
        EXPECT_STREQ("hash19999", table.hashOf("/a/project/number 19999.aep").get());
    }
    EXPECT_EQ(opens, callsMade(Call::Open));
    changeUnnoticed(file(), "h key2\n");
    EXPECT_STREQ("key2", sharedHashTable(file().c_str())->keyOf("h"));
    EXPECT_STREQ("key1", first->keyOf("h"));
}

TEST_F(HashTableFileTest, ManyTablesAtOnceAreEachTheirOwn) {
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 150; ++i) {
            const std::string path = root.path("cache/table" + std::to_string(i));
            writeFile(path, "h key" + std::to_string(i) + "\n");
            EXPECT_EQ("key" + std::to_string(i), sharedHashTable(path.c_str())->keyOf("h"));
        }
    }
}

TEST_F(HashTableFileTest, TablesMayBeReadOnSeveralThreads) {
    writeFile(file(), "h key\n");
    std::vector<std::thread> threads;
    std::atomic<int> right{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this, &right] {
            for (int n = 0; n < 200; ++n) {
                const auto table = sharedHashTable(file().c_str());
                right += table != nullptr && table->keyOf("h") == std::string("key") ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(800, right);
}

class KeyTableTest : public HashTableFileTest {
protected:
    KeyTableTest() { corvid::test::makeDirectory(root.path("cache")); }
    KeyTable table{"Project"};
};

TEST_F(KeyTableTest, AMissingFileIsAnEmptyTableWithoutAMessage) {
    table.add(file().c_str(), "h", "k", false);
    EXPECT_EQ(0, table.read(file().c_str()));
    EXPECT_FALSE(table.contains("h", "k"));
    EXPECT_EQ(0, table.read(nullptr));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(KeyTableTest, EachModelHasATableOfItsOwn) {
    writeFile(file(), "h k\n");
    KeyTable other("Project");
    EXPECT_EQ(1, table.read(file().c_str()));
    EXPECT_EQ(1, other.read(file().c_str()));
    EXPECT_EQ(1, table.add(file().c_str(), "h2", "k2", false));
    EXPECT_STREQ("k2", table.keyOf("h2").get());
    EXPECT_EQ(nullptr, other.keyOf("h2"));
    EXPECT_EQ(1, other.add(file().c_str(), "h3", "k3", true));
    EXPECT_EQ("h k\nh3 k3\n", readFile(file()));
    EXPECT_EQ(1, table.write(file().c_str()));
    EXPECT_EQ("h k\nh2 k2\n", readFile(file()));
    KeyTable third("Project");
    third.read(file().c_str());
    EXPECT_TRUE(third.contains("h2", "k2"));
    EXPECT_FALSE(third.contains("h3", "k3"));
}

TEST_F(KeyTableTest, ClearingOneModelLeavesTheOthers) {
    writeFile(file(), "h k\n");
    KeyTable other("Project");
    table.read(file().c_str());
    other.read(file().c_str());
    table.clear();
    EXPECT_EQ(nullptr, table.keyOf("h"));
    EXPECT_STREQ("k", other.keyOf("h").get());
}

TEST_F(KeyTableTest, AddingWithWriteRewritesTheFileOnlyForANewPair) {
    EXPECT_EQ(1, table.add(file().c_str(), "h", "k", true));
    EXPECT_EQ("h k\n", readFile(file()));
    writeFile(file(), "untouched");
    EXPECT_EQ(1, table.add(file().c_str(), "h", "k", true));
    EXPECT_EQ("untouched", readFile(file()));
}

TEST_F(KeyTableTest, ANullKeyIsRefusedWithAMessage) {
    EXPECT_EQ(0, table.add(file().c_str(), "h", nullptr, true));
    EXPECT_EQ(0, table.add(file().c_str(), nullptr, nullptr, true));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tAddProjectHashTable failed. name value was NULL for hash:[h]",
                            "ERROR\tAddProjectHashTable failed. name value was NULL for hash:[]"));
    EXPECT_FALSE(corvid::test::exists(file()));
}

TEST_F(KeyTableTest, ALineWithoutKeyGivesTheMessageForEveryModel) {
    writeFile(file(), "h1\nh2 k\n");
    EXPECT_EQ(1, table.read(file().c_str()));
    EXPECT_EQ(1, table.read(file().c_str()));
    const std::string message =
        "ERROR\tAddProjectHashTable failed. name value was NULL for hash:[h1]";
    EXPECT_THAT(root.logMessages(), ElementsAre(message, message));
    EXPECT_STREQ("k", table.keyOf("h2").get());
}

TEST_F(KeyTableTest, NullQuestionsFindNothing) {
    table.add(nullptr, "h", "k", false);
    EXPECT_FALSE(table.contains(nullptr, "k"));
    EXPECT_FALSE(table.contains("h", nullptr));
    EXPECT_EQ(nullptr, table.keyOf(nullptr));
    EXPECT_EQ(nullptr, table.hashOf(nullptr));
}

TEST_F(KeyTableTest, AnUnwritableFileIsAnErrorThatKeepsTheEntryInMemory) {
    const std::string path = root.path("missing/ProjectHash.txt");
    EXPECT_EQ(0, table.add(path.c_str(), "h", "k", true));
    EXPECT_TRUE(table.contains("h", "k"));
    EXPECT_EQ(0, table.write(path.c_str()));
    const std::string message =
        "ERROR\tWriteProjectHashTable: Could not open '" + path + "' for writing\n";
    EXPECT_THAT(root.logMessages(), ElementsAre(message, message));
}

TEST_F(KeyTableTest, ATableThatIsALinkIsReadButNotWrittenThrough) {
    const std::string path = root.path("linked.txt");
    writeFile(file(), "h k\n");
    ASSERT_EQ(0, ::symlink(file().c_str(), path.c_str()));
    EXPECT_EQ(1, table.read(path.c_str()));
    EXPECT_EQ(0, table.add(path.c_str(), "h2", "k2", true));
    EXPECT_EQ("h k\n", readFile(file()));
    EXPECT_TRUE(root.hasLogged("ERROR\tWriteProjectHashTable: Could not open '" + path +
                               "' for writing\n"));
}

TEST_F(KeyTableTest, AFullDiskKeepsTheOldTable) {
    writeFile(file(), "h k\n");
    table.read(file().c_str());
    const FailNth failing(Call::Write, 1, ENOSPC, "ProjectHash.txt", Lasting::FromThenOn);
    EXPECT_EQ(0, table.add(file().c_str(), "h2", "k2", true));
    EXPECT_EQ("h k\n", readFile(file()));
    EXPECT_EQ(1U, root.logMessages().size());
}

// A key that takes more memory than there is.
bool addHugeKey(KeyTable& table, const std::string& key) {
    struct rlimit limit {};
    ::getrlimit(RLIMIT_AS, &limit);
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    limit.rlim_cur = static_cast<rlim_t>(pages * ::sysconf(_SC_PAGESIZE)) + key.size() / 2;
    ::setrlimit(RLIMIT_AS, &limit);
    return table.add(nullptr, "h", key.c_str(), false) == 0 && table.keyOf("h") == nullptr;
}

TEST_F(KeyTableTest, WantOfMemoryIsAnError) {
    if (corvid::test::kSanitized) {
        GTEST_SKIP() << "the sanitizer needs the address space";
    }
    const std::string key(256 << 20, 'k');
    EXPECT_TRUE(holdsInChild([&] { return addHugeKey(table, key); }));
    EXPECT_THAT(root.logMessages(), ElementsAre("ERROR\tAddProjectHashTable: malloc failed\n"));
}

TEST_F(KeyTableTest, WantOfMemoryIsAnErrorInATableThatHasEntriesToo) {
    if (corvid::test::kSanitized) {
        GTEST_SKIP() << "the sanitizer needs the address space";
    }
    KeyTable compositions("Composition");
    compositions.add(nullptr, "other", "k", false);
    const std::string key(256 << 20, 'k');
    EXPECT_TRUE(holdsInChild([&] { return addHugeKey(compositions, key); }));
    EXPECT_THAT(root.logMessages(), ElementsAre("ERROR\tAddCompositionHashTable: malloc failed\n"));
}

} // namespace

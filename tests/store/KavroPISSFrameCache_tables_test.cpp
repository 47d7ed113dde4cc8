#include "store/KavroPISSFrameCache.h"

#include "files/owned_text.h"
#include "tests/support/failing_calls.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <string>

#include <sys/stat.h>

namespace {

using corvid::test::Call;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::readFile;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The operations of one of the two tables.
struct Table {
    const char* name;
    const char* file;
    int (KavroPISSFrameCache::*read)();
    int (KavroPISSFrameCache::*add)(const char*, const char*, bool);
    int (KavroPISSFrameCache::*contains)(const char*, const char*) const;
    int (KavroPISSFrameCache::*findHash)(const char*, char**) const;
    int (KavroPISSFrameCache::*findKey)(const char*, char**) const;
    int (KavroPISSFrameCache::*write)() const;
    int (KavroPISSFrameCache::*clear)();
    int clearAnswer;
};

const Table kProject{"Project",
                     "ProjectHash.txt",
                     &KavroPISSFrameCache::ReadProjectHashTable,
                     &KavroPISSFrameCache::AddProjectHashTable,
                     &KavroPISSFrameCache::DoesProjectHashAlreadyExist,
                     &KavroPISSFrameCache::FindProjectNameHashGivenKey,
                     &KavroPISSFrameCache::FindOriginalProjectKeyGivenHash,
                     &KavroPISSFrameCache::WriteProjectHashTable,
                     &KavroPISSFrameCache::DeleteProjectHashTable,
                     0};
const Table kComposition{"Composition",
                         "CompositionHash.txt",
                         &KavroPISSFrameCache::ReadCompositionHashTable,
                         &KavroPISSFrameCache::AddCompositionHashTable,
                         &KavroPISSFrameCache::DoesCompositionHashAlreadyExist,
                         &KavroPISSFrameCache::FindCompositionNameHashGivenKey,
                         &KavroPISSFrameCache::FindOriginalCompositionKeyGivenHash,
                         &KavroPISSFrameCache::WriteCompositionHashTable,
                         &KavroPISSFrameCache::DeleteCompositionHashTable,
                         1};

class FrameCacheTablesTest : public ::testing::TestWithParam<Table> {
protected:
    FrameCacheTablesTest() {
        model = std::make_unique<KavroPISSFrameCache>(root.path("cache/").c_str());
    }

    std::string file() const { return root.path(std::string("cache/") + table.file); }
    int read() { return (*model.*table.read)(); }
    int add(const char* hash, const char* key, bool write) {
        return (*model.*table.add)(hash, key, write);
    }
    int write() { return (*model.*table.write)(); }
    int clear() { return (*model.*table.clear)(); }
    int findKey(const char* hash, char** key) { return (*model.*table.findKey)(hash, key); }
    int contains(const char* hash, const char* key) { return (*model.*table.contains)(hash, key); }
    // The result of a find; nothing when it was left untouched.
    template <class Find>
    std::optional<std::string> found(Find find, const char* by) {
        char unset = 'u';
        char* result = &unset;
        const int answer = ((*model).*find)(by, &result);
        if (answer == 0) {
            EXPECT_EQ(&unset, result) << "a miss changed the result";
            return std::nullopt;
        }
        EXPECT_EQ(1, answer);
        const corvid::OwnedText owned(result);
        return result;
    }
    std::optional<std::string> keyOf(const char* hash) { return found(table.findKey, hash); }
    std::optional<std::string> hashOf(const char* key) { return found(table.findHash, key); }
    std::string message(const std::string& before, const std::string& after) const {
        return "ERROR\t" + before + table.name + after;
    }

    corvid::test::ProductRoot root;
    Table table = GetParam();
    std::unique_ptr<KavroPISSFrameCache> model;
};

TEST_P(FrameCacheTablesTest, AMissingFileIsAnEmptyTableWithoutAMessage) {
    add("h", "k", false);
    EXPECT_EQ(0, read());
    EXPECT_EQ(0, contains("h", "k"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_P(FrameCacheTablesTest, ReadingTakesTheHashAndTheRestOfEachLine) {
    writeFile(file(), "h1 /a project/with blanks.aep\n \th2\t  key two \nh3 last");
    EXPECT_EQ(1, read());
    EXPECT_EQ("/a project/with blanks.aep", keyOf("h1"));
    EXPECT_EQ("key two ", keyOf("h2"));
    EXPECT_EQ("h3", hashOf("last"));
}

TEST_P(FrameCacheTablesTest, ReadingReplacesWhatWasInMemory) {
    add("old", "entry", false);
    writeFile(file(), "h k\n");
    EXPECT_EQ(1, read());
    EXPECT_EQ(0, contains("old", "entry"));
    EXPECT_EQ(1, contains("h", "k"));
}

TEST_P(FrameCacheTablesTest, ALineWithoutATokenEndsTheReading) {
    writeFile(file(), "h1 k1\n \t\nh2 k2\n");
    EXPECT_EQ(1, read());
    EXPECT_EQ(1, contains("h1", "k1"));
    EXPECT_EQ(0, contains("h2", "k2"));
}

TEST_P(FrameCacheTablesTest, ALineWithoutAKeyIsRefusedWithAMessage) {
    writeFile(file(), "h1\nh2 k2\n");
    EXPECT_EQ(1, read());
    EXPECT_EQ(1, contains("h2", "k2"));
    EXPECT_THAT(root.logMessages(),
                ElementsAre(message("Add", "HashTable failed. name value was NULL for hash:[h1]")));
}

TEST_P(FrameCacheTablesTest, ReadingWritesNothing) {
    writeFile(file(), "h1 k1\nh1 k1\n\nhidden line\n");
    const auto before = corvid::test::snapshot(file());
    read();
    EXPECT_EQ(before, corvid::test::snapshot(file()));
}

TEST_P(FrameCacheTablesTest, ADirectoryInPlaceOfTheTableIsAnEmptyTable) {
    corvid::test::makeDirectory(file() + "/inside");
    EXPECT_EQ(0, read());
    EXPECT_EQ(0, add("h", "k", true));
    EXPECT_TRUE(exists(file() + "/inside"));
    EXPECT_THAT(root.logMessages(), ElementsAre(message("Write", "HashTable: Could not open '" +
                                                                     file() + "' for writing\n")));
}

TEST_P(FrameCacheTablesTest, AddingWithoutWriteStaysInMemory) {
    EXPECT_EQ(1, add("h", "k", false));
    EXPECT_EQ(1, contains("h", "k"));
    EXPECT_FALSE(exists(file()));
}

TEST_P(FrameCacheTablesTest, AddingWithWriteRewritesTheWholeFile) {
    EXPECT_EQ(1, add("h1", "key one", false));
    EXPECT_EQ(1, add("h2", "key two", true));
    EXPECT_EQ("h1 key one\nh2 key two\n", readFile(file()));
}

TEST_P(FrameCacheTablesTest, APairThatIsThereWritesNothing) {
    add("h", "k", false);
    EXPECT_EQ(1, add("h", "k", true));
    EXPECT_FALSE(exists(file()));
}

TEST_P(FrameCacheTablesTest, ANullKeyIsRefusedWithAMessage) {
    EXPECT_EQ(0, add("some hash", nullptr, true));
    EXPECT_EQ(0, add(nullptr, nullptr, true));
    EXPECT_THAT(root.logMessages(),
                ElementsAre(message("Add", "HashTable failed. name value was NULL for "
                                           "hash:[some hash]"),
                            message("Add", "HashTable failed. name value was NULL for hash:[]")));
    EXPECT_FALSE(exists(file()));
}

TEST_P(FrameCacheTablesTest, OneHashMayHaveTwoKeysOfWhichTheEarlierIsFound) {
    add("h", "first", false);
    EXPECT_EQ(1, add("h", "second", true));
    EXPECT_EQ("first", keyOf("h"));
    EXPECT_EQ("h", hashOf("second"));
    EXPECT_EQ("h first\nh second\n", readFile(file()));
}

TEST_P(FrameCacheTablesTest, APairExistsOnlyWithBothParts) {
    add("h", "k", false);
    add("h2", "k2", false);
    EXPECT_EQ(1, contains("h", "k"));
    EXPECT_EQ(0, contains("h", "k2"));
    EXPECT_EQ(0, contains("H", "k"));
    EXPECT_EQ(0, contains(nullptr, "k"));
    EXPECT_EQ(0, contains("h", nullptr));
}

TEST_P(FrameCacheTablesTest, AMissLeavesTheResultUntouched) {
    EXPECT_EQ(std::nullopt, keyOf("h"));
    EXPECT_EQ(std::nullopt, hashOf("k"));
    EXPECT_EQ(std::nullopt, keyOf(nullptr));
    EXPECT_EQ(std::nullopt, hashOf(nullptr));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_P(FrameCacheTablesTest, AFoundTextIsACopy) {
    add("h", "key", false);
    char* key = nullptr;
    ASSERT_EQ(1, findKey("h", &key));
    key[0] = 'K';
    EXPECT_EQ("key", keyOf("h"));
    std::free(key);
}

TEST_P(FrameCacheTablesTest, WritingAnEmptyTableMakesAnEmptyFile) {
    writeFile(file(), "h k\n");
    EXPECT_EQ(1, write());
    EXPECT_EQ("", readFile(file()));
}

TEST_P(FrameCacheTablesTest, AnUnwritableFileIsAnError) {
    corvid::test::removeTree(root.path("cache"));
    EXPECT_EQ(0, write());
    EXPECT_EQ(0, add("h", "k", true));
    const std::string expected =
        message("Write", "HashTable: Could not open '" + file() + "' for writing\n");
    EXPECT_THAT(root.logMessages(), ElementsAre(expected, expected));
}

TEST_P(FrameCacheTablesTest, AFullDiskKeepsTheOldFile) {
    writeFile(file(), "h k\n");
    read();
    const FailNth failing(Call::Write, 1, ENOSPC, table.file, corvid::test::Lasting::FromThenOn);
    EXPECT_EQ(0, add("h2", "k2", true));
    EXPECT_GE(failing.failures(), 1);
    EXPECT_EQ("h k\n", readFile(file()));
}

TEST_P(FrameCacheTablesTest, DeletingEmptiesTheMemoryNotTheFile) {
    add("h", "k", true);
    EXPECT_EQ(table.clearAnswer, clear());
    EXPECT_EQ(0, contains("h", "k"));
    EXPECT_EQ("h k\n", readFile(file()));
}

TEST_P(FrameCacheTablesTest, ModelsOfOneRootHaveTheirOwnCopies) {
    writeFile(file(), "h k\n");
    read();
    KavroPISSFrameCache other(root.path("cache").c_str());
    EXPECT_EQ(1, (other.*table.add)("h2", "k2", true));
    EXPECT_EQ(0, contains("h2", "k2"));
    EXPECT_EQ(1, add("h3", "k3", true));
    EXPECT_EQ("h k\nh3 k3\n", readFile(file()));
    EXPECT_EQ(1, (other.*table.contains)("h2", "k2"));
}

TEST_P(FrameCacheTablesTest, AHashThatIsTooLongIsCutNotOverrun) {
    EXPECT_EQ(1, add(std::string(5000, 'h').c_str(), "k", true));
    EXPECT_EQ(std::string(35, 'h'), hashOf("k"));
    EXPECT_EQ(std::string(35, 'h') + " k\n", readFile(file()));
}

TEST_P(FrameCacheTablesTest, ALineThatWouldHideOthersLivesInMemoryOnly) {
    const std::string tooLong(1023, 'k');
    add("h1", "kept", true);
    EXPECT_EQ(1, add("h2", "two\nlines", true));
    EXPECT_EQ(1, add("h3", tooLong.c_str(), false));
    EXPECT_EQ(1, add("", "", false));
    EXPECT_EQ(1, add("h4", "last", true));
    EXPECT_EQ("two\nlines", keyOf("h2"));
    EXPECT_EQ(tooLong, keyOf("h3"));
    EXPECT_EQ("h1 kept\nh4 last\n", readFile(file()));
    const auto leftOut = [](const std::string& key) {
        return "WARNING\tThe line of key '" + key +
               "' is left out of its file, because readers would lose other lines by it\n";
    };
    EXPECT_THAT(root.logMessages(), ElementsAre(leftOut("two"), leftOut("two"),
                                                leftOut(tooLong.substr(0, 256)), leftOut("")));
}

TEST_P(FrameCacheTablesTest, BlanksBeforeAKeyAreWrittenAndLostInReading) {
    EXPECT_EQ(1, add("h1", " Comp 1", true));
    EXPECT_EQ("h1  Comp 1\n", readFile(file()));
    EXPECT_EQ(" Comp 1", keyOf("h1"));
    EXPECT_EQ(1, read());
    EXPECT_EQ("Comp 1", keyOf("h1"));
    EXPECT_EQ(1, add("h1", " Comp 1", true)) << "the same key once more";
    EXPECT_EQ("h1 Comp 1\nh1  Comp 1\n", readFile(file()));
}

INSTANTIATE_TEST_SUITE_P(Both, FrameCacheTablesTest, ::testing::Values(kProject, kComposition),
                         [](const ::testing::TestParamInfo<Table>& each) {
                             return std::string(each.param.name);
                         });

} // namespace

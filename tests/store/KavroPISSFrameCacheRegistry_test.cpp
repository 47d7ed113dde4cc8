#include "store/KavroPISSFrameCacheRegistry.h"

#include "files/owned_text.h"
#include "store/PISSMD5.h"
#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::hashOf;
using corvid::test::Call;
using corvid::test::FailNth;
using corvid::test::holdsInChild;
using corvid::test::Lasting;
using corvid::test::linesOf;
using corvid::test::readFile;
using corvid::test::removeTree;
using corvid::test::ShortWrites;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class RegistryTest : public corvid::test::ProductTest {
protected:
    std::string file() const { return root.productFile("FrameCache.cvp"); }
    void write(const std::string& text) const { writeFile(file(), text); }
    static std::optional<std::string> value(const KavroPISSFrameCacheRegistry& registry,
                                            const char* project, const char* key = "PathToCache") {
        char unset = 'u';
        char* text = &unset;
        const int found = registry.GetItem(&text, project, key);
        if (found == 0) {
            EXPECT_EQ(nullptr, text);
            return std::nullopt;
        }
        const corvid::OwnedText owned(text);
        return text;
    }
    std::string cannotWrite() const {
        return "WARNING\tPersisentFrameCacheRegistry: Commit: Cannot open generic config file '" +
               file() + "' for writing\n";
    }
};

TEST_F(RegistryTest, AMissingFileIsAnEmptyRegistryWithoutAMessage) {
    KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(0, registry.NumberOfKeyValuePairsInList());
    EXPECT_EQ(0, registry.PrepareKeyValuePairList());
    EXPECT_EQ(nullptr, registry.GetNextKeyValuePairInList());
    EXPECT_THAT(root.logMessages(), IsEmpty());
    EXPECT_FALSE(corvid::test::exists(file()));
}

TEST_F(RegistryTest, EveryLineIsReadInFileOrder) {
    write("aaaa string\tPathToCache /a place/cache/\nbbbb string\tother  value \n");
    KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(2, registry.NumberOfKeyValuePairsInList());
    ASSERT_EQ(1, registry.PrepareKeyValuePairList());
    const sFrameCacheRegistryEntry* entry = registry.GetNextKeyValuePairInList();
    ASSERT_NE(nullptr, entry);
    EXPECT_STREQ("aaaa", entry->projectName);
    EXPECT_EQ(0, entry->type);
    EXPECT_STREQ("PathToCache", entry->key);
    EXPECT_STREQ("/a place/cache/", entry->value);
    entry = registry.GetNextKeyValuePairInList();
    ASSERT_NE(nullptr, entry);
    EXPECT_STREQ("bbbb", entry->projectName);
    EXPECT_STREQ("value ", entry->value);
    EXPECT_EQ(nullptr, registry.GetNextKeyValuePairInList());
}

TEST_F(RegistryTest, AnEntryIsARecordOfProjectTypeKeyAndValue) {
    write("aaaa string\tPathToCache /cache/\nbbbb string\tother value\n");
    KavroPISSFrameCacheRegistry registry;
    ASSERT_EQ(1, registry.PrepareKeyValuePairList());
    const auto& [project, type, key, value, next] = *registry.GetNextKeyValuePairInList();
    EXPECT_STREQ("aaaa", project);
    EXPECT_EQ(0, type);
    EXPECT_STREQ("PathToCache", key);
    EXPECT_STREQ("/cache/", value);
    EXPECT_EQ(next, registry.GetNextKeyValuePairInList());
}

TEST_F(RegistryTest, AnEmptyLineHidesEveryLineBehindIt) {
    write("aaaa string\tk 1\n\nbbbb string\tk 2\n");
    const KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(1, registry.NumberOfKeyValuePairsInList());
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(RegistryTest, ALineWithoutKeyIsSkippedWithAWarning) {
    write("aaaa string\nbbbb\ncccc string\tk 3\n");
    const KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(1, registry.NumberOfKeyValuePairsInList());
    const std::string warning = "WARNING\tPersisentFrameCacheRegistry: keyValue was NULL";
    EXPECT_THAT(root.logMessages(), ElementsAre(warning, warning));
}

TEST_F(RegistryTest, ALineWithoutValueIsSkippedWithAWarning) {
    write("aaaa string\tPathToCache \t\nbbbb int\tsize\ncccc string\tk 3\n");
    const KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(1, registry.NumberOfKeyValuePairsInList());
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre(
            "WARNING\tPersisentFrameCacheRegistry: stringRemainder was NULL for key: PathToCache",
            "WARNING\tPersisentFrameCacheRegistry: stringRemainder was NULL for key: size"));
}

class RegistryWrongTypeTest : public RegistryTest,
                              public ::testing::WithParamInterface<const char*> {};

TEST_P(RegistryWrongTypeTest, EndsTheReadingWithAWarning) {
    const std::string content =
        std::string("aaaa string\tk 1\nbbbb ") + GetParam() + "\tsize 2\ncccc string\tk 3\n";
    write(content);
    const KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(1, registry.NumberOfKeyValuePairsInList());
    EXPECT_THAT(root.logMessages(),
                ElementsAre(std::string("WARNING\tPersisentFrameCacheRegistry:  type not yet "
                                        "supported: ") +
                            GetParam() + " for key: size\n"));
    EXPECT_EQ(content, readFile(file()));
}

INSTANTIATE_TEST_SUITE_P(Words, RegistryWrongTypeTest,
                         ::testing::Values("int", "strings", "String", "strin", "%s%n"));

TEST_F(RegistryTest, ALineThatIsFarTooLongIsReadInPiecesAndChangesNothing) {
    const std::string content =
        "aaaa string\tk 1\nbbbb string\tk " + std::string(100000, 'x') + "\n";
    write(content);
    const KavroPISSFrameCacheRegistry registry;
    EXPECT_GE(registry.NumberOfKeyValuePairsInList(), 1);
    EXPECT_EQ(content, readFile(file()));
}

TEST_F(RegistryTest, ABinaryFileStaysAsItIs) {
    std::string content(20000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>((i * i * 31 + i) % 251);
    }
    write(content);
    const KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(content, readFile(file()));
}

TEST_F(RegistryTest, ADirectoryInPlaceOfTheFileIsAnEmptyRegistryThatCannotBeCommitted) {
    corvid::test::makeDirectory(file());
    KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(0, registry.NumberOfKeyValuePairsInList());
    EXPECT_THAT(root.logMessages(), IsEmpty());
    EXPECT_EQ(0, registry.Commit());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotWrite()));
}

TEST_F(RegistryTest, APipeInPlaceOfTheFileDoesNotBlock) {
    ASSERT_EQ(0, ::mkfifo(file().c_str(), 0666));
    EXPECT_TRUE(holdsInChild(
        [] {
            KavroPISSFrameCacheRegistry registry;
            return registry.NumberOfKeyValuePairsInList() == 0 && registry.Commit() == 0;
        },
        10));
}

TEST_F(RegistryTest, AFileThatMayNotBeReadIsAnEmptyRegistryAndStaysAsItIs) {
    corvid::test::letOthersIn(root);
    write("aaaa string\tk 1\n");
    ASSERT_EQ(0, ::chmod(file().c_str(), 0000));
    EXPECT_TRUE(holdsInChild([] {
        return corvid::test::becomeNobody() &&
               KavroPISSFrameCacheRegistry().NumberOfKeyValuePairsInList() == 0;
    }));
    ASSERT_EQ(0, ::chmod(file().c_str(), 0600));
    EXPECT_EQ("aaaa string\tk 1\n", readFile(file()));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(RegistryTest, AddStoresTheHashOfTheProject) {
    KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(1, registry.Add("/projects/a b.aep", "PathToCache", "/a place/"));
    EXPECT_EQ(1, registry.Commit());
    EXPECT_EQ(hashOf("/projects/a b.aep") + " string\tPathToCache /a place/\n", readFile(file()));
    EXPECT_EQ("/a place/", value(KavroPISSFrameCacheRegistry(), "/projects/a b.aep"));
}

TEST_F(RegistryTest, AddingTwiceGivesTwoLinesOfWhichTheFirstIsFound) {
    KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(1, registry.Add("p", "PathToCache", "/1/"));
    EXPECT_EQ(1, registry.Add("p", "PathToCache", "/2/"));
    EXPECT_EQ(2, registry.NumberOfKeyValuePairsInList());
    EXPECT_EQ("/1/", value(registry, "p"));
    EXPECT_EQ(1, registry.Commit());
    EXPECT_THAT(linesOf(file()), ElementsAre(hashOf("p") + " string\tPathToCache /1/",
                                             hashOf("p") + " string\tPathToCache /2/"));
}

TEST_F(RegistryTest, AddWithoutHashingStoresTheNameAsItIs) {
    KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(1, registry.AddWithoutHashing(hashOf("p").c_str(), "PathToCache", "/1/"));
    EXPECT_EQ("/1/", value(registry, "p"));
    EXPECT_EQ(1, registry.AddWithoutHashing("plain", "k", "v"));
    EXPECT_EQ(std::nullopt, value(registry, "plain", "k"));
}

TEST_F(RegistryTest, AddWithoutHashingNamesTheMissingArgument) {
    KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(0, registry.AddWithoutHashing(nullptr, "k", "v"));
    EXPECT_EQ(0, registry.AddWithoutHashing("p", nullptr, "v"));
    EXPECT_EQ(0, registry.AddWithoutHashing("p", "k", nullptr));
    EXPECT_EQ(0, registry.NumberOfKeyValuePairsInList());
    const std::string begin =
        "ERROR\tPersisentFrameCacheRegistry: AddWithoutHashing received a null ";
    EXPECT_THAT(root.logMessages(),
                ElementsAre(begin + "projectName", begin + "key", begin + "value for key: k"));
}

TEST_F(RegistryTest, ANullArgumentIsRefused) {
    KavroPISSFrameCacheRegistry registry;
    registry.Add("p", "k", "v");
    EXPECT_EQ(0, registry.Add(nullptr, "k", "v"));
    EXPECT_EQ(0, registry.Add("p", nullptr, "v"));
    EXPECT_EQ(0, registry.Add("p", "k", nullptr));
    EXPECT_EQ(0, registry.ChangeItem(nullptr, "k", "v"));
    EXPECT_EQ(0, registry.ChangeItem("p", nullptr, "v"));
    EXPECT_EQ(0, registry.ChangeItem("p", "k", nullptr));
    EXPECT_EQ(0, registry.DeleteItem(nullptr));
    EXPECT_EQ(std::nullopt, value(registry, nullptr, "k"));
    EXPECT_EQ(std::nullopt, value(registry, "p", nullptr));
    EXPECT_EQ("v", value(registry, "p", "k"));
    EXPECT_EQ(1, registry.NumberOfKeyValuePairsInList());
}

TEST_F(RegistryTest, AProjectNeverAddedIsNotFound) {
    KavroPISSFrameCacheRegistry registry;
    registry.Add("p", "PathToCache", "/1/");
    EXPECT_EQ(std::nullopt, value(registry, "q"));
    EXPECT_EQ(std::nullopt, value(registry, "p", "pathtocache"));
    EXPECT_EQ(std::nullopt, value(registry, "P"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(RegistryTest, ChangeItemReplacesTheFirstMatchInMemory) {
    write(hashOf("p") + " string\tk 1\n" + hashOf("p") + " string\tk 2\n");
    KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(1, registry.ChangeItem("p", "k", "changed value"));
    EXPECT_EQ(0, registry.ChangeItem("p", "other", "x"));
    EXPECT_EQ(0, registry.ChangeItem("q", "k", "x"));
    EXPECT_EQ("1", value(KavroPISSFrameCacheRegistry(), "p", "k"));
    EXPECT_EQ(1, registry.Commit());
    EXPECT_THAT(linesOf(file()), ElementsAre(hashOf("p") + " string\tk changed value",
                                             hashOf("p") + " string\tk 2"));
}

TEST_F(RegistryTest, DeleteItemRemovesEveryEntryOfTheProject) {
    KavroPISSFrameCacheRegistry registry;
    registry.Add("p", "a", "1");
    registry.Add("q", "a", "2");
    registry.Add("p", "b", "3");
    registry.Add("p", "c", "4");
    EXPECT_EQ(1, registry.DeleteItem("p"));
    EXPECT_EQ(1, registry.NumberOfKeyValuePairsInList());
    EXPECT_EQ(0, registry.DeleteItem("p"));
    EXPECT_EQ("2", value(registry, "q", "a"));
    EXPECT_EQ(1, registry.Add("r", "a", "5"));
    EXPECT_EQ(1, registry.Commit());
    EXPECT_THAT(linesOf(file()),
                ElementsAre(hashOf("q") + " string\ta 2", hashOf("r") + " string\ta 5"));
}

TEST_F(RegistryTest, DeletingTheLastEntryLeavesAnEmptyRegistry) {
    KavroPISSFrameCacheRegistry registry;
    registry.Add("p", "a", "1");
    EXPECT_EQ(1, registry.DeleteItem("p"));
    EXPECT_EQ(0, registry.PrepareKeyValuePairList());
    EXPECT_EQ(1, registry.Commit());
    EXPECT_EQ("", readFile(file()));
}

TEST_F(RegistryTest, AddReportsWantOfMemory) {
    KavroPISSFrameCacheRegistry registry;
    for (const auto& [call, n] : {std::pair{Call::New, 1}, {Call::Strdup, 1}, {Call::Strdup, 3}}) {
        const FailNth failing(call, n, ENOMEM);
        EXPECT_EQ(0, registry.Add("p", "k", "v"));
        EXPECT_EQ(1, failing.failures());
    }
    EXPECT_EQ(0, registry.NumberOfKeyValuePairsInList());
    const std::string message = "ERROR\tPersisentFrameCacheRegistry::Add malloc failed\n";
    EXPECT_THAT(root.logMessages(), ElementsAre(message, message, message));
}

TEST_F(RegistryTest, AddWithoutHashingReportsWantOfMemory) {
    KavroPISSFrameCacheRegistry registry;
    {
        const FailNth failing(Call::New, 1, ENOMEM);
        EXPECT_EQ(0, registry.AddWithoutHashing("p", "k", "v"));
    }
    EXPECT_EQ(0, registry.NumberOfKeyValuePairsInList());
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre("ERROR\tPersisentFrameCacheRegistry::AddWithoutHashing malloc failed\n"));
}

TEST_F(RegistryTest, ATransactionIsOnlyAConvention) {
    KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(1, registry.StartTransaction());
    registry.Add("p", "k", "v");
    EXPECT_FALSE(corvid::test::exists(file()));
}

TEST_F(RegistryTest, TheLastCommitWins) {
    KavroPISSFrameCacheRegistry first;
    KavroPISSFrameCacheRegistry second;
    first.Add("p", "k", "1");
    second.Add("q", "k", "2");
    EXPECT_EQ(1, first.Commit());
    EXPECT_EQ(1, second.Commit());
    EXPECT_EQ(hashOf("q") + " string\tk 2\n", readFile(file()));
}

TEST_F(RegistryTest, AnUnknownTypeEndsTheWritingBeforeItsEntry) {
    write("aaaa string\tk 1\nbbbb string\tk 2\ncccc string\tk 3\n");
    KavroPISSFrameCacheRegistry registry;
    registry.PrepareKeyValuePairList();
    registry.GetNextKeyValuePairInList();
    registry.GetNextKeyValuePairInList()->type = 1;
    EXPECT_EQ(0, registry.Commit());
    EXPECT_EQ("aaaa string\tk 1\n", readFile(file()));
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre("WARNING\tPersisentFrameCacheRegistry: Commit: Invalid type in KVP list\n"));
}

TEST_F(RegistryTest, CommitFailsWhenTheFolderIsGone) {
    KavroPISSFrameCacheRegistry registry;
    registry.Add("p", "k", "v");
    removeTree(root.productFile());
    EXPECT_EQ(0, registry.Commit());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotWrite()));
    EXPECT_EQ(1, registry.NumberOfKeyValuePairsInList());
}

TEST_F(RegistryTest, AFullDiskKeepsTheOldTextAndGivesOneWarning) {
    write("aaaa string\tk 1\n");
    KavroPISSFrameCacheRegistry registry;
    registry.Add("p", "k", "a longer value than before");
    {
        const ShortWrites slowly(10);
        const FailNth failing(Call::Write, 3, ENOSPC, "FrameCache.cvp", Lasting::FromThenOn);
        EXPECT_EQ(0, registry.Commit());
        EXPECT_GE(failing.failures(), 1);
    }
    EXPECT_EQ("aaaa string\tk 1\n", readFile(file()));
    ASSERT_EQ(1U, root.logMessages().size());
    EXPECT_THAT(root.logMessages()[0],
                StartsWith("WARNING\tPersisentFrameCacheRegistry: Commit: "));
}

TEST_F(RegistryTest, EachDistinctCacheRootIsFoundOnceInFileOrder) {
    write("a string\tPathToCache /two/\nb string\tOther /three/\nc string\tPathToCache /one/\n"
          "d string\tPathToCache /two/\ne string\tPathToCache /two\n");
    KavroPISSFrameCacheRegistry registry;
    EXPECT_THAT(corvid::registeredCacheRoots(registry), ElementsAre("/two/", "/one/", "/two"));
}

} // namespace

#include "store/PISSFileUtilities.h"

#include "tests/support/failing_calls.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::test::Call;
using corvid::test::FailNth;
using corvid::test::makeDirectory;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

// One listing with everything that it handed out, released at the end.
class Listing {
public:
    Listing(const char* path, int type)
        : m_result(PISSGetDirectoryOrFileList(path, type, &m_head, &m_tail, &m_count)) {}
    ~Listing() {
        while (m_head != nullptr) {
            sDirectoryOrFileListEntry* next = m_head->next;
            std::free(m_head->name);
            std::free(m_head);
            m_head = next;
        }
    }
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;

    int result() const { return m_result; }
    int count() const { return m_count; }
    const sDirectoryOrFileListEntry* head() const { return m_head; }
    const sDirectoryOrFileListEntry* tail() const { return m_tail; }
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto* entry = m_head; entry != nullptr; entry = entry->next) {
            names.emplace_back(entry->name);
        }
        return names;
    }

private:
    // Not empty before the call, so that a call that forgets them is noticed.
    sDirectoryOrFileListEntry m_stale{nullptr, nullptr};
    sDirectoryOrFileListEntry* m_head = &m_stale;
    sDirectoryOrFileListEntry* m_tail = &m_stale;
    int m_count = 77;
    int m_result;
};

class FileListingTest : public corvid::test::ProductTest {
protected:
    void SetUp() override { makeDirectory(top()); }
    std::string top() const { return root.path("top"); }
    std::string in(const std::string& name) const { return top() + "/" + name; }
};

TEST_F(FileListingTest, FilesAreListedHiddenOnesIncludedAndDirectoriesAreNot) {
    writeFile(in("a"), "");
    writeFile(in(".hidden"), "");
    makeDirectory(in("d"));
    const Listing list(top().c_str(), 0);
    EXPECT_EQ(list.result(), 1);
    EXPECT_EQ(list.count(), 2);
    EXPECT_THAT(list.names(), UnorderedElementsAre("a", ".hidden"));
}

TEST_F(FileListingTest, DirectoriesAreListedHiddenOnesIncludedAndTheDotsAreNot) {
    writeFile(in("a"), "");
    writeFile(in(".hidden"), "");
    makeDirectory(in("d"));
    makeDirectory(in(".e"));
    makeDirectory(in("..."));
    const Listing list(top().c_str(), 1);
    EXPECT_EQ(list.result(), 1);
    EXPECT_EQ(list.count(), 3);
    EXPECT_THAT(list.names(), UnorderedElementsAre("d", ".e", "..."));
}

TEST_F(FileListingTest, LinksAndFifosAreListedAsFiles) {
    makeDirectory(in("d"));
    ASSERT_EQ(::symlink("d", in("to directory").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", in("to nothing").c_str()), 0);
    ASSERT_EQ(::mkfifo(in("fifo").c_str(), 0600), 0);
    EXPECT_THAT(Listing(top().c_str(), 0).names(),
                UnorderedElementsAre("to directory", "to nothing", "fifo"));
    EXPECT_THAT(Listing(top().c_str(), 1).names(), ElementsAre("d"));
}

TEST_F(FileListingTest, AnEmptyDirectoryListsNothing) {
    for (const int type : {0, 1}) {
        const Listing list(top().c_str(), type);
        EXPECT_EQ(list.result(), 1);
        EXPECT_EQ(list.count(), 0);
        EXPECT_EQ(list.head(), nullptr);
        EXPECT_EQ(list.tail(), nullptr);
    }
}

TEST_F(FileListingTest, TheListIsInTheOrderInWhichTheSystemReturnsTheNames) {
    for (int i = 0; i < 200; ++i) {
        writeFile(in(std::to_string(i * 7919 % 1000)), "");
    }
    std::vector<std::string> expected;
    DIR* directory = ::opendir(top().c_str());
    ASSERT_NE(directory, nullptr);
    while (const dirent* entry = ::readdir(directory)) { // NOLINT(concurrency-mt-unsafe)
        if (entry->d_name[0] != '.') {
            expected.emplace_back(entry->d_name);
        }
    }
    ::closedir(directory);
    const Listing list(top().c_str(), 0);
    EXPECT_EQ(list.names(), expected);
    EXPECT_EQ(list.count(), 200);
    ASSERT_NE(list.tail(), nullptr);
    EXPECT_EQ(list.tail()->name, expected.back());
    EXPECT_EQ(list.tail()->next, nullptr);
}

TEST_F(FileListingTest, NamesOfAnyBytesAreListedAsTheyAre) {
    const std::string odd = "a \"b\"\n$(c)%s\xff";
    writeFile(in(odd), "");
    writeFile(in(std::string(255, 'n')), "");
    EXPECT_THAT(Listing(top().c_str(), 0).names(),
                UnorderedElementsAre(odd, std::string(255, 'n')));
}

TEST_F(FileListingTest, ADirectoryThatCannotBeOpenedFailsWithoutAMessage) {
    writeFile(in("file"), "");
    for (const std::string& path : {in("missing"), in("file"), std::string()}) {
        const Listing list(path.c_str(), 0);
        EXPECT_EQ(list.result(), 0);
        EXPECT_EQ(list.count(), 0);
        EXPECT_EQ(list.head(), nullptr);
        EXPECT_EQ(list.tail(), nullptr);
    }
    EXPECT_EQ(root.logText(), "");
}

TEST_F(FileListingTest, AnInvalidSearchTypeIsNamedInTheLog) {
    writeFile(in("file"), "");
    const Listing two(top().c_str(), 2);
    EXPECT_EQ(two.result(), 0);
    EXPECT_EQ(two.count(), 0);
    EXPECT_EQ(two.head(), nullptr);
    const Listing negative(top().c_str(), -1);
    EXPECT_EQ(negative.result(), 0);
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tGetDirectoryOrFileList: searchForType: 2 invalid\n",
                            "ERROR\tGetDirectoryOrFileList: searchForType: -1 invalid\n"));
}

TEST_F(FileListingTest, ANullPathIsNamedInTheLog) {
    const Listing list(nullptr, 0);
    EXPECT_EQ(list.result(), 0);
    EXPECT_EQ(list.count(), 0);
    EXPECT_EQ(list.head(), nullptr);
    EXPECT_EQ(root.logText(), "ERROR\tGetDirectoryOrFileList: path invalid\n\n");
}

TEST_F(FileListingTest, ANullCountIsNamedInTheLog) {
    sDirectoryOrFileListEntry* head = nullptr;
    sDirectoryOrFileListEntry* tail = nullptr;
    EXPECT_EQ(PISSGetDirectoryOrFileList(top().c_str(), 0, &head, &tail, nullptr), 0);
    EXPECT_EQ(root.logText(), "ERROR\tGetDirectoryOrFileList: pointer to count is invalid\n\n");
}

TEST_F(FileListingTest, ANullHeadOrTailIsNamedInTheLog) {
    sDirectoryOrFileListEntry* end = nullptr;
    int count = 0;
    EXPECT_EQ(PISSGetDirectoryOrFileList(top().c_str(), 0, nullptr, &end, &count), 0);
    EXPECT_EQ(PISSGetDirectoryOrFileList(top().c_str(), 0, &end, nullptr, &count), 0);
    const char* message = "ERROR\tGetDirectoryOrFileList: queueHead or queueTail pointer invalid\n";
    EXPECT_THAT(root.logMessages(), ElementsAre(message, message));
}

TEST_F(FileListingTest, OutOfMemoryKeepsTheEntriesMadeSoFar) {
    for (const char* name : {"a", "b", "c"}) {
        writeFile(in(name), "");
    }
    for (const Call call : {Call::Malloc, Call::Strdup}) {
        root.clearLog();
        const FailNth fail(call, 3, ENOMEM);
        const Listing list(top().c_str(), 0);
        EXPECT_EQ(fail.failures(), 1);
        EXPECT_EQ(list.result(), 0);
        EXPECT_EQ(list.count(), 2);
        EXPECT_EQ(list.names().size(), 2U);
        EXPECT_EQ(root.logText(), "ERROR\tGetDirectoryOrFileList: malloc failed\n\n");
    }
}

TEST_F(FileListingTest, OutOfMemoryAtTheFirstEntryLeavesAnEmptyList) {
    writeFile(in("a"), "");
    const FailNth fail(Call::Strdup, 1, ENOMEM);
    const Listing list(top().c_str(), 0);
    EXPECT_EQ(list.result(), 0);
    EXPECT_EQ(list.count(), 0);
    EXPECT_EQ(list.head(), nullptr);
    EXPECT_EQ(list.tail(), nullptr);
    EXPECT_EQ(root.logText(), "ERROR\tGetDirectoryOrFileList: malloc failed\n\n");
}

TEST_F(FileListingTest, ADirectoryThatTheSystemWillNotOpenFailsWithoutAMessage) {
    const FailNth fail(Call::Open, 1, EACCES, "/top");
    EXPECT_EQ(Listing(top().c_str(), 0).result(), 0);
    EXPECT_EQ(fail.failures(), 1);
    EXPECT_EQ(root.logText(), "");
}

} // namespace

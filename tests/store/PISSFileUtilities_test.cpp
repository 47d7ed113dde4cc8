#include "store/PISSFileUtilities.h"

#include "tests/support/failing_calls.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::test::Call;
using corvid::test::EnvironmentGuard;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::snapshot;
using corvid::test::writeFile;
using ::testing::ElementsAre;

class FileUtilitiesTest : public corvid::test::ProductTest {};

// ---- removing a file

TEST_F(FileUtilitiesTest, AFileIsRemoved) {
    writeFile(root.path("a"), "x");
    EXPECT_EQ(PISSDeleteFile(root.path("a").c_str()), 1);
    EXPECT_FALSE(exists(root.path("a")));
}

TEST_F(FileUtilitiesTest, AMissingFileCannotBeRemoved) {
    EXPECT_EQ(PISSDeleteFile(root.path("a").c_str()), 0);
    EXPECT_EQ(PISSDeleteFile(nullptr), 0);
    EXPECT_EQ(root.logText(), "");
}

TEST_F(FileUtilitiesTest, ADirectoryIsNotAFileToRemove) {
    makeDirectory(root.path("d"));
    EXPECT_EQ(PISSDeleteFile(root.path("d").c_str()), 0);
    EXPECT_TRUE(exists(root.path("d")));
}

TEST_F(FileUtilitiesTest, RemovingALinkKeepsWhatItPointsTo) {
    writeFile(root.path("a"), "x");
    ASSERT_EQ(::symlink(root.path("a").c_str(), root.path("link").c_str()), 0);
    EXPECT_EQ(PISSDeleteFile(root.path("link").c_str()), 1);
    EXPECT_FALSE(exists(root.path("link")));
    EXPECT_EQ(readFile(root.path("a")), "x");
}

TEST_F(FileUtilitiesTest, AFileThatTheSystemWillNotRemoveIsReported) {
    writeFile(root.path("a"), "x");
    const FailNth fail(Call::Unlink, 1, EACCES);
    EXPECT_EQ(PISSDeleteFile(root.path("a").c_str()), 0);
    EXPECT_EQ(fail.failures(), 1);
}

// ---- creating directories through the shell

class CreateDirectoryPathTest : public FileUtilitiesTest {
protected:
    // Puts a "mkdir" in the way that only writes down what it was called with.
    void recordCalls() {
        writeFile(root.path("bin/mkdir"),
                  "#!/bin/sh\nprintf '[%s]\\n' \"$@\" >> '" + root.path("calls") + "'\n");
        ASSERT_EQ(::chmod(root.path("bin/mkdir").c_str(), 0755), 0);
    }
    std::string recorded() const {
        return exists(root.path("calls")) ? readFile(root.path("calls")) : std::string();
    }
};

TEST_F(CreateDirectoryPathTest, MissingParentsAreCreatedToo) {
    EXPECT_EQ(PISSCreateDirectoryPath(root.path("a/b c/d").c_str()), 1);
    EXPECT_TRUE(exists(root.path("a/b c/d")));
    EXPECT_EQ(root.logText(), "");
}

TEST_F(CreateDirectoryPathTest, ASlashAtTheEndChangesNothing) {
    EXPECT_EQ(PISSCreateDirectoryPath(root.path("a/b/").c_str()), 1);
    EXPECT_TRUE(exists(root.path("a/b")));
}

TEST_F(CreateDirectoryPathTest, AMissingDirectoryTakesOneCallOfMkdir) {
    recordCalls();
    const EnvironmentGuard path("PATH", root.path("bin").c_str());
    EXPECT_EQ(PISSCreateDirectoryPath(root.path("new one").c_str()), 1);
    EXPECT_EQ(recorded(), "[-p]\n[" + root.path("new one") + "]\n");
}

TEST_F(CreateDirectoryPathTest, AnExistingDirectoryNeedsNoShellAndIsLeftAlone) {
    recordCalls();
    writeFile(root.path("d/file"), "x");
    const auto before = snapshot(root.path("d"));
    const EnvironmentGuard path("PATH", root.path("bin").c_str());
    EXPECT_EQ(PISSCreateDirectoryPath(root.path("d").c_str()), 1);
    EXPECT_EQ(recorded(), "");
    EXPECT_EQ(snapshot(root.path("d")), before);
}

TEST_F(CreateDirectoryPathTest, TheAnswerIsOneEvenWhenNothingCouldBeCreated) {
    const EnvironmentGuard path("PATH", root.path("bin").c_str());
    EXPECT_EQ(PISSCreateDirectoryPath(root.path("new").c_str()), 1);
    EXPECT_FALSE(exists(root.path("new")));
    EXPECT_EQ(PISSCreateDirectoryPath(nullptr), 1);
}

TEST_F(CreateDirectoryPathTest, AFileInTheWayIsKept) {
    recordCalls();
    writeFile(root.path("file"), "x");
    const EnvironmentGuard path("PATH", root.path("bin").c_str());
    EXPECT_EQ(PISSCreateDirectoryPath(root.path("file").c_str()), 1);
    EXPECT_EQ(readFile(root.path("file")), "x");
}

TEST_F(CreateDirectoryPathTest, NoNameIsEverACommand) {
    // Each of these would leave a file "hit" in the working directory if any part of it were run.
    const std::vector<std::string> names = {"quote\"; touch hit; \"",
                                            "$(touch hit)",
                                            "`touch hit`",
                                            "a; touch hit",
                                            "a && touch hit",
                                            "a | touch hit",
                                            "line\ntouch hit",
                                            "a\n\"\ntouch hit\n\"",
                                            "back\\\"; touch hit; \"",
                                            "\\$(touch hit)",
                                            "\\`touch hit\\`",
                                            "$HOME",
                                            "${HOME}",
                                            "trailing\\",
                                            "a\\\\",
                                            "it's",
                                            "* ? [a] ~ ! # % {a,b}",
                                            "-p",
                                            "--help",
                                            "tab\there",
                                            "a > hit",
                                            "\x01\x7f",
                                            "\xc3\xbc\xff"};
    makeDirectory(root.path("work"));
    char before[4096];
    ASSERT_NE(::getcwd(before, sizeof(before)), nullptr);
    ASSERT_EQ(::chdir(root.path("work").c_str()), 0);
    for (const std::string& name : names) {
        EXPECT_EQ(PISSCreateDirectoryPath(name.c_str()), 1);
        EXPECT_EQ(PISSCreateDirectoryPath((root.path("work/in/") + name + "/deep").c_str()), 1);
    }
    ASSERT_EQ(::chdir(before), 0);
    std::vector<std::string> expected = {".", "in"};
    for (const std::string& name : names) {
        expected.insert(expected.end(), {name, "in/" + name, "in/" + name + "/deep"});
    }
    std::vector<std::string> found;
    for (const auto& [name, description] : snapshot(root.path("work"))) {
        found.push_back(name);
    }
    EXPECT_THAT(found, ::testing::UnorderedElementsAreArray(expected));
}

// ---- tokenizer

// Everything that can be seen of cutting a text into tokens: the tokens, where the rest stood after
// each, and the text at the end.
struct Cut {
    std::vector<std::string> tokens;
    std::vector<std::ptrdiff_t> rests;
    std::string text;

    bool operator==(const Cut&) const = default;
};

template <class Tokenizer>
Cut cut(Tokenizer tokenizer, const std::string& text, const char* delimiters) {
    std::string buffer = text;
    Cut result;
    char* rest = nullptr;
    char* token = tokenizer(buffer.data(), delimiters, &rest);
    for (; token != nullptr; token = tokenizer(nullptr, delimiters, &rest)) {
        result.tokens.emplace_back(token);
        result.rests.push_back(rest - buffer.data());
    }
    result.rests.push_back(rest - buffer.data());
    result.text = buffer;
    return result;
}

TEST_F(FileUtilitiesTest, TheTokenizerDoesWhatPosixSays) {
    const std::vector<std::string> texts = {"",        " ",          "a",         " a",   "a ",
                                            "a b",     "  a  b  ",   "\t a\tb\n", "abc",  "a,b;c",
                                            ",,,;;;a", "key\tvalue", "a b\tc d",  "\n\n", "x\n\ny"};
    for (const char* delimiters : {" ", " \t", "\t", "\n", ",;", "", "abc"}) {
        for (const std::string& text : texts) {
            EXPECT_EQ(cut(KavroPISSstrtok_r, text, delimiters), cut(::strtok_r, text, delimiters))
                << ::testing::PrintToString(text) << " at " << ::testing::PrintToString(delimiters);
        }
    }
}

TEST_F(FileUtilitiesTest, TheDelimitersMayChangeFromTokenToToken) {
    char line[] = "project string\tkey a value with blanks\n";
    char* rest = nullptr;
    EXPECT_STREQ(KavroPISSstrtok_r(line, " ", &rest), "project");
    EXPECT_STREQ(KavroPISSstrtok_r(nullptr, "\t", &rest), "string");
    EXPECT_STREQ(KavroPISSstrtok_r(nullptr, " ", &rest), "key");
    EXPECT_STREQ(KavroPISSstrtok_r(nullptr, "\n", &rest), "a value with blanks");
    EXPECT_EQ(KavroPISSstrtok_r(nullptr, "\n", &rest), nullptr);
    EXPECT_STREQ(rest, "");
}

// ---- prefix skipper

TEST_F(FileUtilitiesTest, LeadingDelimitersAreSkippedInPlace) {
    char text[] = " \t  value \t";
    EXPECT_EQ(KavroPISSClipPrefixedWhiteSpace(text, " \t"), text + 4);
    EXPECT_STREQ(text, " \t  value \t");
    EXPECT_EQ(KavroPISSClipPrefixedWhiteSpace(text + 4, " \t"), text + 4);
}

TEST_F(FileUtilitiesTest, ATextOfDelimitersOnlyIsClippedToNothing) {
    char blanks[] = " \t \t";
    char empty[] = "";
    EXPECT_EQ(KavroPISSClipPrefixedWhiteSpace(blanks, " \t"), nullptr);
    EXPECT_EQ(KavroPISSClipPrefixedWhiteSpace(empty, " \t"), nullptr);
}

TEST_F(FileUtilitiesTest, ANullTextOrSetIsClippedToNothing) {
    char text[] = "a";
    EXPECT_EQ(KavroPISSClipPrefixedWhiteSpace(nullptr, " \t"), nullptr);
    EXPECT_EQ(KavroPISSClipPrefixedWhiteSpace(text, nullptr), nullptr);
}

TEST_F(FileUtilitiesTest, AnEmptySetClipsNothing) {
    char text[] = " a";
    EXPECT_EQ(KavroPISSClipPrefixedWhiteSpace(text, ""), text);
}

// ---- fixed paths

struct FixedPath {
    int (*assign)(char* buffer, int size);
    const char* path;
    const char* message;
};

const FixedPath kFixedPaths[] = {
    {assignCorvidProRootConfigDirectoryPath,
     "/Library/Application Support/Fernwick Software/CorvidPro2/",
     "ERROR\tassignCorvidProRootConfigPath invalid arguments"},
    {assignCorvidProRenderQueueDefaultDirectoryPath,
     "/Library/Application Support/Fernwick Software/CorvidPro2/RenderQueue/",
     "ERROR\tassignCorvidProRenderQueueDefaultDirectoryPath invalid arguments"},
    {assignCorvidProFrameCacheDefaultDirectoryPath,
     "/Library/Application Support/Fernwick Software/CorvidPro2/Cache/",
     "ERROR\tassignCorvidProFrameCacheDefaultDirectoryPath invalid arguments"},
    {assignCorvidProFrameCacheRegistryFilePath,
     "/Library/Application Support/Fernwick Software/CorvidPro2/FrameCache.cvp",
     "ERROR\tassignCorvidProFrameCacheRegistryFilePath invalid arguments"},
};

class AssignPathTest : public FileUtilitiesTest, public ::testing::WithParamInterface<FixedPath> {};

INSTANTIATE_TEST_SUITE_P(FixedPaths, AssignPathTest, ::testing::ValuesIn(kFixedPaths));

TEST_P(AssignPathTest, ThePathIsPrintedIntoAClearedBuffer) {
    const EnvironmentGuard unprefixed("CORVIDPRO_ROOT", nullptr);
    const std::string path = GetParam().path;
    std::vector<char> buffer(301, '#');
    EXPECT_EQ(GetParam().assign(buffer.data(), 300), static_cast<int>(path.size()));
    std::string expected = path;
    expected.resize(300, '\0');
    EXPECT_EQ(std::string(buffer.data(), 300), expected);
    EXPECT_EQ(buffer[300], '#');
}

TEST_P(AssignPathTest, TheRootFolderStandsBeforeThePath) {
    std::vector<char> buffer(4096);
    const std::string path = root.path() + GetParam().path;
    EXPECT_EQ(GetParam().assign(buffer.data(), 4096), static_cast<int>(path.size()));
    EXPECT_EQ(std::string(buffer.data()), path);
}

TEST_P(AssignPathTest, ASmallBufferTakesSizeLessTwoCharacters) {
    const EnvironmentGuard unprefixed("CORVIDPRO_ROOT", nullptr);
    const std::string path = GetParam().path;
    const int length = static_cast<int>(path.size());
    for (const int size : {1, 2, 3, 10, length, length + 1, length + 2, length + 3}) {
        const auto bytes = static_cast<std::size_t>(size);
        std::vector<char> buffer(bytes + 1, '#');
        EXPECT_EQ(GetParam().assign(buffer.data(), size), length) << "size " << size;
        EXPECT_EQ(std::string(buffer.data()), path.substr(0, bytes > 2 ? bytes - 2 : 0));
        EXPECT_EQ(buffer[bytes - 1], '\0');
        EXPECT_EQ(buffer[bytes], '#');
    }
    EXPECT_EQ(root.logText(), "");
}

TEST_P(AssignPathTest, InvalidArgumentsAreNamedInTheLog) {
    char buffer[4] = "abc";
    EXPECT_EQ(GetParam().assign(nullptr, 300), 0);
    EXPECT_EQ(GetParam().assign(buffer, 0), 0);
    EXPECT_EQ(GetParam().assign(buffer, -1), 0);
    EXPECT_STREQ(buffer, "abc");
    const std::string message = GetParam().message;
    EXPECT_THAT(root.logMessages(), ElementsAre(message, message, message));
}

} // namespace

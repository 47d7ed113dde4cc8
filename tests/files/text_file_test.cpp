#include "files/text_file.h"

#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::LineReader;
using corvid::openTextFile;
using corvid::ReplaceOutcome;
using corvid::replaceTextFile;
using corvid::UniqueFd;
using corvid::test::Call;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::holdsInChild;
using corvid::test::Lasting;
using corvid::test::readFile;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TextFileTest : public corvid::test::ProductTest {
protected:
    std::string file() const { return root.path("some.txt"); }
    // The pieces that a reader of these bytes gives.
    std::vector<std::string> pieces(const std::string& bytes) const {
        writeFile(file(), bytes);
        LineReader reader(openTextFile(file().c_str()));
        std::vector<std::string> all;
        while (const char* piece = reader.next()) {
            all.emplace_back(piece);
        }
        return all;
    }
};

TEST_F(TextFileTest, OpensARegularFileAlsoThroughALink) {
    writeFile(file(), "x");
    ASSERT_EQ(0, ::symlink("some.txt", root.path("link").c_str()));
    EXPECT_TRUE(openTextFile(file().c_str()).isOpen());
    EXPECT_TRUE(openTextFile(root.path("link").c_str()).isOpen());
}

TEST_F(TextFileTest, AMissingFileIsToldByItsErrorNumber) {
    const bool opened = openTextFile(file().c_str()).isOpen();
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(opened);
}

TEST_F(TextFileTest, WhatIsNoFileIsNotReadable) {
    EXPECT_FALSE(openTextFile(root.path().c_str()).isOpen());
    EXPECT_EQ(EISDIR, errno);
    EXPECT_FALSE(openTextFile("/dev/zero").isOpen());
    EXPECT_NE(ENOENT, errno);
    ASSERT_EQ(0, ::mkfifo(file().c_str(), 0666));
    const std::string pipe = file();
    EXPECT_TRUE(holdsInChild(
        [&pipe] { return !openTextFile(pipe.c_str()).isOpen() && errno != ENOENT; }, 10));
}

TEST_F(TextFileTest, ReadsLineByLineWithTheLineFeeds) {
    EXPECT_THAT(pieces("one\n\ntwo \nlast"), ElementsAre("one\n", "\n", "two \n", "last"));
    EXPECT_THAT(pieces(""), IsEmpty());
    EXPECT_THAT(pieces("\n"), ElementsAre("\n"));
}

TEST_F(TextFileTest, ALongLineIsReadInPieces) {
    const std::string line(2500, 'x');
    EXPECT_THAT(pieces(line + "\nnext\n"), ElementsAre(line.substr(0, 1023), line.substr(0, 1023),
                                                       line.substr(2046) + "\n", "next\n"));
}

TEST_F(TextFileTest, TheLongestLineThatIsOnePieceHas1022Characters) {
    const std::string longest(1022, 'x');
    EXPECT_THAT(pieces(longest + "\nnext"), ElementsAre(longest + "\n", "next"));
    EXPECT_THAT(pieces(longest + "y\nnext"), ElementsAre(longest + "y", "\n", "next"));
    EXPECT_THAT(pieces(longest + "y"), ElementsAre(longest + "y"));
}

TEST_F(TextFileTest, EveryByteOfALargeFileIsReadOnce) {
    std::string bytes;
    for (int i = 0; i < 30000; ++i) {
        bytes += std::string(static_cast<std::size_t>(i * 7 % 60), 'a') + std::to_string(i) + "\n";
    }
    ASSERT_GT(bytes.size(), 10U * 65536U);
    std::string together;
    const std::vector<std::string> lines = pieces(bytes);
    for (const std::string& line : lines) {
        together += line;
    }
    EXPECT_EQ(30000U, lines.size());
    EXPECT_TRUE(together == bytes);
}

TEST_F(TextFileTest, TextBehindANulByteIsNotSeen) {
    EXPECT_THAT(pieces(std::string("one\0two\nthree\n", 14)), ElementsAre("one", "three\n"));
}

TEST_F(TextFileTest, ThePieceMayBeChangedByTheCaller) {
    writeFile(file(), "first line\nsecond line\n");
    LineReader reader(openTextFile(file().c_str()));
    char* piece = reader.next();
    std::memset(piece, '#', std::strlen(piece));
    EXPECT_STREQ("second line\n", reader.next());
    EXPECT_EQ(nullptr, reader.next());
    EXPECT_EQ(nullptr, reader.next());
}

TEST_F(TextFileTest, AFileThatIsNotOpenHasNoLines) {
    LineReader reader{UniqueFd()};
    EXPECT_EQ(nullptr, reader.next());
}

TEST(StripLineFeed, RemovesOneLineFeedAtTheEnd) {
    for (const auto& [before, after] : {std::pair{"a\n", "a"},
                                        {"a\n\n", "a\n"},
                                        {"a", "a"},
                                        {"\n", ""},
                                        {"", ""},
                                        {"\na", "\na"}}) {
        std::string text = before;
        corvid::stripLineFeed(text.data());
        EXPECT_STREQ(after, text.c_str());
    }
}

TEST_F(TextFileTest, ReplacingMakesAMissingFile) {
    EXPECT_EQ(ReplaceOutcome::Replaced, replaceTextFile(file().c_str(), "text\n"));
    EXPECT_EQ("text\n", readFile(file()));
}

TEST_F(TextFileTest, ReplacingWithNothingEmptiesTheFile) {
    writeFile(file(), "old");
    EXPECT_EQ(ReplaceOutcome::Replaced, replaceTextFile(file().c_str(), ""));
    EXPECT_EQ("", readFile(file()));
}

TEST_F(TextFileTest, WhatCannotBeOpenedIsToldApartFromWhatCannotBeWritten) {
    EXPECT_EQ(ReplaceOutcome::NotOpened,
              replaceTextFile(root.path("missing/some.txt").c_str(), "x"));
    EXPECT_EQ(ReplaceOutcome::NotOpened, replaceTextFile(root.path().c_str(), "x"));
    EXPECT_EQ(ReplaceOutcome::NotOpened, replaceTextFile("/dev/full", "x"));
    writeFile(file(), "old");
    const FailNth failing(Call::Write, 1, ENOSPC, "some.txt", Lasting::FromThenOn);
    EXPECT_EQ(ReplaceOutcome::NotWritten, replaceTextFile(file().c_str(), "new"));
    EXPECT_EQ("old", readFile(file()));
}

TEST_F(TextFileTest, AReaderOfTheOldTextKeepsIt) {
    writeFile(file(), "old one\nold two\n");
    LineReader reader(openTextFile(file().c_str()));
    EXPECT_EQ(ReplaceOutcome::Replaced, replaceTextFile(file().c_str(), "new one\nnew two\n"));
    EXPECT_STREQ("old one\n", reader.next());
    EXPECT_STREQ("old two\n", reader.next());
}

TEST_F(TextFileTest, ALeftOverSiblingOfThisProcessIsNoHindrance) {
    writeFile(file(), "old");
    const FailNth failing(Call::Open, 1, EEXIST, ".new");
    EXPECT_EQ(ReplaceOutcome::Replaced, replaceTextFile(file().c_str(), "new"));
    EXPECT_EQ(1, failing.failures());
    EXPECT_EQ("new", readFile(file()));
}

TEST_F(TextFileTest, ALinkKeepsPointingToTheFile) {
    writeFile(file(), "old");
    ASSERT_EQ(0, ::symlink("some.txt", root.path("link").c_str()));
    EXPECT_EQ(ReplaceOutcome::Replaced, replaceTextFile(root.path("link").c_str(), "new"));
    EXPECT_EQ("new", readFile(file()));
    EXPECT_EQ("some.txt", std::filesystem::read_symlink(root.path("link")));
}

TEST_F(TextFileTest, NothingIsWrittenThroughALinkThatIsRefused) {
    writeFile(file(), "old");
    for (const char* target : {"some.txt", "missing.txt"}) {
        const std::string link = root.path("link");
        ASSERT_EQ(0, ::symlink(target, link.c_str()));
        EXPECT_EQ(ReplaceOutcome::NotOpened,
                  replaceTextFile(link.c_str(), "new", corvid::LinkRule::Refuse));
        EXPECT_EQ(target, std::filesystem::read_symlink(link));
        EXPECT_FALSE(corvid::test::exists(root.path("missing.txt")));
        ASSERT_EQ(0, ::unlink(link.c_str()));
    }
    EXPECT_EQ("old", readFile(file()));
    EXPECT_EQ(ReplaceOutcome::Replaced,
              replaceTextFile(file().c_str(), "new", corvid::LinkRule::Refuse));
    EXPECT_EQ("new", readFile(file()));
}

TEST_F(TextFileTest, AFileWithTheLongestNameIsRewrittenInPlace) {
    const std::string path = root.path(std::string(255, 'n'));
    writeFile(path, "old text");
    EXPECT_EQ(ReplaceOutcome::Replaced, replaceTextFile(path.c_str(), "new"));
    EXPECT_EQ("new", readFile(path));
}

TEST_F(TextFileTest, AFileOnlyForWritingIsReplaced) {
    corvid::test::letOthersIn(root);
    writeFile(file(), "old text");
    ASSERT_EQ(0, ::chmod(file().c_str(), ::geteuid() == 0 ? 0622 : 0200));
    const std::string path = file();
    EXPECT_TRUE(holdsInChild([&path] {
        return corvid::test::becomeNobody() &&
               replaceTextFile(path.c_str(), "new") == ReplaceOutcome::Replaced;
    }));
    ASSERT_EQ(0, ::chmod(file().c_str(), 0600));
    EXPECT_EQ("new", readFile(file()));
}

// What cannot be read cannot be put back; the file must then not be touched before the new text is
// safe.
TEST_F(TextFileTest, AFileOnlyForWritingKeepsItsTextOnAFullDisk) {
    corvid::test::letOthersIn(root);
    writeFile(file(), "old text");
    ASSERT_EQ(0, ::chmod(file().c_str(), ::geteuid() == 0 ? 0622 : 0200));
    const std::string path = file();
    EXPECT_TRUE(holdsInChild([&path] {
        const FailNth failing(Call::Write, 1, ENOSPC, "some.txt", Lasting::FromThenOn);
        return corvid::test::becomeNobody() &&
               replaceTextFile(path.c_str(), "new") != ReplaceOutcome::Replaced;
    }));
    ASSERT_EQ(0, ::chmod(file().c_str(), 0600));
    EXPECT_EQ("old text", readFile(file()));
}

} // namespace

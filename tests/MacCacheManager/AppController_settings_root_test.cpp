// The root folder as the settings sheet checks and stores it.

#include "tests/support/settings_fixture.h"

#include <sys/stat.h>

using namespace corvid::test;
using ::testing::ElementsAre;

namespace {

constexpr char kInvalidRoot[] = "The default root cache location is invalid";

class SavingARoot : public SettingsTest {
protected:
    void expectInvalidRoot(const std::string& typed) {
        openSheet();
        enter(path(), typed);
        const std::string before = config();

        user.willClick("OK");
        save();

        ASSERT_EQ(user.seen().size(), 1U);
        EXPECT_EQ(user.seen()[0].title, kInvalidRoot);
        EXPECT_EQ(user.seen()[0].message, "\"" + typed + "\" is either invalid or does not exist");
        EXPECT_THAT(user.seen()[0].buttons, ElementsAre("OK"));
        EXPECT_EQ(config(), before);
        EXPECT_TRUE(sheet().isVisible());
        EXPECT_EQ(path().text().toStdString(), typed);
    }
};

TEST_F(SavingARoot, AppendsASlashToThePath) {
    const std::string chosen = root.path("Volumes/Cache 2");
    makeDirectory(chosen);
    openSheet();
    const std::string expected = with(config(), "DirectoryLocationOfFrameCache", chosen + "/");

    enter(path(), chosen);
    save();

    EXPECT_EQ(config(), expected);
}

TEST_F(SavingARoot, LeavesAPathThatEndsInASlashAsItIs) {
    const std::string chosen = root.path("Volumes/Cache//");
    openSheet();
    const std::string expected = with(config(), "DirectoryLocationOfFrameCache", chosen);

    enter(path(), chosen);
    save();

    EXPECT_EQ(config(), expected);
}

TEST_F(SavingARoot, AcceptsAPathThatNamesAFile) {
    const std::string file = root.path("Volumes/file");
    writeFile(file, "not a folder");
    openSheet();
    const std::string expected = with(config(), "DirectoryLocationOfFrameCache", file + "/");

    enter(path(), file);
    save();

    EXPECT_EQ(config(), expected);
    EXPECT_EQ(readFile(file), "not a folder");
}

TEST_F(SavingARoot, RefusesAnEmptyPath) {
    expectInvalidRoot("");
}

TEST_F(SavingARoot, RefusesAPathThatDoesNotExist) {
    expectInvalidRoot(root.path("Volumes/nowhere"));
}

TEST_F(SavingARoot, ShowsARefusedPathAsItIsWithPercentSignsAndQuotes) {
    expectInvalidRoot(root.path("100%1 %@ %ld %n \"quoted\" <b>bold</b> & more"));
}

TEST_F(SavingARoot, AcceptsAPathWithPercentSignsAndQuotes) {
    const std::string odd = root.path("Volumes/100%1 %@ %s \"quoted\" $HOME `id` \\n");
    makeDirectory(odd);
    openSheet();
    const std::string expected = with(config(), "DirectoryLocationOfFrameCache", odd + "/");

    enter(path(), odd);
    save();

    EXPECT_EQ(config(), expected);
}

TEST_F(SavingARoot, RefusesAPathLongerThanAnySystemHas) {
    expectInvalidRoot("/" + std::string(5000, 'x'));
}

// A line of the settings file holds 1,023 bytes; what would come back cut is not stored.
TEST_F(SavingARoot, RefusesAnExistingPathThatDoesNotFitIntoTheFile) {
    std::string folder = root.path();
    while (folder.size() < 1024) {
        folder += "/" + std::string(200, 'd');
    }
    makeDirectory(folder);

    expectInvalidRoot(folder);
}

TEST_F(SavingARoot, RefusesThePathBeforeItAsksAboutTheLimit) {
    openSheet();
    enter(size(), "0");
    enter(path(), "");

    user.willClick("OK");
    save();

    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, kInvalidRoot);
}

TEST_F(SavingARoot, CanBeCorrectedAfterARefusal) {
    openSheet();
    enter(path(), root.path("nowhere"));
    user.willClick("OK");
    save();

    enter(path(), cacheRoot());
    enter(size(), "42");
    const std::string expected = with(config(), "SizeOfFrameCacheInMB", "42");
    save();

    EXPECT_EQ(config(), expected);
    EXPECT_FALSE(sheet().isVisible());
}

} // namespace

#include "store/KavroPISSConfig.h"

#include "tests/support/config_test.h"
#include "tests/support/forked_child.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::test::exists;
using corvid::test::holdsInChild;
using corvid::test::linesOf;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::removeTree;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

const char kUnknownType[] = "WARNING\tProcessOutputModuleItem: int type not yet supported\n";
const char kNotInitialized[] =
    "Corvid Pro Persistent Information Store has not been initialized. Creating Config.";
const char kValidating[] = "Validating Corvid Pro Persisitent Information Store Configuration.";
const char kCannotCreate[] = "ERROR\tUnable to create Persistent Storage Config File. Corvid Pro "
                             "installation may be corrupt.";
const char kStoreInvalid[] = "ERROR\tCorvid Pro Persistent information store is invalid!";

class ConfigFileTest : public corvid::test::ConfigTest {
protected:
    std::string cannotRead() const {
        return "WARNING\tCannot open generic config file '" + file() + "' for reading\n";
    }
    std::vector<std::string> defaultLines() const {
        return {"default string\tDirectoryLocationOfFrameCache " + root.productFile("Cache/"),
                "default string\tDirectoryLocationOfRenderQueue " +
                    root.productFile("RenderQueue/"),
                "default int\tSizeOfFrameCacheInMB 20000",
                "default int\tShowCacheManagementWarnings 1",
                "default int\tCorvidProSpeculativeMode 0",
                "default int\tSpecPreviewAreaToPreview 0",
                "default int\tSpecPreviewLoadFramesCache 1",
                "default int\tSpecPreviewStoreFramesCache 0",
                "default int\tSpecPreviewUseSkipFrames 0",
                "default int\tCorvidProShowStatusPopups 1",
                "default int\tSpecPreviewStartFromCurrentTime 1",
                "default string\tSpecRenderOutputPath null",
                "default string\tSpecRenderRenderSettingsTemplate Current Settings",
                "default string\tSpecRenderOutputModuleTemplate Lossless",
                "default string\tSpecRenderOutputFilename null",
                "default string\tAppLocationOfC4D /Applications/MAXON/CINEMA 4D R10/CINEMA "
                "4D.app/Contents/MacOS/CINEMA 4D"};
    }
};

TEST_F(ConfigFileTest, ConstructingWithoutAFileGivesAnInvalidObjectAndAFileWithTheDefaults) {
    const KavroPISSConfig config;
    EXPECT_EQ(0, config.IsValid());
    EXPECT_EQ(0U, config.NumberOfKeyValuePairsInList());
    EXPECT_THAT(linesOf(file()), ElementsAreArray(defaultLines()));
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotRead(), kNotInitialized, kValidating));
}

TEST_F(ConfigFileTest, ALaterConstructionReadsTheNewFile) {
    { const KavroPISSConfig creating; }
    KavroPISSConfig config;
    EXPECT_EQ(1, config.IsValid());
    EXPECT_EQ(16U, config.NumberOfKeyValuePairsInList());
    EXPECT_EQ(20000, number(config, "SizeOfFrameCacheInMB"));
    EXPECT_EQ("Current Settings", text(config, "SpecRenderRenderSettingsTemplate"));
}

TEST_F(ConfigFileTest, TheStoredPathIsThatOfTheFileItself) {
    const KavroPISSConfig config;
    EXPECT_EQ(file(), config.getRootPathToProjectConfigFile());
}

TEST_F(ConfigFileTest, ADeadLinkIsFilledThroughTheLink) {
    const std::string target = root.path("elsewhere.txt");
    ASSERT_EQ(0, ::symlink(target.c_str(), file().c_str()));
    const KavroPISSConfig config;
    EXPECT_THAT(linesOf(target), ElementsAreArray(defaultLines()));
    struct stat status {};
    ASSERT_EQ(0, ::lstat(file().c_str(), &status));
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(ConfigFileTest, InitializingCreatesTheFileWithTheDefaults) {
    KavroPISSConfig::initializePISSConfig();
    EXPECT_THAT(linesOf(file()), ElementsAreArray(defaultLines()));
    EXPECT_THAT(root.logMessages(), ElementsAre(kNotInitialized, kValidating));
}

TEST_F(ConfigFileTest, InitializingAgainChangesNothing) {
    KavroPISSConfig::initializePISSConfig();
    const std::string before = readFile(file());
    root.clearLog();
    KavroPISSConfig::initializePISSConfig();
    EXPECT_EQ(before, readFile(file()));
    EXPECT_THAT(root.logMessages(), ElementsAre(kValidating));
}

TEST_F(ConfigFileTest, InitializingAddsExactlyTheMissingKeysBehindWhatIsThere) {
    const std::string there = "other string\tSpecRenderOutputPath x\n"
                              "default int\tSizeOfFrameCacheInMB -7\n"
                              "default string\tSpecRenderOutputFilename odd  name \n";
    write(there);
    KavroPISSConfig::initializePISSConfig();
    std::vector<std::string> expected{"other string\tSpecRenderOutputPath x",
                                      "default int\tSizeOfFrameCacheInMB -7",
                                      "default string\tSpecRenderOutputFilename odd  name "};
    for (const std::string& line : defaultLines()) {
        if (line.find("SizeOfFrameCacheInMB") == std::string::npos &&
            line.find("SpecRenderOutputFilename") == std::string::npos) {
            expected.push_back(line);
        }
    }
    EXPECT_THAT(linesOf(file()), ElementsAreArray(expected));
}

TEST_F(ConfigFileTest, InitializingKeepsAKeyThatHasTheOtherType) {
    write("default int\tDirectoryLocationOfFrameCache 4\n"
          "default string\tSizeOfFrameCacheInMB many\n");
    KavroPISSConfig::initializePISSConfig();
    const std::vector<std::string> lines = linesOf(file());
    EXPECT_EQ(16U, lines.size());
    EXPECT_EQ("default int\tDirectoryLocationOfFrameCache 4", lines[0]);
    EXPECT_EQ("default string\tSizeOfFrameCacheInMB many", lines[1]);
}

TEST_F(ConfigFileTest, InitializingLeavesAFileWithAnUnknownTypeAlone) {
    write("default integer\tSizeOfFrameCacheInMB 5\n");
    KavroPISSConfig::initializePISSConfig();
    EXPECT_EQ("default integer\tSizeOfFrameCacheInMB 5\n", readFile(file()));
    EXPECT_THAT(root.logMessages(), ElementsAre(kValidating, kUnknownType, kStoreInvalid));
}

TEST_F(ConfigFileTest, InitializingWithoutTheProductFolderFails) {
    removeTree(root.productFile());
    KavroPISSConfig::initializePISSConfig();
    EXPECT_THAT(root.logMessages(), ElementsAre(kNotInitialized, kCannotCreate));
    EXPECT_FALSE(exists(file()));
}

TEST_F(ConfigFileTest, ConstructingWithoutTheProductFolderEndsAfterOneTry) {
    removeTree(root.productFile());
    const KavroPISSConfig config;
    EXPECT_EQ(0, config.IsValid());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotRead(), kNotInitialized, kCannotCreate));
}

TEST_F(ConfigFileTest, ADirectoryInPlaceOfTheFileIsLeftAlone) {
    makeDirectory(file() + "/inside");
    const KavroPISSConfig config;
    EXPECT_EQ(0, config.IsValid());
    EXPECT_TRUE(exists(file() + "/inside"));
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotRead(), kNotInitialized, kCannotCreate));
}

TEST_F(ConfigFileTest, ALinkToItselfIsLeftAlone) {
    ASSERT_EQ(0, ::symlink(file().c_str(), file().c_str()));
    const KavroPISSConfig config;
    EXPECT_EQ(0, config.IsValid());
    EXPECT_TRUE(exists(file()));
}

TEST_F(ConfigFileTest, APipeInPlaceOfTheFileNeitherBlocksNorIsReplaced) {
    ASSERT_EQ(0, ::mkfifo(file().c_str(), 0666));
    EXPECT_TRUE(holdsInChild(
        [] {
            KavroPISSConfig config;
            return config.IsValid() == 0 && !config.Commit();
        },
        10));
    struct stat status {};
    ASSERT_EQ(0, ::stat(file().c_str(), &status));
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
}

TEST_F(ConfigFileTest, AFileThatMayNotBeReadIsNeitherEmptiedNorReadForEver) {
    corvid::test::letOthersIn(root);
    write("default int\tSizeOfFrameCacheInMB 5\n");
    ASSERT_EQ(0, ::chmod(file().c_str(), ::geteuid() == 0 ? 0622 : 0200)); // write only
    EXPECT_TRUE(holdsInChild(
        [] { return corvid::test::becomeNobody() && KavroPISSConfig().IsValid() == 0; }));
    ASSERT_EQ(0, ::chmod(file().c_str(), 0600));
    EXPECT_EQ("default int\tSizeOfFrameCacheInMB 5\n", readFile(file()));
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotRead(), kNotInitialized, kCannotCreate));
}

} // namespace

#include "store/KavroPISSConfigHelper.h"

#include "runtime/maro_log.h"
#include "store/KavroPISSConfig.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace {

using corvid::test::makeDirectory;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Helper = KavroPISSConfigHelper;

class ConfigHelperQueryTest : public corvid::test::ProductTest {
protected:
    ConfigHelperQueryTest() {
        makeDirectory(root.path("Shots"));
        writeFile(root.productFile("Config.txt"), "default int\tother 1\n");
    }
    void setGlobal(int value) const { Helper::addOrUpdateGlobalIntegerSetting("size", value); }
    void setProject(int value) const {
        Helper::addOrUpdateProjectIntegerSetting(&project, "size", value);
    }
    void setComposition(int value) const {
        Helper::addOrUpdateCompIntegerSetting(&composition, "size", value);
    }
    void setText(const char* value) const { Helper::addOrUpdateGlobalStringSetting("name", value); }
    // Every level is asked.
    std::string number() const {
        int value = -77;
        const int found =
            Helper::queryIntegerSetting(&value, "size", "default", &project, &composition);
        return std::to_string(found) + ":" + std::to_string(value);
    }
    std::string bounded(int minimum, int maximum) const {
        int value = -77;
        const int found = Helper::queryIntegerSettingBounded(&value, "size", minimum, maximum,
                                                             "default", &project, &composition);
        return std::to_string(found) + ":" + std::to_string(value);
    }
    std::string text(const char* scope = "default") const {
        char buffer[64];
        std::memset(buffer, '#', sizeof(buffer));
        const int found = Helper::queryStringSetting(buffer, sizeof(buffer), "name", scope,
                                                     &project, &composition);
        for (std::size_t i = std::strlen(buffer); i < sizeof(buffer); ++i) {
            EXPECT_EQ('\0', buffer[i]) << "the whole buffer is cleared";
        }
        return std::to_string(found) + ":" + buffer;
    }
    std::string invalid(int value, const std::string& name) const {
        return "WARNING\tAn invalid value: " + std::to_string(value) +
               " found in the persist data for [" + name + "] [size]";
    }

    KavroPISSProjectKeys project{root.path("Shots/Edit.aep").c_str()};
    KavroPISSCompKeys composition{"comp identity", "comp", &project};
};

// What the queries are made of can be asked by itself: each level, and the walk through them.
TEST_F(ConfigHelperQueryTest, EachLevelGivesItsOwnNumber) {
    setGlobal(1);
    setProject(2);
    setComposition(30);
    KavroPISSConfig global;
    KavroPISSPerProjectConfig stored(project.folder.c_str());
    int value = 0;
    EXPECT_EQ(1, Helper::_getPISSConfigData(global, &value, "default", "size", 0, 9, true));
    EXPECT_EQ(1, value);
    EXPECT_EQ(0, Helper::_getPISSConfigData(global, &value, "default", "none", 0, 9, true));
    const char* const identity = project.identity.c_str();
    EXPECT_EQ(1, Helper::_getPISSProjectConfigData(stored, &value, identity, "size", 0, 9, true));
    EXPECT_EQ(2, value);
    const char* const ofComposition = composition.identity.c_str();
    EXPECT_EQ(0, Helper::_getPISSCompConfigData(stored, &value, ofComposition, "size", 0, 9, true));
    EXPECT_EQ(1,
              Helper::_getPISSCompConfigData(stored, &value, ofComposition, "size", 0, 9, false));
    EXPECT_EQ(30, value);
    EXPECT_EQ(1, Helper::_queryIntegerSettingBounded(&value, "size", 0, 9, "default", &project,
                                                     &composition, true));
    EXPECT_EQ(2, value) << "the composition's is outside";
    EXPECT_EQ(1, Helper::_queryIntegerSettingBounded(&value, "size", 0, 9, "default", &project,
                                                     &composition, false));
    EXPECT_EQ(30, value);
}

TEST_F(ConfigHelperQueryTest, TheMostSpecificTextIsTaken) {
    EXPECT_EQ("0:", text());
    setText("global one");
    EXPECT_EQ("1:global one", text());
    Helper::addOrUpdateProjectStringSetting(&project, "name", "project one");
    EXPECT_EQ("1:project one", text());
    Helper::addOrUpdateCompStringSetting(&composition, "name", "comp one");
    EXPECT_EQ("1:comp one", text());
}

TEST_F(ConfigHelperQueryTest, TheMostSpecificNumberIsTaken) {
    EXPECT_EQ("0:0", number());
    setGlobal(1);
    EXPECT_EQ("1:1", number());
    setProject(2);
    EXPECT_EQ("1:2", number());
    setComposition(3);
    EXPECT_EQ("1:3", number());
    EXPECT_EQ("1:3", bounded(3, 3));
}

TEST_F(ConfigHelperQueryTest, OnlyLevelsThatAreGivenAreAsked) {
    setComposition(3);
    int value = 5;
    EXPECT_EQ(0, Helper::queryIntegerSetting(&value, "size", "default", &project, nullptr));
    EXPECT_EQ(0, value);
    setProject(2);
    EXPECT_EQ(0, Helper::queryIntegerSetting(&value, "size", "default", nullptr, nullptr));
    setGlobal(1);
    EXPECT_EQ(0, Helper::queryIntegerSetting(&value, "size", nullptr, nullptr, nullptr));
    EXPECT_EQ(1, Helper::queryIntegerSetting(&value, "size", "default", nullptr, nullptr));
    EXPECT_EQ(1, value);
    EXPECT_EQ(0, Helper::queryIntegerSetting(&value, "size", "other", nullptr, nullptr));
    EXPECT_EQ(0, value);
}

TEST_F(ConfigHelperQueryTest, ATextQueryWithoutALevelFindsNothing) {
    setDevLoggingEnabled(true);
    char buffer[16];
    std::memset(buffer, '#', sizeof(buffer));
    EXPECT_EQ(
        0, Helper::queryStringSetting(buffer, sizeof(buffer), "name", nullptr, nullptr, nullptr));
    EXPECT_EQ(std::string(sizeof(buffer), '\0'), std::string(buffer, sizeof(buffer)));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("DEV\tUnable to query the ANY persist data for: [name]"));
}

TEST_F(ConfigHelperQueryTest, ATextThatIsMissedIsToldLevelByLevelToDevelopersOnly) {
    EXPECT_EQ("0:", text());
    EXPECT_THAT(root.logMessages(), IsEmpty());
    setDevLoggingEnabled(true);
    EXPECT_EQ("0:", text());
    EXPECT_THAT(root.logMessages(),
                ElementsAre("DEV\tUnable to find requested value for key:[name] in Comp Config. "
                            "Checking Project Config.",
                            "DEV\tUnable to find requested value for key:[name] in Project "
                            "Config. Checking Global Config.",
                            "DEV\tUnable to query the ANY persist data for: [name]"));
}

TEST_F(ConfigHelperQueryTest, ANumberIsNoText) {
    Helper::addOrUpdateProjectIntegerSetting(&project, "name", 5);
    setText("global");
    EXPECT_EQ("1:global", text());
}

TEST_F(ConfigHelperQueryTest, ATextKeepsAtMostTwoCharactersLessThanTheBuffer) {
    setText("abcdef");
    for (int size = 1; size <= 10; ++size) {
        char buffer[12];
        std::memset(buffer, '#', sizeof(buffer));
        EXPECT_EQ(1, Helper::queryStringSetting(buffer, size, "name", "default", nullptr, nullptr));
        const auto kept = static_cast<std::size_t>(size < 2 ? 0 : size - 2);
        EXPECT_EQ(std::string("abcdef").substr(0, kept), buffer) << size;
        EXPECT_EQ('#', buffer[size]);
    }
}

TEST_F(ConfigHelperQueryTest, ABufferThatIsNoneIsRefused) {
    setText("abc");
    char buffer[] = "untouched";
    EXPECT_EQ(0, Helper::queryStringSetting(nullptr, 10, "name", "default", nullptr, nullptr));
    EXPECT_EQ(0, Helper::queryStringSetting(buffer, 0, "name", "default", nullptr, nullptr));
    EXPECT_EQ(0, Helper::queryStringSetting(buffer, -1, "name", "default", nullptr, nullptr));
    EXPECT_STREQ("untouched", buffer);
}

TEST_F(ConfigHelperQueryTest, ANumberThatIsMissedIsToldLevelByLevel) {
    setDevLoggingEnabled(true);
    EXPECT_EQ("0:0", number());
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre(
            "DEV\tUnable to find requested value in Comp Config. Checking Project Config.",
            "DEV\tUnable to find requested value in Project Config. Checking Global Config.",
            "Unable to query ANY persist data for: [size]"));
}

TEST_F(ConfigHelperQueryTest, ABoundedNumberThatIsMissedIsToldForEachStore) {
    setDevLoggingEnabled(true);
    EXPECT_EQ("0:0", bounded(0, 5));
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre(
            "DEV\tUnable to query the per comp persist data for: [comp identity] [size]",
            "DEV\tUnable to find requested value in Comp Config. Checking Project Config.",
            "DEV\tUnable to query the per project persist data for: [" + project.identity +
                "] [size]",
            "DEV\tUnable to find requested value in Project Config. Checking Global Config.",
            "DEV\tUnable to query the persist data for: [default] [size]",
            "Unable to query ANY persist data for: [size]"));
}

TEST_F(ConfigHelperQueryTest, ANumberOutsideItsRangeIsPassedOver) {
    setComposition(7);
    setGlobal(4);
    EXPECT_EQ("1:4", bounded(0, 5));
    EXPECT_THAT(root.logMessages(), ElementsAre(invalid(7, "comp identity")));
    setProject(5);
    EXPECT_EQ("1:5", bounded(0, 5));
    EXPECT_EQ("1:7", number()) << "without a range any number does";
}

TEST_F(ConfigHelperQueryTest, NoNumberInRangeFindsNothing) {
    setComposition(7);
    setProject(-1);
    setGlobal(6);
    EXPECT_EQ("0:6", bounded(0, 5)) << "what the last level gave";
    EXPECT_THAT(root.logMessages(),
                ElementsAre(invalid(7, "comp identity"), invalid(-1, project.identity),
                            invalid(6, "default"), "Unable to query ANY persist data for: [size]"));
}

TEST_F(ConfigHelperQueryTest, ARangeHasBothItsEnds) {
    setGlobal(5);
    EXPECT_EQ("1:5", bounded(5, 9));
    EXPECT_EQ("1:5", bounded(0, 5));
    EXPECT_EQ("1:5", bounded(INT_MIN, INT_MAX));
    EXPECT_EQ("0:5", bounded(6, 9));
    EXPECT_EQ("0:5", bounded(0, 4));
    EXPECT_EQ("0:5", bounded(9, 0));
}

TEST_F(ConfigHelperQueryTest, PercentSignsInAKeyReachTheLogAsTheyStand) {
    int value = 0;
    EXPECT_EQ(0, Helper::queryIntegerSetting(&value, "%s%n", "default", nullptr, nullptr));
    EXPECT_THAT(root.logMessages(), ElementsAre("Unable to query ANY persist data for: [%s%n]"));
}

TEST_F(ConfigHelperQueryTest, ANullKeyIsFoundNowhere) {
    EXPECT_TRUE(corvid::test::holdsInChild([this] {
        int value = 5;
        char buffer[] = "old";
        return Helper::queryIntegerSetting(&value, nullptr, "default", &project, &composition) ==
                   0 &&
               value == 0 &&
               Helper::queryIntegerSettingBounded(&value, nullptr, 0, 1, "default", &project,
                                                  &composition) == 0 &&
               Helper::queryStringSetting(buffer, sizeof(buffer), nullptr, "default", &project,
                                          &composition) == 0 &&
               std::string(buffer).empty();
    }));
}

TEST_F(ConfigHelperQueryTest, EachQueryReadsTheFilesAfresh) {
    setGlobal(1);
    EXPECT_EQ("1:1", number());
    writeFile(root.productFile("Config.txt"), "default int\tsize 2\n");
    EXPECT_EQ("1:2", number());
}

TEST_F(ConfigHelperQueryTest, CacheCheckingIsWantedByBothOrNot) {
    const KavroProjectSettings wanted{5};
    const KavroProjectSettings unwanted{0};
    for (const char* global : {"1", "-3"}) {
        writeFile(root.productFile("Config.txt"),
                  std::string("default int\tShowCacheManagementWarnings ") + global + "\n");
        EXPECT_EQ(1, Helper::isCacheCheckingMode(&wanted));
        EXPECT_EQ(0, Helper::isCacheCheckingMode(&unwanted));
    }
    writeFile(root.productFile("Config.txt"), "default int\tShowCacheManagementWarnings 0\n");
    EXPECT_EQ(0, Helper::isCacheCheckingMode(&wanted));
    EXPECT_EQ(0, Helper::isCacheCheckingMode(&unwanted));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(ConfigHelperQueryTest, CacheCheckingIsOnWithoutItsGlobalKey) {
    setDevLoggingEnabled(true);
    const KavroProjectSettings wanted{5};
    EXPECT_EQ(1, Helper::isCacheCheckingMode(&wanted));
    EXPECT_THAT(root.logMessages(), ElementsAre("DEV\tisCacheCheckingMode Global: 1  Comp: 5"));
}

TEST_F(ConfigHelperQueryTest, CacheCheckingTellsDevelopersBothFlags) {
    writeFile(root.productFile("Config.txt"), "default int\tShowCacheManagementWarnings 0\n");
    setDevLoggingEnabled(true);
    const KavroProjectSettings unwanted{0};
    EXPECT_EQ(0, Helper::isCacheCheckingMode(&unwanted));
    EXPECT_THAT(root.logMessages(), ElementsAre("DEV\tisCacheCheckingMode Global: 0  Comp: 0"));
}

} // namespace

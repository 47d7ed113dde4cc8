#include "upkeep/settings.h"

#include "store/settings_keys.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

using namespace corvid;       // NOLINT(google-build-using-namespace)
using namespace corvid::test; // NOLINT(google-build-using-namespace)
using ::testing::HasSubstr;

class UpkeepSettings : public ProductTest {
protected:
    std::string file() const { return root.productFile("Config.txt"); }
    static std::map<std::string, std::string> values() {
        std::map<std::string, std::string> values;
        const auto settings = readGlobalSettings();
        for (const GlobalSetting& setting : settings.value()) {
            const int* number = std::get_if<int>(&setting.value);
            values[setting.key] = number != nullptr ? "#" + std::to_string(*number)
                                                    : std::get<std::string>(setting.value);
        }
        return values;
    }
    std::string wanted;
};

TEST_F(UpkeepSettings, WithoutAFileAreTheDefaultsAndNoFileIsMade) {
    const Snapshot before = snapshot(root.productFile());
    const auto found = values();
    EXPECT_EQ(found.size(), std::size(kSettings));
    EXPECT_EQ(found.at("SizeOfFrameCacheInMB"), "#20000");
    EXPECT_EQ(found.at("DirectoryLocationOfFrameCache"), root.productFile() + "Cache/");
    EXPECT_EQ(cacheLimit(), std::uint64_t{20000} << 20U);
    EXPECT_EQ(snapshot(root.productFile()), before);
}

TEST_F(UpkeepSettings, TheFirstOfAKeyCountsAndUnknownOnesFollow) {
    writeFile(file(), "default int\tSizeOfFrameCacheInMB 7\ndefault int\tSizeOfFrameCacheInMB 8\n"
                      "other string\tkey x\ndefault string\tNew some text\n");
    const auto found = values();
    EXPECT_EQ(found.at("SizeOfFrameCacheInMB"), "#7");
    EXPECT_EQ(found.at("New"), "some text");
    EXPECT_EQ(found.count("key"), 0U);
    EXPECT_EQ(cacheLimit(), 7U << 20U);
    writeFile(file(), "default int\tSizeOfFrameCacheInMB -1\n");
    EXPECT_EQ(cacheLimit(), std::nullopt);
}

TEST_F(UpkeepSettings, AFileThatCannotBeReadHasNone) {
    makeDirectory(file());
    EXPECT_FALSE(readGlobalSettings().has_value());
    EXPECT_EQ(setGlobalSetting("SizeOfFrameCacheInMB", "5", &wanted), SetOutcome::NotWritten);
}

TEST_F(UpkeepSettings, OneIsSetAndTheOthersStay) {
    writeFile(file(), "default int\tSizeOfFrameCacheInMB 7\ndefault string\tNew some text\n");
    EXPECT_EQ(setGlobalSetting("SizeOfFrameCacheInMB", "50000", &wanted), SetOutcome::Set);
    EXPECT_EQ(setGlobalSetting("SpecRenderOutputPath", "/a folder/x", &wanted), SetOutcome::Set);
    EXPECT_EQ(values().at("SizeOfFrameCacheInMB"), "#50000");
    EXPECT_EQ(values().at("SpecRenderOutputPath"), "/a folder/x");
    EXPECT_EQ(values().at("New"), "some text");
}

TEST_F(UpkeepSettings, AMissingFileIsMade) {
    EXPECT_EQ(setGlobalSetting("ShowCacheManagementWarnings", "0", &wanted), SetOutcome::Set);
    EXPECT_THAT(readFile(file()), HasSubstr("ShowCacheManagementWarnings 0\n"));
}

TEST_F(UpkeepSettings, WrongKeysAndValuesChangeNothing) {
    writeFile(file(), "default int\tSizeOfFrameCacheInMB 7\n");
    const Snapshot before = snapshot(root.path());
    EXPECT_EQ(setGlobalSetting("Size", "5", &wanted), SetOutcome::UnknownKey);
    for (const char* wrong : {"", "x", "1.5", "5 ", " 5", "5x", "2147483648", "0x5", "nan"}) {
        EXPECT_EQ(setGlobalSetting("SizeOfFrameCacheInMB", wrong, &wanted), SetOutcome::WrongValue)
            << wrong;
        EXPECT_EQ(wanted, "a whole number of 32 bits");
    }
    for (const std::string& wrong :
         {std::string(), std::string(" x"), std::string("a\nb"), std::string(2000, 'x')}) {
        EXPECT_EQ(setGlobalSetting("SpecRenderOutputPath", wrong, &wanted), SetOutcome::WrongValue)
            << wrong;
    }
    EXPECT_EQ(snapshot(root.path()), before);
}

} // namespace

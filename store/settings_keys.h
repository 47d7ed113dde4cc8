#pragma once

// The product's settings: what each is called in the file, what kind of value it has, and the value
// that it gets when it is missing there.

#include "store/PISSFileUtilities.h"

namespace corvid {

// Where the settings are that hold for every project.
inline constexpr char kGlobalScope[] = "default";

enum class SettingType { Text, ProductPath, Integer };

struct SettingKey {
    const char* name;
    SettingType type;
    int number;                                // the default of an integer
    const char* text;                          // the default of a text
    int (*assignPath)(char* buffer, int size); // gives the default of a path of the product's own
};

constexpr SettingKey textSetting(const char* name, const char* text) {
    return {name, SettingType::Text, 0, text, nullptr};
}

constexpr SettingKey pathSetting(const char* name, int (*assignPath)(char* buffer, int size)) {
    return {name, SettingType::ProductPath, 0, nullptr, assignPath};
}

constexpr SettingKey integerSetting(const char* name, int number) {
    return {name, SettingType::Integer, number, nullptr, nullptr};
}

inline constexpr SettingKey kCacheRoot =
    pathSetting("DirectoryLocationOfFrameCache", assignCorvidProFrameCacheDefaultDirectoryPath);
inline constexpr SettingKey kRenderQueueRoot =
    pathSetting("DirectoryLocationOfRenderQueue", assignCorvidProRenderQueueDefaultDirectoryPath);
inline constexpr SettingKey kCacheSize = integerSetting("SizeOfFrameCacheInMB", 20000);
inline constexpr int kUnlimitedCacheSize = -1;
inline constexpr SettingKey kShowWarnings = integerSetting("ShowCacheManagementWarnings", 1);
inline constexpr SettingKey kStoreFrames = integerSetting("SpecPreviewStoreFramesCache", 0);

// All of them, in the order in which a new file has them.
inline constexpr SettingKey kSettings[] = {
    kCacheRoot,
    kRenderQueueRoot,
    kCacheSize,
    kShowWarnings,
    integerSetting("CorvidProSpeculativeMode", 0),
    integerSetting("SpecPreviewAreaToPreview", 0),
    integerSetting("SpecPreviewLoadFramesCache", 1),
    kStoreFrames,
    integerSetting("SpecPreviewUseSkipFrames", 0),
    integerSetting("CorvidProShowStatusPopups", 1),
    integerSetting("SpecPreviewStartFromCurrentTime", 1),
    textSetting("SpecRenderOutputPath", "null"),
    textSetting("SpecRenderRenderSettingsTemplate", "Current Settings"),
    textSetting("SpecRenderOutputModuleTemplate", "Lossless"),
    textSetting("SpecRenderOutputFilename", "null"),
    textSetting("AppLocationOfC4D",
                "/Applications/MAXON/CINEMA 4D R10/CINEMA 4D.app/Contents/MacOS/CINEMA 4D"),
};

} // namespace corvid

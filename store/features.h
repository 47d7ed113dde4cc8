#pragma once

// The features that the plug-ins keep frames of: one line each is all there is to know of them.

#include "files/path_text.h"

#include <cstddef>
#include <span>
#include <string_view>

namespace corvid {

struct Feature {
    const char* directory;      // the name of its directory
    const char* olderDirectory; // the name it had once, still shown by its label; null for none
    const char* label;          // as a user knows it
    const char* nameInLog;
    const char* endOfLogLine;
};

// In the order in which they are looked for.
inline constexpr Feature kKnownFeatures[] = {
    {"SPEC_PREVIEW", nullptr, "Spec Preview", "Spec Preview", ""},
    {"SPEC_RENDER", nullptr, "Spec Render", "Spec Render", "."},
    {"PROXY", "SPEC_PROXY", "Precomp Proxy", "Precomp Proxy", "."},
};

// A table of features, for what does not have to be about the known ones.
using FeatureTable = std::span<const Feature>;

// The feature whose directory has this name; null when it is none of the table's.
constexpr const Feature* featureOfDirectory(std::string_view directory,
                                            FeatureTable features = kKnownFeatures) {
    for (const Feature& feature : features) {
        if (directory == feature.directory ||
            (feature.olderDirectory != nullptr && directory == feature.olderDirectory)) {
            return &feature;
        }
    }
    return nullptr;
}

// What users see of a key or a directory: its last component, of a feature its label.
constexpr std::string_view shownName(std::string_view key, FeatureTable features = kKnownFeatures) {
    const std::string_view last = lastComponent(key);
    const Feature* feature = featureOfDirectory(last, features);
    return feature != nullptr ? feature->label : last;
}

// The names of the directories alone.
template <std::size_t count>
struct FeatureDirectories {
    const char* names[count];
};

template <std::size_t count>
constexpr FeatureDirectories<count> directoriesOf(const Feature (&features)[count]) {
    FeatureDirectories<count> directories{};
    for (std::size_t i = 0; i < count; ++i) {
        directories.names[i] = features[i].directory;
    }
    return directories;
}

inline constexpr auto kKnownFeatureDirectories = directoriesOf(kKnownFeatures);

} // namespace corvid

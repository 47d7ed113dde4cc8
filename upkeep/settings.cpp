#include "upkeep/settings.h"

#include "store/KavroPISSConfig.h"
#include "store/kvp_line.h"
#include "store/product_paths.h"
#include "store/settings_keys.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <set>

#include <sys/stat.h>

namespace corvid {

namespace {

const SettingKey* knownSetting(std::string_view key) {
    const auto* const found =
        std::find_if(std::begin(kSettings), std::end(kSettings),
                     [key](const SettingKey& setting) { return key == setting.name; });
    return found != std::end(kSettings) ? found : nullptr;
}

std::variant<int, std::string> defaultOf(const SettingKey& setting) {
    switch (setting.type) {
    case SettingType::Integer:
        return setting.number;
    case SettingType::ProductPath:
        return productPath(setting.assignPath);
    case SettingType::Text:
        break;
    }
    return std::string(setting.text);
}

// The first entry of each key in the global scope, which is the one that counts.
std::vector<GlobalSetting> storedSettings(KavroPISSConfig& config) {
    std::vector<GlobalSetting> stored;
    std::set<std::string> seen;
    config.PrepareKeyValuePairList();
    while (const tConfigKVPEntry* entry = config.GetNextKeyValuePairInList()) {
        if (std::strcmp(entry->scope, kGlobalScope) != 0 || !seen.insert(entry->key).second) {
            continue;
        }
        if (entry->type == kKvpInteger) {
            stored.push_back({entry->key, entry->intValue});
        } else {
            stored.push_back({entry->key, std::string(entry->stringValue)});
        }
    }
    return stored;
}

bool isMissing(const KavroPISSConfig& config) {
    struct stat status {};
    return ::lstat(config.getRootPathToProjectConfigFile(), &status) != 0 && errno == ENOENT;
}

std::optional<int> integerIn(std::string_view text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole ? std::optional(number) : std::nullopt;
}

} // namespace

std::optional<std::vector<GlobalSetting>> readGlobalSettings() {
    KavroPISSConfig config(IfMissing::LeaveMissing);
    if (config.IsValid() == 0 && !isMissing(config)) {
        return std::nullopt;
    }
    std::vector<GlobalSetting> stored = storedSettings(config);
    std::vector<GlobalSetting> all;
    for (const SettingKey& setting : kSettings) {
        const auto found =
            std::find_if(stored.begin(), stored.end(), [&setting](const GlobalSetting& each) {
                return each.key == setting.name;
            });
        all.push_back({setting.name, found != stored.end() ? found->value : defaultOf(setting)});
    }
    for (GlobalSetting& setting : stored) {
        if (knownSetting(setting.key) == nullptr) {
            all.push_back(std::move(setting));
        }
    }
    return all;
}

SetOutcome setGlobalSetting(std::string_view key, std::string_view value, std::string* wanted) {
    const SettingKey* setting = knownSetting(key);
    if (setting == nullptr) {
        return SetOutcome::UnknownKey;
    }
    const std::string text(value);
    const std::optional<int> number = integerIn(value);
    if (setting->type == SettingType::Integer && !number) {
        *wanted = "a whole number of 32 bits";
        return SetOutcome::WrongValue;
    }
    if (setting->name == std::string_view(kCacheSize.name) && *number < kUnlimitedCacheSize) {
        *wanted = "a size in megabytes, nor -1 for no limit";
        return SetOutcome::WrongValue;
    }
    if (setting->type == SettingType::ProductPath && (text.empty() || text.front() != '/')) {
        *wanted = "an absolute path";
        return SetOutcome::WrongValue;
    }
    if (setting->type != SettingType::Integer &&
        (text.empty() || text.find_first_of(kBlanks) == 0 ||
         !fitsKvpLine(kGlobalScope, setting->name, text.c_str()))) {
        *wanted = "a text of one line that begins with no blank";
        return SetOutcome::WrongValue;
    }
    KavroPISSConfig::initializePISSConfig(); // makes the file if it is missing
    KavroPISSConfig config(IfMissing::LeaveMissing);
    if (config.IsValid() == 0) {
        return SetOutcome::NotWritten;
    }
    const bool isSet = setting->type == SettingType::Integer
                           ? config.ChangeItem(kGlobalScope, setting->name, *number) ||
                                 config.Add(kGlobalScope, setting->name, *number)
                           : config.ChangeItem(kGlobalScope, setting->name, text.c_str()) ||
                                 config.Add(kGlobalScope, setting->name, text.c_str());
    return isSet && config.Commit() ? SetOutcome::Set : SetOutcome::NotWritten;
}

std::optional<std::uint64_t> cacheLimit() {
    KavroPISSConfig config(IfMissing::LeaveMissing);
    if (config.IsValid() == 0 && !isMissing(config)) {
        return std::nullopt;
    }
    int megabytes = 0;
    if (!config.GetItem(&megabytes, kGlobalScope, kCacheSize.name)) {
        megabytes = kCacheSize.number;
    }
    return megabytes >= 0 ? std::optional(static_cast<std::uint64_t>(megabytes) << 20U)
                          : std::nullopt;
}

} // namespace corvid

#pragma once

// The global settings as a table; see store/settings_keys.h for those that the product knows.

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace corvid {

struct GlobalSetting {
    std::string key;
    std::variant<int, std::string> value;
};

// Every key that the product knows, with its default where the file lacks it, then what else the
// file holds in its global scope, in file order. Makes no file. None when there is a file that
// cannot be read.
std::optional<std::vector<GlobalSetting>> readGlobalSettings();

enum class SetOutcome { Set, UnknownKey, WrongValue, NotWritten };
// Sets a key that the product knows and makes the file if it is missing. What a wrong value should
// have been is told in *wanted.
SetOutcome setGlobalSetting(std::string_view key, std::string_view value, std::string* wanted);

// The greatest size of all caches together, in bytes; none without a limit. A wrong setting is
// none, as it is for the plug-ins, and so are settings that cannot be read: see
// readGlobalSettings().
std::optional<std::uint64_t> cacheLimit();

} // namespace corvid

#pragma once

// Paths as texts; nothing is looked up on the disk.

#include <string>
#include <string_view>

namespace corvid {

constexpr bool endsWithSeparator(std::string_view path) {
    return !path.empty() && path.back() == '/';
}

// A directory's path to which a name can be appended; of an empty one, "/".
inline std::string withSeparator(std::string directory) {
    if (!endsWithSeparator(directory)) {
        directory.append(1, '/');
    }
    return directory;
}

// Without the "/" at its end, however many; the first character always stays.
constexpr std::string_view withoutSeparators(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') {
        path.remove_suffix(1);
    }
    return path;
}

// "b" of "a/b" and of "a/b//", "/" of "/".
constexpr std::string_view lastComponent(std::string_view path) {
    const std::string_view whole = withoutSeparators(path);
    return whole == "/" ? whole : whole.substr(whole.rfind('/') + 1); // 0 without a separator
}

} // namespace corvid

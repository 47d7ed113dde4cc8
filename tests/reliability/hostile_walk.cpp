#include "tests/reliability/hostile_walk.h"

#include "files/unique_fd.h"

#include <algorithm>
#include <functional>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace corvid::test {
namespace {

UniqueFd openPlain(int parent, const std::string& name) {
    return UniqueFd(
        ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

std::vector<PlainEntry> entriesOf(int directory) {
    std::vector<PlainEntry> entries;
    DIR* stream = ::fdopendir(::fcntl(directory, F_DUPFD_CLOEXEC, 0));
    while (const dirent* entry = ::readdir(stream)) { // NOLINT(concurrency-mt-unsafe)
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            entries.push_back({name, entry->d_type == DT_DIR});
        }
    }
    ::closedir(stream);
    return entries;
}

struct stat statusAt(int directory, const std::string& name) {
    struct stat status {};
    if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        status = {};
    }
    return status;
}

// Calls `visit` for each directory at and below a path, with it open, its entries and a number that
// stands for its place; a directory that cannot be opened is passed to `closed` instead. Without
// recursion or long paths, so that depth does not matter. Either may end the walk by answering
// false.
class PlainWalk {
public:
    using Visit =
        std::function<bool(int directory, std::vector<PlainEntry>& entries, std::uint64_t place)>;
    using Closed = std::function<bool(std::uint64_t place)>;

    static std::uint64_t placeOf(std::uint64_t parent, const std::string& name) {
        return mixed(parent * 31 + std::hash<std::string>{}(name));
    }
    static std::uint64_t mixed(std::uint64_t number) {
        number = (number ^ (number >> 30U)) * 0xbf58476d1ce4e5b9U;
        return number ^ (number >> 29U);
    }

    static bool run(const std::string& path, const Visit& visit, const Closed& closed) {
        return run(openPlain(AT_FDCWD, path), visit, closed);
    }
    static bool run(UniqueFd start, const Visit& visit, const Closed& closed) {
        std::vector<std::pair<UniqueFd, std::uint64_t>> waiting;
        waiting.emplace_back(std::move(start), 0);
        while (!waiting.empty()) {
            const auto [directory, place] = std::move(waiting.back());
            waiting.pop_back();
            if (!directory.isOpen()) {
                if (!closed(place)) {
                    return false;
                }
                continue;
            }
            std::vector<PlainEntry> entries = entriesOf(directory.get());
            if (!visit(directory.get(), entries, place)) {
                return false;
            }
            for (const PlainEntry& entry : entries) {
                if (entry.isDirectory) {
                    waiting.emplace_back(openPlain(directory.get(), entry.name),
                                         placeOf(place, entry.name));
                }
            }
        }
        return true;
    }
};

// Permissions do not count for root; everything here is owned by this process.
bool mayWriteIn(int directory) {
    struct stat status {};
    constexpr mode_t kNeeded = S_IWUSR | S_IXUSR;
    return ::geteuid() == 0 ||
           (::fstat(directory, &status) == 0 && (status.st_mode & kNeeded) == kNeeded);
}

bool isProtected(const struct stat& status) {
    return S_ISREG(status.st_mode) && (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

bool holdsProtectedFile(int directory, const std::vector<PlainEntry>& entries) {
    return std::any_of(entries.begin(), entries.end(), [directory](const PlainEntry& entry) {
        return !entry.isDirectory && isProtected(statusAt(directory, entry.name));
    });
}

// A directory on the way to others, which need not be readable; not to be listed.
UniqueFd openWayTo(const std::string& root, const std::vector<std::string>& names) {
    constexpr int kWay = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    UniqueFd directory(::open(root.c_str(), kWay));
    for (const std::string& name : names) {
        directory.reset(directory.isOpen() ? ::openat(directory.get(), name.c_str(), kWay) : -1);
    }
    return directory;
}

bool isReadableFile(int directory, const std::string& name) {
    const struct stat status = statusAt(directory, name);
    if (!S_ISREG(status.st_mode)) {
        return status.st_mode != 0;
    }
    return UniqueFd(::openat(directory, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)).isOpen();
}

std::uint64_t textNumber(int directory, const std::string& name) {
    char text[4096];
    const ssize_t length = ::readlinkat(directory, name.c_str(), text, sizeof(text));
    return std::hash<std::string>{}(
        std::string(text, static_cast<std::size_t>(std::max<ssize_t>(length, 0))));
}

std::uint64_t bytesNumber(int directory, const std::string& name) {
    const UniqueFd file(::openat(directory, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    std::uint64_t number = 1;
    char bytes[65536];
    for (;;) {
        const ssize_t length = ::read(file.get(), bytes, sizeof(bytes));
        if (length <= 0) {
            return number;
        }
        number = PlainWalk::placeOf(number, {bytes, static_cast<std::size_t>(length)});
    }
}

std::uint64_t numberOf(int directory, const PlainEntry& entry, std::uint64_t place) {
    const struct stat status = statusAt(directory, entry.name);
    std::uint64_t contents = 0;
    if (S_ISREG(status.st_mode)) {
        contents = static_cast<std::uint64_t>(status.st_size) + bytesNumber(directory, entry.name);
    } else if (S_ISLNK(status.st_mode)) {
        contents = textNumber(directory, entry.name);
    }
    const auto kind = static_cast<std::uint64_t>(status.st_mode & S_IFMT);
    return PlainWalk::mixed(PlainWalk::placeOf(place, entry.name) + kind) ^
           PlainWalk::mixed(contents);
}

} // namespace

std::vector<std::string> PlainListing::directories() const {
    std::vector<std::string> names;
    for (const PlainEntry& entry : entries) {
        if (entry.isDirectory) {
            names.push_back(entry.name);
        }
    }
    return names;
}

std::vector<std::string> PlainListing::files() const {
    std::vector<std::string> names;
    for (const PlainEntry& entry : entries) {
        if (!entry.isDirectory) {
            names.push_back(entry.name);
        }
    }
    return names;
}

PlainListing plainListing(const std::string& path) {
    const UniqueFd directory = openPlain(AT_FDCWD, path);
    return directory.isOpen() ? PlainListing{true, entriesOf(directory.get())} : PlainListing{};
}

PlainMeasure plainMeasure(const std::string& path) {
    PlainMeasure measure;
    const auto visit = [&measure](int directory, const std::vector<PlainEntry>& entries,
                                  std::uint64_t place) {
        for (const PlainEntry& entry : entries) {
            struct stat status {};
            measure.files += entry.isDirectory ? 0 : 1;
            if (!entry.isDirectory && ::fstatat(directory, entry.name.c_str(), &status, 0) == 0) {
                measure.bytes += static_cast<std::uint64_t>(status.st_size);
                measure.newest =
                    place == 0 ? std::max<long>(measure.newest, status.st_mtime) : measure.newest;
            }
        }
        return true;
    };
    PlainWalk::run(path, visit, [](std::uint64_t) { return true; });
    return measure;
}

bool canBeRemoved(const std::string& root, const std::vector<std::string>& names) {
    const UniqueFd parent = openWayTo(root, {names.begin(), names.end() - 1});
    const std::string& name = names.back();
    if (!parent.isOpen() || !mayWriteIn(parent.get())) {
        return false;
    }
    const struct stat status = statusAt(parent.get(), name);
    return S_ISLNK(status.st_mode) ||
           (S_ISDIR(status.st_mode) &&
            PlainWalk::run(
                openPlain(parent.get(), name),
                [](int directory, std::vector<PlainEntry>& entries, std::uint64_t) {
                    return (entries.empty() || mayWriteIn(directory)) &&
                           !holdsProtectedFile(directory, entries);
                },
                [](std::uint64_t) { return false; }));
}

bool canFilesBeRemoved(const std::string& root, const std::vector<std::string>& names) {
    const UniqueFd parent = openWayTo(root, {names.begin(), names.end() - 1});
    const UniqueFd directory = parent.isOpen() ? openPlain(parent.get(), names.back()) : UniqueFd();
    if (!directory.isOpen()) {
        return false;
    }
    std::vector<PlainEntry> files = entriesOf(directory.get());
    files.erase(std::remove_if(files.begin(), files.end(),
                               [](const PlainEntry& entry) { return entry.isDirectory; }),
                files.end());
    return files.empty() ||
           (mayWriteIn(directory.get()) && !holdsProtectedFile(directory.get(), files));
}

bool canBeCopied(const std::string& path) {
    bool isEmpty = true;
    const auto visit = [&isEmpty](int directory, std::vector<PlainEntry>& entries,
                                  std::uint64_t place) {
        if (place == 0) {
            entries.erase(
                std::remove_if(entries.begin(), entries.end(),
                               [](const PlainEntry& entry) { return entry.name[0] == '.'; }),
                entries.end());
            isEmpty = entries.empty();
        }
        return std::all_of(entries.begin(), entries.end(), [directory](const PlainEntry& entry) {
            return isReadableFile(directory, entry.name);
        });
    };
    return PlainWalk::run(path, visit, [](std::uint64_t) { return false; }) && !isEmpty;
}

std::set<std::uint64_t> contentsOf(const std::string& path, HiddenEntries hidden) {
    std::set<std::uint64_t> numbers;
    const auto visit = [&numbers, hidden](int directory, std::vector<PlainEntry>& entries,
                                          std::uint64_t place) {
        if (place == 0 && hidden == HiddenEntries::LeftOut) {
            entries.erase(
                std::remove_if(entries.begin(), entries.end(),
                               [](const PlainEntry& entry) { return entry.name[0] == '.'; }),
                entries.end());
        }
        for (const PlainEntry& entry : entries) {
            numbers.insert(numberOf(directory, entry, place));
        }
        return true;
    };
    PlainWalk::run(path, visit, [](std::uint64_t) { return true; });
    return numbers;
}

} // namespace corvid::test

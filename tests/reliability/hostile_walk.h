#pragma once

// What a cache holds, by plain calls of the system and without a line of the code under test: the
// other opinion that tests compare with. Nothing may change the directories meanwhile.

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace corvid::test {

struct PlainEntry {
    std::string name;
    bool isDirectory; // a link is none
};

// A directory's entries in the system's order; none when it cannot be read or is a link.
struct PlainListing {
    bool isReadable = false;
    std::vector<PlainEntry> entries;

    std::vector<std::string> directories() const;
    std::vector<std::string> files() const;
};
PlainListing plainListing(const std::string& path);

// Every file below a directory, however deep: links count as files, with the size of what they lead
// to. A directory that cannot be read holds nothing.
struct PlainMeasure {
    std::uint64_t bytes = 0;
    std::uint64_t files = 0;
    long newest = 0; // of the files directly inside
};
PlainMeasure plainMeasure(const std::string& path);

// Whether this process can remove what stands at the end of a chain of names below a root: every
// directory on the way is one and can be read, the last name is a link or a directory that can be
// emptied, which takes that each directory in it can be read and written and that no file is
// protected against everybody's writing.
bool canBeRemoved(const std::string& root, const std::vector<std::string>& names);
// The same for all files, and only them, directly in the directory at the end of the chain.
bool canFilesBeRemoved(const std::string& root, const std::vector<std::string>& names);
// Whether this process can read everything in a directory but its hidden entries, and there is
// something to read.
bool canBeCopied(const std::string& path);

// A number for each entry below a directory, which stands for its place, kind, size and contents.
// LeftOut: without the hidden entries directly inside.
enum class HiddenEntries { Counted, LeftOut };
std::set<std::uint64_t> contentsOf(const std::string& path,
                                   HiddenEntries hidden = HiddenEntries::Counted);

} // namespace corvid::test

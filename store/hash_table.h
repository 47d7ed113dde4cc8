#pragma once

// The tables that map the hashed directory names of a cache back to the keys they were made from:
// "ProjectHash.txt" and "CompositionHash.txt" in the cache root, a line per entry:
//
//   hash BLANK key LF
//
// The key runs to the end of the line. An empty line ends the reading.

#include "files/owned_text.h"
#include "files/text_file.h"

#include <deque>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace corvid {

// Longest hash that an entry keeps; a longer one is cut.
constexpr std::size_t kTableHashLength = 35;

// The entries of one table, in order, found by hash and by key in constant time. Of several entries
// with the same hash, or the same key, the first is found.
class HashTable {
public:
    HashTable() = default;
    HashTable(const HashTable& other);
    HashTable& operator=(const HashTable&) = delete;

    // Appends an entry; false when this very pair is there already.
    bool add(std::string_view hash, std::string_view key);
    bool contains(std::string_view hash, std::string_view key) const;
    // Null when there is none. The text is the table's.
    const char* keyOf(std::string_view hash) const;
    const char* hashOf(std::string_view key) const;
    std::size_t size() const { return m_entries.size(); }
    // How many entries have something else than a hash for a hash: a damaged file's.
    std::size_t oddHashes() const;

    // The file's text. An entry whose line would do harm to others (a line feed in it, too long, no
    // word at all) is left out with one warning: it lives in memory only. Blanks in front of a key
    // are written and lost in reading, so that its directory is then found under the rest of it.
    std::string text() const;

    // Reads a file's lines into an empty table.
    ReadResult readFile(const char* path);
    // The hashes of lines without a key, which readers complain about.
    const std::vector<std::string>& hashesWithoutKey() const { return m_hashesWithoutKey; }

private:
    // Both texts end with a zero byte, which their lengths do not count.
    struct Entry {
        std::string_view hash;
        std::string_view key;
    };
    struct EntryHash {
        std::size_t operator()(const Entry& entry) const;
    };
    struct SameEntry {
        bool operator()(const Entry& left, const Entry& right) const {
            return left.hash == right.hash && left.key == right.key;
        }
    };
    std::string_view keep(std::string_view text);
    void index(const Entry& entry);

    // Entries are only ever added and go together, so one heap of memory serves them all.
    std::pmr::monotonic_buffer_resource m_memory;
    std::pmr::deque<Entry> m_entries{&m_memory}; // a deque: the indices point to its entries
    std::pmr::unordered_map<std::string_view, const Entry*> m_byHash{&m_memory};
    std::pmr::unordered_map<std::string_view, const Entry*> m_byKey{&m_memory};
    // The entries that are not the first with their hash; hardly any table has one.
    std::pmr::unordered_set<Entry, EntryHash, SameEntry> m_laterPairs{&m_memory};
    std::vector<std::string> m_hashesWithoutKey;
};

// The table of a file, parsed once per version of the file and shared; null when it cannot be
// opened. A version is known by device, inode, size and times; a file changed so recently that its
// time stamp could hide another change is read again. Safe on any thread.
// What became of the reading is stored in *result, if given.
std::shared_ptr<const HashTable> sharedHashTable(const char* path, ReadResult* result = nullptr);

// One model's table: shared with the other models until this one adds to it. `level` is "Project"
// or "Composition" and names the operation in messages.
class KeyTable {
public:
    explicit KeyTable(const char* level) : m_level(level) {}

    // Fills the table from the file; 0 leaving it empty, without a message, when that cannot be
    // opened (with the message of add() when there is no memory for it), else 1. A line without a
    // key gives the message of add().
    int read(const char* path);
    // Adds a pair and, with `write`, rewrites the file (null: none, which fails). 1, also for a
    // pair that is there already; 0 with one error line for a null key, for lack of memory or for a
    // failed write.
    int add(const char* path, const char* hash, const char* key, bool write);
    // Rewrites the file; 0 with one error line on failure.
    int write(const char* path) const;
    void clear() { m_table = nullptr, m_own = nullptr; }

    bool contains(const char* hash, const char* key) const;
    // New copies that the caller owns; null when there is none.
    OwnedText keyOf(const char* hash) const;
    OwnedText hashOf(const char* key) const;

private:
    HashTable& own();
    void logOutOfMemory() const;

    const char* m_level;
    ReadResult m_read = ReadResult::Missing;
    std::shared_ptr<const HashTable> m_table;
    std::shared_ptr<HashTable> m_own; // the same table once it is this model's own
};

// Whether a hash can name a directory of the cache. Whoever may write to a cache root writes its
// tables: what they name must not lead out of the directory it is looked for in.
bool isDirectoryName(const char* hash);

// The messages that a model's reading of the table gives, for a reader that shares the table
// instead.
void logHashesWithoutKey(const char* level, const HashTable& table);

} // namespace corvid

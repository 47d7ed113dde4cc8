#include "store/hash_table.h"

#include "files/text_file.h"
#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"
#include "store/PISSFileUtilities.h"
#include "store/PISSMD5.h"
#include "store/kvp_line.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <new>

#include <sys/stat.h>

namespace corvid {

namespace {

// Two seconds is the coarsest time stamp of any file system in use.
constexpr std::time_t kCoarsestStamp = 2;
// Tables kept for roots in use; more than that are simply read again.
constexpr std::size_t kKeptTables = 64;

struct FileVersion {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;
    timespec modified{};
    timespec changed{};

    bool operator==(const FileVersion& other) const {
        return device == other.device && inode == other.inode && size == other.size &&
               modified.tv_sec == other.modified.tv_sec &&
               modified.tv_nsec == other.modified.tv_nsec &&
               changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
    }
};

bool versionOf(const char* path, FileVersion& version) {
    struct stat status {};
    if (::stat(path, &status) != 0) {
        return false;
    }
#ifdef __APPLE__
    version = {status.st_dev, status.st_ino, status.st_size, status.st_mtimespec,
               status.st_ctimespec};
#else
    version = {status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
#endif
    return true;
}

struct KeptTable {
    FileVersion version;
    bool settled = false; // read long enough after the last change to notice the next one
    std::shared_ptr<const HashTable> table;
};

class TableKeeper {
public:
    std::shared_ptr<const HashTable> get(const char* path, ReadResult& result) {
        FileVersion version;
        if (!versionOf(path, version)) {
            result = unopenedFile();
            return nullptr;
        }
        result = ReadResult::Whole;
        const std::lock_guard<std::mutex> lock(m_mutex);
        KeptTable& kept = keptFor(path);
        if (kept.table != nullptr && kept.settled && kept.version == version) {
            return kept.table;
        }
        auto table = std::make_shared<HashTable>();
        result = table->readFile(path);
        if (result != ReadResult::Whole) {
            kept = {};
            return nullptr;
        }
        const bool settled = std::time(nullptr) - version.changed.tv_sec > kCoarsestStamp;
        kept = {version, settled, std::move(table)};
        return kept.table;
    }

private:
    KeptTable& keptFor(const char* path) {
        if (m_tables.size() >= kKeptTables && m_tables.find(path) == m_tables.end()) {
            m_tables.clear();
        }
        return m_tables[path];
    }

    std::mutex m_mutex;
    std::map<std::string, KeptTable, std::less<>> m_tables;
};

std::string_view cutHash(std::string_view hash) {
    return hash.substr(0, kTableHashLength);
}

// Whether a reader that meets the line still reads the others: an empty line ends its reading.
bool isHarmlessTableLine(std::string_view line) {
    return line.size() <= kLinePiece && line.find('\n') == std::string_view::npos &&
           line.find_first_not_of(kBlanks) != std::string_view::npos;
}

} // namespace

HashTable::HashTable(const HashTable& other) : m_hashesWithoutKey(other.m_hashesWithoutKey) {
    for (const Entry& entry : other.m_entries) {
        add(entry.hash, entry.key);
    }
}

std::size_t HashTable::oddHashes() const {
    return static_cast<std::size_t>(
        std::count_if(m_entries.begin(), m_entries.end(), [](const Entry& entry) {
            return entry.hash.find_first_not_of("0123456789abcdef") != std::string_view::npos ||
                   entry.hash.size() != kPrintableHashLength;
        }));
}

std::size_t HashTable::EntryHash::operator()(const Entry& entry) const {
    constexpr std::size_t kFactor = 31; // so that a pair and its exchange differ
    const std::hash<std::string_view> hashOfText;
    return hashOfText(entry.hash) * kFactor + hashOfText(entry.key);
}

std::string_view HashTable::keep(std::string_view text) {
    auto* copy = static_cast<char*>(m_memory.allocate(text.size() + 1, 1));
    *std::copy(text.begin(), text.end(), copy) = '\0';
    return {copy, text.size()};
}

bool HashTable::add(std::string_view hash, std::string_view key) {
    if (contains(hash, key)) {
        return false;
    }
    const Entry& entry = m_entries.emplace_back(Entry{keep(cutHash(hash)), keep(key)});
    try {
        index(entry);
    } catch (const std::bad_alloc&) { // an entry that nobody finds must not reach the file
        m_entries.pop_back();
        throw;
    }
    return true;
}

void HashTable::index(const Entry& entry) {
    const auto [first, isFirst] = m_byHash.emplace(entry.hash, &entry);
    try {
        if (!isFirst) {
            m_laterPairs.insert(entry);
        }
        m_byKey.emplace(entry.key, &entry);
    } catch (const std::bad_alloc&) {
        if (isFirst) {
            m_byHash.erase(first);
        } else {
            m_laterPairs.erase(entry);
        }
        throw;
    }
}

bool HashTable::contains(std::string_view hash, std::string_view key) const {
    const Entry pair{cutHash(hash), key};
    const auto first = m_byHash.find(pair.hash);
    return first != m_byHash.end() && (first->second->key == key || m_laterPairs.count(pair) > 0);
}

const char* HashTable::keyOf(std::string_view hash) const {
    const auto found = m_byHash.find(hash);
    return found != m_byHash.end() ? found->second->key.data() : nullptr;
}

const char* HashTable::hashOf(std::string_view key) const {
    const auto found = m_byKey.find(key);
    return found != m_byKey.end() ? found->second->hash.data() : nullptr;
}

std::string HashTable::text() const {
    std::string text;
    for (const Entry& entry : m_entries) {
        const std::size_t begin = text.size();
        text.append(entry.hash).append(1, ' ').append(entry.key);
        if (!isHarmlessTableLine(std::string_view(text).substr(begin))) {
            text.resize(begin);
            warnOfLeftOutLine(entry.key.data());
        } else if (text.size() - begin < kLinePiece) {
            text.append(1, '\n'); // a whole piece goes without its line feed, as it came
        }
    }
    return text;
}

ReadResult HashTable::readFile(const char* path) {
    return readLines(path, [this](char* line) {
        stripLineFeed(line);
        char* rest = nullptr;
        const char* hash = KavroPISSstrtok_r(line, kBlanks, &rest);
        if (hash == nullptr) {
            return AfterPiece::Stop;
        }
        if (const char* key = KavroPISSClipPrefixedWhiteSpace(rest, kBlanks)) {
            add(hash, key);
        } else {
            m_hashesWithoutKey.emplace_back(hash);
        }
        return AfterPiece::GoOn;
    });
}

std::shared_ptr<const HashTable> sharedHashTable(const char* path, ReadResult* result) {
    static TableKeeper keeper;
    ReadResult ignored = ReadResult::Whole;
    return keeper.get(path, result != nullptr ? *result : ignored);
}

bool isDirectoryName(const char* hash) {
    return *hash != '\0' && std::strchr(hash, '/') == nullptr && std::strcmp(hash, ".") != 0 &&
           std::strcmp(hash, "..") != 0;
}

void logHashesWithoutKey(const char* level, const HashTable& table) {
    for (const std::string& hash : table.hashesWithoutKey()) {
        maro_logError("Add%sHashTable failed. name value was NULL for hash:[%s]", level,
                      hash.c_str());
    }
}

int KeyTable::read(const char* path) {
    clear();
    m_read = ReadResult::Missing;
    try {
        m_table = path != nullptr ? sharedHashTable(path, &m_read) : nullptr;
    } catch (const std::bad_alloc&) {
        logOutOfMemory();
        m_read = ReadResult::Unreadable;
    }
    if (m_table == nullptr) {
        return 0;
    }
    logHashesWithoutKey(m_level, *m_table);
    return 1;
}

HashTable& KeyTable::own() {
    if (m_own == nullptr) {
        m_own = m_table != nullptr ? std::make_shared<HashTable>(*m_table)
                                   : std::make_shared<HashTable>();
        m_table = m_own;
    }
    return *m_own;
}

int KeyTable::add(const char* path, const char* hash, const char* key, bool write) {
    const char* hashText = hash != nullptr ? hash : "";
    if (key == nullptr) {
        maro_logError("Add%sHashTable failed. name value was NULL for hash:[%s]", m_level,
                      hashText);
        return 0;
    }
    try {
        if (contains(hashText, key)) {
            return 1;
        }
        own().add(hashText, key);
    } catch (const std::bad_alloc&) {
        logOutOfMemory();
        return 0;
    }
    return write ? this->write(path) : 1;
}

void KeyTable::logOutOfMemory() const {
    maro_logError("Add%sHashTable: malloc failed\n", m_level);
}

int KeyTable::write(const char* path) const {
    const bool isWritten = unlessOutOfMemory("WriteHashTable", false, [&] {
        // A table that is there but could not be read must not be replaced by what little is known
        // of it.
        return path != nullptr && m_read != ReadResult::Unreadable &&
               replaceTextFile(path, m_table != nullptr ? m_table->text() : std::string(),
                               LinkRule::Refuse) == ReplaceOutcome::Replaced;
    });
    if (!isWritten) {
        maro_logError("Write%sHashTable: Could not open '%s' for writing\n", m_level,
                      path != nullptr ? path : "uninitialized");
        return 0;
    }
    return 1;
}

bool KeyTable::contains(const char* hash, const char* key) const {
    return m_table != nullptr && hash != nullptr && key != nullptr && m_table->contains(hash, key);
}

OwnedText KeyTable::keyOf(const char* hash) const {
    const char* key = m_table != nullptr && hash != nullptr ? m_table->keyOf(hash) : nullptr;
    return OwnedText(key != nullptr ? ::strdup(key) : nullptr);
}

OwnedText KeyTable::hashOf(const char* key) const {
    const char* hash = m_table != nullptr && key != nullptr ? m_table->hashOf(key) : nullptr;
    return OwnedText(hash != nullptr ? ::strdup(hash) : nullptr);
}

} // namespace corvid

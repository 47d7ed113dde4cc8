#pragma once

// The typed settings of one file, in file order, under one lock: what the global settings, those of
// a project and the registry have in common, each with entries of its own. The scope is whatever
// word the store keys its lines with.

#include "files/owned_list.h"
#include "files/text_file.h"
#include "runtime/maro_thread.h"
#include "store/kvp_line.h"

#include <cstdint>
#include <functional>
#include <string>

// One typed setting. The texts are made with strdup and released by the destructor.
struct tConfigKVPEntry {
    tConfigKVPEntry() = default;
    ~tConfigKVPEntry();
    tConfigKVPEntry(const tConfigKVPEntry&) = delete;
    tConfigKVPEntry& operator=(const tConfigKVPEntry&) = delete;

    char* scope = nullptr;
    char* key = nullptr;
    char* stringValue = nullptr; // null in an integer entry
    tConfigKVPEntry* next = nullptr;
    int type = 1; // 0 string, 1 integer
    int intValue = 0;
};

// One fact about one project, in the registry. The texts are as above.
struct sFrameCacheRegistryEntry {
    sFrameCacheRegistryEntry() = default;
    ~sFrameCacheRegistryEntry();
    sFrameCacheRegistryEntry(const sFrameCacheRegistryEntry&) = delete;
    sFrameCacheRegistryEntry& operator=(const sFrameCacheRegistryEntry&) = delete;

    char* projectName = nullptr; // the printable hash of the project key
    int type = 0;                // 0, text: the only type the registry keeps
    char* key = nullptr;
    char* value = nullptr;
    sFrameCacheRegistryEntry* next = nullptr;
};

namespace corvid {

constexpr int kKvpString = 0;
constexpr int kKvpInteger = 1;

template <class Entry>
void destroyKvpEntry(Entry* entry) {
    delete entry;
}

enum class AddOutcome { Added, NoText, OutOfMemory };
// Whether the reading goes on behind a line.
enum class AfterLine { GoOn, Stop };

// What the stores differ in when they are written.
struct CommitRules {
    const char* header;      // the file's text before the first line
    const char* commit;      // the operation, as the messages about opening and writing name it
    const char* invalidType; // the same for the message about an unknown type
    LineRule isHarmless;     // see kvp_line.h
    LinkRule link;           // Refuse for folders that others may write to
};

// Every operation but those for the time of reading takes the lock. Entry is one of the two above.
template <class Entry>
class KvpFile {
public:
    // The file's path, empty for none.
    const std::string& path() const { return m_path; }
    void setPath(std::string path) { m_path = std::move(path); }

    // Reads the file's lines; an empty one ends the reading. `isHeader`, if any, is asked about the
    // first piece of the file, which is no line then, and ends the reading with false.
    using TakeLine = std::function<AfterLine(const KvpFields& line)>;
    ReadResult read(const TakeLine& take,
                    const std::function<bool(char* text)>& isHeader = nullptr);
    // What became of the reading. A file that was not read whole is not rewritten.
    ReadResult readResult() const { return m_read; }
    // For an object that cannot even tell its path.
    void markUnreadable() { m_read = ReadResult::Unreadable; }
    // Rewrites the file; a line that would do harm to others is left out with one warning. False
    // with one warning when the file cannot be opened or written (it keeps its old text), or an
    // entry's type is unknown (it then holds the lines before it); without one for no path.
    [[nodiscard]] bool commit(const CommitRules& rules);

    // Appends an entry; an existing one with the same scope and key is not looked for. A null value
    // is kept as one. NoText: the scope or the key is null.
    [[nodiscard]] AddOutcome add(const char* scope, const char* key, const char* value);
    // The same without the lock, for the time of reading: nobody else knows the object yet.
    [[nodiscard]] AddOutcome addUnlocked(const char* scope, const char* key,
                                         const char* value) CORVID_NO_THREAD_ANALYSIS;
    // The first entry with that scope and key. The text is a copy that the caller frees; an integer
    // entry has none and counts as missing. On a miss the result is null and false is returned.
    bool getItem(char** value, const char* scope, const char* key) const;
    // Replaces the value of the first such entry, never its type; false when there is none or no
    // memory.
    bool changeItem(const char* scope, const char* key, const char* value);
    // Removes every entry with that scope; how many there were.
    std::size_t removeScope(const char* scope);

    // Iteration: see OwnedList.
    bool prepare();
    Entry* next();
    std::uint32_t count() const;
    void clear();

protected:
    Entry* find(const char* scope, const char* key) const CORVID_REQUIRES(m_mutex);
    // Appends an entry with these texts when `fill(entry)`, which gives it its value, had memory.
    template <class Fill>
    AddOutcome append(const char* scope, const char* key, Fill fill) CORVID_REQUIRES(m_mutex);
    // What addUnlocked gives; remembers when it left something out.
    AddOutcome whileReading(AddOutcome outcome);

    mutable Maro_Mutex m_mutex;

private:
    enum class FormatOutcome { Complete, InvalidType };
    FormatOutcome formatLines(std::string& out, const CommitRules& rules) const
        CORVID_REQUIRES(m_mutex);
    ReplaceOutcome replace(const CommitRules& rules, FormatOutcome& format)
        CORVID_REQUIRES(m_mutex);
    AddOutcome appendText(const char* scope, const char* key, const char* value)
        CORVID_REQUIRES(m_mutex);

    std::string m_path;
    ReadResult m_read = ReadResult::Missing;
    bool m_isCut = false; // there was no memory for all of the file
    OwnedList<Entry, destroyKvpEntry<Entry>> m_entries CORVID_GUARDED_BY(m_mutex);
};

extern template class KvpFile<tConfigKVPEntry>;
extern template class KvpFile<sFrameCacheRegistryEntry>;

// The same with numbers beside the texts.
class TypedKvpFile : public KvpFile<tConfigKVPEntry> {
public:
    using KvpFile::add;
    using KvpFile::addUnlocked;
    using KvpFile::changeItem;
    using KvpFile::getItem;

    [[nodiscard]] AddOutcome add(const char* scope, const char* key, int value);
    [[nodiscard]] AddOutcome addUnlocked(const char* scope, const char* key,
                                         int value) CORVID_NO_THREAD_ANALYSIS;
    // 0 and false on a miss; the number 0 of a text entry.
    bool getItem(int* value, const char* scope, const char* key) const;
    bool changeItem(const char* scope, const char* key, int value);

private:
    AddOutcome appendNumber(const char* scope, const char* key, int value) CORVID_REQUIRES(m_mutex);
};

} // namespace corvid

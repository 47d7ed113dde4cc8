#pragma once

// The typed settings of one file in memory, in file order, under one lock: what the global and the
// per-project store have in common. The scope is whatever word the store keys its lines with.

#include "runtime/maro_thread.h"
#include "store/owned_list.h"

#include <cstdint>
#include <string>

// One typed setting. The texts are made with strdup and released by the destructor.
struct tConfigKVPEntry {
    ~tConfigKVPEntry();

    char* scope = nullptr;
    char* key = nullptr;
    char* stringValue = nullptr; // null in an integer entry
    tConfigKVPEntry* next = nullptr;
    int type = 1; // 0 string, 1 integer
    int intValue = 0;
};

namespace corvid {

constexpr int kKvpString = 0;
constexpr int kKvpInteger = 1;

// Holds a lock of the runtime for a block.
class MutexLock {
public:
    explicit MutexLock(Maro_Mutex& mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~MutexLock() { m_mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Maro_Mutex& m_mutex;
};

void destroyKvpEntry(tConfigKVPEntry* entry);

enum class AddResult { Added, Refused, OutOfMemory };
enum class FormatResult { Complete, InvalidType };

// Every operation but the two marked Unlocked takes the lock.
class KvpStore {
public:
    // Appends an entry; an existing one with the same scope and key is not looked for. Refused: the
    // line would not be read back as it is (see fitsKvpLine).
    AddResult add(const char* scope, const char* key, const char* value);
    AddResult add(const char* scope, const char* key, int value);
    AddResult addUnlocked(const char* scope, const char* key, const char* value);
    AddResult addUnlocked(const char* scope, const char* key, int value);
    // The first entry with that scope and key. The text is a copy that the caller frees; an integer
    // entry has none and counts as missing. On a miss the result is null or 0 and false is
    // returned.
    bool getItem(char** value, const char* scope, const char* key);
    bool getItem(int* value, const char* scope, const char* key);
    // Replaces the value of the first such entry, never its type; false when there is none or the
    // line would not be read back.
    bool changeItem(const char* scope, const char* key, const char* value);
    bool changeItem(const char* scope, const char* key, int value);

    // Iteration: see OwnedList.
    bool prepare();
    tConfigKVPEntry* next();
    std::uint32_t countUnlocked() const { return static_cast<std::uint32_t>(m_entries.count()); }
    // Appends a line per entry; stops at an entry whose type is unknown.
    FormatResult formatLinesUnlocked(std::string& out) const;
    void clear();

    Maro_Mutex& mutex() { return m_mutex; }

private:
    tConfigKVPEntry* find(const char* scope, const char* key) const;
    AddResult append(const char* scope, const char* key, const char* value, int type, int intValue);

    OwnedList<tConfigKVPEntry, destroyKvpEntry> m_entries;
    Maro_Mutex m_mutex;
};

} // namespace corvid

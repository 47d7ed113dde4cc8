#include "store/kvp_store.h"

#include "store/kvp_line.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

tConfigKVPEntry::~tConfigKVPEntry() {
    std::free(scope);
    std::free(key);
    std::free(stringValue);
    scope = nullptr;
    key = nullptr;
    stringValue = nullptr;
    next = nullptr;
    type = 1;
    intValue = 0;
}

namespace corvid {

void destroyKvpEntry(tConfigKVPEntry* entry) {
    delete entry;
}

AddResult KvpStore::append(const char* scope, const char* key, const char* value, int type,
                           int intValue) {
    std::unique_ptr<tConfigKVPEntry> entry(new (std::nothrow) tConfigKVPEntry);
    if (entry == nullptr) {
        return AddResult::OutOfMemory;
    }
    entry->scope = ::strdup(scope);
    entry->key = ::strdup(key);
    entry->stringValue = value != nullptr ? ::strdup(value) : nullptr;
    entry->type = type;
    entry->intValue = intValue;
    if (entry->scope == nullptr || entry->key == nullptr ||
        (value != nullptr && entry->stringValue == nullptr)) {
        return AddResult::OutOfMemory;
    }
    m_entries.append(entry.release());
    return AddResult::Added;
}

AddResult KvpStore::addUnlocked(const char* scope, const char* key, const char* value) {
    return fitsKvpLine(scope, key, value) ? append(scope, key, value, kKvpString, 0)
                                          : AddResult::Refused;
}

AddResult KvpStore::addUnlocked(const char* scope, const char* key, int value) {
    return fitsKvpLine(scope, key, value) ? append(scope, key, nullptr, kKvpInteger, value)
                                          : AddResult::Refused;
}

AddResult KvpStore::add(const char* scope, const char* key, const char* value) {
    const MutexLock lock(m_mutex);
    return addUnlocked(scope, key, value);
}

AddResult KvpStore::add(const char* scope, const char* key, int value) {
    const MutexLock lock(m_mutex);
    return addUnlocked(scope, key, value);
}

tConfigKVPEntry* KvpStore::find(const char* scope, const char* key) const {
    if (scope == nullptr || key == nullptr) {
        return nullptr;
    }
    return m_entries.find([scope, key](const tConfigKVPEntry& entry) {
        return std::strcmp(entry.key, key) == 0 && std::strcmp(entry.scope, scope) == 0;
    });
}

bool KvpStore::getItem(char** value, const char* scope, const char* key) {
    const MutexLock lock(m_mutex);
    const tConfigKVPEntry* entry = find(scope, key);
    *value =
        entry != nullptr && entry->stringValue != nullptr ? ::strdup(entry->stringValue) : nullptr;
    return *value != nullptr;
}

bool KvpStore::getItem(int* value, const char* scope, const char* key) {
    const MutexLock lock(m_mutex);
    const tConfigKVPEntry* entry = find(scope, key);
    *value = entry != nullptr ? entry->intValue : 0;
    return entry != nullptr;
}

bool KvpStore::changeItem(const char* scope, const char* key, const char* value) {
    const MutexLock lock(m_mutex);
    tConfigKVPEntry* entry = find(scope, key);
    if (entry == nullptr || !fitsKvpLine(scope, key, value)) {
        return false;
    }
    char* copy = value != nullptr ? ::strdup(value) : nullptr;
    if (value != nullptr && copy == nullptr) {
        return false;
    }
    std::free(entry->stringValue);
    entry->stringValue = copy;
    return true;
}

bool KvpStore::changeItem(const char* scope, const char* key, int value) {
    const MutexLock lock(m_mutex);
    tConfigKVPEntry* entry = find(scope, key);
    if (entry == nullptr || !fitsKvpLine(scope, key, value)) {
        return false;
    }
    entry->intValue = value;
    return true;
}

bool KvpStore::prepare() {
    const MutexLock lock(m_mutex);
    return m_entries.prepare();
}

tConfigKVPEntry* KvpStore::next() {
    const MutexLock lock(m_mutex);
    return m_entries.next();
}

FormatResult KvpStore::formatLinesUnlocked(std::string& out) const {
    for (const tConfigKVPEntry* entry = m_entries.head(); entry != nullptr; entry = entry->next) {
        if (entry->type == kKvpString) {
            appendKvpLine(out, "", entry->scope, entry->key, entry->stringValue);
        } else if (entry->type == kKvpInteger) {
            appendKvpLine(out, "", entry->scope, entry->key, entry->intValue);
        } else {
            return FormatResult::InvalidType;
        }
    }
    return FormatResult::Complete;
}

void KvpStore::clear() {
    const MutexLock lock(m_mutex);
    m_entries.clear();
}

} // namespace corvid

#include "store/kvp_file.h"

#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

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

sFrameCacheRegistryEntry::~sFrameCacheRegistryEntry() {
    std::free(projectName);
    std::free(key);
    std::free(value);
    projectName = nullptr;
    key = nullptr;
    value = nullptr;
    next = nullptr;
    type = 0;
}

namespace corvid {

namespace {

// What the stores see of an entry of either kind.
char*& scopeOf(tConfigKVPEntry& entry) {
    return entry.scope;
}
char*& scopeOf(sFrameCacheRegistryEntry& entry) {
    return entry.projectName;
}
char*& textOf(tConfigKVPEntry& entry) {
    return entry.stringValue;
}
char*& textOf(sFrameCacheRegistryEntry& entry) {
    return entry.value;
}
// Null in an entry that is no number.
const int* numberOf(const tConfigKVPEntry& entry) {
    return entry.type == kKvpInteger ? &entry.intValue : nullptr;
}
const int* numberOf(const sFrameCacheRegistryEntry& /*entry*/) {
    return nullptr;
}

} // namespace

template <class Entry>
ReadResult KvpFile<Entry>::read(const TakeLine& take,
                                const std::function<bool(char* text)>& isHeader) {
    bool isFirst = true;
    m_read = readLines(m_path.c_str(), [&](char* line) {
        if (std::exchange(isFirst, false) && isHeader) {
            return isHeader(line) ? AfterPiece::GoOn : AfterPiece::Stop;
        }
        const KvpFields fields = splitKvpLine(line);
        return fields.scope != nullptr && take(fields) == AfterLine::GoOn ? AfterPiece::GoOn
                                                                          : AfterPiece::Stop;
    });
    if (m_isCut) {
        m_read = ReadResult::Unreadable;
    }
    return m_read;
}

template <class Entry>
template <class Fill>
AddOutcome KvpFile<Entry>::append(const char* scope, const char* key, Fill fill) {
    if (scope == nullptr || key == nullptr) {
        return AddOutcome::NoText;
    }
    std::unique_ptr<Entry> entry(new (std::nothrow) Entry);
    if (entry == nullptr) {
        return AddOutcome::OutOfMemory;
    }
    scopeOf(*entry) = ::strdup(scope);
    entry->key = ::strdup(key);
    if (scopeOf(*entry) == nullptr || entry->key == nullptr || !fill(*entry)) {
        return AddOutcome::OutOfMemory;
    }
    m_entries.append(entry.release());
    return AddOutcome::Added;
}

template <class Entry>
AddOutcome KvpFile<Entry>::appendText(const char* scope, const char* key, const char* value) {
    return append(scope, key, [value](Entry& entry) {
        entry.type = kKvpString;
        textOf(entry) = value != nullptr ? ::strdup(value) : nullptr;
        return value == nullptr || textOf(entry) != nullptr;
    });
}

AddOutcome TypedKvpFile::appendNumber(const char* scope, const char* key, int value) {
    return append(scope, key, [value](tConfigKVPEntry& entry) {
        entry.type = kKvpInteger;
        entry.intValue = value;
        return true;
    });
}

template <class Entry>
AddOutcome KvpFile<Entry>::whileReading(AddOutcome outcome) {
    m_isCut = m_isCut || outcome == AddOutcome::OutOfMemory;
    return outcome;
}

template <class Entry>
AddOutcome KvpFile<Entry>::add(const char* scope, const char* key, const char* value) {
    const MutexLock lock(m_mutex);
    return appendText(scope, key, value);
}

AddOutcome TypedKvpFile::add(const char* scope, const char* key, int value) {
    const MutexLock lock(m_mutex);
    return appendNumber(scope, key, value);
}

template <class Entry>
AddOutcome KvpFile<Entry>::addUnlocked(const char* scope, const char* key, const char* value) {
    return whileReading(appendText(scope, key, value));
}

AddOutcome TypedKvpFile::addUnlocked(const char* scope, const char* key, int value) {
    return whileReading(appendNumber(scope, key, value));
}

template <class Entry>
Entry* KvpFile<Entry>::find(const char* scope, const char* key) const {
    if (scope == nullptr || key == nullptr) {
        return nullptr;
    }
    return m_entries.find([scope, key](Entry& entry) {
        return std::strcmp(entry.key, key) == 0 && std::strcmp(scopeOf(entry), scope) == 0;
    });
}

template <class Entry>
bool KvpFile<Entry>::getItem(char** value, const char* scope, const char* key) const {
    const MutexLock lock(m_mutex);
    Entry* entry = find(scope, key);
    *value = entry != nullptr && textOf(*entry) != nullptr ? ::strdup(textOf(*entry)) : nullptr;
    return *value != nullptr;
}

bool TypedKvpFile::getItem(int* value, const char* scope, const char* key) const {
    const MutexLock lock(m_mutex);
    const tConfigKVPEntry* entry = find(scope, key);
    *value = entry != nullptr ? entry->intValue : 0;
    return entry != nullptr;
}

template <class Entry>
bool KvpFile<Entry>::changeItem(const char* scope, const char* key, const char* value) {
    const MutexLock lock(m_mutex);
    Entry* entry = find(scope, key);
    if (entry == nullptr) {
        return false;
    }
    char* copy = value != nullptr ? ::strdup(value) : nullptr;
    if (value != nullptr && copy == nullptr) {
        return false;
    }
    std::free(textOf(*entry));
    textOf(*entry) = copy;
    return true;
}

bool TypedKvpFile::changeItem(const char* scope, const char* key, int value) {
    const MutexLock lock(m_mutex);
    tConfigKVPEntry* entry = find(scope, key);
    if (entry != nullptr) {
        entry->intValue = value;
    }
    return entry != nullptr;
}

template <class Entry>
std::size_t KvpFile<Entry>::removeScope(const char* scope) {
    const MutexLock lock(m_mutex);
    return m_entries.removeIf(
        [scope](Entry& entry) { return std::strcmp(scopeOf(entry), scope) == 0; });
}

template <class Entry>
bool KvpFile<Entry>::prepare() {
    const MutexLock lock(m_mutex);
    return m_entries.prepare();
}

template <class Entry>
Entry* KvpFile<Entry>::next() {
    const MutexLock lock(m_mutex);
    return m_entries.next();
}

template <class Entry>
std::uint32_t KvpFile<Entry>::count() const {
    const MutexLock lock(m_mutex);
    return static_cast<std::uint32_t>(m_entries.count());
}

template <class Entry>
void KvpFile<Entry>::clear() {
    const MutexLock lock(m_mutex);
    m_entries.clear();
}

template <class Entry>
typename KvpFile<Entry>::FormatOutcome KvpFile<Entry>::formatLines(std::string& out,
                                                                   const CommitRules& rules) const {
    for (Entry* entry = m_entries.head(); entry != nullptr; entry = entry->next) {
        const char* scope = scopeOf(*entry);
        if (entry->type == kKvpString) {
            appendKvpLine(out, "", scope, entry->key, textOf(*entry), rules.isHarmless);
        } else if (const int* number = numberOf(*entry); number != nullptr) {
            appendKvpLine(out, "", scope, entry->key, *number, rules.isHarmless);
        } else {
            return FormatOutcome::InvalidType;
        }
    }
    return FormatOutcome::Complete;
}

template <class Entry>
ReplaceOutcome KvpFile<Entry>::replace(const CommitRules& rules, FormatOutcome& format) {
    // What could not be read must not be replaced by what little is known of it.
    if (m_read == ReadResult::Unreadable) {
        return ReplaceOutcome::NotOpened;
    }
    try {
        std::string text = rules.header;
        format = formatLines(text, rules);
        return replaceTextFile(m_path.c_str(), text, rules.link);
    } catch (const std::bad_alloc&) {
        maro_logError("%s: malloc failed\n", rules.commit);
        return ReplaceOutcome::NotWritten;
    }
}

template <class Entry>
bool KvpFile<Entry>::commit(const CommitRules& rules) {
    const MutexLock lock(m_mutex);
    if (m_path.empty() && m_read != ReadResult::Unreadable) {
        return false;
    }
    FormatOutcome format = FormatOutcome::Complete;
    switch (replace(rules, format)) {
    case ReplaceOutcome::NotOpened:
        maro_logWarning("%s: Cannot open generic config file '%s' for writing\n", rules.commit,
                        m_path.c_str());
        return false;
    case ReplaceOutcome::NotWritten:
        maro_logWarning("%s: Cannot write generic config file '%s'\n", rules.commit,
                        m_path.c_str());
        return false;
    case ReplaceOutcome::Replaced:
        break;
    }
    if (format == FormatOutcome::InvalidType) {
        maro_logWarning("%s: Invalid type in KVP list\n", rules.invalidType);
    }
    return format == FormatOutcome::Complete;
}

template class KvpFile<tConfigKVPEntry>;
template class KvpFile<sFrameCacheRegistryEntry>;

} // namespace corvid

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

namespace corvid {

void destroyKvpEntry(tConfigKVPEntry* entry) {
    delete entry;
}

ReadResult KvpFile::read(const TakeLine& take, const std::function<bool(char* text)>& isHeader) {
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

AddOutcome KvpFile::append(const char* scope, const char* key, const char* value, int type,
                           int intValue) {
    if (scope == nullptr || key == nullptr) {
        return AddOutcome::NoText;
    }
    std::unique_ptr<tConfigKVPEntry> entry(new (std::nothrow) tConfigKVPEntry);
    if (entry == nullptr) {
        return AddOutcome::OutOfMemory;
    }
    entry->scope = ::strdup(scope);
    entry->key = ::strdup(key);
    entry->stringValue = value != nullptr ? ::strdup(value) : nullptr;
    entry->type = type;
    entry->intValue = intValue;
    if (entry->scope == nullptr || entry->key == nullptr ||
        (value != nullptr && entry->stringValue == nullptr)) {
        return AddOutcome::OutOfMemory;
    }
    m_entries.append(entry.release());
    return AddOutcome::Added;
}

AddOutcome KvpFile::add(const char* scope, const char* key, const char* value) {
    const MutexLock lock(m_mutex);
    return append(scope, key, value, kKvpString, 0);
}

AddOutcome KvpFile::add(const char* scope, const char* key, int value) {
    const MutexLock lock(m_mutex);
    return append(scope, key, nullptr, kKvpInteger, value);
}

AddOutcome KvpFile::addUnlocked(const char* scope, const char* key,
                                const char* value) CORVID_NO_THREAD_ANALYSIS {
    const AddOutcome outcome = append(scope, key, value, kKvpString, 0);
    m_isCut = m_isCut || outcome == AddOutcome::OutOfMemory;
    return outcome;
}

AddOutcome KvpFile::addUnlocked(const char* scope, const char* key,
                                int value) CORVID_NO_THREAD_ANALYSIS {
    const AddOutcome outcome = append(scope, key, nullptr, kKvpInteger, value);
    m_isCut = m_isCut || outcome == AddOutcome::OutOfMemory;
    return outcome;
}

tConfigKVPEntry* KvpFile::find(const char* scope, const char* key) const {
    if (scope == nullptr || key == nullptr) {
        return nullptr;
    }
    return m_entries.find([scope, key](const tConfigKVPEntry& entry) {
        return std::strcmp(entry.key, key) == 0 && std::strcmp(entry.scope, scope) == 0;
    });
}

bool KvpFile::getItem(char** value, const char* scope, const char* key) const {
    const MutexLock lock(m_mutex);
    const tConfigKVPEntry* entry = find(scope, key);
    *value =
        entry != nullptr && entry->stringValue != nullptr ? ::strdup(entry->stringValue) : nullptr;
    return *value != nullptr;
}

bool KvpFile::getItem(int* value, const char* scope, const char* key) const {
    const MutexLock lock(m_mutex);
    const tConfigKVPEntry* entry = find(scope, key);
    *value = entry != nullptr ? entry->intValue : 0;
    return entry != nullptr;
}

bool KvpFile::changeItem(const char* scope, const char* key, const char* value) {
    const MutexLock lock(m_mutex);
    tConfigKVPEntry* entry = find(scope, key);
    if (entry == nullptr) {
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

bool KvpFile::changeItem(const char* scope, const char* key, int value) {
    const MutexLock lock(m_mutex);
    tConfigKVPEntry* entry = find(scope, key);
    if (entry != nullptr) {
        entry->intValue = value;
    }
    return entry != nullptr;
}

std::size_t KvpFile::removeScope(const char* scope) {
    const MutexLock lock(m_mutex);
    return m_entries.removeIf(
        [scope](const tConfigKVPEntry& entry) { return std::strcmp(entry.scope, scope) == 0; });
}

bool KvpFile::prepare() {
    const MutexLock lock(m_mutex);
    return m_entries.prepare();
}

tConfigKVPEntry* KvpFile::next() {
    const MutexLock lock(m_mutex);
    return m_entries.next();
}

std::uint32_t KvpFile::count() const {
    const MutexLock lock(m_mutex);
    return static_cast<std::uint32_t>(m_entries.count());
}

void KvpFile::clear() {
    const MutexLock lock(m_mutex);
    m_entries.clear();
}

KvpFile::FormatOutcome KvpFile::formatLines(std::string& out, const CommitRules& rules) const {
    for (const tConfigKVPEntry* entry = m_entries.head(); entry != nullptr; entry = entry->next) {
        if (entry->type == kKvpString) {
            appendKvpLine(out, "", entry->scope, entry->key, entry->stringValue, rules.isHarmless);
        } else if (entry->type == kKvpInteger && rules.types == Types::TextAndInteger) {
            appendKvpLine(out, "", entry->scope, entry->key, entry->intValue, rules.isHarmless);
        } else {
            return FormatOutcome::InvalidType;
        }
    }
    return FormatOutcome::Complete;
}

ReplaceOutcome KvpFile::replace(const CommitRules& rules, FormatOutcome& format) {
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

bool KvpFile::commit(const CommitRules& rules) {
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

} // namespace corvid

#include "store/KavroPISSFrameCacheRegistry.h"

#include "runtime/maro_log.h"
#include "store/PISSFileUtilities.h"
#include "store/PISSMD5.h"
#include "store/kvp_line.h"
#include "store/product_paths.h"
#include "store/text_file.h"

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unordered_set>

namespace corvid {

void destroyRegistryEntry(sFrameCacheRegistryEntry* entry) {
    std::free(entry->projectName);
    std::free(entry->key);
    std::free(entry->value);
    std::free(entry);
}

std::vector<std::string> registeredCacheRoots(KavroPISSFrameCacheRegistry& registry) {
    std::vector<std::string> roots;
    std::unordered_set<std::string_view> seen; // the registry's texts, which stay as they are here
    seen.reserve(static_cast<std::size_t>(registry.NumberOfKeyValuePairsInList()));
    registry.PrepareKeyValuePairList();
    while (const sFrameCacheRegistryEntry* entry = registry.GetNextKeyValuePairInList()) {
        if (std::strcmp(entry->key, kPathToCache) == 0 && seen.insert(entry->value).second) {
            roots.emplace_back(entry->value);
        }
    }
    return roots;
}

} // namespace corvid

namespace {

constexpr int kText = 0;

} // namespace

KavroPISSFrameCacheRegistry::KavroPISSFrameCacheRegistry()
    : m_path(corvid::productPath(assignCorvidProFrameCacheRegistryFilePath)) {
    read();
}

void KavroPISSFrameCacheRegistry::read() {
    m_read = corvid::readLines(m_path.c_str(), [this](char* line) { return readLine(line); });
    if (m_isCut) {
        m_read = corvid::ReadResult::Unreadable;
    }
}

bool KavroPISSFrameCacheRegistry::readLine(char* line) {
    const corvid::KvpFields fields = corvid::splitKvpLine(line);
    if (fields.scope == nullptr) {
        return false;
    }
    if (fields.key == nullptr) {
        maro_logWarning("PersisentFrameCacheRegistry: keyValue was NULL");
    } else if (fields.value == nullptr) {
        maro_logWarning("PersisentFrameCacheRegistry: stringRemainder was NULL for key: %s",
                        fields.key);
    } else if (std::strcmp(fields.type, corvid::kStringType) != 0) {
        maro_logWarning("PersisentFrameCacheRegistry:  type not yet supported: %s for key: %s\n",
                        fields.type, fields.key);
        return false;
    } else if (AddWithoutHashing(fields.scope, fields.key, fields.value) == 0) {
        m_isCut = m_isCut || corvid::fitsKvpLine(fields.scope, fields.key, fields.value);
        maro_logWarning("PersisentFrameCacheRegistry: line too long for key: %s", fields.key);
    }
    return true;
}

int KavroPISSFrameCacheRegistry::Commit() {
    std::string text;
    bool isComplete = true;
    for (const auto* entry = m_entries.head(); entry != nullptr && isComplete;
         entry = entry->next) {
        isComplete = entry->type == kText;
        if (isComplete) {
            corvid::appendKvpLine(text, "", entry->projectName, entry->key, entry->value);
        }
    }
    // What could not be read must not be replaced by what little is known of it.
    const corvid::ReplaceResult result = m_read != corvid::ReadResult::Unreadable
                                             ? corvid::replaceTextFile(m_path.c_str(), text)
                                             : corvid::ReplaceResult{};
    if (!result.opened) {
        maro_logWarning("PersisentFrameCacheRegistry: Commit: Cannot open generic config file '%s' "
                        "for writing\n",
                        m_path.c_str());
        return 0;
    }
    if (!result.written) {
        maro_logWarning(
            "PersisentFrameCacheRegistry: Commit: Cannot write generic config file '%s'\n",
            m_path.c_str());
        return 0;
    }
    if (!isComplete) {
        maro_logWarning("PersisentFrameCacheRegistry: Commit: Invalid type in KVP list\n");
        return 0;
    }
    return 1;
}

int KavroPISSFrameCacheRegistry::append(const char* operation, const char* hash, const char* key,
                                        const char* value) {
    if (!corvid::fitsKvpLine(hash, key, value) || !corvid::hasKvpValue(value)) {
        return 0;
    }
    auto* entry =
        static_cast<sFrameCacheRegistryEntry*>(std::malloc(sizeof(sFrameCacheRegistryEntry)));
    if (entry != nullptr) {
        *entry = {::strdup(hash), kText, ::strdup(key), ::strdup(value), nullptr};
        if (entry->projectName != nullptr && entry->key != nullptr && entry->value != nullptr) {
            m_entries.append(entry);
            return 1;
        }
        corvid::destroyRegistryEntry(entry);
    }
    maro_logError("PersisentFrameCacheRegistry::%s malloc failed\n", operation);
    return 0;
}

int KavroPISSFrameCacheRegistry::Add(const char* projectName, const char* key, const char* value) {
    if (projectName == nullptr || key == nullptr || value == nullptr) {
        return 0;
    }
    char hash[corvid::kPrintableHashSize];
    _MD5GetPrintableHash(projectName, hash);
    return append("Add", hash, key, value);
}

int KavroPISSFrameCacheRegistry::AddWithoutHashing(const char* projectName, const char* key,
                                                   const char* value) {
    if (projectName == nullptr) {
        maro_logError("PersisentFrameCacheRegistry: AddWithoutHashing received a null projectName");
        return 0;
    }
    if (key == nullptr) {
        maro_logError("PersisentFrameCacheRegistry: AddWithoutHashing received a null key");
        return 0;
    }
    if (value == nullptr) {
        maro_logError(
            "PersisentFrameCacheRegistry: AddWithoutHashing received a null value for key: %s",
            key);
        return 0;
    }
    return append("AddWithoutHashing", projectName, key, value);
}

sFrameCacheRegistryEntry* KavroPISSFrameCacheRegistry::find(const char* projectName,
                                                            const char* key) const {
    if (projectName == nullptr || key == nullptr) {
        return nullptr;
    }
    char hash[corvid::kPrintableHashSize];
    _MD5GetPrintableHash(projectName, hash);
    return m_entries.find([&hash, key](const sFrameCacheRegistryEntry& entry) {
        return std::strcmp(entry.key, key) == 0 && std::strcmp(entry.projectName, hash) == 0;
    });
}

int KavroPISSFrameCacheRegistry::GetItem(char** value, const char* projectName,
                                         const char* key) const {
    const sFrameCacheRegistryEntry* entry = find(projectName, key);
    *value = entry != nullptr ? ::strdup(entry->value) : nullptr;
    return *value != nullptr ? 1 : 0;
}

int KavroPISSFrameCacheRegistry::ChangeItem(const char* projectName, const char* key,
                                            const char* value) {
    sFrameCacheRegistryEntry* entry = find(projectName, key);
    if (entry == nullptr || !corvid::hasKvpValue(value) ||
        !corvid::fitsKvpLine(entry->projectName, key, value)) {
        return 0;
    }
    char* copy = ::strdup(value);
    if (copy == nullptr) {
        return 0;
    }
    std::free(entry->value);
    entry->value = copy;
    return 1;
}

int KavroPISSFrameCacheRegistry::DeleteItem(const char* projectName) {
    if (projectName == nullptr) {
        return 0;
    }
    char hash[corvid::kPrintableHashSize];
    _MD5GetPrintableHash(projectName, hash);
    const std::size_t removed = m_entries.removeIf([&hash](const sFrameCacheRegistryEntry& entry) {
        return std::strcmp(entry.projectName, hash) == 0;
    });
    return removed > 0 ? 1 : 0;
}

#include "store/KavroPISSFrameCacheRegistry.h"

#include "files/path_text.h"
#include "files/text_file.h"
#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"
#include "store/PISSFileUtilities.h"
#include "store/PISSMD5.h"
#include "store/kvp_line.h"
#include "store/product_paths.h"

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unordered_set>

namespace corvid {

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

std::vector<std::string> distinctCacheRoots(KavroPISSFrameCacheRegistry& registry) {
    std::vector<std::string> roots;
    std::unordered_set<std::string_view> seen;
    const std::vector<std::string> registered = registeredCacheRoots(registry);
    for (const std::string& value : registered) {
        const std::string_view root = withoutSeparators(value);
        if (seen.insert(root).second) {
            roots.emplace_back(root);
        }
    }
    return roots;
}

bool hasRegistry() {
    return openTextFile(productPath(assignCorvidProFrameCacheRegistryFilePath).c_str()).isOpen();
}

} // namespace corvid

namespace {

// Readers pass over a line without key or value and end at one of another type.
bool isHarmlessInRegistry(const corvid::KvpFields& line) {
    return line.scope != nullptr && (line.key == nullptr || line.value == nullptr ||
                                     std::strcmp(line.type, corvid::kStringType) == 0);
}

} // namespace

KavroPISSFrameCacheRegistry::KavroPISSFrameCacheRegistry() {
    const bool hasMemory = corvid::unlessOutOfMemory("PersisentFrameCacheRegistry", false, [this] {
        m_file.setPath(corvid::productPath(assignCorvidProFrameCacheRegistryFilePath));
        m_file.read([this](const corvid::KvpFields& line) { return readLine(line); });
        return true;
    });
    if (!hasMemory) {
        m_file.markUnreadable();
    }
}

corvid::AfterLine KavroPISSFrameCacheRegistry::readLine(const corvid::KvpFields& fields) {
    if (fields.key == nullptr) {
        maro_logWarning("PersisentFrameCacheRegistry: keyValue was NULL");
    } else if (fields.value == nullptr) {
        maro_logWarning("PersisentFrameCacheRegistry: stringRemainder was NULL for key: %s",
                        fields.key);
    } else if (std::strcmp(fields.type, corvid::kStringType) != 0) {
        maro_logWarning("PersisentFrameCacheRegistry:  type not yet supported: %s for key: %s\n",
                        fields.type, fields.key);
        return corvid::AfterLine::Stop;
    } else {
        AddWithoutHashing(fields.scope, fields.key, fields.value);
    }
    return corvid::AfterLine::GoOn;
}

int KavroPISSFrameCacheRegistry::Commit() {
    const bool isCommitted = m_file.commit({.header = "",
                                            .commit = "PersisentFrameCacheRegistry: Commit",
                                            .invalidType = "PersisentFrameCacheRegistry: Commit",
                                            .isHarmless = isHarmlessInRegistry,
                                            .link = corvid::LinkRule::Follow});
    return isCommitted ? 1 : 0;
}

int KavroPISSFrameCacheRegistry::append(const char* operation, const char* hash, const char* key,
                                        const char* value) {
    const corvid::AddOutcome outcome = m_file.addUnlocked(hash, key, value);
    if (outcome == corvid::AddOutcome::OutOfMemory) {
        maro_logError("PersisentFrameCacheRegistry::%s malloc failed\n", operation);
    }
    return outcome == corvid::AddOutcome::Added ? 1 : 0;
}

int KavroPISSFrameCacheRegistry::Add(const char* projectName, const char* key, const char* value) {
    if (projectName == nullptr || value == nullptr) {
        return 0;
    }
    return append("Add", corvid::PrintableHash(projectName).text(), key, value);
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

int KavroPISSFrameCacheRegistry::GetItem(char** value, const char* projectName,
                                         const char* key) const {
    return m_file.getItem(value, corvid::PrintableHash(projectName).text(), key) ? 1 : 0;
}

int KavroPISSFrameCacheRegistry::ChangeItem(const char* projectName, const char* key,
                                            const char* value) {
    return value != nullptr &&
                   m_file.changeItem(corvid::PrintableHash(projectName).text(), key, value)
               ? 1
               : 0;
}

int KavroPISSFrameCacheRegistry::DeleteItem(const char* projectName) {
    return projectName != nullptr &&
                   m_file.removeScope(corvid::PrintableHash(projectName).text()) > 0
               ? 1
               : 0;
}

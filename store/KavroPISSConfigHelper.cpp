#include "store/KavroPISSConfigHelper.h"

#include "files/owned_text.h"
#include "runtime/maro_log.h"
#include "store/KavroPISSConfig.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/settings_keys.h"

#include <cstdio>
#include <cstring>
#include <limits>

namespace {

constexpr unsigned kMebibyteBits = 20;

// Changes or adds one setting of a store and commits. `transactionName` is what the message about a
// failed start names, `name` the scope or identity.
template <class Store, class Value>
int addOrUpdate(Store& store, const char* transactionName, const char* name, const char* key,
                Value value) {
    if (store.StartTransaction() == 0) {
        maro_logError("Unable to start persistent storage transaction. for: [%s] [%s]",
                      transactionName, key);
        return 0;
    }
    int result = 1;
    int present = 0; // only tells whether the key is there, whatever its type
    if (store.GetItem(&present, name, key)) {
        if (!store.ChangeItem(name, key, value)) {
            maro_logError("Unable to change the persistent storage item for: [%s] [%s]", name, key);
            result = 0;
        }
    } else if (!store.Add(name, key, value)) {
        maro_logError("Unable to ADD to the persistent storage item for: [%s] [%s]", name, key);
        result = 0;
    }
    if (!store.Commit()) {
        maro_logError("Unable to commit persistent storage transaction for: [%s] [%s]", name, key);
        result = 0;
    }
    return result;
}

template <class Value>
int addOrUpdateGlobal(const char* key, Value value) {
    KavroPISSConfig config;
    return addOrUpdate(config, corvid::kGlobalScope, corvid::kGlobalScope, key, value);
}

template <class Value>
int addOrUpdateInFolder(const std::string& folder, const std::string& identity, const char* key,
                        Value value) {
    KavroPISSPerProjectConfig config(folder.c_str());
    return addOrUpdate(config, folder.c_str(), identity.c_str(), key, value);
}

// At most size - 1 bytes of room are given to the copy.
void copyValue(char* buffer, int size, const char* value) {
    if (size > 1) {
        std::snprintf(buffer, static_cast<std::size_t>(size) - 1, "%s", value);
    }
}

template <class Store>
bool queryString(Store& store, const char* name, const char* key, char* buffer, int size) {
    char* found = nullptr;
    const bool isFound = store.GetItem(&found, name, key);
    const corvid::OwnedText value(found);
    if (isFound) {
        copyValue(buffer, size, value.get());
    }
    return isFound;
}

// One level of an integer query. `level` names it in the message about a miss.
template <class Store>
int queryLevel(Store& store, const char* level, const char* name, const char* key, int minimum,
               int maximum, bool isBounded, int* value) {
    const bool isFound = store.GetItem(value, name, key);
    if (!isBounded) {
        return isFound ? 1 : 0;
    }
    if (!isFound) {
        maro_logDev("Unable to query the %spersist data for: [%s] [%s]", level, name, key);
        return 0;
    }
    if (*value < minimum || *value > maximum) {
        maro_logWarning("An invalid value: %d found in the persist data for [%s] [%s]", *value,
                        name, key);
        return 0;
    }
    return 1;
}

// Whole mebibytes as a signed 32-bit number, going round as the plug-ins' own computation does.
int mebibytes(std::uint64_t bytes) {
    return static_cast<int>(static_cast<std::uint32_t>(bytes >> kMebibyteBits));
}

} // namespace

int KavroPISSConfigHelper::addOrUpdateGlobalStringSetting(const char* key, const char* value) {
    return addOrUpdateGlobal(key, value);
}

int KavroPISSConfigHelper::addOrUpdateGlobalIntegerSetting(const char* key, int value) {
    return addOrUpdateGlobal(key, value);
}

int KavroPISSConfigHelper::addOrUpdateProjectStringSetting(const KavroPISSProjectKeys* project,
                                                           const char* key, const char* value) {
    return addOrUpdateInFolder(project->folder, project->identity, key, value);
}

int KavroPISSConfigHelper::addOrUpdateProjectIntegerSetting(const KavroPISSProjectKeys* project,
                                                            const char* key, int value) {
    return addOrUpdateInFolder(project->folder, project->identity, key, value);
}

int KavroPISSConfigHelper::addOrUpdateCompStringSetting(const KavroPISSCompKeys* composition,
                                                        const char* key, const char* value) {
    return addOrUpdateInFolder(composition->project->folder, composition->identity, key, value);
}

int KavroPISSConfigHelper::addOrUpdateCompIntegerSetting(const KavroPISSCompKeys* composition,
                                                         const char* key, int value) {
    return addOrUpdateInFolder(composition->project->folder, composition->identity, key, value);
}

int KavroPISSConfigHelper::addOrUpdateRegistryStringSetting(const char* name, const char* key,
                                                            const char* value) {
    KavroPISSFrameCacheRegistry registry;
    if (registry.StartTransaction() == 0) {
        maro_logError("Unable to start persistent REGISTRY storage transaction. for project:[%s] "
                      "and key: [%s] and value:[%s]",
                      name, key, value);
        return 0;
    }
    int result = 1;
    char* present = nullptr;
    const int isPresent = registry.GetItem(&present, name, key);
    const corvid::OwnedText old(present);
    if (isPresent != 0) {
        if (registry.ChangeItem(name, key, value) == 0) {
            maro_logError(
                "Unable to change the persistent REGISTRY storage item for: project [%s] key [%s]",
                name, key);
            result = 0;
        }
    } else if (registry.ChangeItem(name, key, value) == 0 && // no memory for the copy only
               registry.Add(name, key, value) == 0) {
        maro_logError("Unable to ADD to the persistent REGISTRY storage item for: [%s] [%s]", name,
                      key);
        result = 0;
    }
    if (registry.Commit() == 0) {
        maro_logError(
            "Unable to commit persistent REGISTRY storage transaction for project:[%s] key:[%s]",
            name, key);
        result = 0;
    }
    return result;
}

int KavroPISSConfigHelper::queryStringSetting(char* buffer, int size, const char* key,
                                              const char* globalScope,
                                              const KavroPISSProjectKeys* project,
                                              const KavroPISSCompKeys* composition) {
    if (buffer == nullptr || size < 1) {
        return 0;
    }
    std::memset(buffer, 0, static_cast<std::size_t>(size));
    KavroPISSConfig global;
    if (composition != nullptr) {
        KavroPISSPerProjectConfig config(composition->project->folder.c_str());
        if (queryString(config, composition->identity.c_str(), key, buffer, size)) {
            return 1;
        }
        maro_logDev(
            "Unable to find requested value for key:[%s] in Comp Config. Checking Project Config.",
            key);
    }
    if (project != nullptr) {
        KavroPISSPerProjectConfig config(project->folder.c_str());
        if (queryString(config, project->identity.c_str(), key, buffer, size)) {
            return 1;
        }
        maro_logDev("Unable to find requested value for key:[%s] in Project Config. Checking "
                    "Global Config.",
                    key);
    }
    if (globalScope != nullptr && queryString(global, globalScope, key, buffer, size)) {
        return 1;
    }
    maro_logDev("Unable to query the ANY persist data for: [%s]", key);
    return 0;
}

int KavroPISSConfigHelper::queryIntegerSetting(int* value, const char* key, const char* globalScope,
                                               const KavroPISSProjectKeys* project,
                                               const KavroPISSCompKeys* composition) {
    return _queryIntegerSettingBounded(value, key, 0, 0, globalScope, project, composition, false);
}

int KavroPISSConfigHelper::queryIntegerSettingBounded(int* value, const char* key, int minimum,
                                                      int maximum, const char* globalScope,
                                                      const KavroPISSProjectKeys* project,
                                                      const KavroPISSCompKeys* composition) {
    return _queryIntegerSettingBounded(value, key, minimum, maximum, globalScope, project,
                                       composition, true);
}

int KavroPISSConfigHelper::_queryIntegerSettingBounded(int* value, const char* key, int minimum,
                                                       int maximum, const char* globalScope,
                                                       const KavroPISSProjectKeys* project,
                                                       const KavroPISSCompKeys* composition,
                                                       bool isBounded) {
    KavroPISSConfig global;
    *value = 0;
    if (composition != nullptr) {
        KavroPISSPerProjectConfig config(composition->project->folder.c_str());
        if (_getPISSCompConfigData(config, value, composition->identity.c_str(), key, minimum,
                                   maximum, isBounded) != 0) {
            return 1;
        }
        maro_logDev("Unable to find requested value in Comp Config. Checking Project Config.");
    }
    if (project != nullptr) {
        KavroPISSPerProjectConfig config(project->folder.c_str());
        if (_getPISSProjectConfigData(config, value, project->identity.c_str(), key, minimum,
                                      maximum, isBounded) != 0) {
            return 1;
        }
        maro_logDev("Unable to find requested value in Project Config. Checking Global Config.");
    }
    if (globalScope != nullptr &&
        _getPISSConfigData(global, value, globalScope, key, minimum, maximum, isBounded) != 0) {
        return 1;
    }
    maro_log("Unable to query ANY persist data for: [%s]", key);
    return 0;
}

int KavroPISSConfigHelper::_getPISSConfigData(KavroPISSConfig& config, int* value,
                                              const char* scope, const char* key, int minimum,
                                              int maximum, bool isBounded) {
    return queryLevel(config, "", scope, key, minimum, maximum, isBounded, value);
}

int KavroPISSConfigHelper::_getPISSProjectConfigData(KavroPISSPerProjectConfig& config, int* value,
                                                     const char* identity, const char* key,
                                                     int minimum, int maximum, bool isBounded) {
    return queryLevel(config, "per project ", identity, key, minimum, maximum, isBounded, value);
}

int KavroPISSConfigHelper::_getPISSCompConfigData(KavroPISSPerProjectConfig& config, int* value,
                                                  const char* identity, const char* key,
                                                  int minimum, int maximum, bool isBounded) {
    return queryLevel(config, "per comp ", identity, key, minimum, maximum, isBounded, value);
}

int KavroPISSConfigHelper::isCacheCheckingMode(const KavroProjectSettings* settings) {
    KavroPISSConfig config;
    int wanted = 0;
    const bool isGlobal =
        !config.GetItem(&wanted, corvid::kGlobalScope, corvid::kShowWarnings.name) || wanted != 0;
    maro_logDev("isCacheCheckingMode Global: %d  Comp: %d", isGlobal ? 1 : 0,
                settings->cacheChecking);
    return isGlobal && settings->cacheChecking != 0 ? 1 : 0;
}

int KavroPISSConfigHelper::determineIfCacheWillOverflow(int frameCount,
                                                        std::uint64_t bytesPerFrame) {
    KavroPISSConfig config;
    if (frameCount < 1) {
        maro_log("No substantial amount of frames to work on");
        return 0;
    }
    int maximum = 0;
    if (!config.GetItem(&maximum, corvid::kGlobalScope, corvid::kCacheSize.name)) {
        maximum = corvid::kCacheSize.number;
    }
    if (maximum == corvid::kUnlimitedCacheSize) {
        return 0;
    }
    if (maximum < 0) {
        maro_logWarning("Invalid value: %d for key: %s", maximum, corvid::kCacheSize.name);
        return 0;
    }
    const std::uint64_t bytes = _calculateSizeOfAllFrameCaches();
    maro_log("Amount of data in frame cache %ld", static_cast<long>(bytes));
    const int actual = mebibytes(bytes);
    maro_log("Amount of data in frame cache (MB)%d", actual);
    if (actual <= 0) {
        maro_log("No substantial amount of data in frame cache disk.");
        return 0;
    }
    const int predicted = mebibytes(static_cast<std::uint64_t>(frameCount) * bytesPerFrame);
    maro_log("Values are: actual=%d predicted=%d  max=%d", actual, predicted, maximum);
    const auto sum = static_cast<int>(static_cast<std::uint32_t>(actual) +
                                      static_cast<std::uint32_t>(predicted));
    return sum > maximum ? 1 : 0;
}

namespace {

// The next "PathToCache" entry from the cursor on; null at the end.
const sFrameCacheRegistryEntry* nextCacheRoot(KavroPISSFrameCacheRegistry& registry) {
    const sFrameCacheRegistryEntry* entry = registry.GetNextKeyValuePairInList();
    while (entry != nullptr && std::strcmp(entry->key, corvid::kPathToCache) != 0) {
        entry = registry.GetNextKeyValuePairInList();
    }
    return entry;
}

} // namespace

int KavroPISSConfigHelper::_hasFrameCacheRegistryDirectoryAlreadBeenProcessed(
    KavroPISSFrameCacheRegistry& registry, const char* path, int number) {
    registry.PrepareKeyValuePairList();
    for (int i = 0; i < number; ++i) {
        const sFrameCacheRegistryEntry* entry = nextCacheRoot(registry);
        if (entry == nullptr) {
            return 0;
        }
        if (std::strcmp(entry->value, path) == 0) {
            return 1;
        }
    }
    return 0;
}

std::uint64_t KavroPISSConfigHelper::_calculateSizeOfAllFrameCaches() {
    KavroPISSFrameCacheRegistry walked;
    KavroPISSFrameCacheRegistry lookedBackIn; // looking back moves a cursor of its own
    std::uint64_t total = 0;
    int number = 0;
    walked.PrepareKeyValuePairList();
    while (const sFrameCacheRegistryEntry* entry = nextCacheRoot(walked)) {
        if (_hasFrameCacheRegistryDirectoryAlreadBeenProcessed(lookedBackIn, entry->value,
                                                               number++) == 0) {
            total += KavroPISSFrameCache(entry->value).GetSize();
        }
    }
    return total;
}

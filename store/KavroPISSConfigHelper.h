#pragma once

// The one door to the settings. A query looks at the composition, then at its project, then at the
// global settings, and takes the first hit; an update writes one named level: it changes the entry,
// or adds it, and commits. Every call reads the files afresh and keeps nothing.
//
// Results are truth values; failures of an update give error lines. Keys that are not given are
// null.

#include "store/KavroPISSPerProjectConfig.h"

#include <cstdint>

class KavroPISSConfig;
class KavroPISSFrameCacheRegistry;

// What the host plug-in's render settings tell about one composition: whether cache checking is
// wanted.
struct KavroProjectSettings {
    int cacheChecking;
};

class KavroPISSConfigHelper {
public:
    static int addOrUpdateGlobalStringSetting(const char* key, const char* value);
    static int addOrUpdateGlobalIntegerSetting(const char* key, int value);
    static int addOrUpdateProjectStringSetting(const KavroPISSProjectKeys* project, const char* key,
                                               const char* value);
    static int addOrUpdateProjectIntegerSetting(const KavroPISSProjectKeys* project,
                                                const char* key, int value);
    static int addOrUpdateCompStringSetting(const KavroPISSCompKeys* composition, const char* key,
                                            const char* value);
    static int addOrUpdateCompIntegerSetting(const KavroPISSCompKeys* composition, const char* key,
                                             int value);
    // One project's entry in the registry of cache roots.
    static int addOrUpdateRegistryStringSetting(const char* name, const char* key,
                                                const char* value);

    // The buffer of `size` bytes is zero-filled first; at most size - 2 characters of a value are
    // kept. `globalScope` is "default", or null to leave the global settings out.
    static int queryStringSetting(char* buffer, int size, const char* key, const char* globalScope,
                                  const KavroPISSProjectKeys* project,
                                  const KavroPISSCompKeys* composition);
    // Stores what the last level looked at gave, 0 on a miss.
    static int queryIntegerSetting(int* value, const char* key, const char* globalScope,
                                   const KavroPISSProjectKeys* project,
                                   const KavroPISSCompKeys* composition);
    // The same, passing over values outside minimum to maximum, inclusive, with a warning each.
    static int queryIntegerSettingBounded(int* value, const char* key, int minimum, int maximum,
                                          const char* globalScope,
                                          const KavroPISSProjectKeys* project,
                                          const KavroPISSCompKeys* composition);

    // Whether cache warnings are wanted, by the global setting and by the composition's.
    static int isCacheCheckingMode(const KavroProjectSettings* settings);
    // Whether that many more frames of that many bytes push all registered caches past the limit.
    static int determineIfCacheWillOverflow(int frameCount, std::uint64_t bytesPerFrame);
    // Bytes of every distinct registered cache root.
    static std::uint64_t _calculateSizeOfAllFrameCaches();
    // Whether one of the first `number` "PathToCache" entries of the registry has this very path.
    // Moves the registry's cursor.
    static int
    _hasFrameCacheRegistryDirectoryAlreadBeenProcessed(KavroPISSFrameCacheRegistry& registry,
                                                       const char* path, int number);

    // What both integer queries share; the range counts when `isBounded`.
    static int _queryIntegerSettingBounded(int* value, const char* key, int minimum, int maximum,
                                           const char* globalScope,
                                           const KavroPISSProjectKeys* project,
                                           const KavroPISSCompKeys* composition, bool isBounded);
    // One level of an integer query: whether its store has a value, inside the range when
    // `isBounded`.
    static int _getPISSConfigData(KavroPISSConfig& config, int* value, const char* scope,
                                  const char* key, int minimum, int maximum, bool isBounded);
    static int _getPISSProjectConfigData(KavroPISSPerProjectConfig& config, int* value,
                                         const char* identity, const char* key, int minimum,
                                         int maximum, bool isBounded);
    static int _getPISSCompConfigData(KavroPISSPerProjectConfig& config, int* value,
                                      const char* identity, const char* key, int minimum,
                                      int maximum, bool isBounded);
};

#pragma once

// The registry of cache roots, "FrameCache.cvp" in the product's folder: per project the facts that
// must be known before any cache is opened, above all, under "PathToCache", the cache root that
// holds its frames.
//
// An object reads the whole file when it is made; changes stay in memory until Commit() rewrites
// it. The last Commit() wins. An empty line ends the reading, and so does a line whose type is not
// "string".

#include "store/kvp_file.h"

#include <string>
#include <vector>

namespace corvid {
constexpr char kPathToCache[] = "PathToCache";
} // namespace corvid

class KavroPISSFrameCacheRegistry {
public:
    // A missing file makes an empty registry, without a message; lines that lack a part are skipped
    // with a warning.
    KavroPISSFrameCacheRegistry();
    KavroPISSFrameCacheRegistry(const KavroPISSFrameCacheRegistry&) = delete;
    KavroPISSFrameCacheRegistry& operator=(const KavroPISSFrameCacheRegistry&) = delete;

    // What became of the reading.
    corvid::ReadResult readResult() const { return m_file.readResult(); }

    int StartTransaction() { return 1; }
    // Rewrites the file; a line that would do harm to others is left out with one warning. 0 with
    // one warning when the file cannot be opened or written (it keeps its old text) or an entry's
    // type is unknown (the file then holds the lines before it).
    int Commit();

    int NumberOfKeyValuePairsInList() const { return static_cast<int>(m_file.count()); }
    // Puts the cursor on the first entry; whether there is one.
    int PrepareKeyValuePairList() { return m_file.prepare() ? 1 : 0; }
    // The entry under the cursor, still owned by the registry; null at the end.
    sFrameCacheRegistryEntry* GetNextKeyValuePairInList() { return m_file.next(); }

    // Appends an entry for a project key; an existing one stays and is found first. 0 when out of
    // memory and for a null argument.
    int Add(const char* projectName, const char* key, const char* value);
    // The same for a project that is already hashed. 0 with one error line for a null argument.
    int AddWithoutHashing(const char* projectName, const char* key, const char* value);
    // The first value for a project and key, as a copy that the caller releases with free(); else
    // null and 0.
    int GetItem(char** value, const char* projectName, const char* key) const;
    // Changes that value; 0 when there is none, for a null value and when out of memory.
    int ChangeItem(const char* projectName, const char* key, const char* value);
    // Removes every entry of a project; 0 when it had none.
    int DeleteItem(const char* projectName);

private:
    corvid::AfterLine readLine(const corvid::KvpFields& fields);
    int append(const char* operation, const char* hash, const char* key, const char* value);

    corvid::KvpFile<sFrameCacheRegistryEntry> m_file;
};

namespace corvid {

// The distinct values of "PathToCache", each as it stands in the file, in file order.
std::vector<std::string> registeredCacheRoots(KavroPISSFrameCacheRegistry& registry);
// The same without "/" at their ends, which may make some of them one.
std::vector<std::string> distinctCacheRoots(KavroPISSFrameCacheRegistry& registry);
// Whether there is a registry that can be read.
bool hasRegistry();

} // namespace corvid

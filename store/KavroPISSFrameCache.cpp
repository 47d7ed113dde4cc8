#include "store/KavroPISSFrameCache.h"

#include "files/path_text.h"
#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"
#include "store/KavroPISSConfig.h"
#include "store/PISSMD5.h"
#include "store/settings_keys.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::size_t kHashPathSize = 4096; // the system's longest path
constexpr char kUninitialized[] = "uninitialized";

corvid::OwnedText copyOf(const char* text) {
    return corvid::OwnedText(text != nullptr ? ::strdup(text) : nullptr);
}

int handOut(corvid::OwnedText found, char** result) {
    if (found == nullptr) {
        return 0;
    }
    *result = found.release();
    return 1;
}

// `path` makes the path, nothing when a part of it is missing.
template <class Path>
int printPath(char* buffer, int size, Path path) {
    if (buffer == nullptr || size < 1) {
        return 0;
    }
    *buffer = '\0';
    return corvid::unlessOutOfMemory("GetCompletePath", 0, [&] {
        const std::optional<std::string> made = path();
        std::snprintf(buffer, static_cast<std::size_t>(size), "%s", made ? made->c_str() : "");
        return made ? 1 : 0;
    });
}

} // namespace

KavroPISSFrameCache::KavroPISSFrameCache(bool /*reset*/) {
    construct(nullptr, nullptr, nullptr, nullptr);
}

KavroPISSFrameCache::KavroPISSFrameCache(bool /*reset*/, const char* project) {
    construct(nullptr, project, nullptr, nullptr);
}

KavroPISSFrameCache::KavroPISSFrameCache(bool /*reset*/, const char* project,
                                         const char* composition) {
    construct(nullptr, project, composition, nullptr);
}

KavroPISSFrameCache::KavroPISSFrameCache(bool /*reset*/, const char* project,
                                         const char* composition, const char* feature) {
    construct(nullptr, project, composition, feature);
}

KavroPISSFrameCache::KavroPISSFrameCache(const char* root) {
    construct(root, nullptr, nullptr, nullptr);
}

KavroPISSFrameCache::KavroPISSFrameCache(const char* root, const char* project) {
    construct(root, project, nullptr, nullptr);
}

KavroPISSFrameCache::KavroPISSFrameCache(const char* root, const char* project,
                                         const char* composition) {
    construct(root, project, composition, nullptr);
}

KavroPISSFrameCache::KavroPISSFrameCache(const char* root, const char* project,
                                         const char* composition, const char* feature) {
    construct(root, project, composition, feature);
}

KavroPISSFrameCache::KavroPISSFrameCache(corvid::LookOnly /*look*/, const char* root,
                                         const char* project, const char* composition)
    : m_isLooking(true) {
    construct(root, project, composition, nullptr);
}

KavroPISSFrameCache::~KavroPISSFrameCache() {
    ReleaseFileDirectoryListIfUsed();
    DeleteProjectHashTable();
    DeleteCompositionHashTable();
    Initializer(true, nullptr);
}

void KavroPISSFrameCache::construct(const char* root, const char* project, const char* composition,
                                    const char* feature) {
    Initializer(false, root);
    ReadCompositionHashTable();
    ReadProjectHashTable();
    if (project != nullptr) {
        m_projectKey = copyOf(project);
        _MD5GetPrintableHash(project, m_projectHash);
        if (!m_isLooking) {
            AddProjectHashTable(m_projectHash, project, true);
        }
    }
    if (composition != nullptr) {
        m_compositionKey = copyOf(composition);
        _MD5GetPrintableHash(composition, m_compositionHash);
        if (!m_isLooking) {
            AddCompositionHashTable(m_compositionHash, composition, true);
        }
    }
    if (feature != nullptr) {
        m_featureName = copyOf(feature);
        corvid::unlessOutOfMemory("PersistentFrameCache", 0, [this] {
            const std::optional<std::string> path = featurePath();
            return path ? PISSCreateDirectoryPath(path->c_str()) : 0;
        });
    }
}

void KavroPISSFrameCache::Initializer(bool reset, const char* root) {
    m_root = nullptr;
    m_projectKey = nullptr;
    m_compositionKey = nullptr;
    m_featureName = nullptr;
    m_compositionHashPath = nullptr;
    m_projectHashPath = nullptr;
    m_numberOfProjects = 0;
    m_numberOfCompositions = 0;
    m_numberOfFeatures = 0;
    m_numberOfFrames = 0;
    m_projectTable.clear();
    m_compositionTable.clear();
    m_projectHash[0] = '\0';
    m_compositionHash[0] = '\0';
    m_listing.clear();
    if (reset) {
        return;
    }
    m_compositionHashPath.reset(static_cast<char*>(std::malloc(kHashPathSize)));
    m_projectHashPath.reset(static_cast<char*>(std::malloc(kHashPathSize)));
    if (m_compositionHashPath == nullptr || m_projectHashPath == nullptr) {
        maro_logError("PersistentFrameCache::Initializer : Could not malloc\n");
        m_compositionHashPath = nullptr;
        m_projectHashPath = nullptr;
        return;
    }
    if (root != nullptr ? takeRoot(root) : takeConfiguredRoot()) {
        if (!m_isLooking) {
            PISSCreateDirectoryPath(m_root.get());
        }
        setHashPaths();
    } else {
        markUninitialized();
    }
}

bool KavroPISSFrameCache::takeRoot(const char* root) {
    const std::size_t length = std::strlen(root);
    m_root.reset(static_cast<char*>(std::malloc(length + 4)));
    if (m_root == nullptr) {
        maro_logError("PersistentFrameCache::Initializer : Could not malloc");
        return false;
    }
    std::memcpy(m_root.get(), root, length + 1);
    if (!corvid::endsWithSeparator(root)) {
        std::memcpy(m_root.get() + length, "/", 2);
    }
    return true;
}

bool KavroPISSFrameCache::takeConfiguredRoot() {
    KavroPISSConfig config;
    char* root = nullptr;
    // An empty root would make every path on the machine one of this cache.
    if (!config.GetItem(&root, corvid::kGlobalScope, corvid::kCacheRoot.name) || *root == '\0') {
        std::free(root);
        maro_logError(
            "PersistentFrameCache::Initializer : Could not get General Config item default:%s\n",
            corvid::kCacheRoot.name);
        return false;
    }
    m_root.reset(root);
    return true;
}

void KavroPISSFrameCache::setHashPaths() {
    const char* separator = corvid::endsWithSeparator(m_root.get()) ? "" : "/";
    const int composition = std::snprintf(m_compositionHashPath.get(), kHashPathSize, "%s%s%s",
                                          m_root.get(), separator, "CompositionHash.txt");
    std::snprintf(m_projectHashPath.get(), kHashPathSize, "%s%s%s", m_root.get(), separator,
                  "ProjectHash.txt");
    // A path that was cut would be another file's; no file system takes a path that long anyway.
    if (composition < 0 || static_cast<std::size_t>(composition) >= kHashPathSize) {
        m_root = nullptr;
        markUninitialized();
    }
}

void KavroPISSFrameCache::markUninitialized() {
    m_root = nullptr;
    m_compositionHashPath = copyOf(kUninitialized);
    m_projectHashPath = copyOf(kUninitialized);
}

// "uninitialized" is a mark, never a file in whatever directory the process happens to be in.
const char* KavroPISSFrameCache::tablePath(const corvid::OwnedText& path) const {
    return m_root != nullptr ? path.get() : nullptr;
}

std::optional<std::string> KavroPISSFrameCache::rootPath() const {
    return m_root != nullptr ? std::optional<std::string>(m_root.get()) : std::nullopt;
}

std::optional<std::string> KavroPISSFrameCache::projectPath() const {
    std::optional<std::string> path = m_projectKey != nullptr ? rootPath() : std::nullopt;
    if (path) {
        path->append(m_projectHash).append(1, '/');
    }
    return path;
}

std::optional<std::string> KavroPISSFrameCache::compositionPath() const {
    std::optional<std::string> path = m_compositionKey != nullptr ? projectPath() : std::nullopt;
    if (path) {
        path->append(m_compositionHash).append(1, '/');
    }
    return path;
}

std::optional<std::string> KavroPISSFrameCache::featurePath() const {
    std::optional<std::string> path = m_featureName != nullptr ? compositionPath() : std::nullopt;
    if (path) {
        path->append(m_featureName.get()).append(1, '/');
    }
    return path;
}

int KavroPISSFrameCache::GetCompletePathToCacheRoot(char* buffer, int size) const {
    return printPath(buffer, size, [this] { return rootPath(); });
}

int KavroPISSFrameCache::GetCompletePathToProject(char* buffer, int size) const {
    return printPath(buffer, size, [this] { return projectPath(); });
}

int KavroPISSFrameCache::GetCompletePathToComposition(char* buffer, int size) const {
    return printPath(buffer, size, [this] { return compositionPath(); });
}

int KavroPISSFrameCache::GetCompletePathToFrameCache(char* buffer, int size) const {
    return printPath(buffer, size, [this] { return featurePath(); });
}

int KavroPISSFrameCache::ReadProjectHashTable() {
    return m_projectTable.read(tablePath(m_projectHashPath));
}

int KavroPISSFrameCache::ReadCompositionHashTable() {
    return m_compositionTable.read(tablePath(m_compositionHashPath));
}

int KavroPISSFrameCache::AddProjectHashTable(const char* hash, const char* key, bool write) {
    return m_projectTable.add(tablePath(m_projectHashPath), hash, key, write);
}

int KavroPISSFrameCache::AddCompositionHashTable(const char* hash, const char* key, bool write) {
    return m_compositionTable.add(tablePath(m_compositionHashPath), hash, key, write);
}

int KavroPISSFrameCache::DoesProjectHashAlreadyExist(const char* hash, const char* key) const {
    return m_projectTable.contains(hash, key) ? 1 : 0;
}

int KavroPISSFrameCache::DoesCompositionHashAlreadyExist(const char* hash, const char* key) const {
    return m_compositionTable.contains(hash, key) ? 1 : 0;
}

int KavroPISSFrameCache::FindProjectNameHashGivenKey(const char* key, char** hash) const {
    return handOut(m_projectTable.hashOf(key), hash);
}

int KavroPISSFrameCache::FindCompositionNameHashGivenKey(const char* key, char** hash) const {
    return handOut(m_compositionTable.hashOf(key), hash);
}

int KavroPISSFrameCache::FindOriginalProjectKeyGivenHash(const char* hash, char** key) const {
    return handOut(m_projectTable.keyOf(hash), key);
}

int KavroPISSFrameCache::FindOriginalCompositionKeyGivenHash(const char* hash, char** key) const {
    return handOut(m_compositionTable.keyOf(hash), key);
}

int KavroPISSFrameCache::WriteProjectHashTable() const {
    return m_projectTable.write(tablePath(m_projectHashPath));
}

int KavroPISSFrameCache::WriteCompositionHashTable() const {
    return m_compositionTable.write(tablePath(m_compositionHashPath));
}

int KavroPISSFrameCache::DeleteProjectHashTable() {
    m_projectTable.clear();
    return 0; // callers ignore it; the composition form differs and always has
}

int KavroPISSFrameCache::DeleteCompositionHashTable() {
    m_compositionTable.clear();
    return 1;
}

#include "MacCacheManager/CacheDataSource.h"

#include "MacCacheManager/columns.h"
#include "MacCacheManager/tree_building.h"
#include "files/path_text.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/PISSFileUtilities.h"
#include "store/PISSMD5.h"

#include <QScopeGuard>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

CacheDataSource::CacheDataSource() {
    reload();
}

void CacheDataSource::reload() {
    populateDatasource();
}

void CacheDataSource::populateDatasource() {
    m_isStopped = false;
    if (!m_shouldProvideData) {
        m_rootNode = std::make_unique<FrameCacheEntry>(corvid::kRootNode, "none", "root");
        m_sources = {};
        return;
    }
    if (m_progressSpinner != nullptr) {
        m_progressSpinner->startAnimation();
    }
    corvid::BuildSources sources;
    const corvid::CacheReading reading = readWhileShowing(cacheRoots(sources));
    if (reading.isStopped) {
        m_sources.isStopped = true;
    } else {
        m_sources = sources;
        m_rootNode = treeOf(reading);
    }
    if (m_progressSpinner != nullptr) {
        m_progressSpinner->stopAnimation();
    }
}

std::vector<std::string> CacheDataSource::cacheRoots(corvid::BuildSources& sources) {
    sources.hasRegistry = corvid::hasRegistry();
    KavroPISSFrameCacheRegistry registry;
    std::vector<std::string> roots = corvid::distinctCacheRoots(registry);
    sources.roots = static_cast<int>(roots.size());
    return roots;
}

namespace {

// What a thread that reads tells the one that waits for it.
struct ReadingAtWork {
    std::mutex mutex;
    std::condition_variable changed;
    corvid::CacheReading reading;
    bool isDone = false;
    bool isOutOfMemory = false;
    std::atomic<std::uint64_t> files = 0;

    void read(const corvid::ReadingOptions& options) {
        try {
            reading = corvid::readCaches(options, [this](std::uint64_t read) { files = read; });
        } catch (const std::bad_alloc&) {
            isOutOfMemory = true;
        }
        const std::lock_guard<std::mutex> lock(mutex);
        isDone = true;
        changed.notify_one();
    }
};

// Shows the indicator meanwhile, many times a second.
corvid::CacheReading readOnAnotherThread(const corvid::ReadingOptions& options,
                                         corvid::BuildIndicator& indicator) {
    constexpr std::chrono::milliseconds kFrame{16};
    ReadingAtWork work;
    std::thread thread;
    try {
        thread = std::thread([&work, &options] { work.read(options); });
    } catch (const std::system_error&) { // no thread to be had
        return corvid::readCaches(
            options, [&indicator](std::uint64_t files) { indicator.showFilesRead(files); });
    }
    const auto joined = qScopeGuard([&thread] { thread.join(); });
    std::unique_lock<std::mutex> lock(work.mutex);
    while (!work.changed.wait_for(lock, kFrame, [&work] { return work.isDone; })) {
        lock.unlock();
        indicator.showFilesRead(work.files);
        lock.lock();
    }
    if (work.isOutOfMemory) {
        throw std::bad_alloc();
    }
    return std::move(work.reading);
}

} // namespace

// The window goes on being painted while other threads read.
corvid::CacheReading CacheDataSource::readWhileShowing(std::vector<std::string> roots) {
    for (const std::string& root : roots) {
        PISSCreateDirectoryPath(corvid::rootPath(root).c_str()); // as opening a model does
    }
    const corvid::ReadingOptions options{.roots = std::move(roots), .stop = &m_isStopped};
    if (m_progressSpinner == nullptr) {
        return corvid::readCaches(options);
    }
    return readOnAnotherThread(options, *m_progressSpinner);
}

std::unique_ptr<FrameCacheEntry> CacheDataSource::treeOf(const corvid::CacheReading& reading) {
    auto tree = std::make_unique<FrameCacheEntry>(corvid::kRootNode, "none", "root");
    std::vector<int> ends; // of each root's nodes
    for (const corvid::ReadRoot& root : reading.roots) {
        m_sources.unreadableRoots += corvid::addProjects(*tree, root) ? 0 : 1;
        ends.push_back(tree->getNumberOfChildren());
    }
    int next = 0;
    for (std::size_t i = 0; i < reading.roots.size(); ++i) {
        corvid::RootTables tables = reading.roots[i].tables;
        for (; next < ends[i]; ++next) {
            corvid::addContents(*tree->getChildAt(next), reading.roots[i], tables);
        }
    }
    calculateFilecountForNode(tree.get());
    calculateFilesizeForNode(tree.get());
    calculateLastModifiedForNode(tree.get());
    return tree;
}

void CacheDataSource::addCompsToNode(FrameCacheEntry* project, const char* projectName,
                                     const char* /*projectPath*/) {
    const char* root = project->getPathToRootCache();
    corvid::RootTables tables = corvid::tablesOfRoot(root);
    const corvid::ReadProject read = corvid::readProject(
        root, corvid::PrintableHash(projectName).text(), tables.compositions.get());
    corvid::addCompositions(*project, projectName, &read, tables);
}

void CacheDataSource::addFeaturesToNode(FrameCacheEntry* composition, const char* projectName,
                                        const char* compName) {
    const char* root = composition->getPathToRootCache();
    corvid::RootTables tables = corvid::tablesOfRoot(root);
    const corvid::ReadProject read = corvid::readProject(
        root, corvid::PrintableHash(projectName).text(), tables.compositions.get());
    corvid::addFeatures(*composition, projectName, compName,
                        read.inDirectory(corvid::PrintableHash(compName).text()), tables);
}

void CacheDataSource::setLastModifiedDate(FrameCacheEntry* feature, const char* projectName,
                                          const char* compName, const char* featureName) {
    KavroPISSFrameCache cache(feature->getPathToRootCache(), projectName, compName, featureName);
    long date = 0;
    cache.GetLastModifiedDateForFeature(&date);
    feature->setModifiedTime(static_cast<int>(date));
}

std::uint64_t CacheDataSource::calculateFilesizeForNode(FrameCacheEntry* node) {
    if (node == nullptr || node->getNumberOfChildren() == 0) {
        return node != nullptr ? node->getFileSize() : 0;
    }
    std::uint64_t total = 0;
    for (int i = 0; i < node->getNumberOfChildren(); ++i) {
        total += calculateFilesizeForNode(node->getChildAt(i));
    }
    node->setFileSize(total);
    return total;
}

int CacheDataSource::calculateFilecountForNode(FrameCacheEntry* node) {
    if (node == nullptr || node->getNumberOfChildren() == 0) {
        return node != nullptr ? node->getFileCount() : 0;
    }
    unsigned total = 0; // 32 bits, going round rather than overflowing
    for (int i = 0; i < node->getNumberOfChildren(); ++i) {
        total += static_cast<unsigned>(calculateFilecountForNode(node->getChildAt(i)));
    }
    node->setFileCount(static_cast<int>(total));
    return static_cast<int>(total);
}

int CacheDataSource::calculateLastModifiedForNode(FrameCacheEntry* node) {
    if (node == nullptr || node->getNumberOfChildren() == 0) {
        return node != nullptr ? node->getModifiedTime() : 0;
    }
    int newest = 0;
    for (int i = 0; i < node->getNumberOfChildren(); ++i) {
        newest = std::max(newest, calculateLastModifiedForNode(node->getChildAt(i)));
    }
    node->setModifiedTime(newest);
    return newest;
}

void CacheDataSource::stripTrailingSlashes(char* path) {
    path[corvid::withoutSeparators(path).size()] = '\0';
}

FrameCacheEntry* CacheDataSource::outlineViewChildOfItem(int index,
                                                         const FrameCacheEntry* item) const {
    return (item != nullptr ? item : m_rootNode.get())->getChildAt(index);
}

int CacheDataSource::outlineViewNumberOfChildrenOfItem(const FrameCacheEntry* item) const {
    return (item != nullptr ? item : m_rootNode.get())->getNumberOfChildren();
}

bool CacheDataSource::outlineViewIsItemExpandable(const FrameCacheEntry* item) const {
    return item != nullptr && item->getNumberOfChildren() > 0;
}

QString CacheDataSource::outlineViewObjectValueForTableColumn(const QString& identifier,
                                                              const FrameCacheEntry* item) const {
    if (item == nullptr) {
        item = m_rootNode.get();
    }
    for (const corvid::Column& column : corvid::outlineColumns()) {
        if (identifier == QLatin1String(column.identifier)) {
            return column.text(*item);
        }
    }
    return QString::fromUtf8(identifier == u"path" ? item->getPath() : item->getName());
}

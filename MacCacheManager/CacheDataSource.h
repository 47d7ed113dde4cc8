#pragma once

// The cache tree of the whole machine and the outline's view of it. The tree mirrors the disk at
// the moment of the last reload(): a root, under it one node per project of every registered cache
// root, under each project its compositions, under each composition its features.

#include "MacCacheManager/FrameCacheEntry.h"
#include "store/cache_reading.h"

#include <QString>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace corvid {

// Shows that the tree is being built. Called on the thread that asked for it, many times a second
// while others read.
class BuildIndicator {
public:
    virtual ~BuildIndicator() = default;
    virtual void startAnimation() = 0;
    virtual void showFilesRead(std::uint64_t files) = 0;
    virtual void stopAnimation() = 0;
};

// What the last build found to read, for telling the user why there is nothing to show.
struct BuildSources {
    bool hasRegistry = false;
    int roots = 0;
    int unreadableRoots = 0;
    bool isStopped = false; // a later build was stopped, so that this one stays
};

} // namespace corvid

class CacheDataSource {
public:
    // Starts with a bare root: nothing is read until setShouldProvideData(true) and reload().
    CacheDataSource();
    CacheDataSource(const CacheDataSource&) = delete;
    CacheDataSource& operator=(const CacheDataSource&) = delete;

    void setShouldProvideData(bool provide) { m_shouldProvideData = provide; }
    bool shouldProvideData() const { return m_shouldProvideData; }
    // Not owned; null for none.
    void setProgressSpinner(corvid::BuildIndicator* spinner) { m_progressSpinner = spinner; }

    // Builds a new tree from the disk in place of the present one, which goes with every node of
    // it. Returns when it is done; a build that was stopped leaves the present tree.
    void reload();
    void populateDatasource();
    // Ends the build that is at work soon. For the indicator's time.
    void stopReading() { m_isStopped = true; }
    FrameCacheEntry* getRootNode() const { return m_rootNode.get(); }
    const corvid::BuildSources& sources() const { return m_sources; }

    // Build one project (the path is not used), or one composition, from a reading of their own;
    // the build of the whole tree makes the same nodes from one reading of all.
    void addCompsToNode(FrameCacheEntry* project, const char* projectName, const char* projectPath);
    void addFeaturesToNode(FrameCacheEntry* composition, const char* projectName,
                           const char* compName);
    void setLastModifiedDate(FrameCacheEntry* feature, const char* projectName,
                             const char* compName, const char* featureName);

    // Aggregation, depth first: a node with children gets, and returns, the sum of its children
    // (the greatest of their times and 0); one without returns its own number. 0 for null.
    static std::uint64_t calculateFilesizeForNode(FrameCacheEntry* node);
    static int calculateFilecountForNode(FrameCacheEntry* node);
    static int calculateLastModifiedForNode(FrameCacheEntry* node);
    // Removes trailing "/" in place; the first character always stays.
    static void stripTrailingSlashes(char* path);
    void createTestData() {}

    // The outline's data source; null stands for the root.
    FrameCacheEntry* outlineViewChildOfItem(int index, const FrameCacheEntry* item) const;
    int outlineViewNumberOfChildrenOfItem(const FrameCacheEntry* item) const;
    bool outlineViewIsItemExpandable(const FrameCacheEntry* item) const;
    // By the identifier of a column of the outline, or "path"; any other gives the name.
    QString outlineViewObjectValueForTableColumn(const QString& identifier,
                                                 const FrameCacheEntry* item) const;

private:
    static std::vector<std::string> cacheRoots(corvid::BuildSources& sources);
    corvid::CacheReading readWhileShowing(std::vector<std::string> roots);
    std::unique_ptr<FrameCacheEntry> treeOf(const corvid::CacheReading& reading);

    std::unique_ptr<FrameCacheEntry> m_rootNode;
    bool m_shouldProvideData = false;
    corvid::BuildIndicator* m_progressSpinner = nullptr;
    corvid::BuildSources m_sources;
    std::atomic<bool> m_isStopped = false;
};

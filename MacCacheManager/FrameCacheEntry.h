#pragma once

// A node of the cache tree: the root, a project, a composition or a feature directory.

#include "files/owned_text.h"
#include "store/features.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace corvid {
constexpr int kRootNode = 0;
constexpr int kUnsetNode = 1; // what a bare node is until it is given a type
constexpr int kProjectNode = 2;
constexpr int kCompositionNode = 3;
constexpr int kFeatureNode = 4;

} // namespace corvid

// Features are measured on the disk; a node with children carries the sums of its children once the
// tree is built. A node owns its children and points back to its parent. The display texts belong
// to the number that was set last: each is made once, when it is first asked for, and kept.
class FrameCacheEntry {
public:
    FrameCacheEntry() = default;
    // Neither text may be null.
    FrameCacheEntry(int nodeType, const char* name, const char* path);
    FrameCacheEntry(const FrameCacheEntry&) = delete;
    FrameCacheEntry& operator=(const FrameCacheEntry&) = delete;

    int getNodeType() const { return m_nodeType; }
    void setNodeType(int type) { m_nodeType = type; }
    // The name's and the path's bytes, null when never given; the node's own.
    const char* getName() const { return m_strName.get(); }
    void setName(const char* name);
    const char* getPath() const { return m_strPath.get(); }
    void setPath(const char* path);
    // The cache root under which the node lives, null for none; the node's own copy.
    const char* getPathToRootCache() const { return m_szPathToCache.get(); }
    void setPathToRootCache(const char* path);

    // Takes the child over and returns it; it does not become its parent's by itself (see
    // setParent).
    FrameCacheEntry* addChild(std::unique_ptr<FrameCacheEntry> child);
    FrameCacheEntry* getChildAt(int index) const;
    int getNumberOfChildren() const { return static_cast<int>(m_children.size()); }
    // Gives a child up; null when it is not one of the children.
    std::unique_ptr<FrameCacheEntry> takeChild(const FrameCacheEntry* child);
    // The same, and the child with its subtree is gone.
    void removeAndFreeChild(const FrameCacheEntry* child) { takeChild(child); }
    void setParent(FrameCacheEntry* parent) { m_parent = parent; }
    FrameCacheEntry* getParent() const { return m_parent; }

    // Bytes on disk. The text is "0" while no size was ever set.
    void setFileSize(std::uint64_t bytes);
    std::uint64_t getFileSize() const { return m_nSizeOnDisk; }
    QString getFileSizeString() const;
    // Number of files. The text is "0" while no count was ever set.
    void setFileCount(int count);
    int getFileCount() const { return m_nNumberOfFiles; }
    QString getFileCountString() const;
    // Seconds since 1970 (UTC). The text is "??-??-????" while no time was ever set.
    void setModifiedTime(int seconds);
    int getModifiedTime() const { return m_modifiedTime; }
    QString getLastModifiedTime() const;
    // What the outline shows in its name column: the feature's kind for a feature directory that
    // the plug-ins write, else the last path component of the name; "-" for a node without a name.
    QString getDisplayName() const;
    // The same for a name.
    static QString displayNameOf(const char* name,
                                 corvid::FeatureTable features = corvid::kKnownFeatures);

    // The size in its unit with two decimals, bytes with none; the same in every locale.
    static QString readableFileSize(std::uint64_t bytes);

private:
    corvid::OwnedText m_strName;
    corvid::OwnedText m_strPath;
    std::uint64_t m_nSizeOnDisk = 0;
    int m_nNumberOfFiles = 0;
    int m_nodeType = corvid::kUnsetNode;
    std::vector<std::unique_ptr<FrameCacheEntry>> m_children;
    // Null text: not made since the number was set.
    mutable QString m_strDisplayName;
    mutable QString m_strSizeOnDisk;
    mutable QString m_strNumOfFiles;
    mutable QString m_strLastModifiedTime;
    bool m_hasSize = false;
    bool m_hasCount = false;
    bool m_hasTime = false;
    int m_modifiedTime = 0;
    corvid::OwnedText m_szPathToCache;
    FrameCacheEntry* m_parent = nullptr;
};

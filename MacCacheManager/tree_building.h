#pragma once

// Makes the cache tree from a reading. What frame cache models opened in the course of it would
// leave on the disk (a line for a key whose directory another line names) and say in the log is
// left and said here.

#include "MacCacheManager/FrameCacheEntry.h"
#include "store/cache_reading.h"

namespace corvid {

// Adds a project node to the tree's root for each of a cache root's directories that its table
// names, up to the first that it does not name: there a model's steps end. Whether the root could
// be read.
[[nodiscard]] bool addProjects(FrameCacheEntry& treeRoot, const ReadRoot& read);

// Adds compositions and features below a project's node. A model is opened by key, so what is shown
// below a node is what lies in the directory that its key leads to, wherever the node's own is.
// `tables` are the root's and are read anew when a line had to be added.
void addContents(FrameCacheEntry& project, const ReadRoot& read, RootTables& tables);

// The same with names and contents of the caller's: the compositions of a project whose directory
// is `read`, null for none, and the features of one composition.
void addCompositions(FrameCacheEntry& project, const char* projectName, const ReadProject* read,
                     RootTables& tables);
void addFeatures(FrameCacheEntry& composition, const char* projectName, const char* compName,
                 const ReadComposition* read, RootTables& tables);

} // namespace corvid

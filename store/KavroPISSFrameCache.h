#pragma once

// The model of one place in the on-disk frame cache: a cache root and, optionally, one project, one
// composition of it and one feature of that.
//
//   root/ProjectHash.txt, root/CompositionHash.txt     the tables behind the hashed names
//   root/<project hash>/<composition hash>/<feature>/00000012.raw
//
// An object is made for one piece of work on one thread. It holds one listing with one cursor:
// preparing a level ends the listing of the level before. Operations answer 1 for success and 0 for
// failure, after one error line unless a lookup plainly missed. Texts handed out are released by
// the caller with free().

#include "files/owned_text.h"
#include "files/unique_fd.h"
#include "store/PISSFileUtilities.h"
#include "store/features.h"
#include "store/hash_table.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

// The feature directories that the plug-ins write, in this order.
inline constexpr auto& KAVRO_FEATURE_SUBDIRS = corvid::kKnownFeatureDirectories.names;

namespace corvid {
// Opens a place of the cache to look at it.
struct LookOnly {};
} // namespace corvid

class KavroPISSFrameCache {
public:
    // The cache root of the global settings; the bool is accepted and ignored. Every form creates
    // the root directory and records new keys in the tables; a feature also creates its directory.
    explicit KavroPISSFrameCache(bool reset);
    KavroPISSFrameCache(bool reset, const char* project);
    KavroPISSFrameCache(bool reset, const char* project, const char* composition);
    KavroPISSFrameCache(bool reset, const char* project, const char* composition,
                        const char* feature);
    // The same on a given root, to which "/" is appended when it lacks one.
    explicit KavroPISSFrameCache(const char* root);
    KavroPISSFrameCache(const char* root, const char* project);
    KavroPISSFrameCache(const char* root, const char* project, const char* composition);
    KavroPISSFrameCache(const char* root, const char* project, const char* composition,
                        const char* feature);
    // The same without a change on the disk: neither the root nor a line of a table is made. A
    // project, and a composition when there is one, are known to the queries all the same.
    KavroPISSFrameCache(corvid::LookOnly look, const char* root, const char* project,
                        const char* composition);
    ~KavroPISSFrameCache();
    KavroPISSFrameCache(const KavroPISSFrameCache&) = delete;
    KavroPISSFrameCache& operator=(const KavroPISSFrameCache&) = delete;

    // Empties the object; unless `reset`, then sets it up on a root (null: the global setting's).
    void Initializer(bool reset, const char* root);

    // Paths, all but the root's ending in "/", cut to the buffer. 0 leaves a null or empty buffer
    // alone, and empties the buffer when this object lacks a part of the path.
    int GetCompletePathToCacheRoot(char* buffer, int size) const;
    int GetCompletePathToProject(char* buffer, int size) const;
    int GetCompletePathToComposition(char* buffer, int size) const;
    int GetCompletePathToFrameCache(char* buffer, int size) const;

    // Listing: prepare a level, then step until the step reports the end. The counts are those of
    // the last preparation and include entries whose hash will not resolve.
    int PrepareProjectList();
    int PrepareCompositionList();
    int PrepareFeatureList();
    int PrepareFrameCacheList();
    int GetNumberOfProjects() const { return m_numberOfProjects; }
    int GetNumberOfCompositions() const { return m_numberOfCompositions; }
    int GetNumberOfFeatures() const { return m_numberOfFeatures; }
    int GetNumberOfFramesInFrameCache() const { return m_numberOfFrames; }

    // Each hands out the entry's path and its key (features and frames: its name). A directory
    // whose hash no table line names is a failure that does not advance, so that a walk ends there;
    // its path is handed out all the same. Projects, compositions and features: 1, or 0 at the end
    // or on failure; frames: the frame number, or -1.
    int GetNextItemInProjectList(char** pathToProject, char** projectName);
    int GetNextItemInCompositionList(char** pathToComposition, char** compositionName);
    int GetNextItemInFeatureList(char** pathToFeature, char** featureName);
    int GetNextItemInFrameCacheList(char** pathToFrame, char** frameName);
    // The same with the item's size in bytes, 0 on failure. The last two take the composition step
    // by design; the frame form answers 1 or -1.
    int GetNextItemInProjectList(char** pathToProject, char** projectName,
                                 std::uint64_t* ptrToSizeOfContents);
    int GetNextItemInCompositionList(char** pathToComposition, char** compositionName,
                                     std::uint64_t* ptrToSizeOfContents);
    int GetNextItemInFeatureList(char** pathToFeature, char** featureName,
                                 std::uint64_t* ptrToSizeOfContents);
    int GetNextItemInFrameCacheList(char** pathToFrame, char** frameName,
                                    std::uint64_t* ptrToSizeOfContents);
    void ReleaseFileDirectoryListIfUsed();

    // The hash tables. Reading a missing file leaves the table empty and answers 0; adding a new
    // pair with `write` rewrites the file. The finds leave the result untouched on a miss.
    int ReadProjectHashTable();
    int ReadCompositionHashTable();
    int AddProjectHashTable(const char* hash, const char* key, bool write);
    int AddCompositionHashTable(const char* hash, const char* key, bool write);
    int DoesProjectHashAlreadyExist(const char* hash, const char* key) const;
    int DoesCompositionHashAlreadyExist(const char* hash, const char* key) const;
    int FindProjectNameHashGivenKey(const char* key, char** hash) const;
    int FindCompositionNameHashGivenKey(const char* key, char** hash) const;
    int FindOriginalProjectKeyGivenHash(const char* hash, char** key) const;
    int FindOriginalCompositionKeyGivenHash(const char* hash, char** key) const;
    int WriteProjectHashTable() const;
    int WriteCompositionHashTable() const;
    // Empty the table in memory, not the file. The project form answers 0, the composition form 1.
    int DeleteProjectHashTable();
    int DeleteCompositionHashTable();

    // Bytes of all projects up to the first directory that no table line names.
    std::uint64_t GetSize();
    // Seconds since 1970 of the feature's newest frame; the current time when it has none.
    // Always 1.
    int GetLastModifiedDateForFeature(long* date);
    // Whether the current listing holds a frame of that number.
    int DoesFrameExist(int frame) const;
    // Whether any of the features of this object's compositions, taken under the project named
    // here, holds frames. Looking creates the directories it looks into.
    int DoesProjectHaveAnyCacheFiles(const char* projectName,
                                     corvid::FeatureTable features = corvid::kKnownFeatures);

    // Frames are written by other code; these change nothing and answer 1.
    int AddFrame(int) { return 1; }
    int DeleteFrame(int) { return 1; }
    int StartTransaction() { return 1; }
    int Commit() { return 1; }

    // Removal. Every path must begin, as text, with this object's cache root. Removing works from
    // the root downwards by descriptors and follows no link, so that nothing outside the directory
    // can be reached; a link is removed as a file. It stops at the first failure: what was removed
    // stays removed. A file that nobody may write is such a failure.
    int DeleteProject(const char* projectName);
    int DeleteComposition(const char* compositionName);
    int DeleteFeature(const char* featureName);
    int DeleteDirectory(const char* path);
    // What those three would remove now, with all in it; nothing when they would refuse, without a
    // message, or when nothing is there. Throw std::bad_alloc.
    std::optional<std::string> pathThatDeleteProjectRemoves(const char* projectName) const;
    std::optional<std::string> pathThatDeleteCompositionRemoves(const char* compositionName) const;
    std::optional<std::string> pathThatDeleteFeatureRemoves(const char* featureName) const;
    // Removes the files of this object's feature; the directory stays.
    int DeleteAllFrames();
    // Kept as they step: the first never ends by itself, the other two remove nothing, and answer 0
    // when they cannot list.
    int DeleteAllProjects();
    int DeleteAllCompositions();
    int DeleteAllFeatures();

    // Moves fromParent + name to toParent + "/" + name: by renaming, or where that fails by a copy
    // that leaves hidden files of the directory out, after which the source is removed. A failed
    // copy leaves the source whole. 0 with one error line for a null text.
    int MoveDirectory(const char* fromParent, const char* name, const char* toParent);
    // Moves a project into another cache root. The tables of neither root change.
    int MoveProject(const char* projectName, const char* newCacheRoot);
    // Moves a project's directory to that of another key; null roots stand for this object's and
    // for the source's. 1 without a move when both keys have the same directory.
    int RenameProject(const char* oldProjectName, const char* newProjectName,
                      const char* oldCacheRoot, const char* newCacheRoot);
    // Creates an empty frame file in this object's feature.
    int TestFunctionToCreateAFrameFile(int frame);

    // Called on this thread during removals and copies with the number of files done so far.
    using Progress = std::function<void(std::uint64_t files)>;
    void setProgress(Progress progress) { m_progress = std::move(progress); }

private:
    enum class Level { Project, Composition, Feature, Frame };
    struct LevelNames;
    static const LevelNames& namesOf(Level level);
    enum class Step { Item, End, Failed };

    void construct(const char* root, const char* project, const char* composition,
                   const char* feature);
    bool takeRoot(const char* root);
    bool takeConfiguredRoot();
    void setHashPaths();
    void markUninitialized();
    const char* tablePath(const corvid::OwnedText& path) const;

    std::optional<std::string> rootPath() const;
    std::optional<std::string> projectPath() const;
    std::optional<std::string> compositionPath() const;
    std::optional<std::string> featurePath() const;
    std::optional<std::string> pathOf(Level level) const;
    int prepare(Level level, int& count);
    int list(Level level, int& count);
    std::uint64_t sizeOfProjects();
    Step step(Level level, char** path, char** name);
    bool resolve(Level level, const char* directoryName, char** name) const;
    bool passesSanityCheck(const char* path) const;
    corvid::UniqueFd openParentOf(const std::string& path, std::string& name) const;
    // What a removal by name aims at: the path, or why there is none, as it is logged.
    struct Target {
        std::string path;
        std::string refusal;
    };
    Target projectTarget(const char* projectName) const;
    Target compositionTarget(const char* compositionName) const;
    Target featureTarget(const char* featureName) const;
    Target targetIn(const char* operation, const char* parentName,
                    const std::optional<std::string>& parent, const char* name) const;
    // The same for a name that a table gave.
    Target hashedTargetIn(const char* operation, const char* parentName,
                          const std::optional<std::string>& parent, const char* hash) const;
    int removeTarget(const char* operation, const Target& target);
    std::optional<std::string> pathIfThere(Target target) const;
    // Null when there is none.
    corvid::OwnedText hashOfProject(const char* projectName) const;
    corvid::OwnedText hashOfComposition(const char* compositionName) const;
    int removeDirectory(const char* path);
    bool removeContents(corvid::UniqueFd directory, const std::string& path);
    int removeAllFrames();
    bool removeListedFrames(int directory, const std::string& path);
    std::optional<std::string> sourceRoot(const char* root) const;
    bool copyAcross(const std::string& from, const std::string& to);
    int moveDirectory(const std::string& from, std::string to);
    int renameProject(const char* oldHash, const char* newProjectName, const char* oldCacheRoot,
                      const char* newCacheRoot);
    int stepDirectory(Level level, char** path, char** name, std::uint64_t* size);

    bool m_isLooking = false;
    corvid::OwnedText m_root;
    corvid::OwnedText m_compositionHashPath;
    corvid::OwnedText m_projectHashPath;
    corvid::OwnedText m_projectKey;
    corvid::OwnedText m_compositionKey;
    corvid::OwnedText m_featureName;
    int m_numberOfProjects = 0;
    int m_numberOfCompositions = 0;
    int m_numberOfFeatures = 0;
    int m_numberOfFrames = 0;
    corvid::KeyTable m_compositionTable{"Composition"};
    corvid::KeyTable m_projectTable{"Project"};
    char m_projectHash[corvid::kTableHashLength + 1] = {};
    char m_compositionHash[corvid::kTableHashLength + 1] = {};
    corvid::NameList m_listing;
    Progress m_progress;
};

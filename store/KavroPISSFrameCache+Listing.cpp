#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"
#include "store/KavroPISSFrameCache.h"
#include "store/cache_reading.h"
#include "store/kvp_line.h"

#include <algorithm>
#include <cstring>
#include <ctime>

#include <sys/stat.h>

// What the levels of the listing differ in.
struct KavroPISSFrameCache::LevelNames {
    const char* list;        // the level's name in the names of its operations
    const char* path;        // the path query for the directory that holds the level's entries
    const char* nullResults; // the message when a result pointer is missing
    const char* nullSize;    // the same for the size pointer
    int listedType;          // directories or files
};

const KavroPISSFrameCache::LevelNames& KavroPISSFrameCache::namesOf(Level level) {
    static constexpr LevelNames kNames[] = {
        {"Project", "CacheRoot", "GetNextItemInProjectList: projectName or pathToProject is null\n",
         "GetNextItemInProjectList: ptrToSizeOfContents is null\n", corvid::kListDirectories},
        {"Composition", "Project",
         "GetNextItemInCompositionList: compositionName or pathToComposition is null\n",
         "GetNextItemInCompositionList:  ptrToSizeOfContents is null\n", corvid::kListDirectories},
        {"Feature", "Composition",
         "GetNextItemInFeatureList: featureName or pathToFeature is null\n",
         "GetNextItemInFeatureList:  ptrToSizeOfContents is null\n", corvid::kListDirectories},
        {"FrameCache", "FrameCache",
         "GetNextItemInFrameCacheList: pathToFrame or frameName is null\n",
         "GetNextItemInFrameCacheList: ptrToSizeOfContents is null\n", corvid::kListFiles},
    };
    return kNames[static_cast<int>(level)];
}

std::optional<std::string> KavroPISSFrameCache::pathOf(Level level) const {
    switch (level) {
    case Level::Project:
        return rootPath();
    case Level::Composition:
        return projectPath();
    case Level::Feature:
        return compositionPath();
    case Level::Frame:
        break;
    }
    return featurePath();
}

int KavroPISSFrameCache::prepare(Level level, int& count) {
    ReleaseFileDirectoryListIfUsed();
    count = 0;
    return corvid::unlessOutOfMemory("PrepareList", 0, [&] { return list(level, count); });
}

int KavroPISSFrameCache::list(Level level, int& count) {
    const LevelNames& names = namesOf(level);
    const std::optional<std::string> path = pathOf(level);
    if (!path) {
        maro_logError("Prepare%sList: GetCompletePathTo%s failed\n", names.list, names.path);
        return 0;
    }
    sDirectoryOrFileListEntry* head = nullptr;
    sDirectoryOrFileListEntry* tail = nullptr;
    const int listed =
        PISSGetDirectoryOrFileList(path->c_str(), names.listedType, &head, &tail, &count);
    m_listing.adopt(head, tail, static_cast<std::size_t>(count));
    if (listed == 0) {
        maro_logError("Prepare%sList::GetDirectoryOrFileList( '%s' ) failed\n", names.list,
                      path->c_str());
    }
    return listed;
}

int KavroPISSFrameCache::PrepareProjectList() {
    return prepare(Level::Project, m_numberOfProjects);
}

int KavroPISSFrameCache::PrepareCompositionList() {
    return prepare(Level::Composition, m_numberOfCompositions);
}

int KavroPISSFrameCache::PrepareFeatureList() {
    return prepare(Level::Feature, m_numberOfFeatures);
}

int KavroPISSFrameCache::PrepareFrameCacheList() {
    return prepare(Level::Frame, m_numberOfFrames);
}

void KavroPISSFrameCache::ReleaseFileDirectoryListIfUsed() {
    m_listing.clear();
}

bool KavroPISSFrameCache::resolve(Level level, const char* directoryName, char** name) const {
    const bool isProject = level == Level::Project;
    if (isProject || level == Level::Composition) {
        const int found = isProject ? FindOriginalProjectKeyGivenHash(directoryName, name)
                                    : FindOriginalCompositionKeyGivenHash(directoryName, name);
        if (found == 0) {
            maro_logError("GetNextItemIn%sList: FindOriginal%sKeyGivenHash[%s] failed\n",
                          namesOf(level).list, namesOf(level).list, directoryName);
        }
        return found != 0;
    }
    *name = ::strdup(directoryName);
    if (*name == nullptr) {
        maro_logError("GetNextItemIn%sList: malloc failed\n", namesOf(level).list);
    }
    return *name != nullptr;
}

KavroPISSFrameCache::Step KavroPISSFrameCache::step(Level level, char** path, char** name) {
    const LevelNames& names = namesOf(level);
    if (path == nullptr || name == nullptr) {
        maro_logError("%s", names.nullResults);
        return Step::Failed;
    }
    *path = nullptr;
    *name = nullptr;
    const sDirectoryOrFileListEntry* entry = m_listing.cursor();
    if (entry == nullptr) {
        return Step::End;
    }
    try {
        const std::optional<std::string> directory = pathOf(level);
        if (!directory) {
            maro_logError("GetNextItemIn%sList: Unable to GetCompletePathTo%s\n", names.list,
                          names.path);
            return Step::Failed;
        }
        *path = ::strdup((*directory + entry->name).c_str());
    } catch (const std::bad_alloc&) {
        // as when there is none for the copy
    }
    if (*path == nullptr) {
        maro_logError("GetNextItemIn%sList: malloc failed\n", names.list);
        return Step::Failed;
    }
    if (!resolve(level, entry->name, name)) {
        return Step::Failed;
    }
    m_listing.next();
    return Step::Item;
}

int KavroPISSFrameCache::GetNextItemInProjectList(char** pathToProject, char** projectName) {
    return step(Level::Project, pathToProject, projectName) == Step::Item ? 1 : 0;
}

int KavroPISSFrameCache::GetNextItemInCompositionList(char** pathToComposition,
                                                      char** compositionName) {
    return step(Level::Composition, pathToComposition, compositionName) == Step::Item ? 1 : 0;
}

int KavroPISSFrameCache::GetNextItemInFeatureList(char** pathToFeature, char** featureName) {
    return step(Level::Feature, pathToFeature, featureName) == Step::Item ? 1 : 0;
}

int KavroPISSFrameCache::GetNextItemInFrameCacheList(char** pathToFrame, char** frameName) {
    return step(Level::Frame, pathToFrame, frameName) == Step::Item
               ? corvid::decimalValue(*frameName)
               : -1;
}

int KavroPISSFrameCache::stepDirectory(Level level, char** path, char** name, std::uint64_t* size) {
    if (size == nullptr) {
        maro_logError("%s", namesOf(level).nullSize);
        return 0;
    }
    // Features and frames take the composition step too: plug-ins rely on the hash lookup it makes.
    const Level stepped = level == Level::Project ? Level::Project : Level::Composition;
    const bool isItem = step(stepped, path, name) == Step::Item;
    if (!isItem) {
        *size = 0;
    } else if (level == Level::Frame) {
        *size = PISSGetSizeOfFileContents(*path);
    } else {
        *size = PISSGetSizeOfDirectoryContents(*path);
    }
    return isItem ? 1 : 0;
}

int KavroPISSFrameCache::GetNextItemInProjectList(char** pathToProject, char** projectName,
                                                  std::uint64_t* ptrToSizeOfContents) {
    return stepDirectory(Level::Project, pathToProject, projectName, ptrToSizeOfContents);
}

int KavroPISSFrameCache::GetNextItemInCompositionList(char** pathToComposition,
                                                      char** compositionName,
                                                      std::uint64_t* ptrToSizeOfContents) {
    return stepDirectory(Level::Composition, pathToComposition, compositionName,
                         ptrToSizeOfContents);
}

int KavroPISSFrameCache::GetNextItemInFeatureList(char** pathToFeature, char** featureName,
                                                  std::uint64_t* ptrToSizeOfContents) {
    return stepDirectory(Level::Feature, pathToFeature, featureName, ptrToSizeOfContents);
}

int KavroPISSFrameCache::GetNextItemInFrameCacheList(char** pathToFrame, char** frameName,
                                                     std::uint64_t* ptrToSizeOfContents) {
    return stepDirectory(Level::Frame, pathToFrame, frameName, ptrToSizeOfContents) != 0 ? 1 : -1;
}

std::uint64_t KavroPISSFrameCache::GetSize() {
    return corvid::unlessOutOfMemory("GetSize", std::uint64_t{0},
                                     [this] { return sizeOfProjects(); });
}

std::uint64_t KavroPISSFrameCache::sizeOfProjects() {
    if (PrepareProjectList() == 0) {
        return 0;
    }
    // The projects that the steps would give, measured side by side instead of one after the other.
    std::vector<std::string> projects;
    while (const sDirectoryOrFileListEntry* entry = m_listing.cursor()) {
        if (m_projectTable.keyOf(entry->name) == nullptr) {
            break;
        }
        projects.push_back(*rootPath() + entry->name);
        m_listing.next();
    }
    std::uint64_t bytes = 0;
    for (const corvid::MeasureParts& parts : corvid::measureDirectories(projects)) {
        const corvid::DirectoryMeasure project = parts.total();
        corvid::logUnreadableFiles(project);
        bytes += project.bytes;
    }
    char* path = nullptr;
    char* name = nullptr;
    GetNextItemInProjectList(&path, &name); // the step at which the walk ends, for what it says
    const corvid::OwnedText ownedPath(path);
    const corvid::OwnedText ownedName(name);
    return bytes;
}

int KavroPISSFrameCache::GetLastModifiedDateForFeature(long* date) {
    long newest = 0;
    PrepareFrameCacheList();
    for (;;) {
        char* path = nullptr;
        char* name = nullptr;
        const int frame = GetNextItemInFrameCacheList(&path, &name);
        const corvid::OwnedText ownedPath(path);
        const corvid::OwnedText ownedName(name);
        if (frame == -1) {
            break; // the end, or a file named "-1.raw", which plug-ins take for it
        }
        struct stat status {};
        if (::stat(path, &status) == 0) {
            newest = std::max(newest, static_cast<long>(status.st_mtime));
        }
    }
    *date = newest != 0 ? newest : static_cast<long>(std::time(nullptr));
    return 1;
}

int KavroPISSFrameCache::DoesFrameExist(int frame) const {
    const auto* entry = m_listing.find([frame](const sDirectoryOrFileListEntry& listed) {
        return corvid::decimalValue(listed.name) == frame;
    });
    return entry != nullptr ? 1 : 0;
}

namespace {

bool hasFrames(const char* root, const char* project, const char* composition,
               corvid::FeatureTable features) {
    for (const corvid::Feature& feature : features) {
        KavroPISSFrameCache cache(root, project, composition, feature.directory);
        cache.PrepareFrameCacheList();
        if (cache.GetNumberOfFramesInFrameCache() > 0) {
            maro_log("DoesProjectHaveAnyCacheFiles: Frames exist in the %s cache for Comp:%s%s",
                     feature.nameInLog, composition, feature.endOfLogLine);
            return true;
        }
    }
    return false;
}

} // namespace

int KavroPISSFrameCache::DoesProjectHaveAnyCacheFiles(const char* projectName,
                                                      corvid::FeatureTable features) {
    if (m_root == nullptr) {
        maro_logError("DoesProjectHaveAnyCacheFiles: Unable to GetCompletePathToCacheRoot\n");
        return 0;
    }
    if (PrepareCompositionList() == 0 || GetNumberOfCompositions() < 1) {
        return 0;
    }
    for (;;) {
        char* path = nullptr;
        char* composition = nullptr;
        const int isItem = GetNextItemInCompositionList(&path, &composition);
        const corvid::OwnedText ownedPath(path);
        const corvid::OwnedText ownedComposition(composition);
        if (isItem == 0) {
            return 0;
        }
        if (hasFrames(m_root.get(), projectName, composition, features)) {
            return 1;
        }
    }
}

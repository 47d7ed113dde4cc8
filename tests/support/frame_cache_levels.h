#pragma once

// The four levels of a frame cache model's listing as data, and single steps whose results are
// values.

#include "files/owned_text.h"
#include "store/KavroPISSFrameCache.h"
#include "store/PISSMD5.h"
#include "tests/support/product_root.h"

#include <cstdint>
#include <string>

namespace corvid::test {

using Step = int (KavroPISSFrameCache::*)(char**, char**);
using SizedStep = int (KavroPISSFrameCache::*)(char**, char**, std::uint64_t*);

// The operations of one level.
struct Level {
    const char* name;
    int (KavroPISSFrameCache::*prepare)();
    int (KavroPISSFrameCache::*count)() const;
    Step step;
    SizedStep sizedStep;
    int failure; // what a step answers at the end and on failure
    const char* pathQuery;
    const char* nullResults;
    const char* nullSize;
};

inline const Level kProjects{"ProjectList",
                             &KavroPISSFrameCache::PrepareProjectList,
                             &KavroPISSFrameCache::GetNumberOfProjects,
                             &KavroPISSFrameCache::GetNextItemInProjectList,
                             &KavroPISSFrameCache::GetNextItemInProjectList,
                             0,
                             "GetCompletePathToCacheRoot",
                             "GetNextItemInProjectList: projectName or pathToProject is null\n",
                             "GetNextItemInProjectList: ptrToSizeOfContents is null\n"};
inline const Level kCompositions{
    "CompositionList",
    &KavroPISSFrameCache::PrepareCompositionList,
    &KavroPISSFrameCache::GetNumberOfCompositions,
    &KavroPISSFrameCache::GetNextItemInCompositionList,
    &KavroPISSFrameCache::GetNextItemInCompositionList,
    0,
    "GetCompletePathToProject",
    "GetNextItemInCompositionList: compositionName or pathToComposition is "
    "null\n",
    "GetNextItemInCompositionList:  ptrToSizeOfContents is null\n"};
inline const Level kFeatures{"FeatureList",
                             &KavroPISSFrameCache::PrepareFeatureList,
                             &KavroPISSFrameCache::GetNumberOfFeatures,
                             &KavroPISSFrameCache::GetNextItemInFeatureList,
                             &KavroPISSFrameCache::GetNextItemInFeatureList,
                             0,
                             "GetCompletePathToComposition",
                             "GetNextItemInFeatureList: featureName or pathToFeature is null\n",
                             "GetNextItemInFeatureList:  ptrToSizeOfContents is null\n"};
inline const Level kFrames{"FrameCacheList",
                           &KavroPISSFrameCache::PrepareFrameCacheList,
                           &KavroPISSFrameCache::GetNumberOfFramesInFrameCache,
                           &KavroPISSFrameCache::GetNextItemInFrameCacheList,
                           &KavroPISSFrameCache::GetNextItemInFrameCacheList,
                           -1,
                           "GetCompletePathToFrameCache",
                           "GetNextItemInFrameCacheList: pathToFrame or frameName is null\n",
                           "GetNextItemInFrameCacheList: ptrToSizeOfContents is null\n"};

// What one step gave; "-" for a result that is null.
struct Stepped {
    int answer;
    std::string path;
    std::string name;
};

inline Stepped stepOnce(KavroPISSFrameCache& model, Step step) {
    char unset = 'u';
    char* path = &unset;
    char* name = &unset;
    const int answer = (model.*step)(&path, &name);
    EXPECT_NE(&unset, path);
    EXPECT_NE(&unset, name);
    const OwnedText ownedPath(path);
    const OwnedText ownedName(name);
    return {answer, path != nullptr ? path : "-", name != nullptr ? name : "-"};
}

inline Stepped stepSized(KavroPISSFrameCache& model, SizedStep step, std::uint64_t& size) {
    char* path = nullptr;
    char* name = nullptr;
    const int answer = (model.*step)(&path, &name, &size);
    const OwnedText ownedPath(path);
    const OwnedText ownedName(name);
    return {answer, path != nullptr ? path : "-", name != nullptr ? name : "-"};
}

// A cache root of its own and the paths below it that tests use.
class FrameCacheListingTest : public ProductTest {
protected:
    FrameCacheListingTest() { makeDirectory(cache()); }

    std::string cache() const { return root.path("cache/"); }
    std::string project() const { return cache() + hashOf("p") + "/"; }
    std::string composition() const { return project() + hashOf("c") + "/"; }
    std::string feature() const { return composition() + "PROXY/"; }
};

} // namespace corvid::test

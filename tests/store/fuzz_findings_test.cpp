// What fuzzing the readers brought to light, one test per finding. The inputs are in fuzz/corpus.

#include "store/KavroPISSFrameCache.h"
#include "store/PISSMD5.h"
#include "tests/support/product_root.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using corvid::hashOf;
using corvid::test::exists;
using corvid::test::makeDirectory;
using corvid::test::writeFile;

class FuzzFindingsTest : public corvid::test::ProductTest {
protected:
    std::string cache() const { return root.path("cache/"); }
    // A cache whose table gives the project "p" a directory of an attacker's choice before its own.
    void makeCacheWithTable(const std::string& table, const std::string& directory) const {
        writeFile(cache() + table, directory + " p\n" + hashOf("p") + " p\n");
        writeFile(cache() + hashOf("p") + "/" + hashOf("p") + "/PROXY/00000001.raw", "");
        writeFile(root.path("outside/file"), "kept");
    }
};

// Anybody who may write to a shared cache root may write its tables.
constexpr const char* kLeadingOutside[] = {"../outside", "x/../../outside", "..", ".", "/"};

TEST_F(FuzzFindingsTest, ATableCannotLeadTheRemovalOfAProjectElsewhere) {
    for (const char* directory : kLeadingOutside) {
        makeDirectory(cache() + "x");
        makeCacheWithTable("ProjectHash.txt", directory);
        KavroPISSFrameCache model(cache().c_str());
        EXPECT_EQ(0, model.DeleteProject("p")) << directory;
        EXPECT_TRUE(exists(root.path("outside/file"))) << directory;
        EXPECT_TRUE(exists(cache() + hashOf("p") + "/" + hashOf("p") + "/PROXY/00000001.raw"))
            << directory;
    }
}

TEST_F(FuzzFindingsTest, ATableCannotLeadTheRemovalOfACompositionElsewhere) {
    for (const char* directory : {"../../outside", "../", "..", ".", "/"}) {
        makeCacheWithTable("CompositionHash.txt", directory);
        KavroPISSFrameCache model(cache().c_str(), "p");
        EXPECT_EQ(0, model.DeleteComposition("p")) << directory;
        EXPECT_TRUE(exists(root.path("outside/file"))) << directory;
        EXPECT_TRUE(exists(cache() + hashOf("p") + "/" + hashOf("p") + "/PROXY/00000001.raw"))
            << directory;
    }
}

TEST_F(FuzzFindingsTest, ATableCannotLeadTheMoveOfAProjectElsewhere) {
    makeDirectory(root.path("new"));
    makeCacheWithTable("ProjectHash.txt", "../outside");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.MoveProject("p", root.path("new/").c_str()));
    EXPECT_TRUE(exists(root.path("outside/file")));
}

} // namespace

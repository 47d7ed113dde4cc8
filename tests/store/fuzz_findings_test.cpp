// What fuzzing the readers brought to light, one test per finding. The inputs are in fuzz/corpus.

#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/KavroPISSPerProjectConfig.h"
#include "store/PISSMD5.h"
#include "tests/support/product_root.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using corvid::hashOf;
using corvid::test::exists;
using corvid::test::makeDirectory;
using corvid::test::readFile;
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

// A reader of these two files takes blanks for no value and skips the line.
constexpr const char* kBlankValues[] = {"", " ", "\t \t"};

TEST_F(FuzzFindingsTest, TheRegistryRefusesAValueThatWouldBeSkippedWhenItIsRead) {
    KavroPISSFrameCacheRegistry registry;
    ASSERT_EQ(1, registry.Add("p", "PathToCache", "/a/"));
    for (const char* value : kBlankValues) {
        EXPECT_EQ(0, registry.Add("q", "PathToCache", value));
        EXPECT_EQ(0, registry.AddWithoutHashing("q", "PathToCache", value));
        EXPECT_EQ(0, registry.ChangeItem("p", "PathToCache", value));
    }
    EXPECT_EQ(1, registry.NumberOfKeyValuePairsInList());
    EXPECT_EQ(1, registry.Commit());
    EXPECT_EQ(hashOf("p") + " string\tPathToCache /a/\n",
              readFile(root.productFile("FrameCache.cvp")));
}

TEST_F(FuzzFindingsTest, ThePerProjectStoreRefusesAValueThatWouldBeSkippedWhenItIsRead) {
    makeDirectory(root.path("Shots"));
    KavroPISSPerProjectConfig config(root.path("Shots").c_str());
    ASSERT_TRUE(config.Add("p", "key", "kept"));
    for (const char* value : kBlankValues) {
        EXPECT_FALSE(config.Add("q", "key", value));
        EXPECT_FALSE(config.AddWithoutHashing("q", "key", value));
        EXPECT_FALSE(config.ChangeItem("p", "key", value));
    }
    EXPECT_EQ(1U, config.NumberOfKeyValuePairsInList());
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("cvp-version:1\n" + hashOf("p") + " string\tkey kept\n",
              readFile(root.path("Shots/.CorvidPro2ProjectConfig.cvp")));
}

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

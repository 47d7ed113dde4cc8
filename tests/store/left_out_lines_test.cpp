// What a store takes into memory and what of it reaches its file: every text is kept as it is
// given; a line by which readers would lose others stays out of the file, with one warning.

#include "files/owned_text.h"
#include "store/KavroPISSConfig.h"
#include "store/KavroPISSConfigHelper.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/KavroPISSPerProjectConfig.h"
#include "store/Kavro_PISSRenderQueue.h"
#include "store/PISSMD5.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using corvid::hashOf;
using corvid::OwnedText;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kTooLong(1100, 'x');

std::string warningOf(const std::string& key) {
    return "WARNING\tThe line of key '" + key +
           "' is left out of its file, because readers would lose other lines by it\n";
}

struct Pair {
    std::string key;
    std::string value;
    std::string line;    // behind the scope and "string", a TAB; empty when it is left out
    std::string named{}; // the key as the warning names it
};

// The same for every store.
const Pair kPairs[] = {
    {"key", "", "key \n"},
    {"key", "  two words ", "key   two words \n"},
    {"two words", "v", "two words v\n"},
    {" key", "v", " key v\n"},
    {"", "v", " v\n"},
    {"", "", " \n"},
    {"key", "two\nlines", "", "key"},
    {"two\nlines", "v", "", "two"},
    {"key", kTooLong, "", "key"},
    {kTooLong, "v", "", kTooLong.substr(0, 256)},
};

class LeftOutLinesTest : public corvid::test::ProductTest,
                         public ::testing::WithParamInterface<Pair> {
protected:
    const char* key() const { return GetParam().key.c_str(); }
    const char* value() const { return GetParam().value.c_str(); }
    std::string lineOf(const std::string& scope) const {
        return GetParam().line.empty() ? "" : scope + " string\t" + GetParam().line;
    }
    void expectWarning() const {
        if (GetParam().line.empty()) {
            EXPECT_THAT(root.logMessages(), ElementsAre(warningOf(GetParam().named)));
        } else {
            EXPECT_THAT(root.logMessages(), IsEmpty());
        }
    }
};

template <class Store>
std::string textIn(Store& store, const char* scope, const char* key) {
    char* text = nullptr;
    const bool isFound = store.GetItem(&text, scope, key);
    const OwnedText owned(text);
    return isFound ? text : "not found";
}

TEST_P(LeftOutLinesTest, OfTheConfiguration) {
    writeFile(root.productFile("Config.txt"), "default int\ta 1\ndefault string\tb old\n");
    KavroPISSConfig config;
    EXPECT_TRUE(config.Add("default", key(), value()));
    EXPECT_TRUE(config.Add("default", "last", 2));
    EXPECT_TRUE(config.ChangeItem("default", "b", value()));
    EXPECT_EQ(value(), textIn(config, "default", key()));
    EXPECT_EQ(value(), textIn(config, "default", "b"));
    ASSERT_TRUE(config.ChangeItem("default", "b", "new"));
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("default int\ta 1\ndefault string\tb new\n" + lineOf("default") +
                  "default int\tlast 2\n",
              readFile(root.productFile("Config.txt")));
    expectWarning();
}

TEST_P(LeftOutLinesTest, OfAProject) {
    makeDirectory(root.path("Shots"));
    KavroPISSPerProjectConfig config(root.path("Shots").c_str());
    EXPECT_TRUE(config.Add("p", key(), value()));
    EXPECT_TRUE(config.AddWithoutHashing("h", key(), value()));
    EXPECT_TRUE(config.Add("p", "last", 2));
    EXPECT_TRUE(config.ChangeItem("p", key(), "v"));
    EXPECT_TRUE(config.ChangeItem("p", key(), value()));
    EXPECT_EQ(value(), textIn(config, "p", key()));
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("cvp-version:1\n" + lineOf(hashOf("p")) + lineOf("h") + hashOf("p") +
                  " int\tlast 2\n",
              readFile(root.path("Shots/.CorvidPro2ProjectConfig.cvp")));
    EXPECT_EQ(GetParam().line.empty() ? 2U : 0U, root.logMessages().size());
}

TEST_P(LeftOutLinesTest, OfTheRegistry) {
    KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(1, registry.Add("p", key(), value()));
    EXPECT_EQ(1, registry.AddWithoutHashing("h", "last", "2"));
    EXPECT_EQ(1, registry.ChangeItem("p", key(), "v"));
    EXPECT_EQ(1, registry.ChangeItem("p", key(), value()));
    EXPECT_EQ(value(), textIn(registry, "p", key()));
    EXPECT_EQ(1, registry.Commit());
    EXPECT_EQ(lineOf(hashOf("p")) + "h string\tlast 2\n",
              readFile(root.productFile("FrameCache.cvp")));
    expectWarning();
}

TEST_P(LeftOutLinesTest, OfAJob) {
    KavroPISSRenderQueueItem item;
    EXPECT_EQ(1, item.Add("n", key(), value()));
    EXPECT_EQ(1, item.Add("n", "last", 2));
    EXPECT_EQ(1, item.ChangeItem("n", key(), "v"));
    EXPECT_EQ(1, item.ChangeItem("n", key(), value()));
    EXPECT_EQ(value(), textIn(item, "n", key()));
    std::string text;
    item.formatTo(text);
    EXPECT_EQ("{\n" + (GetParam().line.empty() ? "" : "\t" + lineOf("n")) +
                  "\tn int\tlast 2\n\t{\n\t}\n}\n",
              text);
    expectWarning();
}

TEST_P(LeftOutLinesTest, OfAnOutputModule) {
    KavroPISSRenderQueueItemOutputModule module;
    EXPECT_EQ(1, module.Add("n", key(), value()));
    EXPECT_EQ(1, module.Add("n", "last", "2"));
    EXPECT_EQ(value(), textIn(module, "n", key()));
    std::string text;
    module.formatTo(text);
    EXPECT_EQ("\t\t{\n" + (GetParam().line.empty() ? "" : "\t\t\t" + lineOf("n")) +
                  "\t\t\tn string\tlast 2\n\t\t}\n",
              text);
    expectWarning();
}

// The layered access changes or adds and commits; what became of the line does not change its
// answer.
TEST_P(LeftOutLinesTest, OfTheLayeredSettings) {
    using Helper = KavroPISSConfigHelper;
    makeDirectory(root.path("Shots"));
    writeFile(root.productFile("Config.txt"), "default int\ta 1\n");
    const KavroPISSProjectKeys project(root.path("Shots/a.aep").c_str());
    EXPECT_EQ(1, Helper::addOrUpdateGlobalStringSetting(key(), value()));
    EXPECT_EQ(1, Helper::addOrUpdateProjectStringSetting(&project, key(), value()));
    EXPECT_EQ(1, Helper::addOrUpdateRegistryStringSetting("p", key(), value()));
    EXPECT_EQ("default int\ta 1\n" + lineOf("default"), readFile(root.productFile("Config.txt")));
    EXPECT_EQ("cvp-version:1\n" + lineOf(hashOf(project.identity)),
              readFile(root.path("Shots/.CorvidPro2ProjectConfig.cvp")));
    EXPECT_EQ(lineOf(hashOf("p")), readFile(root.productFile("FrameCache.cvp")));
    EXPECT_EQ(GetParam().line.empty() ? 3U : 0U, root.logMessages().size());
}

INSTANTIATE_TEST_SUITE_P(Pairs, LeftOutLinesTest, ::testing::ValuesIn(kPairs));

// A scope or name of several words, or none, shifts what a reader takes for the type.
struct Scope {
    const char* scope;
    bool isHarmlessInStores;
    bool isHarmlessInItems;
    bool isHarmlessInModules;
};

class LeftOutScopesTest : public corvid::test::ProductTest,
                          public ::testing::WithParamInterface<Scope> {
protected:
    std::string lineIf(bool isWritten, const std::string& indent) const {
        return isWritten ? indent + GetParam().scope + " string\tk v\n" : "";
    }
};

TEST_P(LeftOutScopesTest, AreWrittenWhereAReaderPassesOverThem) {
    const char* scope = GetParam().scope;
    writeFile(root.productFile("Config.txt"), "");
    KavroPISSConfig config;
    EXPECT_TRUE(config.Add(scope, "k", "v"));
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ(lineIf(GetParam().isHarmlessInStores, ""), readFile(root.productFile("Config.txt")));
    KavroPISSFrameCacheRegistry registry;
    EXPECT_EQ(1, registry.AddWithoutHashing(scope, "k", "v"));
    EXPECT_EQ(1, registry.Commit());
    EXPECT_EQ(lineIf(GetParam().isHarmlessInStores, ""),
              readFile(root.productFile("FrameCache.cvp")));

    KavroPISSRenderQueueItem item;
    EXPECT_EQ(1, item.Add(scope, "k", "v"));
    std::string text;
    item.formatTo(text);
    EXPECT_EQ("{\n" + lineIf(GetParam().isHarmlessInItems, "\t") + "\t{\n\t}\n}\n", text);
    KavroPISSRenderQueueItemOutputModule module;
    EXPECT_EQ(1, module.Add(scope, "k", "v"));
    text.clear();
    module.formatTo(text);
    EXPECT_EQ("\t\t{\n" + lineIf(GetParam().isHarmlessInModules, "\t\t\t") + "\t\t}\n", text);
}

INSTANTIATE_TEST_SUITE_P(
    Scopes, LeftOutScopesTest,
    ::testing::Values(Scope{" leading", true, true, true}, Scope{"two words", false, true, false},
                      Scope{"a string", true, true, true}, Scope{"{", true, false, false},
                      Scope{"} b", false, false, false}, Scope{"two\nlines", false, false, false}));

TEST_F(LeftOutScopesTest, AnEmptyScopeEndsTheReadingWithTheKeyForAType) {
    writeFile(root.productFile("Config.txt"), "");
    KavroPISSConfig config;
    EXPECT_TRUE(config.Add("", "k", 1));
    EXPECT_TRUE(config.Add("default", "k", 2));
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("default int\tk 2\n", readFile(root.productFile("Config.txt")));
    EXPECT_THAT(root.logMessages(), ElementsAre(warningOf("k")));
}

} // namespace

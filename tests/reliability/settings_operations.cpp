#include "tests/reliability/operation.h"

#include "store/KavroPISSConfig.h"
#include "store/KavroPISSConfigHelper.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/KavroPISSPerProjectConfig.h"
#include "tests/support/product_root.h"

#include <filesystem>
#include <memory>
#include <string>

namespace corvid::test {
namespace {

using Helper = KavroPISSConfigHelper;

constexpr char kPerProjectFile[] = ".CorvidPro2ProjectConfig.cvp";
constexpr char kRoot[] = "DirectoryLocationOfFrameCache";

std::string configFile(const ProductWorld& world) {
    return world.root.productFile("Config.txt");
}

Answer setGlobalNumber(ProductWorld& /*world*/) {
    return answerOf(Helper::addOrUpdateGlobalIntegerSetting("SizeOfFrameCacheInMB", 777));
}

Answer setProjectText(ProductWorld& world) {
    const KavroPISSProjectKeys project(world.solo.c_str());
    return answerOf(Helper::addOrUpdateProjectStringSetting(&project, kRoot, "/some where else/"));
}

Answer setRegisteredRoot(ProductWorld& world) {
    return answerOf(Helper::addOrUpdateRegistryStringSetting(world.twin.c_str(), "PathToCache",
                                                             "/some where else/"));
}

// Reading gives all of the file, or an invalid object.
Answer loadConfig(ProductWorld& world) {
    const KavroPISSConfig config;
    if (config.IsValid() == 0) {
        return Answer::Failure;
    }
    const Undisturbed look;
    EXPECT_EQ(config.NumberOfKeyValuePairsInList(), linesOf(configFile(world)).size());
    return Answer::Success;
}

Answer queryText(ProductWorld& world) {
    const KavroPISSProjectKeys project(world.solo.c_str());
    char text[1024];
    const int found =
        Helper::queryStringSetting(text, sizeof(text), kRoot, "default", &project, nullptr);
    const Undisturbed look;
    EXPECT_EQ(text, found != 0 ? world.firstRoot() : "");
    return answerOf(found);
}

// A commit of one object that was read and changed while every call worked, and once more of the
// same one.
template <class Store, class Load>
Operation commitOf(const std::string& name, Load load) {
    auto store = std::make_shared<std::unique_ptr<Store>>();
    const auto commit = [store](ProductWorld&) { return answerOf((*store)->Commit()); };
    return {.name = name,
            .run = commit,
            .load = [store, load](ProductWorld& world) { load(world, *store); },
            .again = commit,
            .isAllOrNothing = true};
}

void loadChangedConfig(ProductWorld& /*world*/, std::unique_ptr<KavroPISSConfig>& config) {
    config = std::make_unique<KavroPISSConfig>();
    EXPECT_TRUE(config->ChangeItem("default", kRoot, "/a path that is longer than the old one/"));
    EXPECT_TRUE(config->Add("default", "SpecRenderOutputPath", "null"));
}

void loadShorterConfig(ProductWorld& /*world*/, std::unique_ptr<KavroPISSConfig>& config) {
    config = std::make_unique<KavroPISSConfig>();
    EXPECT_TRUE(config->ChangeItem("default", kRoot, "/a/"));
}

// The object knows a text, but there is no file any more.
void loadConfigAndTakeFile(ProductWorld& world, std::unique_ptr<KavroPISSConfig>& config) {
    writeFile(configFile(world), "default int\tSizeOfFrameCacheInMB 1\n");
    config = std::make_unique<KavroPISSConfig>();
    removeTree(configFile(world));
}

std::string secondName(const ProductWorld& world) {
    return world.root.path("second name");
}

void addSecondName(ProductWorld& world) {
    writeFile(secondName(world), readFile(configFile(world)));
}

// A file with a second name is rewritten in place.
template <auto load>
void shared(ProductWorld& world, std::unique_ptr<KavroPISSConfig>& config) {
    removeTree(configFile(world));
    std::filesystem::create_hard_link(secondName(world), configFile(world));
    load(world, config);
}

std::vector<Operation> commits() {
    std::vector<Operation> all;
    all.push_back(commitOf<KavroPISSConfig>("CommitConfig", loadChangedConfig));
    all.push_back(commitOf<KavroPISSConfig>("CommitShorterConfig", loadShorterConfig));
    all.push_back(commitOf<KavroPISSConfig>("CommitNewConfig", loadConfigAndTakeFile));
    all.back().arrange = [](ProductWorld& world) { removeTree(configFile(world)); };
    all.push_back(commitOf<KavroPISSConfig>("CommitLinkedConfig", loadChangedConfig));
    all.back().arrange = [](ProductWorld& world) {
        const std::string target = world.root.path("elsewhere/linked settings");
        writeFile(target, readFile(configFile(world)));
        removeTree(configFile(world));
        std::filesystem::create_symlink(target, configFile(world));
    };
    all.push_back(commitOf<KavroPISSConfig>("CommitSharedConfig", shared<loadChangedConfig>));
    all.back().arrange = addSecondName;
    all.push_back(
        commitOf<KavroPISSConfig>("CommitShorterSharedConfig", shared<loadShorterConfig>));
    all.back().arrange = addSecondName;
    all.push_back(commitOf<KavroPISSPerProjectConfig>(
        "CommitProjectConfig", [](ProductWorld& world, auto& config) {
            config = std::make_unique<KavroPISSPerProjectConfig>(world.shots().c_str());
            EXPECT_TRUE(config->Add("comp", "Output", "some where"));
        }));
    all.push_back(commitOf<KavroPISSFrameCacheRegistry>(
        "CommitRegistry", [](ProductWorld& world, auto& registry) {
            registry = std::make_unique<KavroPISSFrameCacheRegistry>();
            EXPECT_EQ(registry->Add("a project", "PathToCache", "/some where/"), 1);
            EXPECT_EQ(registry->DeleteItem(world.twin.c_str()), 1);
        }));
    return all;
}

// Reading and writing back changes nothing, whatever fails.
std::vector<Operation> rewrites() {
    return {
        {.name = "RewriteConfig",
         .run =
             [](ProductWorld&) {
                 KavroPISSConfig config;
                 return answerOf(config.Commit());
             }},
        {.name = "RewriteProjectConfig",
         .run =
             [](ProductWorld& world) {
                 KavroPISSPerProjectConfig config(world.shots().c_str());
                 return answerOf(config.Commit());
             }},
        {.name = "RewriteRegistry",
         .run =
             [](ProductWorld&) {
                 KavroPISSFrameCacheRegistry registry;
                 return answerOf(registry.Commit());
             }},
    };
}

std::vector<Operation> updates() {
    return {
        {.name = "SetGlobalNumber", .run = setGlobalNumber, .isAllOrNothing = true},
        {.name = "SetGlobalText",
         .run =
             [](ProductWorld&) {
                 return answerOf(Helper::addOrUpdateGlobalStringSetting("New", "some where"));
             },
         .isAllOrNothing = true},
        {.name = "SetProjectText", .run = setProjectText, .isAllOrNothing = true},
        // The commit comes in any case, also when the entry could not be added.
        {.name = "SetFirstProjectText",
         .run = setProjectText,
         .arrange = [](ProductWorld& world) { removeTree(world.shots() + kPerProjectFile); },
         .alsoRight = {"cvp-version:1\n"}},
        {.name = "SetCompNumber",
         .run =
             [](ProductWorld& world) {
                 const KavroPISSProjectKeys project(world.solo.c_str());
                 const KavroPISSCompKeys composition{"comp", "Comp", &project};
                 return answerOf(Helper::addOrUpdateCompIntegerSetting(&composition, "Quality", 4));
             },
         .isAllOrNothing = true},
        {.name = "SetRegisteredRoot", .run = setRegisteredRoot, .isAllOrNothing = true},
        {.name = "SetFirstRegisteredRoot",
         .run = setRegisteredRoot,
         .arrange =
             [](ProductWorld& world) { removeTree(world.root.productFile("FrameCache.cvp")); },
         .alsoRight = {""}},
    };
}

} // namespace

std::vector<Operation> settingsOperations() {
    std::vector<Operation> all = {
        {.name = "LoadConfig", .run = loadConfig},
        {.name = "QueryText", .run = queryText},
        {.name = "FirstStart",
         .run =
             [](ProductWorld&) {
                 KavroPISSConfig::initializePISSConfig();
                 return Answer::None;
             },
         .arrange = [](ProductWorld& world) { removeTree(configFile(world)); }},
    };
    for (const std::vector<Operation>& more : {commits(), rewrites(), updates()}) {
        all.insert(all.end(), more.begin(), more.end());
    }
    return all;
}

} // namespace corvid::test

// Texts that a caller adds to the stores: what Add takes comes back from the file, its leading
// blanks aside; what it refuses leaves nothing. The input is a name, a key and a value, with a NUL
// byte between them, over and over.

#include "fuzz/round_trip.h"
#include "store/KavroPISSConfig.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/KavroPISSPerProjectConfig.h"
#include "store/Kavro_PISSRenderQueue.h"

#include <cstring>
#include <memory>
#include <vector>

using namespace corvid::fuzz; // NOLINT(google-build-using-namespace)

namespace {

struct Triple {
    std::string name;
    std::string key;
    std::string value;
};

std::string takeText(std::string_view& rest) {
    const std::size_t end = std::min(rest.find('\0'), rest.size());
    std::string text(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return text;
}

std::vector<Triple> triplesOf(std::string_view rest) {
    std::vector<Triple> triples;
    while (!rest.empty()) {
        Triple triple;
        triple.name = takeText(rest);
        triple.key = takeText(rest);
        triple.value = takeText(rest);
        triples.push_back(std::move(triple));
    }
    return triples;
}

const char* behindBlanks(const char* text) {
    return text + std::strspn(text, " \t");
}

void addEntry(Listing& listing, const char* name, const char* key, const char* value) {
    listing.add(name);
    listing.add(key);
    listing.add(behindBlanks(value));
    listing.endEntry();
}

// Adds all triples with add(triple) and returns how the list has to look when it is read.
template <class AddTriple>
std::string added(const std::vector<Triple>& triples, AddTriple add) {
    Listing listing;
    for (const Triple& triple : triples) {
        if (add(triple)) {
            addEntry(listing, triple.name.c_str(), triple.key.c_str(), triple.value.c_str());
        }
    }
    return listing.text();
}

void requireConfig(const std::vector<Triple>& triples) {
    static const std::string path =
        corvid::productPath(assignCorvidProRootConfigDirectoryPath) + "Config.txt";
    writeFile(path, "", 0);
    std::string expected;
    {
        KavroPISSConfig config;
        expected = added(triples, [&config](const Triple& triple) {
            return config.Add(triple.name.c_str(), triple.key.c_str(), triple.value.c_str());
        });
        require(config.Commit(), "the configuration can be committed");
    }
    KavroPISSConfig config;
    Listing listing;
    config.PrepareKeyValuePairList();
    while (const tConfigKVPEntry* entry = config.GetNextKeyValuePairInList()) {
        addEntry(listing, entry->scope, entry->key, entry->stringValue);
    }
    requireEqual(expected, listing.text(), "the configuration holds what was added");
}

void requirePerProjectConfig(const std::vector<Triple>& triples) {
    static const std::string folder = ScratchRoot::path() + "/";
    static const std::string path = folder + ".CorvidPro2ProjectConfig.cvp";
    ::unlink(path.c_str());
    std::string expected;
    {
        KavroPISSPerProjectConfig config(folder.c_str());
        expected = added(triples, [&config](const Triple& triple) {
            return config.AddWithoutHashing(triple.name.c_str(), triple.key.c_str(),
                                            triple.value.c_str());
        });
        require(config.Commit(), "the per-project settings can be committed");
    }
    KavroPISSPerProjectConfig config(folder.c_str());
    Listing listing;
    config.PrepareKeyValuePairList();
    while (const tConfigKVPEntry* entry = config.GetNextKeyValuePairInList()) {
        addEntry(listing, entry->scope, entry->key, entry->stringValue);
    }
    requireEqual(expected, listing.text(), "the per-project settings hold what was added");
}

void requireRegistry(const std::vector<Triple>& triples) {
    static const std::string path = corvid::productPath(assignCorvidProFrameCacheRegistryFilePath);
    ::unlink(path.c_str());
    std::string expected;
    {
        KavroPISSFrameCacheRegistry registry;
        expected = added(triples, [&registry](const Triple& triple) {
            return registry.AddWithoutHashing(triple.name.c_str(), triple.key.c_str(),
                                              triple.value.c_str()) != 0;
        });
        require(registry.Commit() != 0, "the registry can be committed");
    }
    KavroPISSFrameCacheRegistry registry;
    Listing listing;
    registry.PrepareKeyValuePairList();
    while (const sFrameCacheRegistryEntry* entry = registry.GetNextKeyValuePairInList()) {
        addEntry(listing, entry->projectName, entry->key, entry->value);
    }
    requireEqual(expected, listing.text(), "the registry holds what was added");
}

// The same triples as the pairs of one item and of its one module.
void requireRenderQueue(const std::vector<Triple>& triples) {
    static KavroPISSRenderQueue queue;
    queue.DeleteAllRenderQueueItems();
    auto item = std::make_unique<KavroPISSRenderQueueItem>();
    auto module = std::make_unique<KavroPISSRenderQueueItemOutputModule>();
    const std::string pairs = added(triples, [&item](const Triple& triple) {
        return item->Add(triple.name.c_str(), triple.key.c_str(), triple.value.c_str()) != 0;
    });
    const std::string modulePairs = added(triples, [&module](const Triple& triple) {
        return module->Add(triple.name.c_str(), triple.key.c_str(), triple.value.c_str()) != 0;
    });
    require(item->AddNewOutputModule(module.release()) != 0, "a module can be added");
    require(queue.AddNewRenderQueueItem(item.release()) != 0, "an item can be added");
    require(queue.Commit() != 0, "the queue can be committed");
    require(queue.StartTransaction() != 0, "what was committed is whole");

    KavroPISSRenderQueueItem* read = queue.GetSpecificRenderQueueItemInList(1);
    require(read != nullptr && queue.NumberOfRenderQueueItemsInList() == 1, "the item comes back");
    Listing listing;
    read->PrepareKeyValuePairList();
    while (const sRenderQueueItemKVPEntry* pair = read->GetNextKeyValuePairInList()) {
        addEntry(listing, pair->name, pair->key, pair->value);
    }
    requireEqual(pairs, listing.text(), "the item holds what was added");
    read->PrepareOuputModuleList();
    KavroPISSRenderQueueItemOutputModule* readModule = read->GetNextOutputModuleInList();
    require(readModule != nullptr && read->NumberOfOutputModulesInList() == 1,
            "the module comes back");
    Listing moduleListing;
    readModule->PrepareOMKVPList();
    while (const sRenderQueueItemKVPEntry* pair = readModule->GetNextOMKVPInList()) {
        addEntry(moduleListing, pair->name, pair->key, pair->value);
    }
    requireEqual(modulePairs, moduleListing.text(), "the module holds what was added");
    queue.CloseFileIfOpen();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ScratchRoot::path();
    const std::vector<Triple> triples = triplesOf({reinterpret_cast<const char*>(data), size});
    requireConfig(triples);
    requirePerProjectConfig(triples);
    requireRegistry(triples);
    requireRenderQueue(triples);
    return 0;
}

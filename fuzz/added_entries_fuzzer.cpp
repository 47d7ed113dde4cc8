// Texts that a caller adds to the stores: all are taken, none of them takes the line of another
// with it, and those of plain words come back from the file, the leading blanks of a value aside.
// The input is a name, a key and a value, with a NUL byte between them, over and over.

#include "fuzz/round_trip.h"
#include "store/KavroPISSConfig.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/KavroPISSPerProjectConfig.h"
#include "store/Kavro_PISSRenderQueue.h"

#include <algorithm>
#include <memory>
#include <string>
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

// Stands behind each triple: none of them may take another's line with it.
constexpr char kMarkerName[] = "~marker~";

std::string behindBlanks(const std::string& text) {
    return text.substr(std::min(text.find_first_not_of(" \t"), text.size()));
}

// Whether a reader gives a triple back just as it was added, but for the blanks before its value.
// Some pass over a line without a value.
enum class NoValue { IsKept, IsPassedOver };
bool isPlain(const Triple& triple, NoValue noValue) {
    return corvid::fitsKvpLine(triple.name.c_str(), triple.key.c_str(), triple.value.c_str()) &&
           triple.name != "{" && triple.name != "}" &&
           (noValue == NoValue::IsKept || !behindBlanks(triple.value).empty());
}

template <class Add>
void addWithMarkers(const std::vector<Triple>& triples, Add add) {
    for (std::size_t i = 0; i < triples.size(); ++i) {
        const Triple& triple = triples[i];
        require(add(triple.name.c_str(), triple.key.c_str(), triple.value.c_str()),
                "any text can be added");
        require(add(kMarkerName, "m", std::to_string(i).c_str()), "a marker can be added");
    }
}

// What was read has every marker, and before it what its triple has become.
void requireComeBack(const std::vector<Triple>& triples, const std::vector<Triple>& read,
                     NoValue noValue) {
    std::size_t next = 0;
    const auto isMarker = [&](std::size_t number) {
        return next < read.size() && read[next].name == kMarkerName &&
               read[next].value == std::to_string(number);
    };
    for (std::size_t i = 0; i < triples.size(); ++i) {
        if (isPlain(triples[i], noValue)) {
            require(next < read.size() && read[next].name == triples[i].name &&
                        read[next].key == triples[i].key &&
                        read[next].value == behindBlanks(triples[i].value),
                    "a plain entry comes back");
            ++next;
        } else if (!isMarker(i)) {
            ++next;
        }
        require(isMarker(i), "no entry takes another with it");
        ++next;
    }
    require(next == read.size(), "nothing else comes back");
}

std::string orEmpty(const char* text) {
    return text != nullptr ? text : "";
}

template <class Store>
std::vector<Triple> settingsOf(Store& store) {
    std::vector<Triple> read;
    store.PrepareKeyValuePairList();
    while (const tConfigKVPEntry* entry = store.GetNextKeyValuePairInList()) {
        read.push_back({entry->scope, entry->key, orEmpty(entry->stringValue)});
    }
    return read;
}

void requireConfig(const std::vector<Triple>& triples) {
    static const std::string path =
        corvid::productPath(assignCorvidProRootConfigDirectoryPath) + "Config.txt";
    writeFile(path, "", 0);
    {
        KavroPISSConfig config;
        addWithMarkers(triples, [&config](const char* name, const char* key, const char* value) {
            return config.Add(name, key, value);
        });
        require(config.Commit(), "the configuration can be committed");
    }
    KavroPISSConfig config;
    require(config.IsValid() != 0, "the configuration stays valid");
    requireComeBack(triples, settingsOf(config), NoValue::IsKept);
}

void requirePerProjectConfig(const std::vector<Triple>& triples) {
    static const std::string folder = ScratchRoot::path() + "/";
    static const std::string path = folder + ".CorvidPro2ProjectConfig.cvp";
    ::unlink(path.c_str());
    {
        KavroPISSPerProjectConfig config(folder.c_str());
        addWithMarkers(triples, [&config](const char* name, const char* key, const char* value) {
            return config.AddWithoutHashing(name, key, value);
        });
        require(config.Commit(), "the per-project settings can be committed");
    }
    KavroPISSPerProjectConfig config(folder.c_str());
    requireComeBack(triples, settingsOf(config), NoValue::IsPassedOver);
}

void requireRegistry(const std::vector<Triple>& triples) {
    static const std::string path = corvid::productPath(assignCorvidProFrameCacheRegistryFilePath);
    ::unlink(path.c_str());
    {
        KavroPISSFrameCacheRegistry registry;
        addWithMarkers(triples, [&registry](const char* name, const char* key, const char* value) {
            return registry.AddWithoutHashing(name, key, value) != 0;
        });
        require(registry.Commit() != 0, "the registry can be committed");
    }
    KavroPISSFrameCacheRegistry registry;
    std::vector<Triple> read;
    registry.PrepareKeyValuePairList();
    while (const sFrameCacheRegistryEntry* entry = registry.GetNextKeyValuePairInList()) {
        read.push_back({entry->projectName, entry->key, entry->value});
    }
    requireComeBack(triples, read, NoValue::IsPassedOver);
}

Triple tripleOf(const sRenderQueueItemKVPEntry& pair) {
    return {pair.name, pair.key, pair.type == corvid::kRenderQueueText ? pair.value : ""};
}

// Longer by its indent, a line of a job may not fit although the triple does.
std::vector<Triple> indented(std::vector<Triple> triples, std::size_t indent) {
    for (Triple& triple : triples) {
        if (isPlain(triple, NoValue::IsKept)) {
            triple.value.resize(triple.value.size() - std::min(triple.value.size(), indent));
        }
    }
    return triples;
}

// The same triples as the pairs of one item and of its one module.
void requireRenderQueue(const std::vector<Triple>& given) {
    constexpr std::size_t kModuleIndent = 3;
    const std::vector<Triple> triples = indented(given, kModuleIndent);
    static KavroPISSRenderQueue queue;
    queue.DeleteAllRenderQueueItems();
    auto item = std::make_unique<KavroPISSRenderQueueItem>();
    auto module = std::make_unique<KavroPISSRenderQueueItemOutputModule>();
    addWithMarkers(triples, [&](const char* name, const char* key, const char* value) {
        return item->Add(name, key, value) != 0 && module->Add(name, key, value) != 0;
    });
    require(item->AddNewOutputModule(module.release()) != 0, "a module can be added");
    require(queue.AddNewRenderQueueItem(item.release()) != 0, "an item can be added");
    require(queue.Commit() != 0, "the queue can be committed");
    require(queue.StartTransaction() != 0, "what was committed is whole");

    KavroPISSRenderQueueItem* read = queue.GetSpecificRenderQueueItemInList(1);
    require(read != nullptr && queue.NumberOfRenderQueueItemsInList() == 1, "the item comes back");
    std::vector<Triple> pairs;
    read->PrepareKeyValuePairList();
    while (const sRenderQueueItemKVPEntry* pair = read->GetNextKeyValuePairInList()) {
        pairs.push_back(tripleOf(*pair));
    }
    requireComeBack(triples, pairs, NoValue::IsKept);
    read->PrepareOuputModuleList();
    KavroPISSRenderQueueItemOutputModule* readModule = read->GetNextOutputModuleInList();
    require(readModule != nullptr && read->NumberOfOutputModulesInList() == 1,
            "the module comes back");
    pairs.clear();
    readModule->PrepareOMKVPList();
    while (const sRenderQueueItemKVPEntry* pair = readModule->GetNextOMKVPInList()) {
        pairs.push_back(tripleOf(*pair));
    }
    requireComeBack(triples, pairs, NoValue::IsKept);
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

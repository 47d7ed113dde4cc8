// Any bytes as "RQ.txt": the items that are read, up to the first broken one, are written and read
// again unchanged.

#include "fuzz/round_trip.h"
#include "store/Kavro_PISSRenderQueue.h"

using namespace corvid::fuzz; // NOLINT(google-build-using-namespace)

namespace {

void addPair(Listing& listing, const sRenderQueueItemKVPEntry& pair) {
    listing.add(pair.name);
    listing.add(pair.key);
    listing.add(pair.type);
    if (pair.type == corvid::kRenderQueueText) {
        listing.add(pair.value);
    } else {
        listing.add(pair.intValue);
    }
    listing.endEntry();
}

void addModule(Listing& listing, KavroPISSRenderQueueItemOutputModule& module) {
    int count = 0;
    listing.add("module");
    listing.endEntry();
    module.PrepareOMKVPList();
    while (const sRenderQueueItemKVPEntry* pair = module.GetNextOMKVPInList()) {
        addPair(listing, *pair);
        ++count;
    }
    require(count == module.GetNumberOfKVPEntries(), "a module's count is that of its pairs");
}

void addItem(Listing& listing, KavroPISSRenderQueueItem& item) {
    int pairs = 0;
    int modules = 0;
    listing.add("item");
    listing.endEntry();
    item.PrepareKeyValuePairList();
    while (const sRenderQueueItemKVPEntry* pair = item.GetNextKeyValuePairInList()) {
        addPair(listing, *pair);
        ++pairs;
    }
    item.PrepareOuputModuleList();
    while (KavroPISSRenderQueueItemOutputModule* module = item.GetNextOutputModuleInList()) {
        addModule(listing, *module);
        ++modules;
    }
    require(pairs == item.NumberOfKeyValuePairsInList(), "an item's count is that of its pairs");
    require(modules == item.NumberOfOutputModulesInList(),
            "an item's count is that of its modules");
}

std::string itemsOf(KavroPISSRenderQueue& queue) {
    Listing listing;
    int count = 0;
    queue.PrepareRenderQueueList();
    while (KavroPISSRenderQueueItem* item = queue.GetNextRenderQueueItemInList()) {
        addItem(listing, *item);
        ++count;
        require(queue.GetSpecificRenderQueueItemInList(count) == item,
                "items are numbered as they are read");
    }
    require(count == queue.NumberOfRenderQueueItemsInList(), "the count is that of the queue");
    return listing.text();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ScratchRoot::path();
    // Made once, because making one creates directories; a transaction starts with what is on the
    // disk.
    static KavroPISSRenderQueue queue;
    static KavroPISSRenderQueue other;
    static const std::string path =
        corvid::productPath(assignCorvidProRenderQueueDefaultDirectoryPath) + "RQ.txt";
    writeFile(path, data, size);
    queue.StartTransaction();
    const std::string before = itemsOf(queue);
    require(queue.Commit() != 0, "the queue can be committed");
    requireEqual(before, itemsOf(queue), "a commit changes nothing in memory");
    require(other.StartTransaction() != 0, "what was committed is whole");
    requireEqual(before, itemsOf(other), "the queue is read as it was committed");
    other.CloseFileIfOpen();
    return 0;
}

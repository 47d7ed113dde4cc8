// Any bytes as "Config.txt": what is read is written and read again unchanged, and found by its
// key.

#include "fuzz/round_trip.h"
#include "store/KavroPISSConfig.h"

using namespace corvid::fuzz; // NOLINT(google-build-using-namespace)

namespace {

std::string entriesOf(KavroPISSConfig& config) {
    Listing listing;
    std::uint32_t count = 0;
    config.PrepareKeyValuePairList();
    while (const tConfigKVPEntry* entry = config.GetNextKeyValuePairInList()) {
        int number = 0;
        require(config.GetItem(&number, entry->scope, entry->key), "an entry of the list is found");
        listing.add(entry->scope);
        listing.add(entry->key);
        listing.add(entry->type);
        listing.add(entry->stringValue);
        listing.add(entry->intValue);
        listing.endEntry();
        ++count;
    }
    require(count == config.NumberOfKeyValuePairsInList(), "the count is that of the list");
    return listing.text();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ScratchRoot::path();
    static const std::string path =
        corvid::productPath(assignCorvidProRootConfigDirectoryPath) + "Config.txt";
    writeFile(path, data, size);
    std::string before;
    {
        KavroPISSConfig config;
        before = entriesOf(config);
        require(config.Commit(), "the configuration can be committed");
    }
    KavroPISSConfig config;
    require(config.IsValid() != 0, "what was committed is valid");
    requireEqual(before, entriesOf(config), "the configuration is read as it was committed");
    return 0;
}

// Any bytes as a per-project file, header included: what is read is written and read again
// unchanged.

#include "fuzz/round_trip.h"
#include "store/KavroPISSPerProjectConfig.h"

using namespace corvid::fuzz; // NOLINT(google-build-using-namespace)

namespace {

std::string entriesOf(KavroPISSPerProjectConfig& config) {
    Listing listing;
    std::uint32_t count = 0;
    config.PrepareKeyValuePairList();
    while (const tConfigKVPEntry* entry = config.GetNextKeyValuePairInList()) {
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
    static const std::string folder = ScratchRoot::path() + "/";
    static const std::string path = folder + ".CorvidPro2ProjectConfig.cvp";
    writeFile(path, data, size);
    std::string before;
    {
        KavroPISSPerProjectConfig config(folder.c_str());
        before = entriesOf(config);
        require(config.Commit(), "the per-project settings can be committed");
    }
    KavroPISSPerProjectConfig config(folder.c_str());
    requireEqual(before, entriesOf(config),
                 "the per-project settings are read as they were committed");
    return 0;
}

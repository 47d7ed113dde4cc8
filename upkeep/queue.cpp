#include "upkeep/queue.h"

#include "store/Kavro_PISSRenderQueue.h"

#include <algorithm>
#include <cstring>

#include <strings.h>

namespace corvid {

namespace {

QueuePair valuesOf(const sRenderQueueItemKVPEntry& pair) {
    const bool isText = pair.type == kRenderQueueText;
    return {pair.name, pair.key, isText ? pair.value : std::to_string(pair.intValue)};
}

void addFile(const std::string& value, std::vector<std::string>& files) {
    const bool isPath = !value.empty() && value.front() == '/';
    if (isPath && std::find(files.begin(), files.end(), value) == files.end()) {
        files.push_back(value);
    }
}

QueueJob jobOf(KavroPISSRenderQueueItem& item, int index) {
    QueueJob job;
    job.index = index;
    item.PrepareKeyValuePairList();
    while (const sRenderQueueItemKVPEntry* pair = item.GetNextKeyValuePairInList()) {
        job.pairs.push_back(valuesOf(*pair));
        const QueuePair& added = job.pairs.back();
        if (!job.state && ::strcasecmp(added.key.c_str(), "state") == 0) {
            job.state = added.value;
        }
        addFile(added.value, job.files);
    }
    item.PrepareOuputModuleList();
    while (KavroPISSRenderQueueItemOutputModule* module = item.GetNextOutputModuleInList()) {
        std::vector<QueuePair>& pairs = job.modules.emplace_back();
        module->PrepareOMKVPList();
        while (const sRenderQueueItemKVPEntry* pair = module->GetNextOMKVPInList()) {
            pairs.push_back(valuesOf(*pair));
            addFile(pairs.back().value, job.files);
        }
    }
    return job;
}

} // namespace

RenderQueueList readRenderQueue() {
    RenderQueueList list;
    KavroPISSRenderQueue queue(IfMissing::LeaveMissing);
    list.isComplete = queue.StartTransaction() != 0;
    queue.PrepareRenderQueueList();
    while (KavroPISSRenderQueueItem* item = queue.GetNextRenderQueueItemInList()) {
        list.jobs.push_back(jobOf(*item, static_cast<int>(list.jobs.size()) + 1));
    }
    return list;
}

} // namespace corvid

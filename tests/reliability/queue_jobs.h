#pragma once

// Jobs of the render queue, in memory and on the disk.

#include "store/Kavro_PISSRenderQueue.h"
#include "tests/reliability/product_world.h"

#include <memory>
#include <new>
#include <string>

namespace corvid::test {

// Queues the job that jobWith() gives the text of. False when there is no memory for it.
inline bool addJob(KavroPISSRenderQueue& queue, const char* id) {
    std::unique_ptr<KavroPISSRenderQueueItem> item(new (std::nothrow) KavroPISSRenderQueueItem);
    std::unique_ptr<KavroPISSRenderQueueItemOutputModule> module(
        new (std::nothrow) KavroPISSRenderQueueItemOutputModule);
    if (item == nullptr || module == nullptr) {
        return false;
    }
    if (item->Add("job", "id", id) == 0 || item->Add("job", "frames", 250) == 0 ||
        module->Add("module", "template", "Lossless") == 0 ||
        item->AddNewOutputModule(module.get()) == 0) {
        return false;
    }
    static_cast<void>(module.release()); // the item's now
    if (queue.AddNewRenderQueueItem(item.get()) == 0) {
        return false;
    }
    static_cast<void>(item.release()); // the queue's now
    return true;
}

// Whether a job is in the queue or in the history.
inline bool isJobKept(const ProductWorld& world, const Disk& disk, const std::string& id) {
    for (const char* name : {"RQ.txt", "RQ-History.txt"}) {
        const DiskEntry* file = entryOf(disk, world.relative(world.queueFile(name)));
        if (file != nullptr && file->text.find(jobWith(id)) != std::string::npos) {
            return true;
        }
    }
    return false;
}

// The jobs of the world are there.
inline void expectJobsKept(const ProductWorld& world, const Disk& disk) {
    for (const char* id : {"one", "two", "done"}) {
        EXPECT_TRUE(isJobKept(world, disk, id)) << "job " << id << " is lost";
    }
}

} // namespace corvid::test

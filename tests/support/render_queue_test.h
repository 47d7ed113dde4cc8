#pragma once

// A render queue directory of its own for one test, and the short ways to fill a queue and to look
// at it.

#include "store/Kavro_PISSRenderQueue.h"
#include "tests/support/product_root.h"

#include <memory>
#include <string>
#include <vector>

namespace corvid::test {

using OwnedItem = std::unique_ptr<KavroPISSRenderQueueItem>;
using OwnedModule = std::unique_ptr<KavroPISSRenderQueueItemOutputModule>;

// An item whose pair ("job", "id") is this text.
inline OwnedItem jobNamed(const std::string& id) {
    auto item = std::make_unique<KavroPISSRenderQueueItem>();
    EXPECT_EQ(item->Add("job", "id", id.c_str()), 1);
    return item;
}

// The lines of such an item as a queue file holds them.
inline std::string jobText(const std::string& id) {
    return "{\n\tjob string\tid " + id + "\n\t{\n\t}\n}\n";
}

inline std::string idOf(const KavroPISSRenderQueueItem* item) {
    char* text = nullptr;
    if (item == nullptr || item->GetItem(&text, "job", "id") == 0) {
        return "none";
    }
    const OwnedText id(text);
    return id.get();
}

inline std::string textOf(const KavroPISSRenderQueueItem& item) {
    std::string text;
    item.formatTo(text);
    return text;
}

// The ids of the queue's items in list order.
inline std::vector<std::string> idsOf(KavroPISSRenderQueue& queue) {
    std::vector<std::string> ids;
    queue.PrepareRenderQueueList();
    while (const KavroPISSRenderQueueItem* item = queue.GetNextRenderQueueItemInList()) {
        ids.push_back(idOf(item));
    }
    return ids;
}

inline void addJob(KavroPISSRenderQueue& queue, const std::string& id) {
    OwnedItem item = jobNamed(id);
    ASSERT_EQ(queue.AddNewRenderQueueItem(item.get()), 1);
    static_cast<void>(item.release()); // the queue's now
}

inline void addJobs(KavroPISSRenderQueue& queue, const std::vector<std::string>& ids) {
    for (const std::string& id : ids) {
        addJob(queue, id);
    }
}

// A product root whose settings put the render queue into a directory that exists.
class RenderQueueTest : public ProductTest {
protected:
    RenderQueueTest() {
        makeDirectory(file("RQProjects"));
        writeFile(root.productFile("Config.txt"),
                  "default string\tDirectoryLocationOfRenderQueue " + root.path("queue") + "\n");
    }
    // The path of a file in the queue's directory.
    [[nodiscard]] std::string file(const std::string& name) const {
        return root.path("queue/" + name);
    }
    // Writes "RQ.txt" and loads it; what StartTransaction() answered.
    int load(KavroPISSRenderQueue& queue, const std::string& text) const {
        writeFile(file("RQ.txt"), text);
        return queue.StartTransaction();
    }
};

} // namespace corvid::test

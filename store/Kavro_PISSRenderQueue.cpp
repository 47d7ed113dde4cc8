#include "store/Kavro_PISSRenderQueue.h"

#include "files/path_text.h"
#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"
#include "store/KavroPISSConfig.h"
#include "store/PISSFileUtilities.h"
#include "store/product_paths.h"
#include "store/settings_keys.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace corvid {

void destroyRenderQueueEntry(sRenderQueueItemEntry* entry) {
    delete entry->item;
    std::free(entry);
}

} // namespace corvid

namespace {

constexpr char kSourceName[] = "Kavro_PISSRenderQueue";

// The directory of all queue files, with "/" at its end.
std::string queueDirectory(corvid::IfMissing ifMissing) {
    KavroPISSConfig config(ifMissing);
    char* text = nullptr;
    config.GetItem(&text, corvid::kGlobalScope, corvid::kRenderQueueRoot.name);
    const corvid::OwnedText setting(text);
    // An empty setting names no directory; taken as it stands it would put the queue into "/".
    if (setting == nullptr || *setting.get() == '\0') {
        maro_logError("RenderQueue::RenderQueue : Could not get General Config item default:%s\n",
                      corvid::kRenderQueueRoot.name);
        maro_logError("Installation of Fernwick %s could be corrupt.", corvid::kProductName);
        return corvid::productPath(assignCorvidProRenderQueueDefaultDirectoryPath);
    }
    return corvid::withSeparator(setting.get());
}

corvid::OwnedText newPath(const std::string& path) {
    auto* copy = static_cast<char*>(std::malloc(path.size() + 1));
    if (copy == nullptr) {
        maro_logError("RenderQueue::RenderQueue : Could not malloc\n");
        return nullptr;
    }
    std::memcpy(copy, path.c_str(), path.size() + 1);
    return corvid::OwnedText(copy);
}

} // namespace

KavroPISSRenderQueue::KavroPISSRenderQueue(corvid::IfMissing ifMissing) : m_ifMissing(ifMissing) {
    const bool makes = ifMissing == corvid::IfMissing::Create;
    corvid::unlessOutOfMemory("RenderQueue::RenderQueue", 0, [this, makes] {
        const std::string directory = queueDirectory(m_ifMissing);
        if (makes) {
            PISSCreateDirectoryPath(directory.c_str());
        }
        m_path = newPath(directory + "RQ.txt");
        m_shadowPath = newPath(directory + "ShadowRQ.txt");
        m_projectsPath = newPath(directory + "RQProjects/");
        return 0;
    });
    if (m_projectsPath != nullptr && makes) {
        PISSCreateDirectoryPath(m_projectsPath.get());
    }
}

KavroPISSRenderQueue::~KavroPISSRenderQueue() = default;

int KavroPISSRenderQueue::CloseFileIfOpen() {
    m_file.reset();
    return 1;
}

KavroPISSRenderQueueItem* KavroPISSRenderQueue::GetNextRenderQueueItemInList() {
    const sRenderQueueItemEntry* entry = m_items.next();
    return entry != nullptr ? entry->item : nullptr;
}

KavroPISSRenderQueueItem* KavroPISSRenderQueue::GetSpecificRenderQueueItemInList(int index) {
    const sRenderQueueItemEntry* entry = find(index);
    return entry != nullptr ? entry->item : nullptr;
}

sRenderQueueItemEntry* KavroPISSRenderQueue::find(int index) {
    if (index < 1) {
        return nullptr;
    }
    try {
        fillIndex();
    } catch (const std::bad_alloc&) { // then the long way
        m_byIndex.clear();
        return m_items.find(
            [index](const sRenderQueueItemEntry& entry) { return entry.index == index; });
    }
    const auto slot = static_cast<std::size_t>(index);
    return slot < m_byIndex.size() ? m_byIndex[slot] : nullptr;
}

void KavroPISSRenderQueue::fillIndex() {
    if (!m_byIndex.empty()) {
        return;
    }
    for (auto* entry = m_items.head(); entry != nullptr; entry = entry->next) {
        const auto slot = static_cast<std::size_t>(entry->index);
        if (slot >= m_byIndex.size()) {
            m_byIndex.resize(slot + 1);
        }
        if (m_byIndex[slot] == nullptr) {
            m_byIndex[slot] = entry;
        }
    }
}

int KavroPISSRenderQueue::AddToList(KavroPISSRenderQueueItem* item) {
    auto* entry = static_cast<sRenderQueueItemEntry*>(std::malloc(sizeof(sRenderQueueItemEntry)));
    if (entry == nullptr) {
        maro_logError("KavroPISSRenderQueue::AddToList malloc failed\n");
        return 0;
    }
    entry->item = item;
    m_items.append(entry);
    entry->index = NumberOfRenderQueueItemsInList();
    m_byIndex.clear();
    return 1;
}

int KavroPISSRenderQueue::AddNewRenderQueueItem(KavroPISSRenderQueueItem* item) {
    return item != nullptr ? AddToList(item) : 0;
}

int KavroPISSRenderQueue::AddNewRenderQueueItem(KavroPISSRenderQueueItem* item, const char* key) {
    if (item == nullptr || key == nullptr || isQueued(*item, key)) {
        return 0;
    }
    return AddToList(item);
}

namespace {

// Calls visit(pair) for each pair with that name until it returns true; whether it did.
template <class Visit>
bool anyPairNamed(const KavroPISSRenderQueueItem& item, const char* name, Visit visit) {
    for (const auto* pair = item.getHeadItem(); pair != nullptr; pair = pair->next) {
        if (std::strcmp(pair->name, name) == 0 && visit(*pair)) {
            return true;
        }
    }
    return false;
}

} // namespace

bool KavroPISSRenderQueue::isQueued(const KavroPISSRenderQueueItem& item, const char* name) const {
    bool isIntegerCompared = false;
    const auto isSame = [&isIntegerCompared](const auto& ours, const auto& theirs) {
        const bool areTexts =
            ours.type == corvid::kRenderQueueText && theirs.type == corvid::kRenderQueueText;
        isIntegerCompared = isIntegerCompared || !areTexts;
        return areTexts && std::strcmp(ours.value, theirs.value) == 0;
    };
    const auto isTaken = [&](const sRenderQueueItemEntry& queued) {
        return anyPairNamed(*queued.item, name, [&](const auto& theirs) {
            return anyPairNamed(item, name, [&](const auto& ours) { return isSame(ours, theirs); });
        });
    };
    const bool isFound = m_items.find(isTaken) != nullptr;
    if (isIntegerCompared) {
        maro_logError("Developer Error!!! %s  %d", kSourceName, __LINE__);
    }
    return isFound;
}

int KavroPISSRenderQueue::DeleteRenderQueueItem(int index) {
    const sRenderQueueItemEntry* doomed = find(index);
    return doomed != nullptr ? removeEntry(*doomed) : 0;
}

int KavroPISSRenderQueue::DeleteRenderQueueItemAtIndex(int position) {
    const sRenderQueueItemEntry* doomed = m_items.head();
    for (int place = 0; doomed != nullptr && place != position; ++place) {
        doomed = doomed->next;
    }
    return doomed != nullptr ? removeEntry(*doomed) : 0;
}

int KavroPISSRenderQueue::removeEntry(const sRenderQueueItemEntry& doomed) {
    m_byIndex.clear();
    m_items.removeIf([&doomed](const sRenderQueueItemEntry& entry) { return &entry == &doomed; });
    return 1;
}

int KavroPISSRenderQueue::DeleteAllRenderQueueItems() {
    m_byIndex.clear();
    m_items.clear();
    return 1;
}

namespace {

// Whether `entry` comes after `first` in the list.
bool comesAfter(const sRenderQueueItemEntry* first, const sRenderQueueItemEntry* entry) {
    while (first != nullptr && first != entry) {
        first = first->next;
    }
    return first != nullptr;
}

// Items are moved by exchanging what the entries hold, so that the links stay the list's own
// business.
void swapContents(sRenderQueueItemEntry& one, sRenderQueueItemEntry& other) {
    std::swap(one.item, other.item);
    std::swap(one.index, other.index);
}

} // namespace

int KavroPISSRenderQueue::MoveRenderQueueItem(int from, int to) {
    if (from < 1 || to < 1) {
        return 0;
    }
    if (to == from || to - from == 1) {
        return 1;
    }
    sRenderQueueItemEntry* moved = find(from);
    sRenderQueueItemEntry* target = find(to);
    if (moved == nullptr) {
        return 0;
    }
    m_byIndex.clear();
    if (comesAfter(target, moved)) {
        for (; target != moved; target = target->next) {
            swapContents(*target, *moved);
        }
    } else {
        for (; moved->next != target; moved = moved->next) {
            swapContents(*moved, *moved->next);
        }
    }
    return 1;
}

#include "upkeep/cache_list.h"

#include "store/features.h"

#include <algorithm>

namespace corvid {

namespace {

long keyOf(const ListNumbers& numbers, ListOrder order) {
    switch (order) {
    case ListOrder::Size:
        return static_cast<long>(numbers.bytes);
    case ListOrder::Date:
        return numbers.newest;
    case ListOrder::Files:
        return static_cast<long>(numbers.files);
    case ListOrder::Tree:
    case ListOrder::Name:
        break;
    }
    return 0;
}

std::string_view nameOf(const ListedFeature& feature) {
    return feature.label() != nullptr ? feature.label() : std::string_view(feature.directory);
}
std::string_view nameOf(const ListedRoot& root) {
    return root.path;
}
std::string_view nameOf(const ListedStray& stray) {
    return stray.path;
}
template <class Item>
std::string_view nameOf(const Item& item) {
    return shownName(item.key);
}

template <class Item>
void sortItems(std::vector<Item>& items, ListOrder order, bool isReversed) {
    std::stable_sort(items.begin(), items.end(), [order](const Item& left, const Item& right) {
        return order == ListOrder::Name ? nameOf(left) < nameOf(right)
                                        : keyOf(left.numbers, order) > keyOf(right.numbers, order);
    });
    if (isReversed) {
        std::reverse(items.begin(), items.end());
    }
}

} // namespace

void sortList(CacheList& list, ListOrder order, bool isReversed) {
    sortItems(list.roots, order, isReversed);
    for (ListedRoot& root : list.roots) {
        sortItems(root.strays, order, isReversed);
        sortItems(root.projects, order, isReversed);
        for (ListedProject& project : root.projects) {
            sortItems(project.compositions, order, isReversed);
            for (ListedComposition& composition : project.compositions) {
                sortItems(composition.features, order, isReversed);
            }
        }
    }
}

const char* wordOf(ListedState state) {
    static constexpr const char* kWords[] = {"ok", "missing", "unreadable", "not-a-directory",
                                             "timed-out"};
    return kWords[static_cast<int>(state)];
}

const char* wordOf(ProjectFile file) {
    static constexpr const char* kWords[] = {"present", "gone", "unknown"};
    return kWords[static_cast<int>(file)];
}

const char* wordOf(StrayKind kind) {
    static constexpr const char* kWords[] = {"unnamed-project", "unnamed-composition", "foreign"};
    return kWords[static_cast<int>(kind)];
}

const char* wordOf(ListProblemKind kind) {
    static constexpr const char* kWords[] = {"missing", "unreadable", "not-a-directory", "vanished",
                                             "loop",    "timed-out",  "damaged"};
    return kWords[static_cast<int>(kind)];
}

} // namespace corvid

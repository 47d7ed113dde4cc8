#include "upkeep/item_names.h"

#include "files/path_text.h"
#include "store/features.h"

#include <algorithm>
#include <unordered_set>

namespace corvid {

namespace {

// Which items one name names.
class Finder {
public:
    Finder(const CacheList& list, std::string_view name)
        : m_list(list), m_name(withoutSeparators(name)) {}

    // The only one. Throws UnknownItem.
    const void* item() {
        look(true);
        if (m_found.empty()) { // a path before a name, so that no name can stand in a path's way
            look(false);
        }
        if (m_found.size() == 1) {
            return m_found.front().item;
        }
        throw UnknownItem(m_found.empty() ? "no item is called '" + m_name + "'" : candidates());
    }

private:
    struct Found {
        const void* item;
        std::string place; // ROOT:ID
    };

    void look(bool byPath) {
        for (const ListedRoot& root : m_list.roots) {
            for (const ListedProject& project : root.projects) {
                check(byPath, &project, root, project.directory, project.key,
                      shownName(project.key));
                for (const ListedComposition& composition : project.compositions) {
                    const std::string id = project.directory + "/" + composition.directory;
                    check(byPath, &composition, root, id, "", shownName(composition.key));
                    for (const ListedFeature& feature : composition.features) {
                        check(byPath, &feature, root, id + "/" + feature.directory,
                              feature.directory, feature.label() != nullptr ? feature.label() : "");
                    }
                }
            }
        }
    }

    void check(bool byPath, const void* item, const ListedRoot& root, const std::string& id,
               std::string_view key, std::string_view shown) {
        const bool isNamed =
            byPath ? isPath(root, id)
                   : (!key.empty() && m_name == key) || (!shown.empty() && m_name == shown);
        if (isNamed) {
            m_found.push_back({item, root.path + ":" + id});
        }
    }

    bool isPath(const ListedRoot& root, std::string_view id) const {
        const std::string_view name = m_name;
        if (name == id) {
            return true;
        }
        const bool endsWithId =
            name.size() > id.size() && name.substr(name.size() - id.size()) == id;
        if (!endsWithId) {
            return false;
        }
        const std::string_view before = name.substr(0, name.size() - id.size());
        return (before.back() == ':' && before.substr(0, before.size() - 1) == root.path) ||
               (before.back() == '/' && withoutSeparators(before) == root.path);
    }

    std::string candidates() const {
        constexpr std::size_t kMost = 5;
        std::string text =
            "'" + m_name + "' is the name of " + std::to_string(m_found.size()) + " items:";
        for (std::size_t i = 0; i < std::min(kMost, m_found.size()); ++i) {
            text += (i > 0 ? ", " : " ") + m_found[i].place;
        }
        return text + (m_found.size() > kMost ? ", ..." : "");
    }

    const CacheList& m_list;
    const std::string m_name;
    std::vector<Found> m_found;
};

// Takes away what is not wanted. Each returns whether the item, or anything in it, is.
class Pruner {
public:
    explicit Pruner(std::unordered_set<const void*> wanted) : m_wanted(std::move(wanted)) {}

    bool prune(ListedRoot& root) { return pruneIn(root, root.projects); }

private:
    bool prune(ListedProject& project) { return pruneIn(project, project.compositions); }
    bool prune(ListedComposition& composition) {
        return pruneIn(composition, composition.features);
    }
    bool prune(ListedFeature& feature) { return m_wanted.count(&feature) > 0; }

    // A wanted item keeps all that is in it.
    template <class Item, class Child>
    bool pruneIn(Item& item, std::vector<Child>& children) {
        if (m_wanted.count(&item) > 0) {
            return true;
        }
        std::vector<bool> isKept; // they are known by where they are and move only afterwards
        isKept.reserve(children.size());
        for (Child& child : children) {
            isKept.push_back(prune(child));
        }
        std::vector<Child> kept;
        for (std::size_t i = 0; i < children.size(); ++i) {
            if (isKept[i]) {
                kept.push_back(std::move(children[i]));
            }
        }
        children = std::move(kept);
        return !children.empty();
    }

    const std::unordered_set<const void*> m_wanted;
};

} // namespace

void keepItems(CacheList& list, const std::vector<std::string>& names) {
    std::unordered_set<const void*> wanted;
    for (const std::string& name : names) {
        wanted.insert(Finder(list, name).item());
    }
    Pruner pruner(std::move(wanted));
    for (ListedRoot& root : list.roots) {
        root.strays.clear();
        pruner.prune(root);
    }
    std::erase_if(list.roots, [](const ListedRoot& root) { return root.projects.empty(); });
}

} // namespace corvid

#include "MacCacheManager/tree_deletion.h"

#include "MacCacheManager/BoundedName.h"
#include "store/KavroPISSFrameCache.h"

#include <algorithm>
#include <unordered_set>

namespace corvid {

namespace {

using Level = DeletionStep::Level;

// Adds steps as if those before had been carried out.
class StepMaker {
public:
    std::vector<DeletionStep> steps;

    void addNode(FrameCacheEntry* node) {
        FrameCacheEntry* parent = node != nullptr ? node->getParent() : nullptr;
        FrameCacheEntry* grandparent = parent != nullptr ? parent->getParent() : nullptr;
        const int type = node != nullptr ? node->getNodeType() : kUnsetNode;
        if (type == kProjectNode) {
            addProject(nameOf(*node), node);
        } else if (type == kCompositionNode && parent != nullptr) {
            addComposition(nameOf(*node), nameOf(*parent), node);
        } else if (type == kFeatureNode && grandparent != nullptr) {
            addFeature(nameOf(*grandparent), nameOf(*parent), nameOf(*node), node);
        }
    }
    void addProject(const std::string& project, FrameCacheEntry* node) {
        add({Level::Project, project, {}, {}, node});
    }
    void addComposition(const std::string& project, const std::string& composition,
                        FrameCacheEntry* node) {
        if (FrameCacheEntry* emptied = add({Level::Composition, project, composition, {}, node})) {
            addProject(project, emptied);
        }
    }
    void addFeature(const std::string& project, const std::string& composition,
                    const std::string& feature, FrameCacheEntry* node) {
        if (FrameCacheEntry* emptied = add({Level::Feature, project, composition, feature, node})) {
            addComposition(project, composition, emptied);
        }
    }

private:
    static std::string nameOf(const FrameCacheEntry& node) {
        return node.getName() != nullptr ? node.getName() : "";
    }
    // The node's parent, when the step leaves it without children.
    FrameCacheEntry* add(DeletionStep step) {
        FrameCacheEntry* parent = step.node->getParent();
        m_gone.insert(step.node);
        steps.push_back(std::move(step));
        return parent != nullptr && !hasChildrenLeft(*parent) ? parent : nullptr;
    }
    // Nodes are mostly deleted from the first on, so that a last child is the likeliest to be left.
    bool hasChildrenLeft(const FrameCacheEntry& node) const {
        int last = node.getNumberOfChildren() - 1;
        while (last >= 0 && m_gone.count(node.getChildAt(last)) > 0) {
            --last;
        }
        return last >= 0;
    }

    std::unordered_set<const FrameCacheEntry*> m_gone;
};

// A step's names as the cache model takes them.
struct ModelNames {
    explicit ModelNames(const DeletionStep& step)
        : project(step.project.c_str(), OverlongName::Empty),
          composition(step.composition.c_str(), OverlongName::Empty),
          feature(step.feature.c_str(), OverlongName::Empty) {}
    BoundedName project;
    BoundedName composition;
    BoundedName feature;
};

void remove(const DeletionStep& step, const KavroPISSFrameCache::Progress& progress) {
    const char* root = step.node->getPathToRootCache();
    const ModelNames names(step);
    if (step.level == Level::Project) {
        KavroPISSFrameCache cache(root, names.project.text());
        cache.setProgress(progress);
        cache.DeleteProject(names.project.text());
        cache.Commit();
        return;
    }
    if (step.level == Level::Feature) {
        KavroPISSFrameCache frames(root, names.project.text(), names.composition.text(),
                                   names.feature.text());
        frames.DeleteAllFeatures();
        frames.Commit();
    }
    KavroPISSFrameCache cache(root, names.project.text(), names.composition.text());
    cache.setProgress(progress);
    if (step.level == Level::Feature) {
        cache.DeleteFeature(names.feature.text());
    } else {
        cache.DeleteComposition(names.composition.text());
    }
    cache.Commit();
}

std::optional<std::string> pathToDelete(const DeletionStep& step) {
    const char* root = step.node->getPathToRootCache();
    const ModelNames names(step);
    const bool isProject = step.level == Level::Project;
    const KavroPISSFrameCache cache(LookOnly{}, root, names.project.text(),
                                    isProject ? nullptr : names.composition.text());
    switch (step.level) {
    case Level::Project:
        return cache.pathThatDeleteProjectRemoves(names.project.text());
    case Level::Composition:
        return cache.pathThatDeleteCompositionRemoves(names.composition.text());
    case Level::Feature:
        break;
    }
    return cache.pathThatDeleteFeatureRemoves(names.feature.text());
}

} // namespace

const std::string& DeletionStep::name() const {
    switch (level) {
    case Level::Project:
        return project;
    case Level::Composition:
        return composition;
    case Level::Feature:
        break;
    }
    return feature;
}

std::vector<DeletionStep> deletionSteps(const std::vector<FrameCacheEntry*>& nodes) {
    StepMaker maker;
    for (FrameCacheEntry* node : nodes) {
        maker.addNode(node);
    }
    return std::move(maker.steps);
}

std::vector<DeletionStep> deletionSteps(const char* project, const char* composition,
                                        const char* feature, FrameCacheEntry* node) {
    StepMaker maker;
    if (composition == nullptr) {
        maker.addProject(project, node);
    } else if (feature == nullptr) {
        maker.addComposition(project, composition, node);
    } else {
        maker.addFeature(project, composition, feature, node);
    }
    return std::move(maker.steps);
}

std::vector<std::string> pathsToDelete(const std::vector<DeletionStep>& steps) {
    std::vector<std::string> paths;
    std::unordered_set<std::string> known;
    for (const DeletionStep& step : steps) {
        const std::optional<std::string> path = pathToDelete(step);
        if (path && known.insert(*path).second) {
            paths.push_back(*path);
        }
    }
    return paths;
}

void carryOut(const std::vector<DeletionStep>& steps, const DeletionProgress& progress,
              DetachedNodes& detached) {
    for (const DeletionStep& step : steps) {
        remove(step, [&](std::uint64_t files) {
            if (progress) {
                progress(step.name(), files);
            }
        });
        FrameCacheEntry* parent = step.node->getParent();
        if (auto taken = parent != nullptr ? parent->takeChild(step.node) : nullptr) {
            detached.push_back(std::move(taken));
        }
    }
}

} // namespace corvid

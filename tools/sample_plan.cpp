#include "tools/sample_plan.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <iterator>
#include <set>
#include <stdexcept>
#include <utility>

namespace corvid {

namespace {

constexpr std::uint64_t kDaysOfDates = 730;
constexpr const char* kFeatures[] = {"SPEC_PREVIEW", "SPEC_RENDER", "PROXY"};

std::int64_t newestDate(const SampleOptions& options) {
    return options.newest.value_or(static_cast<std::int64_t>(std::time(nullptr)));
}

// The share of member `index` when `total` is dealt out to `members`.
std::uint64_t share(std::uint64_t total, std::uint64_t members, std::uint64_t index) {
    return total / members + (index < total % members ? 1 : 0);
}

CachePlan uniformPlan(const SampleOptions& options) {
    const auto projects = static_cast<std::uint64_t>(options.projects);
    const auto features = static_cast<std::uint64_t>(options.features);
    const std::uint64_t compositions = options.totalCompositions.value_or(
        projects * static_cast<std::uint64_t>(options.compositions));
    const std::int64_t newest = newestDate(options);
    std::uint64_t feature = 0;
    CachePlan plan;
    plan.roots = options.roots;
    for (std::uint64_t p = 0; p < projects; ++p) {
        ProjectPlan project;
        project.key =
            "/Projects/Reel " + std::to_string(p + 1) + "/Edit " + std::to_string(p + 1) + ".aep";
        project.root = static_cast<std::size_t>(p % static_cast<std::uint64_t>(options.roots));
        for (std::uint64_t c = 0; c < share(compositions, projects, p); ++c) {
            CompositionPlan composition;
            composition.key = "Comp " + std::to_string(c + 1);
            for (std::uint64_t f = 0; f < features; ++f, ++feature) {
                FeaturePlan one;
                one.name = kFeatures[f];
                one.frames = options.totalFrames
                                 ? share(*options.totalFrames, compositions * features, feature)
                                 : static_cast<std::uint64_t>(options.frames);
                one.leastBytes = options.frameBytes;
                one.mostBytes = options.frameBytes;
                one.newest = newest - static_cast<std::int64_t>(feature % kDaysOfDates) * kDay;
                composition.features.push_back(std::move(one));
            }
            project.compositions.push_back(std::move(composition));
        }
        plan.projects.push_back(std::move(project));
    }
    return plan;
}

struct DemoFeature {
    int feature; // index into kFeatures
    std::uint64_t frames;
    std::uint64_t leastBytes;
    std::uint64_t mostBytes;
    int daysOld;
};

struct DemoComposition {
    const char* project;
    std::size_t root;
    const char* composition;
    std::vector<DemoFeature> features;
};

constexpr std::uint64_t kHdFrame = std::uint64_t{1920} * 1080 * 4;
constexpr std::uint64_t kUhdFrame = 4 * kHdFrame;

const std::vector<DemoComposition>& demoCompositions() {
    static const std::vector<DemoComposition> compositions = {
        {"Spring Campaign/Launch Film 30s.aep",
         0,
         "Main Comp",
         {{0, 240, kHdFrame, kHdFrame, 1},
          {1, 120, kHdFrame, kHdFrame, 0},
          {2, 60, 500000, 2000000, 3}}},
        {"Spring Campaign/Launch Film 30s.aep",
         0,
         "Shot 010 - Harbour",
         {{0, 96, kHdFrame, kHdFrame, 2}, {2, 40, 800000, 2500000, 2}}},
        {"Spring Campaign/Launch Film 30s.aep", 0, "End Card", {{0, 25, 40000, 90000, 5}}},
        {"Österreich Werbung/Gipfelglück 2.aep",
         0,
         "Übersicht",
         {{0, 150, kHdFrame / 4, kHdFrame / 4, 21}, {1, 150, kHdFrame, kHdFrame, 20}}},
        {"Österreich Werbung/Gipfelglück 2.aep",
         0,
         "Schnee & Nebel",
         {{2, 75, 100000, 900000, 24}}},
        {"Feature Titles/Main Titles v12.aep",
         1,
         "Titles 4K",
         {{0, 180, kUhdFrame, kUhdFrame, 64}, {1, 72, kUhdFrame, kUhdFrame, 61}}},
        {"Feature Titles/Main Titles v12.aep", 1, "Name Cards", {{0, 48, 250000, 750000, 66}}},
        {"Documentaire/Été à la mer.aep", 0, "Générique", {{0, 50, kHdFrame, kHdFrame, 133}}},
        {"Documentaire/Été à la mer.aep",
         0,
         "Carte animée",
         {{0, 200, 300000, 600000, 140}, {1, 10, kHdFrame, kHdFrame, 138}}},
        {"Product Spots/Watch Macro.aep", 1, "Dial", {{1, 300, kHdFrame, kHdFrame, 251}}},
        {"Product Spots/Watch Macro.aep", 1, "Strap", {{0, 90, kHdFrame / 4, kHdFrame / 4, 255}}},
        {"Žižkov Nights/Opening Sequence.aep", 1, "Neon", {{0, 64, 1000000, 3000000, 402}}},
        {"Žižkov Nights/Opening Sequence.aep", 1, "Rain", {{2, 12, 200, 900, 410}}},
        {"Old Jobs/Weather Map 2024.aep", 0, "Icons", {{0, 3, 90, 120, 729}}},
        {"Old Jobs/Weather Map 2024.aep", 0, "Forecast loop", {{0, 30, 60000, 120000, 715}}},
        {"Tests/Empty Project.aep", 1, nullptr, {}},
    };
    return compositions;
}

CachePlan demoPlan(const SampleOptions& options) {
    const std::int64_t newest = newestDate(options);
    CachePlan plan;
    plan.roots = 2;
    plan.projectFolders = true;
    std::int64_t timeOfDay = 0; // so that not everything was rendered at the same minute
    for (const DemoComposition& demo : demoCompositions()) {
        const std::string key = options.root + "/Projects/" + demo.project;
        if (plan.projects.empty() || plan.projects.back().key != key) {
            plan.projects.push_back({key, demo.root, {}});
        }
        if (demo.composition == nullptr) {
            continue;
        }
        CompositionPlan composition{demo.composition, {}};
        for (const DemoFeature& feature : demo.features) {
            FeaturePlan one;
            one.name = kFeatures[feature.feature];
            one.frames = feature.frames;
            one.leastBytes = feature.leastBytes;
            one.mostBytes = feature.mostBytes;
            one.newest = newest - feature.daysOld * kDay - timeOfDay;
            timeOfDay = (timeOfDay + 7919) % (kDay / 3);
            composition.features.push_back(std::move(one));
        }
        plan.projects.back().compositions.push_back(std::move(composition));
    }
    return plan;
}

constexpr const char* kOddNames[] = {"Comp",
                                     "Überblende",
                                     "Título «final»",
                                     "予告編",
                                     "a  b   c",
                                     "100% done %s %n",
                                     "\"quoted\" 'q'",
                                     "$HOME `id` \\n",
                                     "semi;colon & co",
                                     "-rf",
                                     "..",
                                     ".hidden",
                                     "tab\tinside",
                                     "Nested/slashes/",
                                     "#1",
                                     "ends in / ",
                                     "UPPER.raw",
                                     "SPEC_PREVIEW"};
constexpr const char* kOddFeatures[] = {"SPEC_PROXY", "spec_render", "Depth Pass", ".thumbnails",
                                        "Ångström",   "$HOME",       "a\"b",       "100%s"};

// The name with a number, so that members of one level differ.
std::string oddName(SampleNumbers& numbers, int index) {
    return kOddNames[numbers.below(std::size(kOddNames))] + (" " + std::to_string(index));
}

FeaturePlan randomFeature(SampleNumbers& numbers, const SampleOptions& options, std::string name) {
    FeaturePlan feature;
    feature.name = std::move(name);
    if (numbers.oneIn(8)) {
        return feature;
    }
    feature.frames =
        numbers.oneIn(8) ? 0 : static_cast<std::uint64_t>(numbers.upTo(options.frames));
    feature.mostBytes = numbers.oneIn(10) ? std::uint64_t{6} << 30 : options.frameBytes * 2;
    feature.newest =
        newestDate(options) - static_cast<std::int64_t>(numbers.below(kDaysOfDates * kDay));
    if (numbers.oneIn(12)) {
        feature.newest = 0;
    }
    feature.hiddenFiles = numbers.oneIn(4) ? numbers.upTo(3) : 0;
    feature.otherFiles = numbers.oneIn(4) ? numbers.upTo(3) : 0;
    feature.links = numbers.oneIn(4) ? numbers.upTo(2) : 0;
    feature.nestedFiles = numbers.oneIn(4) ? numbers.upTo(5) : 0;
    return feature;
}

CompositionPlan randomComposition(SampleNumbers& numbers, const SampleOptions& options, int index) {
    CompositionPlan composition{oddName(numbers, index), {}};
    for (int f = 0; f < options.features; ++f) {
        if (!numbers.oneIn(4)) {
            composition.features.push_back(randomFeature(numbers, options, kFeatures[f]));
        }
    }
    if (numbers.oneIn(3)) {
        const char* name = kOddFeatures[numbers.below(std::size(kOddFeatures))];
        composition.features.push_back(randomFeature(numbers, options, name));
    }
    return composition;
}

// Small pools of keys, so that projects share composition keys and cache roots share project keys.
CachePlan randomPlan(const SampleOptions& options, bool hasNoise) {
    SampleNumbers numbers(options.seed);
    std::set<std::pair<std::size_t, std::string>> taken;
    CachePlan plan;
    plan.roots = options.roots;
    plan.foreignFiles = hasNoise;
    plan.registryNoise = hasNoise;
    plan.tableNoise = hasNoise;
    const int projects = 1 + numbers.upTo(std::max(options.projects - 1, 0));
    for (int p = 0; p < projects; ++p) {
        ProjectPlan project;
        project.root =
            static_cast<std::size_t>(numbers.below(static_cast<std::uint64_t>(options.roots)));
        project.key = "/Jobs/" + oddName(numbers, numbers.upTo(options.projects)) + ".aep";
        if (!taken.emplace(project.root, project.key).second) {
            continue;
        }
        const int compositions = numbers.oneIn(6) ? 0 : numbers.upTo(options.compositions);
        for (int c = 0; c < compositions; ++c) {
            project.compositions.push_back(randomComposition(numbers, options, c));
        }
        plan.projects.push_back(std::move(project));
    }
    return plan;
}

void check(const SampleOptions& options) {
    const bool usable = options.roots >= 1 && options.projects >= 0 && options.compositions >= 0 &&
                        options.features >= 0 &&
                        options.features <= static_cast<int>(std::size(kFeatures)) &&
                        options.frames >= 0 && options.strangers >= 0;
    if (!usable) {
        throw std::runtime_error(
            "sample cache: at least one root, no negative number, at most 3 features");
    }
    if (options.root.empty() || options.root.front() != '/') {
        throw std::runtime_error("sample cache: the root must be an absolute path: '" +
                                 options.root + "'");
    }
}

} // namespace

CachePlan makePlan(const SampleOptions& options) {
    check(options);
    switch (options.shape) {
    case SampleShape::Uniform:
        return uniformPlan(options);
    case SampleShape::Demo:
        return demoPlan(options);
    case SampleShape::Random:
        return randomPlan(options, true);
    case SampleShape::Healthy:
        return randomPlan(options, false);
    }
    return {};
}

} // namespace corvid

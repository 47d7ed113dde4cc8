// sample_cache: makes a cache below a folder and prints, as JSON, what a reader of it has to find.

#include "tools/sample_cache.h"

#include <charconv>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

constexpr const char* kUsage =
    "usage: sample_cache --root FOLDER [options]\n"
    "Makes a frame cache with its registry and settings below FOLDER and prints what it holds as "
    "JSON.\n"
    "Start the program with CORVIDPRO_ROOT=FOLDER to open it.\n"
    "  --shape uniform|demo|random|healthy\n"
    "                               uniform: all members alike (default); demo: eight projects as "
    "a user would\n"
    "                               have them; random: the numbers are upper limits, everything "
    "odd occurs;\n"
    "                               healthy: random without what a check would find fault with\n"
    "  --roots N                    cache roots (1)\n"
    "  --projects N                 projects in all (1)\n"
    "  --compositions N             compositions per project (1)\n"
    "  --features N                 features per composition, 0 to 3 (3)\n"
    "  --frames N                   frames per feature (10)\n"
    "  --total-compositions N       compositions in all, dealt out to the projects\n"
    "  --total-frames N             frames in all, dealt out to the features\n"
    "  --bytes N                    size of a frame; the files are sparse (1)\n"
    "  --strangers N                directories per cache root that no table names (0)\n"
    "  --newest SECONDS             date of the newest frame, since 1970 (now)\n"
    "  --seed N                     for the shapes random and healthy (1)\n";

template <class Number>
Number number(const std::string& option, const std::string& text) {
    Number value{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) {
        throw std::runtime_error(option + " needs a number, not '" + text + "'");
    }
    return value;
}

corvid::SampleShape shape(const std::string& text) {
    if (text == "uniform") {
        return corvid::SampleShape::Uniform;
    }
    if (text == "demo") {
        return corvid::SampleShape::Demo;
    }
    if (text == "random") {
        return corvid::SampleShape::Random;
    }
    if (text == "healthy") {
        return corvid::SampleShape::Healthy;
    }
    throw std::runtime_error("--shape must be uniform, demo, random or healthy, not '" + text +
                             "'");
}

void apply(corvid::SampleOptions& options, const std::string& option, const std::string& value) {
    const std::pair<const char*, int*> counts[] = {
        {"--roots", &options.roots},       {"--projects", &options.projects},
        {"--features", &options.features}, {"--compositions", &options.compositions},
        {"--frames", &options.frames},     {"--strangers", &options.strangers}};
    for (const auto& [name, target] : counts) {
        if (option == name) {
            *target = number<int>(option, value);
            return;
        }
    }
    if (option == "--root") {
        options.root = std::filesystem::absolute(value).lexically_normal().string();
    } else if (option == "--shape") {
        options.shape = shape(value);
    } else if (option == "--total-compositions") {
        options.totalCompositions = number<std::uint64_t>(option, value);
    } else if (option == "--total-frames") {
        options.totalFrames = number<std::uint64_t>(option, value);
    } else if (option == "--bytes") {
        options.frameBytes = number<std::uint64_t>(option, value);
    } else if (option == "--newest") {
        options.newest = number<std::int64_t>(option, value);
    } else if (option == "--seed") {
        options.seed = number<std::uint64_t>(option, value);
    } else {
        throw std::runtime_error("unknown option " + option);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::cout << kUsage;
        return 0;
    }
    try {
        corvid::SampleOptions options;
        for (int i = 1; i < argc; i += 2) {
            if (i + 1 == argc) {
                throw std::runtime_error(std::string(argv[i]) + " needs a value");
            }
            apply(options, argv[i], argv[i + 1]);
        }
        if (options.root.empty()) {
            throw std::runtime_error("--root is missing");
        }
        std::cout << toJson(corvid::makeSampleCache(options)) << std::flush;
        return std::cout ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << "sample_cache: " << error.what() << "\n\n" << kUsage;
        return 1;
    }
}

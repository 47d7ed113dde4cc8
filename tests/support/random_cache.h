#pragma once

// A cache with everything odd in it, for what reads caches.

#include "store/PISSMD5.h"
#include "tests/support/product_root.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace corvid::test {

// A cache of random shape: levels that are empty, directories that no table line names or that a
// line names wrongly, stray files, hidden files, links, nested directories.
class RandomCache {
public:
    RandomCache(std::string root, unsigned seed) : m_root(std::move(root)), m_random(seed) {
        makeDirectory(m_root);
        std::string table;
        for (int i = upTo(3); i > 0; --i) {
            const std::string key = "/projects/some project " + std::to_string(i) + ".aep";
            makeProject(m_root + hashOf(key) + "/");
            table += hashOf(key) + " " + key + "\n";
        }
        writeFile(m_root + "ProjectHash.txt", table);
        std::shuffle(m_lines.begin(), m_lines.end(), m_random);
        std::string compositions;
        for (const std::string& line : m_lines) {
            compositions += line;
        }
        writeFile(m_root + "CompositionHash.txt", compositions);
    }

private:
    int upTo(int most) { return std::uniform_int_distribution<int>(0, most)(m_random); }
    bool oneIn(int n) { return upTo(n - 1) == 0; }

    void makeProject(const std::string& path) {
        makeDirectory(path);
        makeStrays(path);
        for (int i = upTo(5); i > 0; --i) {
            const std::string key = "comp " + std::to_string(upTo(9));
            const int kind = upTo(14);
            if (kind == 0) { // no line names it
                makeComposition(path + hashOf("nobody knows " + key) + "/");
                continue;
            }
            makeComposition(path + hashOf(key) + "/");
            // Sometimes the line gives a key that leads to another directory.
            m_lines.push_back(hashOf(key) + " " + (kind == 1 ? "not " + key : key) + "\n");
        }
    }
    void makeComposition(const std::string& path) {
        makeDirectory(path);
        makeStrays(path);
        for (const char* feature :
             {"SPEC_PREVIEW", "SPEC_RENDER", "PROXY", ".hidden", "other one"}) {
            if (!oneIn(3)) {
                makeFeature(path + feature + "/");
            }
        }
    }
    void makeFeature(const std::string& path) {
        makeDirectory(path);
        for (int i = upTo(5); i > 0; --i) {
            makeFile(path + "0000000" + std::to_string(i) + ".raw");
        }
        if (oneIn(3)) {
            makeFile(path + "nested/deeper/00000009.raw");
            makeDirectory(path + "nested/empty");
        }
        makeStrays(path);
    }
    void makeStrays(const std::string& path) {
        if (oneIn(5)) {
            makeFile(path + ".hidden.raw");
        }
        if (oneIn(6)) {
            static_cast<void>(::symlink("nowhere", (path + "dead").c_str()));
        }
        if (oneIn(6)) {
            static_cast<void>(::symlink("..", (path + "up").c_str()));
        }
    }
    void makeFile(const std::string& path) {
        writeFile(path, std::string(static_cast<std::size_t>(upTo(3000)), 'f'));
        timespec times[2] = {};
        times[0].tv_sec = times[1].tv_sec = 1'700'000'000 + upTo(1'000'000);
        ::utimensat(AT_FDCWD, path.c_str(), times, 0);
    }

    std::string m_root;
    std::mt19937 m_random;
    std::vector<std::string> m_lines;
};

} // namespace corvid::test

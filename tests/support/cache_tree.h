#pragma once

// Trees as text, and a cache made by hand, for tests of the cache tree.

#include "MacCacheManager/FrameCacheEntry.h"
#include "store/PISSMD5.h"
#include "tests/support/product_root.h"

#include <QByteArray>

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace corvid::test {

// A line for a node and each node below it, indented by depth: type, name, path, bytes, files, time
// and cache root. A time at or after `start` reads "now": that of features without files is the
// moment of reading.
inline std::string treeText(const FrameCacheEntry& node, std::time_t start, int depth = 0) {
    const auto text = [](const char* bytes) { return std::string(bytes != nullptr ? bytes : "-"); };
    std::string lines(static_cast<std::size_t>(depth) * 2, ' ');
    lines += std::to_string(node.getNodeType()) + " '" + text(node.getName()) + "' " +
             text(node.getPath()) + " bytes " + std::to_string(node.getFileSize()) + " (" +
             node.getFileSizeString().toStdString() + ") files " +
             node.getFileCountString().toStdString();
    if (node.getModifiedTime() >= start) {
        lines += " now";
    } else {
        lines += " " + std::to_string(node.getModifiedTime()) + " " +
                 node.getLastModifiedTime().toStdString();
    }
    lines += " in " + text(node.getPathToRootCache()) + "\n";
    for (int i = 0; i < node.getNumberOfChildren(); ++i) {
        lines += treeText(*node.getChildAt(i), start, depth + 1);
    }
    return lines;
}

// The names of a node's children, in order.
inline std::vector<std::string> childNames(const FrameCacheEntry& node) {
    std::vector<std::string> names;
    for (int i = 0; i < node.getNumberOfChildren(); ++i) {
        names.emplace_back(node.getChildAt(i)->getName());
    }
    return names;
}

// A node's child; throws, which fails the test, when there is none.
inline FrameCacheEntry& childAt(const FrameCacheEntry& node, int index) {
    FrameCacheEntry* child = node.getChildAt(index);
    if (child == nullptr) {
        throw std::out_of_range("no child " + std::to_string(index));
    }
    return *child;
}

inline FrameCacheEntry& childNamed(const FrameCacheEntry& node, const std::string& name) {
    for (int i = 0; i < node.getNumberOfChildren(); ++i) {
        if (name == childAt(node, i).getName()) {
            return childAt(node, i);
        }
    }
    throw std::out_of_range("no child " + name);
}

// A cache root written file by file. The path has no "/" at its end.
class HandMadeCache {
public:
    explicit HandMadeCache(std::string path) : m_path(std::move(path)) { makeDirectory(m_path); }

    const std::string& path() const { return m_path; }
    std::string projectPath(const std::string& project) const {
        return m_path + "/" + hashOf(project);
    }
    std::string compositionPath(const std::string& project, const std::string& composition) const {
        return projectPath(project) + "/" + hashOf(composition);
    }

    void addProjectLine(const std::string& directory, const std::string& key) {
        m_projects += directory + " " + key + "\n";
        writeFile(m_path + "/ProjectHash.txt", m_projects);
    }
    void addCompositionLine(const std::string& directory, const std::string& key) {
        m_compositions += directory + " " + key + "\n";
        writeFile(m_path + "/CompositionHash.txt", m_compositions);
    }
    void addProject(const std::string& project) {
        makeDirectory(projectPath(project));
        addProjectLine(hashOf(project), project);
    }
    void addComposition(const std::string& project, const std::string& composition) {
        makeDirectory(compositionPath(project, composition));
        addCompositionLine(hashOf(composition), composition);
    }
    // One frame of so many bytes, dated in seconds since 1970.
    void addFrame(const std::string& project, const std::string& composition,
                  const std::string& feature, int number, std::size_t bytes,
                  std::time_t date) const {
        char name[32];
        static_cast<void>(std::snprintf(name, sizeof(name), "/%.8d.raw", number));
        const std::string file = compositionPath(project, composition) + "/" + feature + name;
        writeFile(file, std::string(bytes, 'x'));
        const timespec times[2] = {{date, 0}, {date, 0}};
        EXPECT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    }

private:
    std::string m_path;
    std::string m_projects;
    std::string m_compositions;
};

// One line of the registry for a project key.
inline std::string registryLine(const std::string& project, const std::string& key,
                                const std::string& value) {
    return hashOf(project) + " string\t" + key + " " + value + "\n";
}

} // namespace corvid::test

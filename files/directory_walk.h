#pragma once

// A depth-first walk below a directory, by descriptors. Each directory is read once: its files in
// the order of the directory, then its sub-directories. Links are never followed, and a directory
// is only ever reached from the open directory that holds it, so that nothing outside the starting
// directory is met whatever changes underneath. Few descriptors are held open however deep the tree
// is.

#include "files/directory_scan.h"
#include "files/unique_fd.h"

#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

namespace corvid {

// Names in one allocation, in order.
class PackedNames {
public:
    bool empty() const { return m_text.empty(); }
    void add(const char* name) { m_text.append(name, std::strlen(name) + 1); }
    // The next name, or null after the last one; valid until add().
    const char* next() {
        if (m_position == m_text.size()) {
            return nullptr;
        }
        const char* name = m_text.c_str() + m_position;
        m_position += std::strlen(name) + 1;
        return name;
    }

private:
    std::string m_text;
    std::size_t m_position = 0;
};

// Where a file stands among all files of a tree, in the order of a walk that enters each
// sub-directory where the directory names it. Places are compared with <; files between the same
// two sub-directories have the same place, and copies of a place share its memory.
class TreePlace {
public:
    // The numbers, counted from 1, of the sub-directories on the way, from the outside inwards, and
    // how many of the innermost one's stand before the file.
    TreePlace(const std::vector<std::uint32_t>& way, std::uint32_t before);
    // A file of the directory itself, behind that many sub-directories.
    explicit TreePlace(std::uint32_t before) : m_outermost(2 * before + 1) {}
    // A place in a directory seen from the one whose n-th sub-directory it is. Once at most.
    void enclose(std::uint32_t nthSubdirectory) { m_outermost = 2 * nthSubdirectory; }
    bool operator<(const TreePlace& other) const;

private:
    std::uint32_t m_outermost = 0; // even for a sub-directory, odd for a file between two
    std::shared_ptr<const std::vector<std::uint32_t>> m_steps; // the same further in; may be null
};

// The visitor supplies
//   bool file(int directory, const std::string& path, const DirectoryEntry& entry)
//        for each entry that is not a directory; path is the directory's;
//   bool filesEnded()                               after a directory's last file;
//   bool cannotOpen(const std::string& path)        for a directory that cannot be opened;
//   bool leave(int parent, const char* name, const std::string& path)
//        after a directory's contents, not called for the starting directory;
//   static std::string join(const std::string& path, const char* name)
//        the path of an entry: the directory's path, at most one "/", the name.
// and, if it wants to know,
//   void listingFailed()                            when the reading of a directory broke off.
// The first four return whether to go on. When one returns false the walk ends; then, from the
// innermost outwards,
//   void abandoned(const std::string& path)
// is called for each directory below the starting one that was being walked.
template <class Visitor>
class DirectoryWalk {
public:
    explicit DirectoryWalk(Visitor& visitor) : m_visitor(visitor) {}

    // Walks an open directory whose path, for the visitor, is given. Whether the walk reached its
    // end.
    bool run(UniqueFd start, std::string path) {
        m_path = std::move(path);
        bool goOn = enter(std::move(start), "");
        while (goOn && !m_levels.empty()) {
            const char* name = m_levels.back().subdirectories.next();
            m_levels.back().taken += name != nullptr ? 1 : 0;
            goOn = name != nullptr ? descend(name) : ascend();
        }
        for (; !m_levels.empty(); pop()) {
            if (m_levels.size() > 1) {
                m_visitor.abandoned(m_path);
            }
        }
        return goOn;
    }

    // Where the file that the visitor is told of stands in the tree.
    const TreePlace& place() {
        if (!m_place) {
            std::vector<std::uint32_t> way;
            for (const Level& level : m_levels) {
                way.push_back(level.taken);
            }
            m_place.emplace(way, m_subdirectoriesMet);
        }
        return *m_place;
    }

private:
    static constexpr std::size_t kOpenLevels = 8;

    // A directory whose sub-directories are being walked. Kept small: a nest has thousands.
    struct Level {
        UniqueFd directory; // closed while the walk is more than kOpenLevels below
        dev_t device;
        ino_t inode;
        PackedNames subdirectories;
        std::size_t parentPathLength;
        std::uint32_t taken = 0; // how many of the sub-directories were entered
    };

    bool descend(const char* name) {
        UniqueFd directory = openDirectory(m_levels.back().directory.get(), name, LinkRule::Refuse);
        return enter(std::move(directory), name);
    }

    // Reads a directory; stays in it only when it has sub-directories.
    bool enter(UniqueFd directory, const char* name) {
        const bool isStart = m_levels.empty();
        const std::size_t parentPathLength = m_path.size();
        if (!isStart) {
            m_path = Visitor::join(m_path, name);
        }
        PackedNames subdirectories;
        bool goOn = false;
        DirectoryScan scan(std::move(directory));
        if (!scan.isOpen()) {
            goOn = m_visitor.cannotOpen(m_path);
        } else if (!visitFiles(scan, subdirectories)) {
            goOn = false;
        } else if (!subdirectories.empty()) {
            return stay(scan, std::move(subdirectories), parentPathLength);
        } else {
            goOn = isStart || m_visitor.leave(m_levels.back().directory.get(), name, m_path);
        }
        if (!goOn && !isStart) {
            m_visitor.abandoned(m_path);
        }
        m_path.resize(parentPathLength);
        return goOn;
    }

    bool visitFiles(DirectoryScan& scan, PackedNames& subdirectories) {
        m_subdirectoriesMet = 0;
        m_place.reset();
        for (DirectoryEntry entry{}; scan.next(entry);) {
            if (entry.kind == EntryKind::Directory) {
                subdirectories.add(entry.name);
                ++m_subdirectoriesMet;
                m_place.reset();
            } else if (!m_visitor.file(scan.descriptor(), m_path, entry)) {
                return false;
            }
        }
        if constexpr (requires { m_visitor.listingFailed(); }) {
            if (scan.failed()) {
                m_visitor.listingFailed();
            }
        }
        return m_visitor.filesEnded();
    }

    bool stay(DirectoryScan& scan, PackedNames subdirectories, std::size_t parentPathLength) {
        UniqueFd directory = scan.takeDescriptor();
        struct stat status {};
        const bool usable = directory.isOpen() && ::fstat(directory.get(), &status) == 0;
        m_levels.push_back({std::move(directory), status.st_dev, status.st_ino,
                            std::move(subdirectories), parentPathLength});
        if (m_levels.size() > kOpenLevels) {
            m_levels[m_levels.size() - 1 - kOpenLevels].directory.reset();
        }
        return usable;
    }

    bool ascend() {
        if (m_levels.size() > 1) {
            Level& parent = m_levels[m_levels.size() - 2];
            const char* name = m_path.c_str() + m_path.rfind('/') + 1;
            if ((!parent.directory.isOpen() && !reopen(parent)) ||
                !m_visitor.leave(parent.directory.get(), name, m_path)) {
                return false;
            }
        }
        pop();
        return true;
    }

    // The way back up is taken only when it leads to the very directory that the walk came from.
    bool reopen(Level& parent) {
        UniqueFd directory = openDirectory(m_levels.back().directory.get(), "..", LinkRule::Refuse);
        struct stat status {};
        if (!directory.isOpen() || ::fstat(directory.get(), &status) != 0 ||
            status.st_dev != parent.device || status.st_ino != parent.inode) {
            return false;
        }
        parent.directory = std::move(directory);
        return true;
    }

    void pop() {
        m_path.resize(m_levels.back().parentPathLength);
        m_levels.pop_back();
    }

    Visitor& m_visitor;
    std::string m_path;
    std::deque<Level> m_levels;
    std::uint32_t m_subdirectoriesMet = 0; // in the directory that is being read, so far
    std::optional<TreePlace> m_place;      // of the file at hand, once asked for
};

} // namespace corvid

#include "upkeep/check.h"

#include "files/directory_scan.h"
#include "files/path_text.h"
#include "files/text_file.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/PISSFileUtilities.h"
#include "store/PISSMD5.h"
#include "store/kvp_line.h"
#include "store/product_paths.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include <fcntl.h>

namespace corvid {

namespace {

// One line of a table, also of those that no reader sees.
struct TableLine {
    std::string hash;
    std::string key;       // as readers have it, without blanks before it
    std::string remainder; // with them
    bool isHidden = false; // it stands behind an empty line
    bool isOverLong = false;
};

struct TableLines {
    std::string path;
    std::vector<TableLine> lines;
};

TableLine parsed(std::string_view text) {
    TableLine line;
    const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
    const std::size_t end = std::min(text.find_first_of(kBlanks, begin), text.size());
    line.hash = text.substr(begin, end - begin);
    if (end < text.size()) {
        line.remainder = text.substr(end + 1);
        const std::size_t key = line.remainder.find_first_not_of(kBlanks);
        line.key = key != std::string::npos ? line.remainder.substr(key) : "";
    }
    return line;
}

TableLines linesOfTable(const std::string& path) {
    TableLines table{path, {}};
    std::string text;
    bool isHidden = false;
    bool isOverLong = false;
    const ReadResult result = readLines(path.c_str(), [&](const char* piece) {
        text += piece;
        if (std::strlen(piece) >= kLinePiece && text.back() != '\n') {
            isOverLong = true;
            return AfterPiece::GoOn; // the line goes on in the next piece
        }
        stripLineFeed(text.data());
        TableLine line = parsed(text.c_str());
        text.clear();
        line.isHidden = isHidden;
        line.isOverLong = std::exchange(isOverLong, false);
        if (line.hash.empty()) {
            isHidden = true;
        } else {
            table.lines.push_back(std::move(line));
        }
        return AfterPiece::GoOn;
    });
    static_cast<void>(result); // a table that cannot be read has no lines to be told of
    return table;
}

// What lies in the directories of a root, by name; compositions of all its projects together.
struct Contents {
    std::unordered_map<std::string, ListNumbers> projects;
    std::unordered_map<std::string, ListNumbers> compositions;
    bool isWhole = true; // else a directory that is not among them may be there all the same
};

void addNumbers(ListNumbers& sum, const ListNumbers& part) {
    sum.bytes += part.bytes;
    sum.files += part.files;
}

// The compositions of a project that has no name have their lines all the same.
void addDirectoriesIn(const std::string& project, Contents& contents) {
    DirectoryScan scan(openDirectory(AT_FDCWD, project.c_str(), LinkRule::Follow));
    contents.isWhole = contents.isWhole && scan.isOpen();
    for (DirectoryEntry entry{}; scan.isOpen() && scan.next(entry);) {
        if (entry.kind == EntryKind::Directory) {
            contents.compositions.try_emplace(entry.name);
        }
    }
    contents.isWhole = contents.isWhole && !scan.failed();
}

bool hasProblems(const CacheList& list, const ListedRoot& root) {
    const std::string path = rootPath(root.path);
    return list.isInterrupted ||
           std::any_of(list.problems.begin(), list.problems.end(),
                       [&path](const ListProblem& problem) {
                           return problem.path.compare(0, path.size(), path) == 0;
                       });
}

Contents contentsOf(const ListedRoot& root) {
    Contents contents;
    for (const ListedProject& project : root.projects) {
        addNumbers(contents.projects[project.directory], project.numbers);
        for (const ListedComposition& composition : project.compositions) {
            addNumbers(contents.compositions[composition.directory], composition.numbers);
        }
    }
    for (const ListedStray& stray : root.strays) {
        const std::string name(lastComponent(stray.path));
        if (stray.kind == StrayKind::UnnamedProject) {
            addNumbers(contents.projects[name], stray.numbers);
            addDirectoriesIn(rootPath(root.path) + stray.path, contents);
        } else if (stray.kind == StrayKind::UnnamedComposition) {
            addNumbers(contents.compositions[name], stray.numbers);
        }
    }
    return contents;
}

struct CheckedRoot {
    const ListedRoot* root;
    Contents contents;
    TableLines projects;
    TableLines compositions;
};

class Checker {
public:
    explicit Checker(const CacheList& list) {
        for (const ListedRoot& root : list.roots) {
            m_all.push_back(&root);
            if (root.state == ListedState::Ok) {
                const std::string path = rootPath(root.path);
                m_roots.push_back({&root, contentsOf(root), linesOfTable(projectTablePath(path)),
                                   linesOfTable(compositionTablePath(path))});
                Contents& contents = m_roots.back().contents;
                contents.isWhole = contents.isWhole && !hasProblems(list, root);
            }
        }
    }

    std::vector<Finding> findings() {
        for (const CheckedRoot& root : m_roots) {
            checkStrays(root);
            checkTable(root, root.projects, root.contents.projects);
            checkTable(root, root.compositions, root.contents.compositions);
        }
        checkRegistry();
        checkNesting();
        std::stable_sort(
            m_findings.begin(), m_findings.end(),
            [](const Finding& left, const Finding& right) { return left.kind < right.kind; });
        return std::move(m_findings);
    }

private:
    void add(FindingKind kind, const ListedRoot& root, std::string path,
             const ListNumbers& hidden = {}, std::optional<std::string> fix = {}) {
        m_findings.push_back(
            {kind, root.path, std::move(path), hidden.bytes, hidden.files, std::move(fix)});
    }

    // The key that any root's table has for a hash; of its own root's lines also the hidden ones.
    std::optional<std::pair<std::string, std::string>>
    keyElsewhere(const std::string& hash, TableLines CheckedRoot::*table) const {
        for (const CheckedRoot& root : m_roots) {
            for (const TableLine& line : (root.*table).lines) {
                if (line.hash == hash && !line.key.empty()) {
                    return std::pair(line.key, root.root->path);
                }
            }
        }
        return std::nullopt;
    }

    static bool isHidden(const TableLines& table, const std::string& hash) {
        return std::any_of(table.lines.begin(), table.lines.end(), [&hash](const TableLine& line) {
            return line.isHidden && line.hash == hash;
        });
    }

    void checkStrays(const CheckedRoot& root) {
        for (const ListedStray& stray : root.root->strays) {
            const std::string path = rootPath(root.root->path) + stray.path;
            if (stray.kind == StrayKind::Foreign) {
                add(FindingKind::Foreign, *root.root, path, stray.numbers);
                continue;
            }
            const bool isProject = stray.kind == StrayKind::UnnamedProject;
            const auto table = isProject ? &CheckedRoot::projects : &CheckedRoot::compositions;
            const std::string hash(lastComponent(stray.path));
            if (isHidden(root.*table, hash)) {
                continue; // its line is there, and told of by itself
            }
            const auto known = keyElsewhere(hash, table);
            add(isProject ? FindingKind::UnnamedProject : FindingKind::UnnamedComposition,
                *root.root, path, stray.numbers,
                known ? "Add the line for '" + known->first + "', which the tables of " +
                            known->second + " have."
                      : "Add a line that names it 'recovered " + hash + "'.");
        }
    }

    void checkTable(const CheckedRoot& root, const TableLines& table,
                    const std::unordered_map<std::string, ListNumbers>& contents) {
        std::unordered_set<std::string> seen;
        ListNumbers hidden;
        bool hasHidden = false;
        for (const TableLine& line : table.lines) {
            const auto found = contents.find(line.hash);
            if (line.isHidden) {
                hasHidden = true;
                if (found != contents.end() && seen.count(line.hash) == 0) {
                    addNumbers(hidden, found->second);
                }
            } else {
                checkLine(root, table, line, found != contents.end() ? &found->second : nullptr,
                          seen.count(line.hash) > 0);
            }
            seen.insert(line.hash);
        }
        if (hasHidden) {
            add(FindingKind::HiddenByEmptyLine, *root.root, table.path, hidden,
                "Take the empty lines away, so that readers see the lines behind them.");
        }
    }

    void checkLine(const CheckedRoot& root, const TableLines& table, const TableLine& line,
                   const ListNumbers* contents, bool isSecond) {
        if (line.isOverLong) {
            add(FindingKind::OverLong, *root.root, table.path,
                contents != nullptr ? *contents : ListNumbers{});
            return;
        }
        if (isSecond) {
            add(FindingKind::DoubleLine, *root.root, table.path, {},
                "Take away the second line of " + line.hash + ".");
            return;
        }
        if (contents == nullptr && !root.contents.isWhole) {
            return;
        }
        if (contents == nullptr) {
            add(FindingKind::DeadLine, *root.root, table.path, {},
                "Take away the line of " + line.hash + ", whose directory is gone.");
            return;
        }
        if (line.hash != hashOf(line.key) && line.hash != hashOf(line.remainder)) {
            add(FindingKind::WrongHash, *root.root, table.path, *contents,
                "Name the directory " + line.hash + " 'recovered " + line.hash +
                    "': what its line says leads to another one.");
        }
    }

    // Reads the registry once: which projects it has, and which roots under several names.
    void checkRegistry() {
        const std::string path = productPath(assignCorvidProFrameCacheRegistryFilePath);
        KavroPISSFrameCacheRegistry registry;
        std::unordered_set<std::string> registered;
        std::map<std::string, std::string> spellings; // by the root without "/" at its end
        std::set<std::string> doubled;
        registry.PrepareKeyValuePairList();
        while (const sFrameCacheRegistryEntry* entry = registry.GetNextKeyValuePairInList()) {
            if (std::strcmp(entry->key, kPathToCache) != 0) {
                continue;
            }
            registered.insert(entry->projectName);
            const std::string root(withoutSeparators(entry->value));
            const auto [known, isNew] = spellings.emplace(root, entry->value);
            if (!isNew && known->second != entry->value) {
                doubled.insert(root);
            }
        }
        for (const ListedRoot* root : m_all) {
            if (doubled.count(root->path) > 0) {
                add(FindingKind::RegistryDoubleRoot, *root, path, {},
                    "Write the root the same way in all its lines.");
            }
            if (root->state == ListedState::Missing) {
                add(FindingKind::RegistryMissingRoot, *root, root->path);
            }
        }
        for (const CheckedRoot& root : m_roots) {
            for (const ListedProject& project : root.root->projects) {
                if (registered.count(hashOf(project.key)) == 0 &&
                    registered.count(project.directory) == 0) {
                    add(FindingKind::UnregisteredProject, *root.root,
                        rootPath(root.root->path) + project.directory, project.numbers,
                        "Add '" + project.key + "' to the registry, with this root.");
                }
            }
        }
    }

    void checkNesting() {
        for (const ListedRoot* inner : m_all) {
            for (const ListedRoot* outer : m_all) {
                const std::string above = rootPath(outer->path);
                if (inner != outer && rootPath(inner->path).compare(0, above.size(), above) == 0) {
                    add(FindingKind::NestedRoot, *inner, inner->path);
                    break;
                }
            }
        }
    }

    std::vector<const ListedRoot*> m_all;
    std::vector<CheckedRoot> m_roots; // those that can be read
    std::vector<Finding> m_findings;
};

} // namespace

std::vector<Finding> checkCaches(const CacheList& list) {
    return Checker(list).findings();
}

const char* wordOf(FindingKind kind) {
    static constexpr const char* kWords[] = {"unnamed-project",
                                             "unnamed-composition",
                                             "dead-line",
                                             "double-line",
                                             "wrong-hash",
                                             "hidden-by-empty-line",
                                             "registry-double-root",
                                             "unregistered-project",
                                             "registry-missing-root",
                                             "nested-root",
                                             "foreign",
                                             "over-long"};
    return kWords[static_cast<int>(kind)];
}

} // namespace corvid

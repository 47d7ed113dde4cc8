#pragma once

// Writes the cache roots of a sample cache and adds up what a reader has to find in them.

#include "files/unique_fd.h"
#include "tools/sample_cache.h"
#include "tools/sample_plan.h"

#include <set>
#include <string>
#include <vector>

namespace corvid {

// Throws std::system_error with errno.
[[noreturn]] void failSample(const std::string& what);

// Gives a node the sums of its members. With members it has a date, at least 1970, even when none
// of them has one.
void addUpMembers(SampleNode& node);

// The lines of a hash table file, each pair once. The store rewrites the file for each new pair,
// which is no way to make tens of thousands of them.
class TableLines {
public:
    void add(const std::string& hash, const std::string& key);
    bool knows(const std::string& hash) const { return m_known.count(hash) != 0; }
    void write(const std::string& path) const;

private:
    std::set<std::string> m_known;
    std::string m_text;
};

// One cache root with its projects and tables.
class SampleRootWriter {
public:
    // The path ends in "/". The plan and the numbers must outlive the writer.
    SampleRootWriter(std::string path, const CachePlan& plan, SampleNumbers& numbers);

    void addProject(const ProjectPlan& plan);
    // Writes what the root itself holds and returns the projects that a walk of it meets: it ends
    // at the first directory that the table does not name.
    std::vector<SampleProject> finish(int strangers);

private:
    std::string withoutSlash() const { return m_path.substr(0, m_path.size() - 1); }
    SampleNode addComposition(int project, const std::string& projectPath,
                              const CompositionPlan& plan);
    void addForeignFile(int directory);

    std::string m_path;
    const CachePlan& m_plan;
    SampleNumbers& m_numbers;
    UniqueFd m_directory;
    TableLines m_projectTable;
    TableLines m_compositionTable;
    std::vector<SampleProject> m_projects;
};

} // namespace corvid

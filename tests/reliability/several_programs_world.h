#pragma once

// What several programs do to the same files at once, and what may stand in those files then.

#include "tests/support/product_root.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class KavroPISSFrameCacheRegistry;

namespace corvid::test {

// Those that write.
constexpr std::size_t kPrograms = 4;

// Texts and numbers that tell who wrote them and whether all of it is there.
std::string witnessText(std::size_t program, std::uint64_t serial);
int witnessNumber(std::size_t program, std::uint64_t serial);

// What the programs share: how many serials each has used, and every text of the registry that was
// ever committed, by its hash.
class SharedJournal {
public:
    SharedJournal();
    ~SharedJournal();
    SharedJournal(const SharedJournal&) = delete;
    SharedJournal& operator=(const SharedJournal&) = delete;

    // The next serial of a program.
    std::uint64_t nextSerial(std::size_t program) { return ++m_shared->serials[program]; }
    bool hasWritten(const std::string& witness) const;
    bool hasWritten(int witness) const;

    // Before a program commits a text.
    void willCommit(std::size_t program, const std::string& text);
    bool wasCommitted(const std::string& text) const;
    // Whether a text is the last that one of the programs committed.
    bool wasLastCommitOfAny(const std::string& text) const;

    // The work of each program, and the order to stop.
    std::atomic<std::uint64_t>& rounds(std::size_t program) { return m_shared->rounds[program]; }
    std::atomic<bool>& stop() { return m_shared->stop; }

private:
    static constexpr std::size_t kMostPrograms = 8; // those that only read are counted, too
    static constexpr std::size_t kTexts = std::size_t{1} << 22U;
    // In memory that is zero at first.
    struct Shared {
        std::atomic<bool> stop;
        std::atomic<std::uint64_t> rounds[kMostPrograms];
        std::atomic<std::uint64_t> serials[kPrograms];
        std::atomic<std::uint64_t> last[kPrograms];
        std::atomic<std::uint64_t> texts[kTexts];
    };
    static std::uint64_t hashOfText(const std::string& text);

    Shared* m_shared;
};

// Two cache roots and the few keys that all programs use.
class SharedWorld {
public:
    // Settings with their defaults, a registry of all projects, no tables yet.
    SharedWorld();

    ProductRoot root;
    std::vector<std::string> roots;
    std::vector<std::string> projects;
    std::vector<std::string> compositions;

    SharedJournal& journal() const { return *m_journal; }
    std::string configFile() const { return root.productFile("Config.txt"); }
    std::string registryFile() const { return root.productFile("FrameCache.cvp"); }

    // Each looks at what a file holds at the moment and fails the test when anything in it is
    // not what one of the programs wrote, whole.
    void expectConfig() const;
    void expectRegistry() const;
    void expectTables() const;
    // The end of the present log, or the whole of every log.
    void expectEndOfLog() const;
    void expectLogs() const;
    // What lies beside a cache root is as it was.
    void expectNeighbour() const;

    // Registers a project, as the program with that number.
    void registerProject(std::size_t program, const std::string& project,
                         const std::string& cacheRoot) const;

private:
    void expectTable(const std::string& file, const std::vector<std::string>& keys) const;
    void expectLogLines(const std::string& text) const;

    std::shared_ptr<SharedJournal> m_journal;
    std::vector<std::string> m_settings; // the lines at the start
    Snapshot m_guarded;
};

// What a program's own lines in the log begin with; a witness follows.
inline constexpr char kWitnessLine[] = "program says: ";

// What a commit of a registry makes of its file.
std::string registryText(KavroPISSFrameCacheRegistry& registry);

// The settings that the programs change.
inline constexpr const char* kTextSettings[] = {"SpecRenderOutputPath", "SpecRenderOutputFilename",
                                                "SpecRenderOutputModuleTemplate"};
inline constexpr const char* kNumberSettings[] = {
    "SizeOfFrameCacheInMB", "CorvidProSpeculativeMode", "SpecPreviewAreaToPreview"};

} // namespace corvid::test

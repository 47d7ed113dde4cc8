#include "tests/reliability/several_programs_world.h"

#include "store/KavroPISSConfig.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "tests/support/frame_cache_levels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <functional>
#include <new>
#include <set>
#include <sstream>
#include <stdexcept>

#include <sys/mman.h>

namespace corvid::test {
namespace {

constexpr std::uint64_t kSerialsPerProgram = 500'000'000;

// "<program> <serial> ", the two that a witness begins with.
bool readNumbers(const std::string& text, std::size_t& program, std::uint64_t& serial) {
    const char* const end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, program);
    if (first.ec != std::errc() || first.ptr == end) {
        return false;
    }
    return std::from_chars(first.ptr + 1, end, serial).ec == std::errc();
}

// The lines of a text; each has to have its line feed.
std::vector<std::string> wholeLines(const std::string& text) {
    EXPECT_TRUE(text.empty() || text.back() == '\n') << "the last line is cut: " << text;
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// "<Fri Nov 20 12:05:03 2026> TAB <Thread=1> TAB"; its length, or 0.
std::size_t logPrefix(const std::string& line) {
    constexpr std::size_t kStamp = 27;
    if (line.size() < kStamp || line[0] != '<' || line.compare(kStamp - 2, 2, ">\t") != 0 ||
        line.compare(kStamp, 8, "<Thread=") != 0) {
        return 0;
    }
    const std::size_t end = line.find(">\t", kStamp);
    return end == std::string::npos ? 0 : end + 2;
}

} // namespace

// Of a length that differs from one to the next, so that a shorter text over a longer one shows.
std::string witnessText(std::size_t program, std::uint64_t serial) {
    const std::string start = std::to_string(program) + " " + std::to_string(serial) + " ";
    const auto letter = static_cast<char>('a' + serial % 26);
    return start + std::string((serial * 271 + program * 31) % 700, letter) + " end";
}

int witnessNumber(std::size_t program, std::uint64_t serial) {
    return static_cast<int>(program * kSerialsPerProgram + serial);
}

std::string registryText(KavroPISSFrameCacheRegistry& registry) {
    std::string text;
    registry.PrepareKeyValuePairList();
    while (const sFrameCacheRegistryEntry* entry = registry.GetNextKeyValuePairInList()) {
        text.append(entry->projectName).append(" string\t").append(entry->key);
        text.append(" ").append(entry->value).append("\n");
    }
    return text;
}

SharedJournal::SharedJournal() {
    void* memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                          MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no shared memory");
    }
    m_shared = static_cast<Shared*>(memory);
}

SharedJournal::~SharedJournal() {
    ::munmap(m_shared, sizeof(Shared));
}

std::uint64_t SharedJournal::hashOfText(const std::string& text) {
    return std::max<std::uint64_t>(std::hash<std::string>{}(text), 1); // 0 is a free place
}

bool SharedJournal::hasWritten(const std::string& witness) const {
    std::size_t program = 0;
    std::uint64_t serial = 0;
    return readNumbers(witness, program, serial) && program < kPrograms &&
           serial <= m_shared->serials[program] && witness == witnessText(program, serial);
}

bool SharedJournal::hasWritten(int witness) const {
    const auto number = static_cast<std::uint64_t>(witness);
    const std::size_t program = number / kSerialsPerProgram;
    return witness >= 0 && program < kPrograms &&
           number % kSerialsPerProgram <= m_shared->serials[program];
}

void SharedJournal::willCommit(std::size_t program, const std::string& text) {
    const std::uint64_t hash = hashOfText(text);
    m_shared->last[program] = hash;
    for (std::size_t i = 0; i < kTexts; ++i) {
        std::uint64_t found = 0;
        std::atomic<std::uint64_t>& place = m_shared->texts[(hash + i) % kTexts];
        if (place.compare_exchange_strong(found, hash) || found == hash) {
            return;
        }
    }
    throw std::runtime_error("the journal is full");
}

bool SharedJournal::wasCommitted(const std::string& text) const {
    const std::uint64_t hash = hashOfText(text);
    for (std::size_t i = 0; i < kTexts; ++i) {
        const std::uint64_t found = m_shared->texts[(hash + i) % kTexts];
        if (found == hash || found == 0) {
            return found == hash;
        }
    }
    return false;
}

bool SharedJournal::wasLastCommitOfAny(const std::string& text) const {
    const std::uint64_t hash = hashOfText(text);
    return std::any_of(std::begin(m_shared->last), std::end(m_shared->last),
                       [hash](const std::atomic<std::uint64_t>& last) { return last == hash; });
}

SharedWorld::SharedWorld() : m_journal(std::make_shared<SharedJournal>()) {
    roots = {root.productFile("Cache/"), root.path("Volumes/Second Cache/")};
    for (int i = 0; i < 6; ++i) {
        projects.push_back("/Jobs/Film " + std::to_string(i) + ".aep");
        compositions.push_back("Comp " + std::to_string(i) + std::string(100, 'x'));
    }
    writeFile(root.path("Volumes/guarded/file"), "kept");
    m_guarded = snapshot(root.path("Volumes/guarded"));
    KavroPISSConfig::initializePISSConfig();
    m_settings = linesOf(configFile());
    for (const std::string& project : projects) {
        registerProject(0, project, roots[0]);
    }
}

void SharedWorld::registerProject(std::size_t program, const std::string& project,
                                  const std::string& cacheRoot) const {
    const std::string witness = witnessText(program, m_journal->nextSerial(program));
    KavroPISSFrameCacheRegistry registry;
    registry.DeleteItem(project.c_str());
    registry.Add(project.c_str(), corvid::kPathToCache, cacheRoot.c_str());
    registry.Add(project.c_str(), "LastOpened", witness.c_str());
    m_journal->willCommit(program, registryText(registry));
    EXPECT_EQ(registry.Commit(), 1);
}

void SharedWorld::expectConfig() const {
    const std::vector<std::string> lines = wholeLines(readFile(configFile()));
    ASSERT_EQ(lines.size(), m_settings.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::size_t value = m_settings[i].find(' ', m_settings[i].find('\t')) + 1;
        ASSERT_EQ(lines[i].substr(0, value), m_settings[i].substr(0, value));
        if (lines[i] == m_settings[i]) {
            continue;
        }
        const std::string text = lines[i].substr(value);
        if (m_settings[i].find(" int\t") != std::string::npos) {
            ASSERT_TRUE(m_journal->hasWritten(std::stoi(text))) << lines[i];
            ASSERT_EQ(std::to_string(std::stoi(text)), text) << lines[i];
        } else {
            ASSERT_TRUE(m_journal->hasWritten(text)) << lines[i];
        }
    }
}

void SharedWorld::expectRegistry() const {
    const std::string text = readFile(registryFile());
    ASSERT_TRUE(m_journal->wasCommitted(text)) << "nobody wrote this:\n" << text;
    const std::vector<std::string> lines = wholeLines(text);
    ASSERT_EQ(lines.size(), 2 * projects.size());
    std::set<std::string> seen;
    for (std::size_t i = 0; i < lines.size(); i += 2) {
        const std::string start = lines[i].substr(0, lines[i].find(' ')) + " string\t";
        ASSERT_TRUE(seen.insert(start).second) << text;
        ASSERT_TRUE(lines[i] == start + "PathToCache " + roots[0] ||
                    lines[i] == start + "PathToCache " + roots[1])
            << lines[i];
        ASSERT_EQ(lines[i + 1].rfind(start + "LastOpened ", 0), 0U) << lines[i + 1];
        ASSERT_TRUE(m_journal->hasWritten(lines[i + 1].substr(start.size() + 11))) << lines[i + 1];
    }
}

void SharedWorld::expectTable(const std::string& file, const std::vector<std::string>& keys) const {
    if (!exists(file)) {
        return; // nobody has opened this root yet
    }
    std::vector<std::string> known;
    for (const std::string& key : keys) {
        known.push_back(hashOf(key) + " " + key);
    }
    const std::vector<std::string> lines = wholeLines(readFile(file));
    EXPECT_THAT(lines, ::testing::IsSubsetOf(known)) << file;
}

void SharedWorld::expectTables() const {
    for (const std::string& cacheRoot : roots) {
        expectTable(cacheRoot + "ProjectHash.txt", projects);
        expectTable(cacheRoot + "CompositionHash.txt", compositions);
    }
}

// A message may end in a line feed of its own, which makes an empty line.
void SharedWorld::expectLogLines(const std::string& text) const {
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t prefix = logPrefix(line);
        ASSERT_TRUE(line.empty() || prefix > 0) << line;
        ASSERT_EQ(line.find("<Thread=", prefix), std::string::npos) << line;
        const std::string message = line.substr(prefix);
        if (message.rfind(kWitnessLine, 0) == 0) {
            ASSERT_TRUE(m_journal->hasWritten(message.substr(std::strlen(kWitnessLine)))) << line;
        }
    }
}

void SharedWorld::expectEndOfLog() const {
    constexpr std::size_t kEnd = 32768;
    if (!exists(root.logFile())) {
        return; // it has just been renamed
    }
    std::string text;
    try {
        text = readFile(root.logFile());
    } catch (const std::runtime_error&) {
        return; // the same, in between
    }
    // A line is being written still, or lies only in part in what is looked at.
    const std::size_t begin = text.size() > kEnd ? text.find('\n', text.size() - kEnd) + 1 : 0;
    const std::size_t end = text.rfind('\n') + 1;
    expectLogLines(begin < end ? text.substr(begin, end - begin) : "");
}

void SharedWorld::expectLogs() const {
    for (const auto& entry : std::filesystem::directory_iterator(root.path("private/tmp"))) {
        const std::string text = readFile(entry.path().string());
        EXPECT_TRUE(text.empty() || text.back() == '\n') << entry.path();
        expectLogLines(text);
    }
}

void SharedWorld::expectNeighbour() const {
    EXPECT_EQ(m_guarded, snapshot(root.path("Volumes/guarded")));
}

} // namespace corvid::test

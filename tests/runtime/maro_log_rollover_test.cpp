#include "runtime/maro_log.h"

#include "tests/support/failing_calls.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using corvid::test::Call;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::linesOf;
using corvid::test::makeDirectory;
using corvid::test::ProductRoot;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

constexpr int kLinesPerFile = 30000;

class MaroLogRollOverTest : public corvid::test::ProductTest {
protected:
    std::string backup(int number) const {
        return root.logFile() + "." + std::to_string(number) + ".txt";
    }
};

TEST_F(MaroLogRollOverTest, TheLogRollsOverAfterThe30001stLine) {
    for (int i = 0; i < kLinesPerFile; ++i) {
        maro_log("line");
    }
    EXPECT_FALSE(exists(backup(0)));
    maro_log("the last of its file");
    EXPECT_FALSE(exists(root.logFile()));
    const std::vector<std::string> rolled = linesOf(backup(0));
    EXPECT_EQ(rolled.size(), 30001U);
    EXPECT_THAT(rolled.back(), MatchesRegex(".*\tthe last of its file"));
    maro_log("the first of the next");
    EXPECT_EQ(root.logText(), "the first of the next\n");
}

TEST_F(MaroLogRollOverTest, LinesThatCouldNotBeWrittenCountToo) {
    initializeAndDetermineMaroLogging("late/a.log", "/tmp");
    for (int i = 0; i < kLinesPerFile; ++i) {
        maro_logError("dropped");
    }
    makeDirectory(root.path("private/tmp/late"));
    maro_logError("written");
    EXPECT_FALSE(exists(root.path("private/tmp/late/a.log")));
    EXPECT_EQ(linesOf(root.path("private/tmp/late/a.log.0.txt")).size(), 1U);
}

TEST_F(MaroLogRollOverTest, LinesOfAClosedLevelDoNotCount) {
    setLoggingEnabled(false);
    for (int i = 0; i < kLinesPerFile + 1; ++i) {
        maro_log("silent");
    }
    maro_logError("one");
    EXPECT_FALSE(exists(backup(0)));
    EXPECT_EQ(root.logText(), "ERROR\tone\n");
}

TEST_F(MaroLogRollOverTest, BackupsGoRoundFromZeroToNine) {
    for (int i = 0; i < 11; ++i) {
        maro_log("file %d", i);
        rollMaroLogFile();
    }
    EXPECT_THAT(linesOf(backup(0)), ElementsAre(MatchesRegex(".*\tfile 10")));
    for (int i = 1; i < 10; ++i) {
        EXPECT_THAT(linesOf(backup(i)),
                    ElementsAre(MatchesRegex(std::string(".*\tfile ") + std::to_string(i))));
    }
    EXPECT_FALSE(exists(backup(10)));
    EXPECT_FALSE(exists(root.logFile()));
}

TEST_F(MaroLogRollOverTest, ARollOverWithoutALogStillTakesTheNextNumber) {
    rollMaroLogFile();
    EXPECT_FALSE(exists(backup(0)));
    maro_log("second");
    rollMaroLogFile();
    EXPECT_FALSE(exists(backup(0)));
    EXPECT_THAT(linesOf(backup(1)), ElementsAre(MatchesRegex(".*\tsecond")));
}

TEST_F(MaroLogRollOverTest, ARenameThatFailsKeepsTheLogAndTakesTheNextNumber) {
    maro_log("kept");
    {
        const FailNth fail(Call::Rename, 1, EACCES);
        rollMaroLogFile();
        EXPECT_EQ(fail.failures(), 1);
    }
    EXPECT_EQ(root.logText(), "kept\n");
    rollMaroLogFile();
    EXPECT_FALSE(exists(backup(0)));
    EXPECT_TRUE(exists(backup(1)));
}

// Folders below the root, filled up so that the path of "log" in the last one has this length.
std::string logPathOfLength(const ProductRoot& root, std::size_t length) {
    std::string folder = root.path();
    while (folder.size() + 4 < length) {
        const std::size_t left = length - 4 - folder.size();
        folder += '/';
        folder.append(left > 201 ? 199 : std::min<std::size_t>(left - 1, 199), 'f');
    }
    makeDirectory(folder);
    return folder + "/log";
}

TEST_F(MaroLogRollOverTest, ABackupNameThatDoesNotFitCostsNoLine) {
    for (const std::size_t length : {1023U, 1022U, 1018U}) {
        const std::string path = logPathOfLength(root, length);
        ASSERT_EQ(path.size(), length);
        initializeMaroLogging(path.c_str());
        maro_log("kept");
        rollMaroLogFile();
        EXPECT_TRUE(exists(path)) << "a log path of " << length << " characters";
    }
}

TEST_F(MaroLogRollOverTest, TheLongestLogPathWhoseBackupFitsRollsOver) {
    const std::string path = logPathOfLength(root, 1017);
    initializeMaroLogging(path.c_str());
    maro_log("kept");
    rollMaroLogFile();
    EXPECT_TRUE(exists(path + ".0.txt"));
    EXPECT_FALSE(exists(path));
}

// What eight writers leave behind: for each writer the numbers of its lines in the order of the
// files.
class Collected {
public:
    void add(const std::string& line) {
        int thread = 0;
        int writer = 0;
        int number = 0;
        char end = '\0';
        const std::size_t start = line.find(">\t<Thread=");
        if (start != 25 ||
            std::sscanf(line.c_str() + 27, // NOLINT(cert-err34-c)
                        "<Thread=%d>\tWARNING\twriter %d line %d%c", &thread, &writer, &number,
                        &end) != 4 ||
            end != '!' || line.back() != '!') {
            ++m_broken;
            return;
        }
        m_numbers[writer].push_back(number);
        m_threads[writer].insert(thread);
    }
    int broken() const { return m_broken; }
    const std::map<int, std::vector<int>>& numbers() const { return m_numbers; }
    std::set<int> distinctThreads() const {
        std::set<int> all;
        for (const auto& [writer, threads] : m_threads) {
            EXPECT_EQ(threads.size(), 1U) << "writer " << writer;
            all.insert(threads.begin(), threads.end());
        }
        return all;
    }

private:
    int m_broken = 0;
    std::map<int, std::vector<int>> m_numbers;
    std::map<int, std::set<int>> m_threads;
};

void writeNumberedLines(int writer, int lines) {
    for (int number = 0; number < lines; ++number) {
        maro_logWarning("writer %d line %d!", writer, number);
    }
}

TEST_F(MaroLogRollOverTest, EightThreadsNeverMixLinesAndRollOverExactlyWhenDue) {
    constexpr int kWriters = 8;
    constexpr int kLines = 7501; // 60,008 together: two full files of 30,001 and 6 lines more
    std::vector<std::thread> writers;
    writers.reserve(kWriters);
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.emplace_back(writeNumberedLines, writer, kLines);
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(linesOf(backup(0)).size(), 30001U);
    EXPECT_EQ(linesOf(backup(1)).size(), 30001U);
    EXPECT_EQ(linesOf(root.logFile()).size(), 6U);
    EXPECT_FALSE(exists(backup(2)));

    Collected collected;
    for (const std::string& file : {backup(0), backup(1), root.logFile()}) {
        for (const std::string& line : linesOf(file)) {
            collected.add(line);
        }
    }
    EXPECT_EQ(collected.broken(), 0);
    ASSERT_EQ(collected.numbers().size(), static_cast<std::size_t>(kWriters));
    for (const auto& [writer, numbers] : collected.numbers()) {
        ASSERT_EQ(numbers.size(), static_cast<std::size_t>(kLines)) << "writer " << writer;
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
        EXPECT_EQ(std::set<int>(numbers.begin(), numbers.end()).size(), numbers.size());
    }
    EXPECT_EQ(collected.distinctThreads().size(), static_cast<std::size_t>(kWriters));
}

TEST_F(MaroLogRollOverTest, ALongMessageIsNotInterruptedByOtherThreads) {
    const std::string lengthy(20000, 'x');
    std::thread other([] { writeNumberedLines(0, 500); });
    for (int i = 0; i < 50; ++i) {
        maro_logAlways("%s", lengthy.c_str());
    }
    other.join();
    int whole = 0;
    for (const std::string& message : root.logMessages()) {
        whole += message == lengthy ? 1 : 0;
    }
    EXPECT_EQ(whole, 50);
    EXPECT_EQ(root.logLines().size(), 550U);
}

TEST_F(MaroLogRollOverTest, SeveralProcessesShareOneLog) {
    constexpr int kProcesses = 4;
    constexpr int kLines = 500;
    std::vector<pid_t> children;
    children.reserve(kProcesses);
    for (int process = 0; process < kProcesses; ++process) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            writeNumberedLines(process, kLines);
            ::_exit(0);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    Collected collected;
    for (const std::string& line : root.logLines()) {
        collected.add(line);
    }
    EXPECT_EQ(collected.broken(), 0);
    for (int process = 0; process < kProcesses; ++process) {
        EXPECT_EQ(collected.numbers().at(process).size(), static_cast<std::size_t>(kLines));
    }
}

TEST_F(MaroLogRollOverTest, AThreadKeepsItsNumberAndSharesItWithNoOther) {
    const int here = getCurrentThread();
    int there = 0;
    int thereAgain = 0;
    std::thread other([&] {
        there = getCurrentThread();
        thereAgain = getCurrentThread();
    });
    other.join();
    EXPECT_EQ(getCurrentThread(), here);
    EXPECT_GT(here, 0);
    EXPECT_GT(there, 0);
    EXPECT_EQ(there, thereAgain);
    EXPECT_NE(there, here);
}

} // namespace

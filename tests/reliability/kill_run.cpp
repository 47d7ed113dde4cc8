#include "tests/reliability/kill_run.h"

#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace corvid::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kPatience = 120; // seconds until a child that hangs is ended

// Both ends of a pipe that programs started meanwhile do not inherit.
class Pipe {
public:
    Pipe() {
        if (::pipe2(m_ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    ~Pipe() {
        ::close(m_ends[0]);
        closeWriting();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int reading() const { return m_ends[0]; }
    int writing() const { return m_ends[1]; }
    void closeWriting() { ::close(std::exchange(m_ends[1], -1)); }

private:
    int m_ends[2] = {-1, -1};
};

// While it lives, processes whose parent ends become this one's children, so that it can wait for
// them.
class Subreaper {
public:
    Subreaper() { ::prctl(PR_SET_CHILD_SUBREAPER, 1UL, 0UL, 0UL, 0UL); }
    ~Subreaper() { ::prctl(PR_SET_CHILD_SUBREAPER, 0UL, 0UL, 0UL, 0UL); }
    Subreaper(const Subreaper&) = delete;
    Subreaper& operator=(const Subreaper&) = delete;
};

// The three ways to kill.
enum class Way { AtCall, AtTime, AtTimeWithOthers };

Way wayOf(int number) {
    return static_cast<Way>(number % 3);
}

// Nothing when there is no such file.
std::optional<std::string> textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace

KillRun::KillRun(const KillScenario& scenario, ReadTree readTree)
    : m_scenario(scenario), m_readTree(std::move(readTree)) {
    if (m_scenario.arrange) {
        m_scenario.arrange(m_world);
    }
    m_start = m_world.disk();
    m_guarded = m_world.guarded();
    if (m_scenario.halfDone) {
        m_halfDone = m_scenario.halfDone(m_world);
    }
    rehearse();
}

// All the turns without a kill: what the disk may hold, how many calls and how long they take.
void KillRun::rehearse() {
    remember();
    for (int turn = 0; turn < m_scenario.turns; ++turn) {
        const Clock::time_point begin = Clock::now();
        const std::uint64_t before = killableCallsMade();
        EXPECT_TRUE(m_scenario.turn(m_world, turn)) << "turn " << turn;
        m_calls += killableCallsMade() - before;
        m_duration += std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
        remember();
    }
    // A new file stands there empty for a moment.
    for (auto& [path, states] : m_states) {
        if (isStoreFile(path)) {
            m_files.push_back(path);
            if (entryOf(m_start, path) == nullptr) {
                states.insert({states.begin()->mode, {}});
            }
        }
    }
    m_world.restore(m_start, m_world.disk());
}

void KillRun::remember() {
    const Disk disk = m_world.disk();
    for (const auto& [path, entry] : disk) {
        const bool isNew = m_states.find(path) == m_states.end();
        if (isNew && entryOf(m_start, path) == nullptr) {
            m_absent.insert(path);
        }
        m_states[path].insert(entry);
    }
    for (const auto& [path, states] : m_states) {
        if (entryOf(disk, path) == nullptr) {
            m_absent.insert(path);
        }
    }
}

void KillRun::kill(int runs) {
    const Subreaper subreaper;
    for (int number = 0; number < runs && !::testing::Test::HasFailure(); ++number) {
        runOnce(number);
    }
    EXPECT_GT(m_killed, 0) << "every process came to its end before it was killed";
    std::printf("%s: %d of %d were killed before their end\n", m_scenario.name.c_str(), m_killed,
                runs);
}

void KillRun::runOnce(int number) {
    SCOPED_TRACE(m_scenario.name + ": kill " + std::to_string(number));
    const Outcome outcome = killWorker(number);
    m_killed += outcome.isKilled ? 1 : 0;
    EXPECT_TRUE(outcome.isReaderContent) << "a reader met what is neither old nor new";
    const Disk after = m_world.disk();
    expectRight(after);
    EXPECT_TRUE(agrees(m_readTree(m_world), treeOnDisk(m_world)));
    EXPECT_EQ(m_world.disk(), after) << "reading has changed something";
    if (m_scenario.goOn) {
        m_scenario.goOn(m_world, m_start);
    }
    m_world.restore(m_start, m_world.disk());
}

KillRun::Outcome KillRun::killWorker(int number) {
    SampleNumbers numbers(static_cast<std::uint64_t>(number) + 1);
    const std::uint64_t delay =
        numbers.below(static_cast<std::uint64_t>(m_duration.count()) * 5 / 4 + 1);
    Pipe stop;
    Pipe ready;
    const pid_t reader = startChild(
        [&] {
            stop.closeWriting();
            return readUntil(stop.reading(), ready.writing());
        },
        kPatience);
    ready.closeWriting();
    char began = '\0';
    static_cast<void>(::read(ready.reading(), &began, 1));
    const pid_t worker = startWorker(number, numbers);
    if (wayOf(number) != Way::AtCall) {
        ::usleep(static_cast<useconds_t>(delay));
        ::kill(wayOf(number) == Way::AtTime ? worker : -worker, SIGKILL);
    }
    int status = 0;
    ::waitpid(worker, &status, 0);
    while (::waitpid(-worker, nullptr, 0) > 0) { // what the worker has started and left behind
    }
    stop.closeWriting();
    const bool isKilled = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    EXPECT_TRUE(isKilled || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) << "the work failed";
    return {isKilled, bool(endedWell(reader))};
}

// The worker leads a group of its own, which the programs that it starts belong to.
pid_t KillRun::startWorker(int number, SampleNumbers numbers) {
    const pid_t worker = startChild(
        [&] {
            ::setpgid(0, 0);
            work(number, numbers);
            return true;
        },
        kPatience);
    ::setpgid(worker, worker); // whichever comes first
    return worker;
}

void KillRun::work(int number, SampleNumbers& numbers) {
    constexpr std::size_t kLimits[] = {1 << 20, 7, 100};
    const ShortWrites pieces(kLimits[m_scenario.writesShort ? numbers.below(3) : 0]);
    std::optional<KillAtNth> deadly;
    if (wayOf(number) == Way::AtCall) {
        deadly.emplace(1 + numbers.below(m_calls));
    }
    for (int turn = 0; turn < m_scenario.turns; ++turn) {
        if (!m_scenario.turn(m_world, turn)) {
            ::_exit(3);
        }
    }
}

bool KillRun::readUntil(int stop, int ready) const {
    pollfd end{stop, 0, 0}; // hears of the other end's closing in any case
    for (bool isFirst = true; ::poll(&end, 1, 0) == 0; isFirst = false) {
        if (!std::all_of(m_files.begin(), m_files.end(),
                         [this](const std::string& path) { return isReadable(path); })) {
            return false;
        }
        if (isFirst) {
            static_cast<void>(::write(ready, "", 1));
        }
    }
    return true;
}

bool KillRun::isReadable(const std::string& path) const {
    const std::optional<std::string> text = textOf(m_world.root.path(path));
    if (!text) {
        return m_absent.count(path) > 0;
    }
    for (const DiskEntry& state : m_states.at(path)) {
        if (state.text == *text) {
            return true;
        }
    }
    std::fprintf(stderr, "A reader finds in %s:\n%s\n", path.c_str(), text->c_str());
    return false;
}

bool KillRun::isRight(const std::string& path, const DiskEntry* is) const {
    if (is == nullptr) {
        return m_absent.count(path) > 0;
    }
    for (const std::string& directory : m_halfDone) {
        if (path.compare(0, directory.size(), directory) == 0) {
            return true;
        }
    }
    const auto states = m_states.find(path);
    return (states != m_states.end() && states->second.count(*is) > 0) ||
           (isLeftOver(path) && S_ISREG(is->mode));
}

void KillRun::expectRight(const Disk& after) const {
    for (const auto& [path, entry] : after) {
        EXPECT_TRUE(isRight(path, &entry))
            << path << " is " << ::testing::PrintToString(entry.text);
    }
    for (const auto& [path, states] : m_states) {
        if (entryOf(after, path) == nullptr) {
            EXPECT_TRUE(isRight(path, nullptr)) << path << " is gone";
        }
    }
    EXPECT_EQ(m_world.guarded(), m_guarded) << "something outside was touched";
    if (m_scenario.check) {
        m_scenario.check(m_world, m_start, after);
    }
}

} // namespace corvid::test

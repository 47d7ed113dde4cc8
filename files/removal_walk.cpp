#include "files/removal_walk.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <new>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>

namespace corvid {

namespace {

using Take = std::function<bool(RemovalStep&)>;

constexpr std::size_t kNamesPerStep = 256;
// Each step holds a descriptor.
constexpr std::size_t kStepsAhead = 8;

// Steps on their way from the thread that finds them to the one that takes them.
class StepQueue {
public:
    // Waits for room; false when nobody takes steps any more.
    bool put(RemovalStep step) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_steps.size() < kStepsAhead || m_isClosed; });
        if (m_isClosed) {
            return false;
        }
        m_steps.push_back(std::move(step));
        m_changed.notify_all();
        return true;
    }
    // Waits until all that was put has been taken.
    void drain() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_steps.empty() || m_isClosed; });
    }
    // Waits for a step; none when there are no more or no more are wanted.
    std::optional<RemovalStep> get() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_steps.empty() || m_isClosed; });
        if (m_steps.empty()) {
            return std::nullopt;
        }
        RemovalStep step = std::move(m_steps.front());
        m_steps.pop_front();
        m_changed.notify_all();
        return step;
    }
    // By the finding thread: no more steps come. By the taking one: no more are wanted.
    void close() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isClosed = true;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<RemovalStep> m_steps;
    bool m_isClosed = false;
};

// Makes steps of what a walk meets. A step has descriptors of its own, because the walk closes and
// reuses its numbers.
class Scout {
public:
    Scout(Take give, std::function<void()> waitUntilTaken)
        : m_give(std::move(give)), m_waitUntilTaken(std::move(waitUntilTaken)) {}

    bool file(int directory, const std::string& path, const DirectoryEntry& entry) {
        const char* name = entry.name;
        if (mayNotBeRemoved(directory, name)) {
            if (filesEnded()) {
                begin(RemovalStep::Kind::Protected, directory, path).names.add(name);
                static_cast<void>(give());
            }
            return false;
        }
        if (m_count == 0) {
            begin(RemovalStep::Kind::Files, directory, path);
        }
        m_step.names.add(name);
        return ++m_count < kNamesPerStep || filesEnded();
    }
    bool filesEnded() {
        if (m_count == 0) {
            return true;
        }
        m_count = 0;
        return give();
    }
    bool cannotOpen(const std::string& path) {
        m_step = {RemovalStep::Kind::Unreadable, UniqueFd(), path, PackedNames()};
        static_cast<void>(give());
        return false;
    }
    bool leave(int parent, const char* name, const std::string& path) {
        begin(RemovalStep::Kind::Directory, parent, path).names.add(name);
        return give();
    }
    void abandoned(const std::string& path) {
        m_step = {RemovalStep::Kind::Abandoned, UniqueFd(), path, PackedNames()};
        static_cast<void>(give());
    }
    static std::string join(const std::string& path, const char* name) { return path + "/" + name; }

private:
    RemovalStep& begin(RemovalStep::Kind kind, int directory, const std::string& path) {
        m_step = {kind, copyOf(directory), path, PackedNames()};
        return m_step;
    }
    UniqueFd copyOf(int directory) const {
        UniqueFd copy(::fcntl(directory, F_DUPFD_CLOEXEC, 0));
        if (!copy.isOpen()) { // the steps ahead hold some
            m_waitUntilTaken();
            copy.reset(::fcntl(directory, F_DUPFD_CLOEXEC, 0));
        }
        return copy;
    }
    bool give() { return m_give(m_step); }

    Take m_give;
    std::function<void()> m_waitUntilTaken;
    RemovalStep m_step{};
    std::size_t m_count = 0; // of names in a step of files
};

// Ends the finding thread, also when the taking one runs out of memory.
class ThreadEnd {
public:
    ThreadEnd(StepQueue& queue, std::thread& thread) : m_queue(queue), m_thread(thread) {}
    ~ThreadEnd() {
        m_queue.close();
        m_thread.join();
    }
    ThreadEnd(const ThreadEnd&) = delete;
    ThreadEnd& operator=(const ThreadEnd&) = delete;

private:
    StepQueue& m_queue;
    std::thread& m_thread;
};

bool walk(UniqueFd directory, const std::string& path, Scout scout) {
    return DirectoryWalk<Scout>(scout).run(std::move(directory), path);
}

} // namespace

bool mayNotBeRemoved(int directory, const char* name) {
    struct stat status {};
    constexpr mode_t kAnyWrite = S_IWUSR | S_IWGRP | S_IWOTH;
    return ::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
           (S_ISREG(status.st_mode) && (status.st_mode & kAnyWrite) == 0);
}

bool walkForRemoval(UniqueFd directory, const std::string& path,
                    const std::function<bool(RemovalStep&)>& take) {
    StepQueue queue;
    bool reachedEnd = false;
    bool hasMemory = true;
    std::thread scouting;
    try {
        scouting = std::thread([&] {
            const auto put = [&queue](RemovalStep& step) { return queue.put(std::move(step)); };
            try {
                reachedEnd = walk(std::move(directory), path, {put, [&queue] { queue.drain(); }});
            } catch (const std::bad_alloc&) {
                hasMemory = false;
            }
            queue.close();
        });
    } catch (const std::exception&) { // no thread to be had, or no memory for one
        return walk(std::move(directory), path, {take, [] {}});
    }
    bool isWanted = true;
    {
        const ThreadEnd end(queue, scouting);
        for (auto step = queue.get(); step && isWanted; step = queue.get()) {
            isWanted = take(*step);
            if (!isWanted) {
                queue.close();
            }
        }
    }
    if (!hasMemory) {
        throw std::bad_alloc();
    }
    return isWanted && reachedEnd;
}

} // namespace corvid

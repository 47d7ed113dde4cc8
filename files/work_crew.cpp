#include "files/work_crew.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>

#include <sys/resource.h>
#include <time.h>

namespace corvid {

namespace {

constexpr std::chrono::milliseconds kTick{50};
// Below this share of the cores' time the threads wait for the volume rather than work.
constexpr double kBusyShare = 0.3;

double secondsOf(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Each thread holds a few directories open; the process must keep some descriptors for everything
// else.
std::size_t mostThreads() {
    constexpr std::size_t kMostThreads = 64;
    constexpr rlim_t kDescriptorsPerThread = 12;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return kMostThreads;
    }
    const auto affordable = static_cast<std::size_t>(limit.rlim_cur / kDescriptorsPerThread);
    return std::clamp<std::size_t>(affordable, 1, kMostThreads);
}

std::size_t cores() {
    return std::max(1U, std::thread::hardware_concurrency());
}

} // namespace

void WorkCrew::add(Task task) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_tasks.push_back(std::move(task));
    m_onHeap.store(m_tasks.size(), std::memory_order_relaxed);
    ++m_unfinished;
    m_wake.notify_one();
}

void WorkCrew::runOrAdd(Task task) {
    if (m_onHeap.load(std::memory_order_relaxed) >= m_workers.load(std::memory_order_relaxed)) {
        task();
    } else {
        add(std::move(task));
    }
}

void WorkCrew::run(const std::function<void()>& tick) {
    if (m_tasks.empty()) {
        return;
    }
    m_lastWall = secondsOf(CLOCK_MONOTONIC);
    m_lastProcessor = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
    hire(std::min(cores(), mostThreads()));
    if (m_threads.empty()) {
        work();
    } else {
        waitForThreads(tick);
    }
    if (m_isOutOfMemory.exchange(false)) {
        throw std::bad_alloc();
    }
}

void WorkCrew::waitForThreads(const std::function<void()>& tick) {
    std::unique_lock<std::mutex> lock(m_mutex);
    std::exception_ptr thrown;
    while (!m_done.wait_for(lock, kTick, [this] { return m_unfinished == 0; })) {
        lock.unlock();
        hireWhileWaiting();
        if (tick && thrown == nullptr) {
            try {
                tick();
            } catch (...) {
                thrown = std::current_exception(); // for the caller, once the threads are gone
            }
        }
        lock.lock();
    }
    lock.unlock();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    m_threads.clear();
    if (thrown != nullptr) {
        m_isOutOfMemory = false;
        std::rethrow_exception(thrown);
    }
}

void WorkCrew::hire(std::size_t count) {
    try {
        for (std::size_t i = 0; i < count; ++i) {
            m_threads.emplace_back([this] { work(); });
            m_workers.fetch_add(1, std::memory_order_relaxed);
        }
    } catch (const std::exception&) {
        // The system has no more threads to give, or no memory for one; those there are do the
        // work.
    }
}

void WorkCrew::hireWhileWaiting() {
    const double wall = secondsOf(CLOCK_MONOTONIC);
    const double processor = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
    const double busyShare =
        (processor - m_lastProcessor) / ((wall - m_lastWall) * static_cast<double>(cores()));
    m_lastWall = wall;
    m_lastProcessor = processor;
    const bool isWaiting = busyShare < kBusyShare;
    m_isWaiting.store(isWaiting, std::memory_order_relaxed);
    if (isWaiting && m_threads.size() < mostThreads()) {
        hire(std::min(m_threads.size(), mostThreads() - m_threads.size()));
    }
}

void WorkCrew::runOne(const Task& task) {
    try {
        task();
    } catch (const std::bad_alloc&) {
        m_isOutOfMemory = true;
    }
}

void WorkCrew::work() {
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return !m_tasks.empty() || m_unfinished == 0; });
        if (m_tasks.empty()) {
            return;
        }
        {
            const Task task = std::move(m_tasks.back());
            m_tasks.pop_back();
            m_onHeap.store(m_tasks.size(), std::memory_order_relaxed);
            lock.unlock();
            runOne(task);
        }
        lock.lock();
        if (--m_unfinished == 0) {
            m_wake.notify_all();
            m_done.notify_all();
        }
    }
}

} // namespace corvid

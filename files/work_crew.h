#pragma once

// Threads that work off a heap of small tasks inside one call.

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace corvid {

// As many threads as there are cores; while they mostly wait for a slow volume, more and more of
// them, so that many calls are on their way at once. The threads live inside run().
class WorkCrew {
public:
    using Task = std::function<void()>;

    // Puts a task on the heap. The last one added is taken first.
    void add(Task task);
    // For tasks: runs a piece of work at once when every other thread has enough to do, else adds
    // it.
    void runOrAdd(Task task);
    // Works until no task is left. On the calling thread, `tick`, if any, is called about twenty
    // times a second. When a task ran out of memory, std::bad_alloc is thrown once all are done;
    // tasks must throw nothing else.
    void run(const std::function<void()>& tick);
    // Whether the threads mostly wait: then work is worth splitting that a quick volume does faster
    // whole.
    bool isWaitingForVolume() const { return m_isWaiting.load(std::memory_order_relaxed); }

private:
    void work();
    void runOne(const Task& task);
    void waitForThreads(const std::function<void()>& tick);
    void hire(std::size_t count);
    void hireWhileWaiting();

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_done;
    std::vector<Task> m_tasks;          // guarded by m_mutex, as is the next
    std::size_t m_unfinished = 0;       // tasks on the heap or running
    std::vector<std::thread> m_threads; // the calling thread's
    std::atomic<std::size_t> m_onHeap{0};
    std::atomic<std::size_t> m_workers{0};
    std::atomic<bool> m_isWaiting{false};
    std::atomic<bool> m_isOutOfMemory{false};
    double m_lastWall = 0; // seconds, both at the last look at the threads
    double m_lastProcessor = 0;
};

} // namespace corvid

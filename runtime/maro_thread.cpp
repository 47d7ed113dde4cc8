#include "runtime/maro_thread.h"

#include "runtime/maro_log.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>

#include <unistd.h>

std::map<pthread_t, int> _threadMap;

namespace {

constexpr int kKillSignal = SIGINT;
constexpr int kNameSize = 128;
static_assert(SIGINT == 2, "the kill request is signal 2");

// Two numbers of the log are printed with %d; a handle is wider than that on 64-bit systems.
int printableHandle(pthread_t handle) {
    return static_cast<int>(static_cast<std::uintptr_t>(handle));
}

} // namespace

Maro_Mutex::Maro_Mutex() : m_mutex() {
    pthread_mutex_init(&m_mutex, nullptr);
}

Maro_Mutex::~Maro_Mutex() {
    pthread_mutex_destroy(&m_mutex);
}

int Maro_Mutex::lock() CORVID_NO_THREAD_ANALYSIS {
    return pthread_mutex_lock(&m_mutex);
}

int Maro_Mutex::unlock() CORVID_NO_THREAD_ANALYSIS {
    return pthread_mutex_unlock(&m_mutex);
}

pthread_mutex_t* Maro_Mutex::gethandle() {
    return &m_mutex;
}

Maro_Thread::Maro_Thread(Maro_Runnable* runnable)
    : m_handle(0), m_runnable(runnable), m_running(0) {}

Maro_Thread::~Maro_Thread() {
    m_handle = 0;
    m_runnable = nullptr;
}

void Maro_Thread::start() {
    maro_logDev("Maro_Thread::start - calling pthread_createX()");
    std::signal(kKillSignal,
                Maro_Thread_SignalHandler); // a kill may come before the thread's first step
    pthread_t handle = 0;
    if (pthread_create(&handle, nullptr, maro_threadMain, m_runnable) == 0) {
        m_handle = handle;
        m_isJoined = false;
    } else {
        maro_logDev("Maro_Thread::pthread_createX() failed.");
    }
    // Said and set after a failure too: plug-ins read the flag together with the handle.
    maro_logDev("Maro_Thread::pthread_createX() success.");
    m_running = 1;
}

int Maro_Thread::stop() {
    int result = 0;
    if (m_runnable != nullptr) {
        m_runnable->requestStop();
        result = waitForCompletion();
    } else {
        maro_log("Warning: Maro_Thread::stop() - Runnable object is not valid. Killing thread.");
        result = kill();
    }
    m_running = 0;
    return result;
}

int Maro_Thread::kill() {
    const int result = m_handle != 0 && !m_isJoined ? pthread_kill(m_handle, kKillSignal) : ESRCH;
    m_running = 0;
    return result;
}

int Maro_Thread::waitForCompletion() {
    if (m_handle == 0) {
        return 0;
    }
    if (!m_isJoined) {
        m_joinResult = pthread_join(m_handle, nullptr);
        m_isJoined = true;
    }
    return m_joinResult;
}

bool Maro_Thread::isRunning() {
    if (m_running != 0 && m_handle == 0) {
        m_running = 0;
    }
    return m_running != 0;
}

void* maro_threadMain(void* runnable) {
    std::signal(kKillSignal, Maro_Thread_SignalHandler);
    auto* work = static_cast<Maro_Runnable*>(runnable);
    if (work == nullptr) {
        // Nothing to run; stay until the owner's kill() so that the handle remains valid.
        for (;;) {
            ::pause();
        }
    }
    char name[kNameSize] = {};
    static_cast<void>(std::snprintf(name, sizeof(name) - 1, "%s", work->getThreadName()));
    maro_logDev("maro_threadMain:Starting thread[%s]", name);
    work->run();
    maro_logDev("maro_threadMain:Exiting the thread[%s]", name);
    return nullptr;
}

void Maro_Thread_SignalHandler(int signal) {
    if (signal == kKillSignal) {
        maro_log("Maro_Thread received a kill request.");
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the thread's result is the number itself
        pthread_exit(reinterpret_cast<void*>(static_cast<std::intptr_t>(1)));
    }
    maro_log("Maro_Thread received an unknown signal.");
    std::signal(kKillSignal, Maro_Thread_SignalHandler);
}

void displayRunningThreads() {
    maro_log("Start Running Threads List:");
    for (const auto& [handle, identifier] : _threadMap) {
        if (identifier != 0) {
            maro_logWarning("Thread still running: Handle=[%d] ThreadId=[%d]",
                            printableHandle(handle), identifier);
        }
    }
    maro_log("End Running Threads List");
}

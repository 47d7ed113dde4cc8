#pragma once

// Two small wrappers over POSIX threads: a mutex that the log and every store hold, and a thread
// that runs a piece of work and can be stopped by asking or by a signal.

#include "runtime/thread_annotations.h"

#include <map>

#include <pthread.h>

// A plain mutex; a thread must not lock it twice.
class CORVID_CAPABILITY("mutex") Maro_Mutex {
public:
    Maro_Mutex();
    virtual ~Maro_Mutex();
    Maro_Mutex(const Maro_Mutex&) = delete;
    Maro_Mutex& operator=(const Maro_Mutex&) = delete;

    // Both return the POSIX result: 0, or an error number.
    int lock() CORVID_ACQUIRE();
    int unlock() CORVID_RELEASE();
    // The underlying mutex, still owned by this object.
    pthread_mutex_t* gethandle();

private:
    pthread_mutex_t m_mutex;
};

namespace corvid {

// Holds such a lock for a block. Unlike the library's own guard it is known to the analysis.
class CORVID_SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Maro_Mutex& mutex) CORVID_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~MutexLock() CORVID_RELEASE() { m_mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Maro_Mutex& m_mutex;
};

} // namespace corvid

// The work of a Maro_Thread, supplied by its user.
class Maro_Runnable {
public:
    virtual ~Maro_Runnable() = default;
    // Does the work; returns when it is done or was asked to stop. It must hold no lock whenever a
    // kill() may come.
    virtual void run() = 0;
    // Asks a running run() to return soon. Called from another thread.
    virtual void requestStop() = 0;
    // A name for log lines, owned by the runnable.
    virtual const char* getThreadName() = 0;
};

// Runs a runnable on a thread of its own. The owner stops it before destroying it: the destructor
// neither stops nor joins.
class Maro_Thread {
public:
    // The runnable is not owned and may be null.
    explicit Maro_Thread(Maro_Runnable* runnable);
    ~Maro_Thread();
    Maro_Thread(const Maro_Thread&) = delete;
    Maro_Thread& operator=(const Maro_Thread&) = delete;

    // Creates the thread. A failure shows only in the developer log.
    void start();
    // Asks the runnable to stop and joins the thread; without a runnable it kills. Returns the
    // POSIX result of the join or of the kill.
    int stop();
    // Sends signal 2; returns the POSIX result, ESRCH when the thread was never started
    // or was joined.
    int kill();
    // Joins the thread: 0 at once when it was never started, else the join's result, the same again
    // when it was joined before.
    int waitForCompletion();
    // Whether the thread was started and neither stopped nor killed since.
    bool isRunning();

private:
    pthread_t m_handle;
    Maro_Runnable* m_runnable;
    int m_running;
    bool m_isJoined = false;
    int m_joinResult = 0;
};

// The thread's body; the argument is a Maro_Runnable*. Always null.
void* maro_threadMain(void* runnable);
// Ends the calling thread on signal 2.
void Maro_Thread_SignalHandler(int signal);

// Running threads (handle to identifier) as displayRunningThreads() lists them into the log.
// Guarded by nothing: entries belong to whoever adds them.
extern std::map<pthread_t, int> _threadMap;
void displayRunningThreads();

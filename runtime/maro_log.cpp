#include "runtime/maro_log.h"

#include "runtime/fixed_paths.h"
#include "runtime/maro_thread.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kLogPathSize = 1024;
constexpr int kLinesPerFile = 30000;
constexpr int kBackups = 10;
constexpr int kStampSize = 256;
constexpr mode_t kEverybodys = 0666;

char maroLogFile[kLogPathSize];
std::atomic<Maro_Mutex*> logMutex{nullptr};
std::atomic<Maro_Mutex*> timeMutex{nullptr};
std::atomic<int> MaroLoggingInitialized{0};
std::atomic<int> MaroLoggingEnabled{1};
std::atomic<int> MaroDevLoggingEnabled{0};
std::atomic<int> MaroThreadLoggingEnabled{1};

// Both are guarded by logMutex.
int lineCount = 0;
int fileCount = 0;

// Initialising again leaves the earlier lock alone, because another thread may still hold it. It is
// kept in sight, so that a search for leaks does not find it.
struct ReplacedMutex {
    Maro_Mutex* mutex;
    ReplacedMutex* next;
};
std::atomic<ReplacedMutex*> replacedLogMutexes{nullptr};

void keepReplaced(Maro_Mutex* mutex) {
    if (auto* replaced = new (std::nothrow) ReplacedMutex{mutex, nullptr}) {
        replaced->next = replacedLogMutexes.exchange(replaced);
    }
}

// Holds a lock that may not exist (before initialisation, after clean-up).
class OptionalLock {
public:
    explicit OptionalLock(Maro_Mutex* mutex) CORVID_NO_THREAD_ANALYSIS : m_mutex(mutex) {
        if (m_mutex != nullptr) {
            m_mutex->lock();
        }
    }
    ~OptionalLock() CORVID_NO_THREAD_ANALYSIS {
        if (m_mutex != nullptr) {
            m_mutex->unlock();
        }
    }
    OptionalLock(const OptionalLock&) = delete;
    OptionalLock& operator=(const OptionalLock&) = delete;

private:
    Maro_Mutex* m_mutex;
};

// What a bounded copy writes into a buffer of `size` bytes, and the length it reports.
int boundedCopy(char* buffer, int size, const char* text) {
    if (buffer == nullptr || size < 0) {
        return 0;
    }
    return std::snprintf(buffer, static_cast<std::size_t>(size), "%s", text);
}

// One line being put together on the stack; a message that does not fit is written piece by piece,
// so that no line costs an allocation and an ordinary one costs a single write.
class LogLine {
public:
    explicit LogLine(int file) : m_file(file) {}
    ~LogLine() { flush(); }
    LogLine(const LogLine&) = delete;
    LogLine& operator=(const LogLine&) = delete;

    void append(const char* text, std::size_t length) {
        if (length > sizeof(m_text) - m_length) {
            flush();
        }
        if (length > sizeof(m_text)) {
            writeAll(text, length);
            return;
        }
        std::memcpy(m_text + m_length, text, length);
        m_length += length;
    }
    void append(const char* text) { append(text, std::strlen(text)); }

    void appendFormatted(const char* format, std::va_list arguments)
        __attribute__((format(printf, 2, 0))) {
        std::va_list again;
        va_copy(again, arguments);
        const std::size_t room = sizeof(m_text) - m_length;
        const int length = std::vsnprintf(m_text + m_length, room, format, arguments);
        if (length >= 0 && static_cast<std::size_t>(length) < room) {
            m_length += static_cast<std::size_t>(length);
        } else if (length >= 0) {
            flush();
            static_cast<void>(vdprintf(m_file, format, again));
        }
        va_end(again);
    }

private:
    void flush() {
        writeAll(m_text, m_length);
        m_length = 0;
    }
    void writeAll(const char* text, std::size_t length) const {
        while (length > 0) {
            const ssize_t written = ::write(m_file, text, length);
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                return; // the log never reports its own failures
            }
            text += written;
            length -= static_cast<std::size_t>(written);
        }
    }

    int m_file;
    std::size_t m_length = 0;
    char m_text[4096];
};

// The log's folder may be everybody's: neither the text nor the mode goes through a link.
int openLogFile(const char* path) {
    return ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW, 0666);
}

// Whatever else stands in the log's place keeps its mode: a folder that loses its search permission
// locks everybody out of what is in it.
void shareLogFile(int file) {
    struct stat status {};
    if (::fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
        static_cast<void>(::fchmod(file, kEverybodys));
    }
}

void shareUnopenedLogFile() {
    struct stat status {};
    if (::fstatat(AT_FDCWD, maroLogFile, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISREG(status.st_mode)) {
        [[maybe_unused]] const int result =
            ::fchmodat(AT_FDCWD, maroLogFile, kEverybodys, AT_SYMLINK_NOFOLLOW);
    }
}

void appendLine(const char* tag, const char* format, std::va_list arguments)
    __attribute__((format(printf, 2, 0)));

void appendLine(const char* tag, const char* format, std::va_list arguments) {
    char stamp[kStampSize] = {};
    const long now = static_cast<long>(std::time(nullptr));
    maro_localAscTime(&now, stamp, kStampSize);

    const int file = openLogFile(maroLogFile);
    if (file >= 0) {
        {
            LogLine line(file);
            line.append("<");
            line.append(stamp);
            line.append(">\t");
            if (MaroThreadLoggingEnabled != 0) {
                char thread[32];
                const int length =
                    std::snprintf(thread, sizeof(thread), "<Thread=%d>\t", getCurrentThread());
                line.append(thread, static_cast<std::size_t>(length));
            }
            line.append(tag);
            line.appendFormatted(format, arguments);
            line.append("\n");
        }
        shareLogFile(file);
        ::close(file);
    } else {
        shareUnopenedLogFile();
    }
}

void writeLine(const char* tag, const char* format, std::va_list arguments)
    __attribute__((format(printf, 2, 0)));

void writeLine(const char* tag, const char* format, std::va_list arguments) {
    if (MaroLoggingInitialized == 0) {
        return;
    }
    const OptionalLock lock(logMutex);
    appendLine(tag, format, arguments);
    // A line that could not be written counts as well.
    if (++lineCount > kLinesPerFile) {
        rollMaroLogFile();
    }
}

} // namespace

void initMaroTime() {
    if (timeMutex == nullptr) {
        timeMutex = new (std::nothrow) Maro_Mutex;
    }
}

void cleanupMaroTime() {
    delete timeMutex.exchange(nullptr);
}

int maro_localAscTime(const long* time, char* buffer, int size) {
    if (buffer == nullptr || size <= 0) {
        return 0;
    }
    const OptionalLock lock(timeMutex);
    const auto bytes = static_cast<std::size_t>(size);
    std::memset(buffer, 0, bytes);
    const std::time_t seconds = *time;
    std::tm brokenDown{};
    char text[64] = {};
    if (::localtime_r(&seconds, &brokenDown) == nullptr ||
        ::asctime_r(&brokenDown, text) == nullptr) { // NOLINT(bugprone-unsafe-functions)
        return 1;
    }
    static_cast<void>(std::snprintf(buffer, bytes - 1, "%s", text));
    const std::size_t length = std::strlen(buffer);
    if (length > 1) {
        buffer[length - 1] = '\0';
    }
    return 1;
}

std::tm* maro_localtime(const long* time) {
    auto* result = static_cast<std::tm*>(std::malloc(sizeof(std::tm)));
    if (result == nullptr) {
        return nullptr;
    }
    const OptionalLock lock(timeMutex);
    const std::time_t seconds = *time;
    if (::localtime_r(&seconds, result) == nullptr) {
        std::free(result);
        return nullptr;
    }
    return result;
}

bool createDirectoryForPlatform(const char* path, int* error) {
    const int result = ::mkdir(path, 0777);
    if (result == 0) {
        return true;
    }
    if (DIR* existing = ::opendir(path)) {
        ::closedir(existing);
        return true;
    }
    if (error != nullptr) {
        *error = result;
    }
    return false;
}

int getCurrentThread() {
    static std::atomic<int> threads{0};
    thread_local const int thread = ++threads;
    return thread;
}

int getLogFilePath(char* buffer, int size) {
    return boundedCopy(buffer, size, maroLogFile);
}

namespace corvid {

int whyLogCannotBeWritten() {
    const int file = openLogFile(maroLogFile);
    if (file < 0) {
        return errno;
    }
    ::close(file);
    return 0;
}

} // namespace corvid

void setLoggingEnabled(bool enabled) {
    MaroLoggingEnabled = enabled ? 1 : 0;
}

bool isDevLoggingEnabled() {
    return MaroDevLoggingEnabled != 0;
}

void setDevLoggingEnabled(bool enabled) {
    MaroDevLoggingEnabled = enabled ? 1 : 0;
}

void setThreadLoggingEnabled(bool enabled) {
    MaroThreadLoggingEnabled = enabled ? 1 : 0;
}

int initializeMaroLogging(const char* path) {
    initMaroTime();
    if (auto* mutex = new (std::nothrow) Maro_Mutex) { // without memory the earlier one serves on
        if (Maro_Mutex* replaced = logMutex.exchange(mutex)) {
            keepReplaced(replaced);
        }
    }
    std::memset(maroLogFile, 0, sizeof(maroLogFile));
    const int length = boundedCopy(maroLogFile, kLogPathSize, path);
    MaroLoggingInitialized = 1;
    return length;
}

int initializeAndDetermineMaroLogging(const char* fileName, const char* /*directory*/) {
    char path[kLogPathSize];
    static_cast<void>(std::snprintf(path, sizeof(path), "%s%s%s", corvid::fixedPathPrefix(),
                                    "/private/tmp/", fileName));
    return initializeMaroLogging(path);
}

void cleanupMaroLogging() {
    delete logMutex.exchange(nullptr);
}

void rollMaroLogFile() {
    if (MaroLoggingInitialized == 0) {
        return;
    }
    char backup[kLogPathSize];
    const int length = std::snprintf(backup, sizeof(backup), "%s.%d.txt", maroLogFile, fileCount);
    if (length > 0 && length < kLogPathSize) { // a name that was cut could be the log's own
        static_cast<void>(std::remove(backup));
        static_cast<void>(std::rename(maroLogFile, backup));
    }
    lineCount = 0;
    fileCount = (fileCount + 1) % kBackups;
}

#define CORVID_LOG(tag, format)                                                                    \
    do {                                                                                           \
        std::va_list arguments;                                                                    \
        va_start(arguments, format);                                                               \
        writeLine(tag, format, arguments);                                                         \
        va_end(arguments);                                                                         \
    } while (false)

void maro_logDev(const char* format, ...) {
    if (MaroLoggingEnabled != 0 && MaroDevLoggingEnabled != 0) {
        CORVID_LOG("DEV\t", format);
    }
}

void maro_log(const char* format, ...) {
    if (MaroLoggingEnabled != 0) {
        CORVID_LOG("", format);
    }
}

void maro_logWarning(const char* format, ...) {
    CORVID_LOG("WARNING\t", format);
}

void maro_logToDo(const char* format, ...) {
    CORVID_LOG("TO DO:\t", format);
}

void maro_logError(const char* format, ...) {
    CORVID_LOG("ERROR\t", format);
}

void maro_logAlways(const char* format, ...) {
    CORVID_LOG("", format);
}

#undef CORVID_LOG

int calculateLogFilePath(char* buffer, int size, const char* fileName) {
    if (buffer == nullptr || size <= 0) {
        return 1;
    }
    std::memset(buffer, 0, static_cast<std::size_t>(size));
    const char* home = std::getenv("HOME"); // NOLINT(concurrency-mt-unsafe)
    const char* base = home != nullptr ? home : corvid::fixedPathPrefix();
    const char* inBase = home != nullptr ? "/Library/Preferences" : "/private/tmp";
    char folder[PATH_MAX];
    for (const char* name : {"/Fernwick", "/Fernwick/Corvid"}) {
        const int length = std::snprintf(folder, sizeof(folder), "%s%s%s", base, inBase, name);
        if (length > 0 && static_cast<std::size_t>(length) < sizeof(folder)) {
            createDirectoryForPlatform(folder, nullptr);
        }
    }
    std::snprintf(buffer, static_cast<std::size_t>(size) - 1, "%s%s/Fernwick/Corvid/%s", base,
                  inBase, fileName);
    return 1;
}

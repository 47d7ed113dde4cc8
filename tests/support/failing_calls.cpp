#include "tests/support/failing_calls.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvid::test {
namespace {

constexpr std::size_t kCalls = static_cast<std::size_t>(Call::CreateThread) + 1;
constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

struct Plan {
    std::atomic<bool> armed{false};
    std::atomic<std::uint64_t> calls{0};
    // The rest is guarded by planMutex.
    int remaining = 0;
    int error = 0;
    int failures = 0;
    Lasting lasting = Lasting::Once;
    char pathPart[512] = {};
};

// All of it is initialised before the first constructor runs, since any of them may allocate.
constinit Plan plans[kCalls];
constinit std::mutex planMutex;
constinit std::atomic<std::size_t> writeLimit{kNoLimit};

Plan& planOf(Call call) {
    return plans[static_cast<std::size_t>(call)];
}

// Where a call works: a path, a descriptor, or neither.
struct Place {
    const char* path = nullptr;
    int descriptor = -1;
};

bool contains(const Place& place, const char* part) {
    if (*part == '\0') {
        return true;
    }
    if (place.path != nullptr) {
        return std::strstr(place.path, part) != nullptr;
    }
    char link[64];
    char target[4096] = {};
    static_cast<void>(std::snprintf(link, sizeof(link), "/proc/self/fd/%d", place.descriptor));
    return ::readlink(link, target, sizeof(target) - 1) > 0 && std::strstr(target, part) != nullptr;
}

// The error to fail this call with, or 0 to let it through.
int plannedError(Call call, const Place& place = {}) {
    Plan& plan = planOf(call);
    plan.calls.fetch_add(1, std::memory_order_relaxed);
    if (!plan.armed.load(std::memory_order_acquire)) {
        return 0;
    }
    const int before = errno;
    const std::lock_guard lock(planMutex);
    const bool meant = plan.armed && contains(place, plan.pathPart);
    errno = before;
    if (!meant || (plan.remaining == 0 && plan.lasting == Lasting::Once)) {
        return 0;
    }
    if (plan.remaining > 0 && --plan.remaining > 0) {
        return 0;
    }
    ++plan.failures;
    return plan.error;
}

// True when the call has to fail; errno then says why.
bool mustFail(Call call, const Place& place = {}) {
    const int error = plannedError(call, place);
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

std::size_t limited(std::size_t size) {
    const std::size_t limit = writeLimit.load(std::memory_order_relaxed);
    return size < limit ? size : limit;
}

void* allocateOrNull(std::size_t size) noexcept {
    if (mustFail(Call::New)) {
        return nullptr;
    }
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* allocateArrayOrNull(std::size_t size) noexcept {
    if (mustFail(Call::New)) {
        return nullptr;
    }
    try {
        return ::operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

FailNth::FailNth(Call call, int n, int error, const std::string& pathPart, Lasting lasting)
    : m_call(call) {
    Plan& plan = planOf(call);
    const std::lock_guard lock(planMutex);
    plan.remaining = n;
    plan.error = error;
    plan.failures = 0;
    plan.lasting = lasting;
    if (pathPart.size() >= sizeof(plan.pathPart)) {
        static_cast<void>(std::fputs("FailNth: the path part is too long\n", stderr));
        std::abort();
    }
    pathPart.copy(plan.pathPart, pathPart.size());
    plan.pathPart[pathPart.size()] = '\0';
    plan.armed.store(true, std::memory_order_release);
}

FailNth::~FailNth() {
    planOf(m_call).armed.store(false, std::memory_order_release);
}

int FailNth::failures() const {
    const std::lock_guard lock(planMutex);
    return planOf(m_call).failures;
}

ShortWrites::ShortWrites(std::size_t limit) {
    writeLimit = limit;
}

ShortWrites::~ShortWrites() {
    writeLimit = kNoLimit;
}

std::uint64_t callsMade(Call call) {
    return planOf(call).calls.load(std::memory_order_relaxed);
}

} // namespace corvid::test

using corvid::test::Call;
using corvid::test::mustFail;

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return corvid::test::allocateOrNull(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return corvid::test::allocateArrayOrNull(size);
}

// The names are the linker's: calls of "name" arrive in __wrap_name, and __real_name is the
// original. NOLINTBEGIN(cert-dcl37-c,cert-dcl50-cpp,cert-dcl51-cpp)
extern "C" {

void* __real_malloc(std::size_t size);
char* __real_strdup(const char* text);
int __real_open(const char* path, int flags, ...);
int __real_open64(const char* path, int flags, ...);
int __real_openat(int directory, const char* path, int flags, ...);
int __real_openat64(int directory, const char* path, int flags, ...);
ssize_t __real_write(int file, const void* bytes, std::size_t size);
ssize_t __real_pwrite(int file, const void* bytes, std::size_t size, off_t offset);
ssize_t __real_pwrite64(int file, const void* bytes, std::size_t size, off64_t offset);
int __real_ftruncate(int file, off_t length);
int __real_ftruncate64(int file, off64_t length);
int __real_fsync(int file);
int __real_rename(const char* from, const char* to);
int __real_renameat(int fromDirectory, const char* from, int toDirectory, const char* to);
int __real_unlink(const char* path);
int __real_unlinkat(int directory, const char* path, int flags);
int __real_rmdir(const char* path);
int __real_mkdir(const char* path, mode_t mode);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument);

void* __wrap_malloc(std::size_t size) {
    return mustFail(Call::Malloc) ? nullptr : __real_malloc(size);
}

char* __wrap_strdup(const char* text) {
    return mustFail(Call::Strdup) ? nullptr : __real_strdup(text);
}

// The mode stands in the call only when a file may be created.
#define CORVID_OPEN_MODE(flags)                                                                    \
    mode_t mode = 0;                                                                               \
    if (((flags)&O_CREAT) != 0 || ((flags)&O_TMPFILE) == O_TMPFILE) {                              \
        std::va_list arguments;                                                                    \
        va_start(arguments, flags);                                                                \
        mode = va_arg(arguments, mode_t);                                                          \
        va_end(arguments);                                                                         \
    }

int __wrap_open(const char* path, int flags, ...) {
    CORVID_OPEN_MODE(flags)
    return mustFail(Call::Open, {.path = path}) ? -1 : __real_open(path, flags, mode);
}

int __wrap_open64(const char* path, int flags, ...) {
    CORVID_OPEN_MODE(flags)
    return mustFail(Call::Open, {.path = path}) ? -1 : __real_open64(path, flags, mode);
}

int __wrap_openat(int directory, const char* path, int flags, ...) {
    CORVID_OPEN_MODE(flags)
    return mustFail(Call::Open, {.path = path}) ? -1 : __real_openat(directory, path, flags, mode);
}

int __wrap_openat64(int directory, const char* path, int flags, ...) {
    CORVID_OPEN_MODE(flags)
    return mustFail(Call::Open, {.path = path}) ? -1
                                                : __real_openat64(directory, path, flags, mode);
}

#undef CORVID_OPEN_MODE

// What fortified headers turn a call without a mode into.
int __wrap___open_2(const char* path, int flags) {
    return mustFail(Call::Open, {.path = path}) ? -1 : __real_open(path, flags);
}

int __wrap___open64_2(const char* path, int flags) {
    return mustFail(Call::Open, {.path = path}) ? -1 : __real_open64(path, flags);
}

int __wrap___openat_2(int directory, const char* path, int flags) {
    return mustFail(Call::Open, {.path = path}) ? -1 : __real_openat(directory, path, flags);
}

int __wrap___openat64_2(int directory, const char* path, int flags) {
    return mustFail(Call::Open, {.path = path}) ? -1 : __real_openat64(directory, path, flags);
}

ssize_t __wrap_write(int file, const void* bytes, std::size_t size) {
    return mustFail(Call::Write, {.descriptor = file})
               ? -1
               : __real_write(file, bytes, corvid::test::limited(size));
}

ssize_t __wrap_pwrite(int file, const void* bytes, std::size_t size, off_t offset) {
    return mustFail(Call::Write, {.descriptor = file})
               ? -1
               : __real_pwrite(file, bytes, corvid::test::limited(size), offset);
}

ssize_t __wrap_pwrite64(int file, const void* bytes, std::size_t size, off64_t offset) {
    return mustFail(Call::Write, {.descriptor = file})
               ? -1
               : __real_pwrite64(file, bytes, corvid::test::limited(size), offset);
}

int __wrap_ftruncate(int file, off_t length) {
    return mustFail(Call::Truncate, {.descriptor = file}) ? -1 : __real_ftruncate(file, length);
}

int __wrap_ftruncate64(int file, off64_t length) {
    return mustFail(Call::Truncate, {.descriptor = file}) ? -1 : __real_ftruncate64(file, length);
}

int __wrap_fsync(int file) {
    return mustFail(Call::Sync, {.descriptor = file}) ? -1 : __real_fsync(file);
}

int __wrap_rename(const char* from, const char* to) {
    return mustFail(Call::Rename, {.path = from}) ? -1 : __real_rename(from, to);
}

int __wrap_renameat(int fromDirectory, const char* from, int toDirectory, const char* to) {
    return mustFail(Call::Rename, {.path = from})
               ? -1
               : __real_renameat(fromDirectory, from, toDirectory, to);
}

int __wrap_unlink(const char* path) {
    return mustFail(Call::Unlink, {.path = path}) ? -1 : __real_unlink(path);
}

int __wrap_unlinkat(int directory, const char* path, int flags) {
    const Call call = (flags & AT_REMOVEDIR) != 0 ? Call::RemoveDir : Call::Unlink;
    return mustFail(call, {.path = path}) ? -1 : __real_unlinkat(directory, path, flags);
}

int __wrap_rmdir(const char* path) {
    return mustFail(Call::RemoveDir, {.path = path}) ? -1 : __real_rmdir(path);
}

int __wrap_mkdir(const char* path, mode_t mode) {
    return mustFail(Call::MakeDir, {.path = path}) ? -1 : __real_mkdir(path, mode);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument) {
    const int error = corvid::test::plannedError(Call::CreateThread);
    return error != 0 ? error : __real_pthread_create(thread, attributes, body, argument);
}

} // extern "C"
// NOLINTEND(cert-dcl37-c,cert-dcl50-cpp,cert-dcl51-cpp)

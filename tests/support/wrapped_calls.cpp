// What the linker's --wrap option puts between our code and the system. The names are the linker's:
// calls of "name" arrive in __wrap_name, and __real_name is the original.

#include "tests/support/planned_failures.h"

#include <cstdarg>
#include <cstdio>
#include <new>

#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using corvid::test::Call;
using corvid::test::limitedWrite;
using corvid::test::mustFail;
using corvid::test::plannedError;

// NOLINTBEGIN(cert-dcl37-c,cert-dcl50-cpp,cert-dcl51-cpp)
extern "C" {

void* __real_malloc(std::size_t size);
char* __real_strdup(const char* text);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument);

// The operators new that give null for want of memory, by the names that the linker knows them by.
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void* __real__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);

void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    return mustFail(Call::New) ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    return mustFail(Call::New) ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}

void* __wrap_malloc(std::size_t size) {
    return mustFail(Call::Malloc) ? nullptr : __real_malloc(size);
}

char* __wrap_strdup(const char* text) {
    return mustFail(Call::Strdup) ? nullptr : __real_strdup(text);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument) {
    const int error = plannedError(Call::CreateThread);
    return error != 0 ? error : __real_pthread_create(thread, attributes, body, argument);
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

#define CORVID_WRAP_OPEN(name)                                                                     \
    int __real_##name(const char* path, int flags, ...);                                           \
    int __wrap_##name(const char* path, int flags, ...) {                                          \
        CORVID_OPEN_MODE(flags)                                                                    \
        return mustFail(Call::Open, {.path = path}) ? -1 : __real_##name(path, flags, mode);       \
    }
CORVID_WRAP_OPEN(open)
CORVID_WRAP_OPEN(open64)
#undef CORVID_WRAP_OPEN

#define CORVID_WRAP_OPENAT(name)                                                                   \
    int __real_##name(int directory, const char* path, int flags, ...);                            \
    int __wrap_##name(int directory, const char* path, int flags, ...) {                           \
        CORVID_OPEN_MODE(flags)                                                                    \
        return mustFail(Call::Open, {.path = path}) ? -1                                           \
                                                    : __real_##name(directory, path, flags, mode); \
    }
CORVID_WRAP_OPENAT(openat)
CORVID_WRAP_OPENAT(openat64)
#undef CORVID_WRAP_OPENAT
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

ssize_t __real_read(int file, void* bytes, std::size_t size);
ssize_t __real_pread(int file, void* bytes, std::size_t size, off_t offset);
ssize_t __real_pread64(int file, void* bytes, std::size_t size, off64_t offset);

ssize_t __wrap_read(int file, void* bytes, std::size_t size) {
    return mustFail(Call::Read, {.descriptor = file}) ? -1 : __real_read(file, bytes, size);
}

ssize_t __wrap_pread(int file, void* bytes, std::size_t size, off_t offset) {
    return mustFail(Call::Read, {.descriptor = file}) ? -1
                                                      : __real_pread(file, bytes, size, offset);
}

ssize_t __wrap_pread64(int file, void* bytes, std::size_t size, off64_t offset) {
    return mustFail(Call::Read, {.descriptor = file}) ? -1
                                                      : __real_pread64(file, bytes, size, offset);
}

// Fortified headers add the size of the room.
ssize_t __wrap___read_chk(int file, void* bytes, std::size_t size, std::size_t /*room*/) {
    return __wrap_read(file, bytes, size);
}

ssize_t __wrap___pread_chk(int file, void* bytes, std::size_t size, off_t offset,
                           std::size_t /*room*/) {
    return __wrap_pread(file, bytes, size, offset);
}

ssize_t __real_write(int file, const void* bytes, std::size_t size);
ssize_t __real_pwrite(int file, const void* bytes, std::size_t size, off_t offset);
ssize_t __real_pwrite64(int file, const void* bytes, std::size_t size, off64_t offset);

ssize_t __wrap_write(int file, const void* bytes, std::size_t size) {
    return mustFail(Call::Write, {.descriptor = file})
               ? -1
               : __real_write(file, bytes, limitedWrite(size));
}

ssize_t __wrap_pwrite(int file, const void* bytes, std::size_t size, off_t offset) {
    return mustFail(Call::Write, {.descriptor = file})
               ? -1
               : __real_pwrite(file, bytes, limitedWrite(size), offset);
}

ssize_t __wrap_pwrite64(int file, const void* bytes, std::size_t size, off64_t offset) {
    return mustFail(Call::Write, {.descriptor = file})
               ? -1
               : __real_pwrite64(file, bytes, limitedWrite(size), offset);
}

int __real_ftruncate(int file, off_t length);
int __real_ftruncate64(int file, off64_t length);
int __real_fsync(int file);
int __real_flock(int file, int operation);
int __real_fchmod(int file, mode_t mode);
int __real_chmod(const char* path, mode_t mode);
int __real_fchmodat(int directory, const char* path, mode_t mode, int flags);

int __wrap_ftruncate(int file, off_t length) {
    return mustFail(Call::Truncate, {.descriptor = file}) ? -1 : __real_ftruncate(file, length);
}

int __wrap_ftruncate64(int file, off64_t length) {
    return mustFail(Call::Truncate, {.descriptor = file}) ? -1 : __real_ftruncate64(file, length);
}

int __wrap_fsync(int file) {
    return mustFail(Call::Sync, {.descriptor = file}) ? -1 : __real_fsync(file);
}

int __wrap_flock(int file, int operation) {
    return mustFail(Call::Lock, {.descriptor = file}) ? -1 : __real_flock(file, operation);
}

int __wrap_fchmod(int file, mode_t mode) {
    return mustFail(Call::ChangeMode, {.descriptor = file}) ? -1 : __real_fchmod(file, mode);
}

int __wrap_chmod(const char* path, mode_t mode) {
    return mustFail(Call::ChangeMode, {.path = path}) ? -1 : __real_chmod(path, mode);
}

int __wrap_fchmodat(int directory, const char* path, mode_t mode, int flags) {
    return mustFail(Call::ChangeMode, {.path = path})
               ? -1
               : __real_fchmodat(directory, path, mode, flags);
}

int __real_rename(const char* from, const char* to);
int __real_renameat(int fromDirectory, const char* from, int toDirectory, const char* to);
int __real_unlink(const char* path);
int __real_remove(const char* path);
int __real_unlinkat(int directory, const char* path, int flags);
int __real_rmdir(const char* path);
int __real_mkdir(const char* path, mode_t mode);
char* __real_realpath(const char* path, char* resolved);

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

int __wrap_remove(const char* path) {
    return mustFail(Call::Unlink, {.path = path}) ? -1 : __real_remove(path);
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

char* __wrap_realpath(const char* path, char* resolved) {
    return mustFail(Call::Resolve, {.path = path}) ? nullptr : __real_realpath(path, resolved);
}

// Both widths of the four calls that ask for a status.
#define CORVID_WRAP_STATUS(suffix)                                                                 \
    int __real_stat##suffix(const char* path, struct stat##suffix* status);                        \
    int __real_lstat##suffix(const char* path, struct stat##suffix* status);                       \
    int __real_fstat##suffix(int file, struct stat##suffix* status);                               \
    int __real_fstatat##suffix(int directory, const char* path, struct stat##suffix* status,       \
                               int flags);                                                         \
    int __wrap_stat##suffix(const char* path, struct stat##suffix* status) {                       \
        return mustFail(Call::Status, {.path = path}) ? -1 : __real_stat##suffix(path, status);    \
    }                                                                                              \
    int __wrap_lstat##suffix(const char* path, struct stat##suffix* status) {                      \
        return mustFail(Call::Status, {.path = path}) ? -1 : __real_lstat##suffix(path, status);   \
    }                                                                                              \
    int __wrap_fstat##suffix(int file, struct stat##suffix* status) {                              \
        return mustFail(Call::Status, {.descriptor = file}) ? -1                                   \
                                                            : __real_fstat##suffix(file, status);  \
    }                                                                                              \
    int __wrap_fstatat##suffix(int directory, const char* path, struct stat##suffix* status,       \
                               int flags) {                                                        \
        return mustFail(Call::Status, {.path = path})                                              \
                   ? -1                                                                            \
                   : __real_fstatat##suffix(directory, path, status, flags);                       \
    }
CORVID_WRAP_STATUS()
CORVID_WRAP_STATUS(64)
#undef CORVID_WRAP_STATUS

// Whatever stands behind the command is one argument, a number or a pointer.
#define CORVID_WRAP_FCNTL(name)                                                                    \
    int __real_##name(int file, int command, ...);                                                 \
    int __wrap_##name(int file, int command, ...) {                                                \
        std::va_list arguments;                                                                    \
        va_start(arguments, command);                                                              \
        void* argument = va_arg(arguments, void*);                                                 \
        va_end(arguments);                                                                         \
        const bool isDuplicate = command == F_DUPFD || command == F_DUPFD_CLOEXEC;                 \
        return isDuplicate && mustFail(Call::Duplicate, {.descriptor = file})                      \
                   ? -1                                                                            \
                   : __real_##name(file, command, argument);                                       \
    }
CORVID_WRAP_FCNTL(fcntl)
CORVID_WRAP_FCNTL(fcntl64)
#undef CORVID_WRAP_FCNTL

long __real_syscall(long number, long a, long b, long c, long d, long e, long f);

// Called as a function of any number of arguments: those that are not given are not looked at.
long __wrap_syscall(long number, long a, long b, long c, long d, long e, long f) {
    return number == SYS_getdents64 && mustFail(Call::List, {.descriptor = static_cast<int>(a)})
               ? -1
               : __real_syscall(number, a, b, c, d, e, f);
}

int __real_posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments,
                       char* const* environment);

int __wrap_posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments,
                       char* const* environment) {
    const int error = plannedError(Call::Spawn, {.path = path});
    return error != 0
               ? error
               : __real_posix_spawn(process, path, actions, attributes, arguments, environment);
}

} // extern "C"
// NOLINTEND(cert-dcl37-c,cert-dcl50-cpp,cert-dcl51-cpp)

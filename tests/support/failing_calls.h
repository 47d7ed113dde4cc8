#pragma once

// Makes chosen system calls of the code under test fail, or ends the process at one of them. The
// linker's --wrap option sends the calls of everything linked into a test program statically
// through here; no production code knows of it. While nothing is armed a call costs two counters
// and two tests of a flag.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace corvid::test {

// The calls that can be made to fail. Variants of one call (open and open64, write and pwrite) are
// one kind when the code under test may use either for the same purpose.
enum class Call {
    Malloc,       // malloc
    Strdup,       // strdup
    New,          // operator new(std::nothrow) and new[](std::nothrow)
    AnyNew,       // every operator new, in programs that link replaced_new.cpp
    CreateThread, // pthread_create
    Open,         // open, openat and their 64-bit and fortified names
    Read,         // read, pread
    Write,        // write, pwrite
    Truncate,     // ftruncate
    Sync,         // fsync
    Rename,       // rename, renameat
    Unlink,       // unlink, remove, unlinkat without AT_REMOVEDIR
    RemoveDir,    // rmdir, unlinkat with AT_REMOVEDIR
    MakeDir,      // mkdir
    Status,       // stat, lstat, fstat, fstatat
    ChangeMode,   // chmod, fchmod, fchmodat
    Resolve,      // realpath
    Lock,         // flock
    Duplicate,    // fcntl with F_DUPFD or F_DUPFD_CLOEXEC
    List,         // getdents64, as it is called through syscall
    Spawn,        // posix_spawn
};

enum class Lasting { Once, FromThenOn };

// While it lives, the n-th call (counted from 1, from now on, over all threads) fails with `error`;
// with Lasting::FromThenOn every later one fails too. With a path part only calls count whose path,
// or whose descriptor's path, contains it (not for memory and threads). One at a time for each
// kind: a second one replaces the first, and the end of either disarms the kind.
class FailNth {
public:
    FailNth(Call call, int n, int error, const std::string& pathPart = {},
            Lasting lasting = Lasting::Once);
    ~FailNth();
    FailNth(const FailNth&) = delete;
    FailNth& operator=(const FailNth&) = delete;

    // How many calls were made to fail: a test that expects a failure to be handled can prove that
    // there was one.
    [[nodiscard]] int failures() const;

private:
    Call m_call;
};

// While it lives, no call of this thread is counted or fails: for what the test itself does while
// the code under test runs.
class Undisturbed {
public:
    Undisturbed();
    ~Undisturbed();
    Undisturbed(const Undisturbed&) = delete;
    Undisturbed& operator=(const Undisturbed&) = delete;
};

// While it lives, every write and pwrite takes at most `limit` bytes and reports what it took.
class ShortWrites {
public:
    explicit ShortWrites(std::size_t limit);
    ~ShortWrites();
    ShortWrites(const ShortWrites&) = delete;
    ShortWrites& operator=(const ShortWrites&) = delete;
};

// While it lives, the process is ended by SIGKILL in place of the n-th call of any kind but memory
// and threads (counted from 1, from now on). One at a time.
class KillAtNth {
public:
    explicit KillAtNth(std::uint64_t n);
    ~KillAtNth();
    KillAtNth(const KillAtNth&) = delete;
    KillAtNth& operator=(const KillAtNth&) = delete;
};

// Calls of one kind since the program started; tests use the difference of two readings.
[[nodiscard]] std::uint64_t callsMade(Call call);
// The same for all kinds that KillAtNth counts.
[[nodiscard]] std::uint64_t killableCallsMade();

} // namespace corvid::test

#pragma once

// Makes chosen system calls of the code under test fail. The linker's --wrap option sends the calls
// of everything linked into a test program statically through here; no production code knows of it.
// While nothing is armed a call costs one counter and one test of a flag.

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
    Open,         // open, openat and their 64-bit and fortified names
    Write,        // write, pwrite
    Truncate,     // ftruncate
    Sync,         // fsync
    Rename,       // rename, renameat
    Unlink,       // unlink, unlinkat without AT_REMOVEDIR
    RemoveDir,    // rmdir, unlinkat with AT_REMOVEDIR
    MakeDir,      // mkdir
    CreateThread, // pthread_create
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

// While it lives, every write and pwrite takes at most `limit` bytes and reports what it took.
class ShortWrites {
public:
    explicit ShortWrites(std::size_t limit);
    ~ShortWrites();
    ShortWrites(const ShortWrites&) = delete;
    ShortWrites& operator=(const ShortWrites&) = delete;
};

// Calls of one kind since the program started; tests use the difference of two readings.
[[nodiscard]] std::uint64_t callsMade(Call call);

} // namespace corvid::test

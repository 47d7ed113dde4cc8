#include "tests/reliability/hostile_world.h"

#include "files/directory_scan.h"
#include "files/unique_fd.h"
#include "tools/sample_plan.h"

#include <csignal>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <linux/landlock.h>
#include <sched.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace corvid::test {
namespace {

// One process's changes to one cache. Every step is taken from an open directory and none through a
// link, so that none of them leads out of the cache.
class Changes {
public:
    Changes(const HostileWorld& world, std::uint64_t seed)
        : m_numbers(seed), m_guarded(world.beside("guarded")),
          m_root(openDirectory(AT_FDCWD, world.cache.path().c_str(), LinkRule::Follow)),
          m_aside(openDirectory(AT_FDCWD, world.beside("aside").c_str(), LinkRule::Follow)) {}

    // Whether something was changed.
    bool makeOne() {
        UniqueFd directory(::fcntl(m_root.get(), F_DUPFD_CLOEXEC, 0));
        for (int level = 0; level < kLevels; ++level) {
            const std::string name = anyEntry(directory.get());
            if (name.empty()) {
                return false;
            }
            UniqueFd inner = openDirectory(directory.get(), name.c_str(), LinkRule::Refuse);
            if (!inner.isOpen()) {
                return changeFile(directory.get(), name);
            }
            if (m_numbers.oneIn(3)) {
                return m_numbers.oneIn(2) ? exchange(directory.get(), name)
                                          : replaceForAWhile(directory.get(), name);
            }
            directory = std::move(inner);
        }
        return false;
    }

private:
    static constexpr int kLevels = 8;

    std::string anyEntry(int directory) {
        std::vector<std::string> names;
        DirectoryScan scan(UniqueFd(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
        for (DirectoryEntry entry{}; scan.isOpen() && scan.next(entry);) {
            const std::string name = entry.name;
            if (name != "ProjectHash.txt" && name != "CompositionHash.txt") {
                names.push_back(name);
            }
        }
        return names.empty() ? "" : names[m_numbers.below(names.size())];
    }

    // A moment of a length that nobody can foresee.
    void hold() {
        const timespec pause{0, static_cast<long>(m_numbers.below(100000))};
        ::nanosleep(&pause, nullptr);
    }

    bool changeFile(int directory, const std::string& name) {
        switch (m_numbers.below(4)) {
        case 0:
            return ::unlinkat(directory, name.c_str(), 0) == 0;
        case 1:
            return UniqueFd(::openat(directory, ("appeared" + name.substr(0, 200)).c_str(),
                                     O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666))
                .isOpen();
        case 2:
            return ::mkdirat(directory, ("made" + name.substr(0, 200)).c_str(), 0777) == 0;
        default:
            return replaceForAWhile(directory, name);
        }
    }

    // The entry and a link change places in one step. What cannot be put back has vanished.
    bool exchange(int directory, const std::string& name) {
        const std::string aside = nextAside();
        if (::symlinkat(m_guarded.c_str(), m_aside.get(), aside.c_str()) != 0 ||
            !swap(aside, directory, name)) {
            return false;
        }
        hold();
        if (swap(aside, directory, name)) {
            static_cast<void>(::unlinkat(m_aside.get(), aside.c_str(), 0));
        } else { // the link was removed meanwhile
            static_cast<void>(::renameat(m_aside.get(), aside.c_str(), directory, name.c_str()));
        }
        return true;
    }
    bool swap(const std::string& aside, int directory, const std::string& name) const {
        return ::renameat2(m_aside.get(), aside.c_str(), directory, name.c_str(),
                           RENAME_EXCHANGE) == 0;
    }

    bool replaceForAWhile(int directory, const std::string& name) {
        const std::string aside = nextAside();
        if (::renameat(directory, name.c_str(), m_aside.get(), aside.c_str()) != 0) {
            return false;
        }
        static_cast<void>(::symlinkat(m_guarded.c_str(), directory, name.c_str()));
        hold();
        static_cast<void>(::unlinkat(directory, name.c_str(), 0));
        static_cast<void>(::renameat(m_aside.get(), aside.c_str(), directory, name.c_str()));
        return true;
    }

    std::string nextAside() {
        return std::to_string(::getpid()) + "-" + std::to_string(++m_asides);
    }

    SampleNumbers m_numbers;
    std::string m_guarded;
    UniqueFd m_root;
    UniqueFd m_aside;
    int m_asides = 0;
};

} // namespace

SharedNumber::SharedNumber() {
    void* memory = ::mmap(nullptr, sizeof(std::atomic<std::uint64_t>), PROT_READ | PROT_WRITE,
                          MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no shared memory");
    }
    m_number = new (memory) std::atomic<std::uint64_t>(0);
}

SharedNumber::~SharedNumber() {
    ::munmap(m_number, sizeof(*m_number));
}

bool confineChangesTo(const std::string& path) {
    constexpr std::uint64_t kChanges =
        LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
        LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
        LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO | LANDLOCK_ACCESS_FS_MAKE_SYM |
        LANDLOCK_ACCESS_FS_REFER;
    constexpr long kVersionOfRefer = 2;
    const long version =
        ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < kVersionOfRefer) {
        return false;
    }
    landlock_ruleset_attr changes{};
    changes.handled_access_fs = kChanges;
    const UniqueFd rules(
        static_cast<int>(::syscall(SYS_landlock_create_ruleset, &changes, sizeof(changes), 0)));
    const UniqueFd allowed(::open(path.c_str(), O_PATH | O_CLOEXEC));
    landlock_path_beneath_attr beneath{};
    beneath.allowed_access = kChanges;
    beneath.parent_fd = allowed.get();
    return ::syscall(SYS_landlock_add_rule, rules.get(), LANDLOCK_RULE_PATH_BENEATH, &beneath, 0) ==
               0 &&
           ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::syscall(SYS_landlock_restrict_self, rules.get(), 0) == 0;
}

std::string HostileWorld::withGuarded(const std::string& folder) {
    const std::string guarded = folder + "/guarded";
    writeFile(guarded + "/file", "kept");
    for (int i = 0; i < 3; ++i) {
        writeFile(guarded + "/inner/0000000" + std::to_string(i) + ".raw", "kept");
        writeFile(guarded + "/inner/deep/0000000" + std::to_string(i) + ".raw", "kept");
    }
    makeDirectory(guarded + "/empty");
    return guarded;
}

HostileWorld::HostileWorld(std::string folder, const HostileOptions& options)
    : cache(folder + "/cache", withGuarded(folder), options), m_folder(std::move(folder)),
      m_guarded(snapshot(beside("guarded"))) {
    makeDirectory(beside("here"));
    makeDirectory(beside("aside"));
    std::filesystem::current_path(beside("here"));
}

void HostileWorld::expectOutsideUntouched() const {
    EXPECT_EQ(m_guarded, snapshot(beside("guarded")));
    EXPECT_TRUE(std::filesystem::is_empty(beside("here"))) << "a command ran";
}

Disturber::Disturber(const HostileWorld& world, std::uint64_t seed) {
    m_process = startChild(
        [&] {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL); // not to be left behind by a test that is ended
            Changes changes(world, seed);
            while (*m_stop == 0) {
                *m_changes += changes.makeOne() ? 1 : 0;
            }
            return true;
        },
        1000);
    while (*m_changes == 0 && ::waitpid(m_process, nullptr, WNOHANG) == 0) {
        ::sched_yield();
    }
}

Disturber::~Disturber() {
    *m_stop = 1;
    EXPECT_TRUE(endedWell(m_process));
}

} // namespace corvid::test

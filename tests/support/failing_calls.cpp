#include "tests/support/failing_calls.h"

#include "tests/support/planned_failures.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>

#include <unistd.h>

namespace corvid::test {
namespace {

constexpr std::size_t kCalls = static_cast<std::size_t>(Call::Spawn) + 1;
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
constinit std::atomic<std::uint64_t> killableCalls{0};
constinit std::atomic<std::uint64_t> deadlyCall{0}; // as killableCalls counts; 0 for none

constinit thread_local int undisturbed = 0;

Plan& planOf(Call call) {
    return plans[static_cast<std::size_t>(call)];
}

bool isKillable(Call call) {
    return call > Call::CreateThread;
}

void countKillable() {
    const std::uint64_t count = killableCalls.fetch_add(1, std::memory_order_relaxed) + 1;
    if (count == deadlyCall.load(std::memory_order_relaxed)) {
        ::kill(::getpid(), SIGKILL);
        for (;;) {
            ::pause(); // the signal may have gone to another thread first
        }
    }
}

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

} // namespace

int plannedError(Call call, const Place& place) {
    if (undisturbed > 0) {
        return 0;
    }
    Plan& plan = planOf(call);
    plan.calls.fetch_add(1, std::memory_order_relaxed);
    if (isKillable(call)) {
        countKillable();
    }
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

bool mustFail(Call call, const Place& place) {
    const int error = plannedError(call, place);
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

std::size_t limitedWrite(std::size_t size) {
    const std::size_t limit = writeLimit.load(std::memory_order_relaxed);
    return size < limit ? size : limit;
}

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

Undisturbed::Undisturbed() {
    ++undisturbed;
}

Undisturbed::~Undisturbed() {
    --undisturbed;
}

ShortWrites::ShortWrites(std::size_t limit) {
    writeLimit = limit;
}

ShortWrites::~ShortWrites() {
    writeLimit = kNoLimit;
}

KillAtNth::KillAtNth(std::uint64_t n) {
    deadlyCall = killableCalls + n;
}

KillAtNth::~KillAtNth() {
    deadlyCall = 0;
}

std::uint64_t callsMade(Call call) {
    return planOf(call).calls.load(std::memory_order_relaxed);
}

std::uint64_t killableCallsMade() {
    return killableCalls.load(std::memory_order_relaxed);
}

} // namespace corvid::test

#include "tests/reliability/failing_calls_run.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace corvid::test {
namespace {

constexpr int kMostCalls = 1000; // an operation that makes more does not end
// A sanitized program is slow, and the calls that follow each other take much the same way.
constexpr int kStep = kSanitized ? 3 : 1;

std::set<std::string> pathsOf(const Disk& one, const Disk& other, const Disk& third) {
    std::set<std::string> paths;
    for (const Disk* disk : {&one, &other, &third}) {
        for (const auto& [path, entry] : *disk) {
            paths.insert(path);
        }
    }
    return paths;
}

bool isSame(const DiskEntry* one, const DiskEntry* other) {
    return one == other || (one != nullptr && other != nullptr && *one == *other);
}

bool isBelow(const std::string& path, const std::string& directory) {
    return !directory.empty() && path.compare(0, directory.size(), directory) == 0;
}

std::set<std::string> linesOfBoth(const DiskEntry* one, const DiskEntry* other) {
    std::set<std::string> lines;
    for (const DiskEntry* entry : {one, other}) {
        std::istringstream text(entry != nullptr ? entry->text : "");
        for (std::string line; std::getline(text, line);) {
            lines.insert(line);
        }
    }
    return lines;
}

std::string shown(const DiskEntry* entry) {
    return entry != nullptr ? ::testing::PrintToString(entry->text) : "nothing";
}

} // namespace

const std::vector<FailingCallsRun::Kind>& FailingCallsRun::kinds() {
    static const std::vector<Kind> kAll = {
        {"open EACCES", Call::Open, EACCES},
        {"open EIO", Call::Open, EIO},
        {"open ENOSPC", Call::Open, ENOSPC},
        {"open EINTR", Call::Open, EINTR},
        {"open ENOENT", Call::Open, ENOENT},
        {"open EMFILE from then on", Call::Open, EMFILE, Lasting::FromThenOn},
        {"read EIO", Call::Read, EIO},
        {"read EINTR", Call::Read, EINTR},
        {"write ENOSPC", Call::Write, ENOSPC},
        {"write EIO", Call::Write, EIO},
        {"write EINTR", Call::Write, EINTR},
        {"write ENOSPC from then on", Call::Write, ENOSPC, Lasting::FromThenOn},
        {"ftruncate EIO", Call::Truncate, EIO},
        {"ftruncate EINTR", Call::Truncate, EINTR},
        {"rename EACCES", Call::Rename, EACCES},
        {"rename EXDEV", Call::Rename, EXDEV},
        {"unlink EACCES", Call::Unlink, EACCES},
        {"unlink ENOENT", Call::Unlink, ENOENT},
        {"rmdir EACCES", Call::RemoveDir, EACCES},
        {"stat EIO", Call::Status, EIO},
        {"stat ENOENT", Call::Status, ENOENT},
        {"getdents EIO", Call::List, EIO},
        {"getdents EINTR", Call::List, EINTR},
        {"realpath EIO", Call::Resolve, EIO},
        {"realpath ENOENT", Call::Resolve, ENOENT},
        {"chmod EIO", Call::ChangeMode, EIO},
        {"flock EINTR", Call::Lock, EINTR},
        {"flock EIO", Call::Lock, EIO},
        {"fcntl EMFILE", Call::Duplicate, EMFILE},
        {"posix_spawn EAGAIN", Call::Spawn, EAGAIN},
        {"malloc ENOMEM", Call::Malloc, ENOMEM},
        {"strdup ENOMEM", Call::Strdup, ENOMEM},
        {"new ENOMEM", Call::New, ENOMEM},
        {"any new ENOMEM", Call::AnyNew, ENOMEM},
        {"any new ENOMEM from then on", Call::AnyNew, ENOMEM, Lasting::FromThenOn},
    };
    return kAll;
}

FailingCallsRun::FailingCallsRun(const Operation& operation) : m_operation(operation) {
    if (m_operation.arrange) {
        m_operation.arrange(m_world);
    }
    m_guarded = m_world.guarded();
    m_before = m_world.disk();
    m_present = m_before;
    runUndisturbed();
}

void FailingCallsRun::prepare() {
    m_world.restore(m_before, m_present);
    if (m_operation.load) {
        m_operation.load(m_world);
    }
}

void FailingCallsRun::runUndisturbed() {
    prepare();
    m_answer = m_operation.run(m_world);
    m_done = m_present = m_world.disk();
    if (m_operation.check) {
        m_operation.check(m_world, m_before, m_done);
    }
}

int FailingCallsRun::failEachCall() {
    int failures = 0;
    for (const Kind& kind : kinds()) {
        if (m_operation.uses != kind.call) {
            failures += failEachCall(kind);
        }
    }
    return failures;
}

int FailingCallsRun::failEachCall(const Kind& kind) {
    int nth = 1;
    int failures = 0;
    while (nth < kMostCalls && runOnce(kind, nth)) {
        nth += kStep;
        ++failures;
    }
    EXPECT_LT(nth, kMostCalls) << kind.name << " never stops failing";
    return failures;
}

bool FailingCallsRun::runOnce(const Kind& kind, int nth) {
    SCOPED_TRACE(m_operation.name + ": " + kind.name + " at call " + std::to_string(nth));
    const int descriptors = openDescriptors();
    prepare();
    Answer answer = Answer::None;
    bool hasFailed = false;
    {
        const FailNth failing(kind.call, nth, kind.error, {}, kind.lasting);
        answer = runUnthrown();
        hasFailed = failing.failures() > 0;
    }
    m_present = m_world.disk();
    if (!hasFailed) {
        EXPECT_EQ(answer, m_answer) << "although nothing failed";
        expectDone();
        return false;
    }
    expectRight(kind, answer);
    runAgain(kind, answer, kind.error == ENOENT && isAnyRewritten());
    EXPECT_EQ(openDescriptors(), descriptors) << "a descriptor stays open";
    EXPECT_EQ(m_world.guarded(), m_guarded) << "something outside was touched";
    return true;
}

// Nothing that plug-ins call throws.
Answer FailingCallsRun::runUnthrown() {
    try {
        return m_operation.run(m_world);
    } catch (const std::exception& thrown) {
        const Undisturbed tell;
        ADD_FAILURE() << "has thrown " << thrown.what();
        return Answer::None;
    }
}

void FailingCallsRun::expectRight(const Kind& kind, Answer answer) const {
    for (const std::string& path : pathsOf(m_before, m_done, m_present)) {
        const DiskEntry* is = entryOf(m_present, path);
        const DiskEntry* before = entryOf(m_before, path);
        const DiskEntry* done = entryOf(m_done, path);
        if (!isRight(kind, path, is)) {
            ADD_FAILURE() << path << " is " << shown(is) << ", neither " << shown(before) << " nor "
                          << shown(done);
        } else if (answer == Answer::Success && !isSame(is, done) && isSame(is, before) &&
                   !isBelow(path, m_operation.mayStay)) {
            ADD_FAILURE() << path << " is still " << shown(is) << " after a success";
        } else if (answer == Answer::Failure && keepsByFailure(path) && !isSame(is, before)) {
            ADD_FAILURE() << path << " has become " << shown(is) << " by a failure";
        }
    }
    if (m_operation.check) {
        m_operation.check(m_world, m_before, m_present);
    }
}

bool FailingCallsRun::keepsByFailure(const std::string& path) const {
    return (m_operation.isAllOrNothing && !isLeftOver(path)) ||
           (!m_operation.keeps.empty() && path.ends_with(m_operation.keeps));
}

bool FailingCallsRun::isRight(const Kind& kind, const std::string& path,
                              const DiskEntry* is) const {
    if (isSame(is, entryOf(m_before, path)) || isSame(is, entryOf(m_done, path))) {
        return true;
    }
    if (is != nullptr && m_operation.alsoRight.count(is->text) > 0 && S_ISREG(is->mode)) {
        return true;
    }
    if (kind.call == Call::Unlink && isLeftOver(path)) {
        return true;
    }
    return kind.error == ENOENT && isRewritten(path, is);
}

// A store takes a file that is not there for an empty one and writes what it adds, and a file that
// vanishes between two calls is not there.
bool FailingCallsRun::isRewritten(const std::string& path, const DiskEntry* is) const {
    const DiskEntry* before = entryOf(m_before, path);
    const DiskEntry* done = entryOf(m_done, path);
    if (!isStoreFile(path) || is == nullptr || isSame(is, before) || isSame(is, done)) {
        return false;
    }
    if (m_operation.ifVanished.count(is->text) > 0) {
        return true;
    }
    const std::set<std::string> known = linesOfBoth(before, done);
    const std::set<std::string> lines = linesOfBoth(is, nullptr);
    return std::includes(known.begin(), known.end(), lines.begin(), lines.end());
}

bool FailingCallsRun::isAnyRewritten() const {
    return std::any_of(m_present.begin(), m_present.end(), [this](const auto& entry) {
        return isRewritten(entry.first, &entry.second);
    });
}

void FailingCallsRun::expectDone() const {
    for (const std::string& path : pathsOf(m_done, m_present, {})) {
        const DiskEntry* is = entryOf(m_present, path);
        const DiskEntry* done = entryOf(m_done, path);
        EXPECT_TRUE(isSame(is, done) || isLeftOver(path))
            << path << " is " << shown(is) << " instead of " << shown(done);
    }
}

// No lock is held and nothing is left that would hinder the next time.
void FailingCallsRun::runAgain(const Kind& kind, Answer answer, bool isRewritten) {
    SCOPED_TRACE("once more");
    if (answer == Answer::Success && !m_operation.again) {
        return;
    }
    const Answer next = m_operation.again ? m_operation.again(m_world) : m_operation.run(m_world);
    m_present = m_world.disk();
    if (isRewritten) {
        return;
    }
    EXPECT_EQ(next, m_answer) << "after " << kind.name;
    if (!m_operation.addsUp) {
        expectDone();
    }
}

void FailingCallsRun::writeShort() {
    for (const std::size_t limit : {std::size_t{1}, std::size_t{7}, std::size_t{100}}) {
        SCOPED_TRACE("writes of " + std::to_string(limit));
        prepare();
        const ShortWrites pieces(limit);
        const Answer answer = m_operation.run(m_world);
        m_present = m_world.disk();
        expectRight({"", Call::Write, 0}, answer);
        if (!m_operation.addsUp) {
            EXPECT_EQ(answer, m_answer);
            expectDone();
        }
    }
    if (m_operation.addsUp) {
        return; // a record goes out in one write or not at all
    }
    const ShortWrites pieces(40);
    failEachCall({"write ENOSPC after a short one", Call::Write, ENOSPC});
    failEachCall({"write EINTR after a short one", Call::Write, EINTR});
}

} // namespace corvid::test

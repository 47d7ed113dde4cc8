#pragma once

// Runs an operation again and again, making another of its calls fail each time.

#include "tests/reliability/operation.h"

#include <string>
#include <vector>

namespace corvid::test {

class FailingCallsRun {
public:
    explicit FailingCallsRun(const Operation& operation);

    // Each kind of failure at each call that the operation makes; how many failures there were.
    int failEachCall();
    // Writes that take a few bytes only, and a disk that fills up between two of them.
    void writeShort();

private:
    struct Kind {
        const char* name;
        Call call;
        int error;
        Lasting lasting = Lasting::Once;
    };
    static const std::vector<Kind>& kinds();

    void runUndisturbed();
    void prepare();
    int failEachCall(const Kind& kind);
    // Whether there was a failure.
    bool runOnce(const Kind& kind, int nth);
    Answer runUnthrown();
    void runAgain(const Kind& kind, Answer answer, bool isRewritten);
    void expectRight(const Kind& kind, Answer answer) const;
    void expectDone() const;
    bool isRight(const Kind& kind, const std::string& path, const DiskEntry* is) const;
    bool keepsByFailure(const std::string& path) const;
    bool isRewritten(const std::string& path, const DiskEntry* is) const;
    bool isAnyRewritten() const;

    const Operation& m_operation;
    ProductWorld m_world;
    Snapshot m_guarded;
    Disk m_before;
    Disk m_done;
    Disk m_present; // as it was last looked at
    Answer m_answer = Answer::None;
};

} // namespace corvid::test

#pragma once

// Programs of the same world at work at once, each a process of its own.

#include "tests/reliability/several_programs_world.h"
#include "tests/support/forked_child.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace corvid::test {

class SeveralProgramsTest : public ::testing::Test {
protected:
    // Starts a program: body() is one round of its work, made until everybody stops. An assertion
    // that fails in it fails the test.
    template <class MakeBody>
    void start(MakeBody makeBody) {
        const auto patience = static_cast<unsigned>(duration().count()) + 300;
        const std::size_t number = m_programs.size();
        m_programs.push_back(startChild(
            [this, number, makeBody] {
                auto round = makeBody();
                while (!world.journal().stop() && !HasFailure()) {
                    round();
                    ++world.journal().rounds(number);
                }
                return !HasFailure();
            },
            patience));
    }
    // Looks at every file until the time is over and everybody has done something, or something is
    // wrong. Then everybody stops.
    void watch();
    // Looks once, at all files but the log.
    void look() const;
    // What is left of texts that did not become the next one of their file.
    std::vector<std::string> leftOvers() const;

    SharedWorld world;

private:
    static std::chrono::seconds duration();
    bool haveAllWorked() const;

    std::vector<pid_t> m_programs;
};

} // namespace corvid::test

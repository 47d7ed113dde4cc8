#pragma once

// A piece of a test in a process of its own: one that may block, lose its rights or be short of
// something without taking the test program with it.

#include "tests/support/product_root.h"

#include <cstdlib>

#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace corvid::test {

constexpr uid_t kNobody = 65534;

// Starts the body, which returns whether all was well, in a child that is ended after `seconds`;
// the child's process id. Assertions in the body are not seen by the test; an exception is an
// answer of its own, 2.
template <class Body>
pid_t startChild(Body body, unsigned seconds = 30) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(seconds);
        int answer = 2;
        try {
            answer = body() ? 0 : 1;
        } catch (...) { // left to itself it would run the other tests in the child
        }
        ::_exit(answer);
    }
    return child;
}

// Waits for a child; whether its body answered true.
inline ::testing::AssertionResult endedWell(pid_t child) {
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child) {
        return ::testing::AssertionFailure() << "there is no child process";
    }
    if (WIFSIGNALED(status)) {
        return ::testing::AssertionFailure()
               << "the child was ended by signal " << WTERMSIG(status);
    }
    if (WEXITSTATUS(status) != 0) {
        return ::testing::AssertionFailure() << "the child answered " << WEXITSTATUS(status);
    }
    return ::testing::AssertionSuccess();
}

template <class Body>
::testing::AssertionResult holdsInChild(Body body, unsigned seconds = 30) {
    return endedWell(startChild(body, seconds));
}

// Gives up the rights of root, for which permissions do not count. For a child only.
inline bool becomeNobody() {
    return ::geteuid() != 0 ||
           (::setgroups(0, nullptr) == 0 && ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0);
}

// Lets a child that is nobody reach what is below the root and write to its log.
inline void letOthersIn(const ProductRoot& root) {
    ::chmod(root.path().c_str(), 0755);
    ::chmod(root.path("private/tmp").c_str(), 0777);
}

} // namespace corvid::test

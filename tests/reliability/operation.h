#pragma once

// The operations of the core library, each with what may be on the disk after it.

#include "tests/reliability/product_world.h"
#include "tests/support/failing_calls.h"

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace corvid::test {

// What an operation said of itself. Many say nothing.
enum class Answer { Failure, Success, None };

inline Answer answerOf(bool isDone) {
    return isDone ? Answer::Success : Answer::Failure;
}
inline Answer answerOf(int result) {
    EXPECT_TRUE(result == 0 || result == 1) << "no truth value: " << result;
    return answerOf(result == 1);
}

// After a run every path of the disk is as it was before, or as the operation leaves it when
// nothing goes wrong; when it reports success, all of them are the latter.
struct Operation {
    std::string name;
    std::function<Answer(ProductWorld&)> run = nullptr;
    // Changes the usual world, once.
    std::function<void(ProductWorld&)> arrange = nullptr;
    // Done before each run, while every call works: makes the objects to run on.
    std::function<void(ProductWorld&)> load = nullptr;
    // The operation once more, after a run that did not succeed, on the same objects; `run` itself
    // when empty.
    std::function<Answer(ProductWorld&)> again = nullptr;
    // More that has to hold after a run.
    std::function<void(const ProductWorld&, const Disk& before, const Disk& after)> check = nullptr;
    // A failure leaves everything as it was.
    bool isAllOrNothing = false;
    // A failure leaves the path with this end as it was.
    std::string keeps = {};
    // Texts that a file may have besides, because the operation is made of several steps.
    std::set<std::string> alsoRight = {};
    // Texts that a file may have when it, or another one, vanishes between two calls.
    std::set<std::string> ifVanished = {};
    // A second run after a failed one may leave more than one run does.
    bool addsUp = false;
    // A path below which a success may leave things as they were.
    std::string mayStay = {};
    // A kind of call that the operation itself makes fail.
    std::optional<Call> uses = std::nullopt;
};

// For messages of the test framework.
inline void PrintTo(Answer answer, std::ostream* out) {
    constexpr const char* kNames[] = {"failure", "success", "none"};
    *out << kNames[static_cast<int>(answer)];
}
inline void PrintTo(const Operation& operation, std::ostream* out) {
    *out << operation.name;
}

std::vector<Operation> settingsOperations();
std::vector<Operation> cacheOperations();
std::vector<Operation> queueOperations();

} // namespace corvid::test

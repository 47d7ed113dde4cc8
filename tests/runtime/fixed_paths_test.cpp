#include "runtime/fixed_paths.h"

#include "runtime/maro_log.h"
#include "tests/support/product_root.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

// The fixture's end unsets the variable, so no test leaves its value behind.
class FixedPathsTest : public corvid::test::ProductTest {
protected:
    static void setRoot(const char* value) {
        ::setenv("CORVIDPRO_ROOT", value, 1); // NOLINT(concurrency-mt-unsafe)
    }
    static void unsetRoot() {
        ::unsetenv("CORVIDPRO_ROOT"); // NOLINT(concurrency-mt-unsafe)
    }
    static std::string logFilePath() {
        char path[1024] = {};
        getLogFilePath(path, sizeof(path));
        return path;
    }
};

TEST_F(FixedPathsTest, NothingStandsBeforeTheFixedPathsWhenTheVariableIsUnset) {
    unsetRoot();
    EXPECT_STREQ(corvid::fixedPathPrefix(), "");
}

TEST_F(FixedPathsTest, AnEmptyVariableCountsAsUnset) {
    setRoot("");
    EXPECT_STREQ(corvid::fixedPathPrefix(), "");
}

TEST_F(FixedPathsTest, TheVariableIsTakenAsItStands) {
    setRoot("/some where/100%s");
    EXPECT_STREQ(corvid::fixedPathPrefix(), "/some where/100%s");
}

TEST_F(FixedPathsTest, TheVariableIsReadAtEveryCall) {
    setRoot("/first");
    EXPECT_STREQ(corvid::fixedPathPrefix(), "/first");
    setRoot("/second");
    EXPECT_STREQ(corvid::fixedPathPrefix(), "/second");
}

TEST_F(FixedPathsTest, TheLogLivesBelowPrivateTmpWithoutTheVariable) {
    unsetRoot();
    initializeAndDetermineMaroLogging("CorvidPro-cman.log", "/tmp");
    EXPECT_EQ(logFilePath(), "/private/tmp/CorvidPro-cman.log");
}

TEST_F(FixedPathsTest, TheLogLivesBelowTheRootWithTheVariable) {
    initializeAndDetermineMaroLogging("CorvidPro-cman.log", "/tmp");
    EXPECT_EQ(logFilePath(), root.path() + "/private/tmp/CorvidPro-cman.log");
}

} // namespace

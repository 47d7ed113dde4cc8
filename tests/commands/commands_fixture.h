#pragma once

// The command line on a few small caches, in a world of its own.

#include "tests/support/run_program.h"
#include "tests/support/small_cache.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace corvid::test {

class CommandsTest : public SmallCacheTest {
protected:
    CommandsTest() {
        main = addFeature(cache(), project(), "Main", "SPEC_PREVIEW");
        addFrame(main, 1, 1000, 1793547026);
        addFrame(main, 2, 2000, 1793547000);
        addFrame(addFeature(cache("Second"), "/Shots/b.aep", "Title", "PROXY"), 7, 500, 1793540000);
        registerRoot(cache());
        registerRoot(cache("Second") + "/");
    }
    static std::string project() { return "/Shots/a.aep"; }

    // Runs the program; every JSON document that it answers is compared with the schema.
    static ProgramRun corvidCache(std::vector<std::string> words) {
        words.insert(words.begin(), CORVID_CACHE_PROGRAM);
        ProgramRun run = runProgram(words);
        const bool isJson = std::find(words.begin(), words.end(), "--json") != words.end();
        if (isJson && run.status != 2) {
            expectSchema(run.out);
        }
        return run;
    }
    static void expectSchema(const std::string& document) {
        const std::string file =
            ::testing::TempDir() + "corvid-document-" + std::to_string(::getpid()) + ".json";
        writeFile(file, document);
        const ProgramRun check = runProgram({CORVID_CHECK_SCHEMA, file});
        EXPECT_EQ(check.status, 0) << check.out << check.err << document;
        removeTree(file);
    }

    std::string main; // the folder of the first feature
};

} // namespace corvid::test

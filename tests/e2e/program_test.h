#pragma once

// One test with the real program: a desktop, a folder for everything the program reads and writes,
// and a sample cache in it.

#include "tests/e2e/x_session.h"
#include "tools/sample_cache.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <string>
#include <vector>

namespace corvid::test {

class ProgramTest : public ::testing::Test {
protected:
    // The program gets a home, a locale and a root of its own.
    explicit ProgramTest(QSize screen = QSize(1400, 1000));

    // Makes a cache below the root; its `root` and, for the shape demo, nothing else is filled in
    // here.
    SampleCache makeCache(SampleOptions options = {});
    // Starts the program and waits for its main window to be filled.
    XWindow startProgram(const std::vector<std::string>& arguments = {});

    // What CORVIDPRO_ROOT says, without a "/" at the end.
    const std::string& root() const { return m_root; }
    std::string logFile() const { return m_root + "/private/tmp/CorvidPro-cman.log"; }
    // The text of a file; empty when it cannot be read.
    static std::string readFile(const std::string& path);

    // Starts a file manager for the program to talk to, and tells what it has been asked to show so
    // far, one URI per element.
    void startFileManager();
    std::vector<std::string> shownInFileManager() const;

    XSession session;

private:
    QTemporaryDir m_folder;
    std::string m_root;
};

} // namespace corvid::test

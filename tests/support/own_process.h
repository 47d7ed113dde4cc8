#pragma once

// For what a process can do only once: a disabled test of this very program, run in a process of
// its own.

#include "tests/support/controller_fixture.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QCoreApplication>
#include <QProcess>

namespace corvid::test {

// Starts this program again for the disabled tests that the filter names, in the present
// environment, and keeps the application's loop running until it ends; its standard output. What it
// wrote to standard error is stored in *errors, if given.
inline QByteArray runDisabledTest(const char* filter, QByteArray* errors = nullptr) {
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--gtest_also_run_disabled_tests"),
                 QStringLiteral("--gtest_filter=") + QString::fromLatin1(filter)});
    EXPECT_TRUE(waitFor([&child] { return child.state() == QProcess::NotRunning; }, 30000));
    EXPECT_EQ(child.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(child.exitCode(), 0);
    const QByteArray output = child.readAllStandardOutput();
    EXPECT_TRUE(output.contains("[  PASSED  ] 1 test.")) << output.constData();
    if (errors != nullptr) {
        *errors = child.readAllStandardError();
    }
    return output;
}

} // namespace corvid::test

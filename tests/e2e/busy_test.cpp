// What a busy window does with the user's keys and clicks.

#include "tests/e2e/x_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

namespace corvid::test {

namespace {

using ::testing::HasSubstr;

TEST(Busy, InputWaitsUntilTheWorkIsDone) {
    XSession session;
    const QTemporaryDir folder;
    const QString endFile = folder.filePath(QStringLiteral("end"));
    session.start(CORVID_BUSY_WINDOW, {endFile.toStdString()});
    const XWindow window = session.waitForWindow("Busy");

    session.type(window.id, "ab");
    session.click(window.id, QPoint(10, 10));
    // The window answers its display while it is busy, by which the input has reached it.
    session.waitUntilIdle(window.id);
    EXPECT_TRUE(QFile(endFile).open(QIODevice::WriteOnly));

    EXPECT_TRUE(waitFor([&session] {
        return session.output().find("idle: 3") != std::string::npos;
    })) << session.output();
    EXPECT_THAT(session.output(), HasSubstr("busy: 0\n"));
}

} // namespace

} // namespace corvid::test

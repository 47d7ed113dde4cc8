// What a busy window does with the user's keys and clicks.

#include "tests/e2e/x_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

namespace corvid::test {

namespace {

TEST(Busy, InputIsDroppedAndTheClosingIsNot) {
    XSession session;
    const QTemporaryDir folder;
    const QString endFile = folder.filePath(QStringLiteral("end"));
    session.start(CORVID_BUSY_WINDOW, {endFile.toStdString()});
    const XWindow window = session.waitForWindow("Busy");

    session.type(window.id, "ab");
    session.click(window.id, QPoint(10, 10));
    // The window answers its display while it is busy, by which the input has reached it.
    session.waitUntilIdle(window.id);
    session.close(window.id);
    EXPECT_TRUE(waitFor([&session] {
        return session.output().find("asked to close\n") != std::string::npos;
    })) << session.output();
    EXPECT_TRUE(QFile(endFile).open(QIODevice::WriteOnly));

    EXPECT_TRUE(waitFor([&session] {
        return session.output().find("busy: 0\n") != std::string::npos;
    })) << session.output();
    session.type(window.id, "c");
    EXPECT_TRUE(waitFor([&session] {
        return session.output().find("idle: 1\n") != std::string::npos;
    })) << session.output();
}

} // namespace

} // namespace corvid::test

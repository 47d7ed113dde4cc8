#include "MacCacheManager/ProgramEntry.h"

#include "MacCacheManager/AppController.h"
#include "runtime/maro_log.h"

#include <QApplication>

#include <cstring>
#include <iostream>
#include <system_error>

namespace corvid {

namespace {

constexpr char kLogName[] = "CorvidPro-cman.log";
constexpr char kLogDirectory[] = "/tmp";

bool isSame(const char* left, const char* right) {
    return std::strcmp(left, right) == 0;
}

// The argument chooses a directory, which the log does not use; what counts is that logging starts.
void startLogging(const char* argument) {
    if (isSame(argument, "0")) {
        initializeAndDetermineMaroLogging(kLogName, kLogDirectory);
        setLoggingEnabled(false);
    } else {
        initializeAndDetermineMaroLogging(kLogName,
                                          std::strlen(argument) > 2 ? argument : kLogDirectory);
        setLoggingEnabled(true);
    }
}

// Once, here: the log itself never speaks of its failures.
void sayIfLogCannotBeWritten() {
    if (const int reason = whyLogCannotBeWritten()) {
        char path[1024];
        getLogFilePath(path, sizeof(path));
        std::cerr << "Cache Manager: cannot write the log '" << path
                  << "': " << std::generic_category().message(reason) << '\n';
    }
}

} // namespace

void startSession(int argc, const char* const* argv) {
    bool wantsDevLogging = false;
    bool hasLogArgument = false;
    for (int i = 1; i < argc; ++i) {
        if (isSame(argv[i], "-lastModified")) {
            g_shouldJumpToLastModified = true;
        } else if (isSame(argv[i], "-devLogging")) {
            wantsDevLogging = true;
        } else if (!hasLogArgument) {
            hasLogArgument = true;
            startLogging(argv[i]);
        }
    }
    setLoggingEnabled(true); // also after "0", which only chooses a directory
    setDevLoggingEnabled(wantsDevLogging);
    maro_log("*** Cache Manager: new session started  ");
    maro_logDev("Dev logging enabled");
    if (hasLogArgument) {
        sayIfLogCannotBeWritten();
    }
}

int runProgram(int argc, char** argv) {
    startSession(argc, argv);
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Cache Manager"));
    AppController controller;
    controller.awakeFromNib();
    QMetaObject::invokeMethod(&controller, &AppController::applicationDidFinishLaunching,
                              Qt::QueuedConnection);
    return QApplication::exec();
}

} // namespace corvid

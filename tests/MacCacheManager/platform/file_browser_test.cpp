// Revealing a file, against a session bus of the test's own. A process keeps its session bus for
// good, so each reveal happens in a process of its own: this test program, started again for one of
// the disabled tests below.

#include "MacCacheManager/platform/file_browser.h"

#include "tests/support/own_process.h"
#include "tests/support/product_root.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <iostream>
#include <memory>

namespace {

using corvid::test::EnvironmentGuard;
using corvid::test::runDisabledTest;
using corvid::test::waitFor;
using corvid::test::writeFile;

constexpr char kPathVariable[] = "CORVID_TEST_REVEALED_PATH";

TEST(FileBrowserChild, DISABLED_RevealsThePathOfItsEnvironment) {
    bool hasFailed = false;
    const QObject context;
    const QByteArray path = qgetenv(kPathVariable);
    corvid::selectFileInBrowser(path.constData(), &context, [&hasFailed] { hasFailed = true; });
    EXPECT_FALSE(hasFailed) << "it returns before anything is known";
    waitFor([&hasFailed] { return hasFailed; }, 1000);
    std::cout << (hasFailed ? "failed\n" : "");
}

TEST(FileBrowserChild, DISABLED_TellsNobodyWhoIsGone) {
    bool hasFailed = false;
    auto context = std::make_unique<QObject>();
    corvid::selectFileInBrowser("/PROXY", context.get(), [&hasFailed] { hasFailed = true; });
    context = nullptr;
    EXPECT_FALSE(waitFor([&hasFailed] { return hasFailed; }, 1000));
}

// A file browser as far as it is asked here.
class FileManager : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    explicit FileManager(bool refuses) : m_refuses(refuses) {}
    QList<QStringList> shown;
    QStringList startupIds;

public slots:
    Q_SCRIPTABLE void ShowItems(const QStringList& uris, const QString& startupId) {
        shown << uris;
        startupIds << startupId;
        if (m_refuses) {
            sendErrorReply(QDBusError::Failed, QStringLiteral("no"));
        }
    }

private:
    bool m_refuses;
};

class FileBrowser : public ::testing::Test {
protected:
    ~FileBrowser() override {
        QDBusConnection::disconnectFromBus(QStringLiteral("file manager"));
        m_daemon.kill();
        m_daemon.waitForFinished();
    }
    QString address() const { return QStringLiteral("unix:path=") + m_folder.filePath("bus"); }
    void startBus() {
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--session"), QStringLiteral("--nofork"),
                        QStringLiteral("--nopidfile"), QStringLiteral("--print-address"),
                        QStringLiteral("--address=") + address()});
        ASSERT_TRUE(m_daemon.waitForStarted());
        ASSERT_TRUE(waitFor([this] { return m_daemon.bytesAvailable() > 0; }));
    }
    void startFileManager(FileManager& manager) {
        QDBusConnection bus =
            QDBusConnection::connectToBus(address(), QStringLiteral("file manager"));
        ASSERT_TRUE(bus.isConnected());
        ASSERT_TRUE(bus.registerObject(QStringLiteral("/org/freedesktop/FileManager1"), &manager,
                                       QDBusConnection::ExportScriptableSlots));
        ASSERT_TRUE(bus.registerService(QStringLiteral("org.freedesktop.FileManager1")));
    }
    // The desktop's command that opens a folder: it says what it opens and ends with this status.
    void offerOpener(int status) const {
        writeFile(opener().toStdString(),
                  "#!/bin/sh\necho \"opened $1\"\nexit " + std::to_string(status) + "\n");
        EXPECT_TRUE(QFile::setPermissions(opener(), QFile::ReadOwner | QFile::ExeOwner));
    }
    // What a process did that revealed this path: "opened ADDRESS", "failed".
    QStringList doneByRevealing(
        const char* path,
        const char* test = "FileBrowserChild.DISABLED_RevealsThePathOfItsEnvironment") const {
        const EnvironmentGuard bus("DBUS_SESSION_BUS_ADDRESS", address().toLatin1().constData());
        const EnvironmentGuard programs("PATH", m_folder.path().toLatin1().constData());
        const EnvironmentGuard revealed(kPathVariable, path);
        QStringList done;
        for (const QByteArray& line : runDisabledTest(test).split('\n')) {
            if (line.startsWith("opened ") || line == "failed") {
                done << QString::fromLatin1(line);
            }
        }
        return done;
    }

private:
    QString opener() const { return m_folder.filePath("xdg-open"); }

    QTemporaryDir m_folder;
    QProcess m_daemon;
};

TEST_F(FileBrowser, IsAskedToShowTheItem) {
    startBus();
    FileManager manager(false);
    startFileManager(manager);
    EXPECT_EQ(doneByRevealing("/Caches/My cache/PROXY"), QStringList());
    ASSERT_EQ(manager.shown.size(), 1);
    EXPECT_EQ(manager.shown[0], QStringList("file:///Caches/My%20cache/PROXY"));
    EXPECT_EQ(manager.startupIds, QStringList(""));
}

TEST_F(FileBrowser, GetsEveryByteOfAName) {
    startBus();
    FileManager manager(false);
    startFileManager(manager);
    doneByRevealing("/a%20b/#1?x=&y/\xC3\x96l/\xFF;");
    ASSERT_EQ(manager.shown.size(), 1);
    EXPECT_EQ(manager.shown[0], QStringList("file:///a%2520b/%231%3Fx%3D%26y/%C3%96l/%FF%3B"));
}

TEST_F(FileBrowser, WithoutOneTheFolderIsOpened) {
    startBus();
    offerOpener(0);
    EXPECT_EQ(doneByRevealing("/Caches/My cache/PROXY"),
              QStringList("opened file:///Caches/My%20cache"));
    EXPECT_EQ(doneByRevealing("/PROXY"), QStringList("opened file:///"));
}

TEST_F(FileBrowser, ThatRefusesLeavesTheFolderToBeOpened) {
    startBus();
    offerOpener(0);
    FileManager manager(true);
    startFileManager(manager);
    EXPECT_EQ(doneByRevealing("/Caches/PROXY"), QStringList("opened file:///Caches"));
    EXPECT_EQ(manager.shown.size(), 1);
}

TEST_F(FileBrowser, WithoutASessionBusTheFolderIsOpened) {
    offerOpener(0);
    EXPECT_EQ(doneByRevealing("/Caches/PROXY"), QStringList("opened file:///Caches"));
}

TEST_F(FileBrowser, WithoutAnythingThatOpensFoldersItFails) {
    EXPECT_EQ(doneByRevealing("/Caches/PROXY"), QStringList("failed"));
    startBus();
    EXPECT_EQ(doneByRevealing("/Caches/PROXY"), QStringList("failed"));
    EXPECT_EQ(doneByRevealing("", "FileBrowserChild.DISABLED_TellsNobodyWhoIsGone"), QStringList());
}

TEST_F(FileBrowser, ThatTheDesktopCannotStartFails) {
    constexpr int kNoApplication = 3;
    offerOpener(kNoApplication);
    EXPECT_EQ(doneByRevealing("/Caches/PROXY"), (QStringList{"opened file:///Caches", "failed"}));
}

} // namespace

#include "file_browser_test.moc"

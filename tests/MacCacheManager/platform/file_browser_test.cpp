// Revealing a file, against a session bus of the test's own. A process keeps its session bus for
// good, so each reveal happens in a process of its own: this test program, started again for the
// one disabled test below.

#include "MacCacheManager/platform/file_browser.h"

#include "tests/support/own_process.h"
#include "tests/support/product_root.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDesktopServices>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

#include <iostream>

namespace {

using corvid::test::EnvironmentGuard;
using corvid::test::runDisabledTest;
using corvid::test::waitFor;

constexpr char kPathVariable[] = "CORVID_TEST_REVEALED_PATH";

// What the desktop opens, in place of the desktop.
class UrlOpener : public QObject {
    Q_OBJECT

public slots:
    void open(const QUrl& url) { opened << QString::fromLatin1(url.toEncoded()); }

public:
    QStringList opened;
};

TEST(FileBrowserChild, DISABLED_RevealsThePathOfItsEnvironment) {
    UrlOpener opener;
    QDesktopServices::setUrlHandler(QStringLiteral("file"), &opener, "open");
    const QByteArray path = qgetenv(kPathVariable);
    corvid::selectFileInBrowser(path.constData());
    EXPECT_EQ(opener.opened.size(), 0) << "it returns before anything is known";
    waitFor([&opener] { return !opener.opened.isEmpty(); }, 1000);
    for (const QString& url : opener.opened) {
        std::cout << "opened " << url.toStdString() << "\n";
    }
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
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
    // What the desktop opened, one address per line, when a process revealed this path.
    QStringList openedByRevealing(const char* path) const {
        const EnvironmentGuard bus("DBUS_SESSION_BUS_ADDRESS", address().toLatin1().constData());
        const EnvironmentGuard revealed(kPathVariable, path);
        QStringList opened;
        for (const QByteArray& line : runDisabledTest("FileBrowserChild.*").split('\n')) {
            if (line.startsWith("opened ")) {
                opened << QString::fromLatin1(line.mid(7));
            }
        }
        return opened;
    }

private:
    QTemporaryDir m_folder;
    QProcess m_daemon;
};

TEST_F(FileBrowser, IsAskedToShowTheItem) {
    startBus();
    FileManager manager(false);
    startFileManager(manager);
    EXPECT_EQ(openedByRevealing("/Caches/My cache/PROXY"), QStringList());
    ASSERT_EQ(manager.shown.size(), 1);
    EXPECT_EQ(manager.shown[0], QStringList("file:///Caches/My%20cache/PROXY"));
    EXPECT_EQ(manager.startupIds, QStringList(""));
}

TEST_F(FileBrowser, GetsEveryByteOfAName) {
    startBus();
    FileManager manager(false);
    startFileManager(manager);
    openedByRevealing("/a%20b/#1?x=&y/\xC3\x96l/\xFF;");
    ASSERT_EQ(manager.shown.size(), 1);
    EXPECT_EQ(manager.shown[0], QStringList("file:///a%2520b/%231%3Fx%3D%26y/%C3%96l/%FF%3B"));
}

TEST_F(FileBrowser, WithoutOneTheFolderIsOpened) {
    startBus();
    EXPECT_EQ(openedByRevealing("/Caches/My cache/PROXY"),
              QStringList("file:///Caches/My%20cache"));
    EXPECT_EQ(openedByRevealing("/PROXY"), QStringList("file:///"));
}

TEST_F(FileBrowser, ThatRefusesLeavesTheFolderToBeOpened) {
    startBus();
    FileManager manager(true);
    startFileManager(manager);
    EXPECT_EQ(openedByRevealing("/Caches/PROXY"), QStringList("file:///Caches"));
    EXPECT_EQ(manager.shown.size(), 1);
}

TEST_F(FileBrowser, WithoutASessionBusTheFolderIsOpened) {
    EXPECT_EQ(openedByRevealing("/Caches/PROXY"), QStringList("file:///Caches"));
}

} // namespace

#include "file_browser_test.moc"

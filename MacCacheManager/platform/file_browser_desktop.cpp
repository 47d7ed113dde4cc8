#include "MacCacheManager/platform/file_browser.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QPointer>
#include <QProcess>
#include <QTimer>

namespace corvid {

namespace {

// Names are bytes: they are put into the address byte by byte, whatever their encoding.
QString fileAddress(const QByteArray& path) {
    return QStringLiteral("file://") + QString::fromLatin1(path.toPercentEncoding("/"));
}

QByteArray folderOf(const QByteArray& path) {
    const auto slash = path.lastIndexOf('/');
    return slash > 0 ? path.left(slash) : QByteArrayLiteral("/");
}

// Some openers stay until the folder is closed again and must not end with this program, so the
// process is given up only when it has ended.
void openFolderOf(const QByteArray& file, const std::function<void()>& failed) {
    auto* opener = new QProcess;
    opener->setProcessChannelMode(QProcess::ForwardedChannels);
    opener->setStandardInputFile(QProcess::nullDevice());
    QObject::connect(opener, &QProcess::errorOccurred, opener,
                     [opener, failed](QProcess::ProcessError error) {
                         if (error == QProcess::FailedToStart) {
                             failed();
                             opener->deleteLater();
                         }
                     });
    QObject::connect(opener, &QProcess::finished, opener, [opener, failed](int status) {
        if (status != 0 || opener->exitStatus() != QProcess::NormalExit) {
            failed();
        }
        opener->deleteLater();
    });
    opener->start(QStringLiteral("xdg-open"), {fileAddress(folderOf(file))});
}

} // namespace

void selectFileInBrowser(const char* path, const QObject* context, std::function<void()> failed) {
    const QByteArray file(path);
    const auto tell = [context = QPointer<const QObject>(context), failed = std::move(failed)] {
        if (context != nullptr) {
            failed();
        }
    };
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        QTimer::singleShot(0, [file, tell] { openFolderOf(file, tell); }); // like an answer, later
        return;
    }
    QDBusMessage request = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    request << QStringList{fileAddress(file)} << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(request));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, file, tell] {
        if (watcher->isError()) {
            openFolderOf(file, tell);
        }
        watcher->deleteLater();
    });
}

} // namespace corvid

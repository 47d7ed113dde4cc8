#include "MacCacheManager/platform/file_browser.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QTimer>
#include <QUrl>

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

void openFolderOf(const QByteArray& file) {
    QDesktopServices::openUrl(QUrl(fileAddress(folderOf(file)), QUrl::StrictMode));
}

} // namespace

void selectFileInBrowser(const char* path) {
    const QByteArray file(path);
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        QTimer::singleShot(0, [file] { openFolderOf(file); }); // like the answer of a bus, later
        return;
    }
    QDBusMessage request = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    request << QStringList{fileAddress(file)} << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(request));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, file] {
        if (watcher->isError()) {
            openFolderOf(file);
        }
        watcher->deleteLater();
    });
}

} // namespace corvid

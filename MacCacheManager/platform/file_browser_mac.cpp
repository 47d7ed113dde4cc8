#include "MacCacheManager/platform/file_browser.h"

#include <QFile>
#include <QProcess>
#include <QTimer>

namespace corvid {

void selectFileInBrowser(const char* path, const QObject* context, std::function<void()> failed) {
    const bool isStarted = QProcess::startDetached(
        QStringLiteral("/usr/bin/open"),
        {QStringLiteral("-R"), QStringLiteral("--"), QFile::decodeName(path)});
    if (!isStarted) {
        QTimer::singleShot(0, context, std::move(failed));
    }
}

} // namespace corvid

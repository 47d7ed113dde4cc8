#include "MacCacheManager/platform/file_browser.h"

#include <QFile>
#include <QProcess>

namespace corvid {

void selectFileInBrowser(const char* path) {
    QProcess::startDetached(QStringLiteral("/usr/bin/open"),
                            {QStringLiteral("-R"), QStringLiteral("--"), QFile::decodeName(path)});
}

} // namespace corvid

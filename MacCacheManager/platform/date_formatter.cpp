#include "MacCacheManager/platform/date_formatter.h"

#include <QDateTime>
#include <QLocale>

namespace corvid {

QString shortDateTime(qint64 seconds) {
    return QLocale::system().toString(QDateTime::fromSecsSinceEpoch(seconds), QLocale::ShortFormat);
}

} // namespace corvid

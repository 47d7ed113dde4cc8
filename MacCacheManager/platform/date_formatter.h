#pragma once

#include <QString>

namespace corvid {

// A time (seconds since 1970, UTC) as the user's locale writes it in local time, date and time both
// short.
QString shortDateTime(qint64 seconds);

} // namespace corvid

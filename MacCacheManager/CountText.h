#pragma once

#include <QCoreApplication>
#include <QLocale>
#include <QString>

#include <cstdint>

namespace corvid {

// A number with what it counts: the first text for one, else the second, with the number in the
// user's way of writing it in place of "%1".
inline QString countText(std::uint64_t count, const QString& one, const QString& several) {
    return (count == 1 ? one : several).arg(QLocale::system().toString(qulonglong{count}));
}

inline QString filesText(std::uint64_t count) {
    return countText(count, QCoreApplication::translate("corvid", "%1 file"),
                     QCoreApplication::translate("corvid", "%1 files"));
}

} // namespace corvid

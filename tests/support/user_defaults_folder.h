#pragma once

#include <gtest/gtest.h>

#include <QSettings>
#include <QTemporaryDir>
#include <QVariant>

// User defaults of their own for every test, empty at its start.
class UserDefaultsFolder : public ::testing::Test {
protected:
    UserDefaultsFolder() {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_folder.path());
    }

    static void setBrightness(const QVariant& value) {
        QSettings settings(QStringLiteral("Fernwick Software"), QStringLiteral("Cache Manager"));
        settings.setValue(QStringLiteral("brightness"), value);
    }

    QString folder() const { return m_folder.path(); }

private:
    QTemporaryDir m_folder;
};

#include "tests/support/dialog_user.h"

#include "MacCacheManager/platform/alert.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>

#include <utility>

namespace corvid::test {

namespace {

constexpr int kInterval = 2; // milliseconds

void describeButtons(const QDialog& dialog, ShownDialog& shown) {
    for (const auto* box : dialog.findChildren<QDialogButtonBox*>()) {
        for (const auto* button : box->buttons()) {
            shown.buttons.push_back(button->text().toStdString());
            const auto* push = qobject_cast<const QPushButton*>(button);
            if (push != nullptr && push->isDefault()) {
                shown.defaultButton = push->text().toStdString();
            }
        }
    }
}

ShownDialog describe(const QDialog& dialog) {
    ShownDialog shown;
    if (qobject_cast<const AlertPanel*>(&dialog) != nullptr) {
        shown.title = dialog.findChild<QLabel*>()->text().toStdString();
        shown.message = dialog.findChild<QTextEdit*>()->toPlainText().toStdString();
    } else if (const auto* chooser = qobject_cast<const QFileDialog*>(&dialog)) {
        shown.title = chooser->windowTitle().toStdString();
        shown.message = chooser->directory().absolutePath().toStdString();
    }
    describeButtons(dialog, shown);
    for (const auto* label : dialog.findChildren<QLabel*>()) {
        shown.isPlain =
            shown.isPlain && (label->text().isEmpty() || label->textFormat() == Qt::PlainText);
    }
    return shown;
}

void enterFolder(QFileDialog& chooser, const QString& path) {
    auto* name = chooser.findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    if (path.contains(QLatin1Char('"'))) { // to the chooser quotes part several names
        chooser.setDirectory(chooser.directory().absoluteFilePath(path));
        name->clear();
    } else {
        name->setText(path);
    }
}

} // namespace

DialogUser::DialogUser() {
    QObject::connect(&m_timer, &QTimer::timeout, [this] { look(); });
    m_timer.start(kInterval);
}

void DialogUser::willClick(const std::string& button) {
    will([button](QDialog& dialog) { click(dialog, button); });
}

void DialogUser::willPressEscape() {
    will([](QDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); });
}

void DialogUser::willChoose(const std::string& folder, const std::string& button) {
    will([path = QString::fromStdString(folder), button](QDialog& dialog) {
        auto& chooser = dynamic_cast<QFileDialog&>(dialog);
        const QString whole = chooser.directory().absoluteFilePath(path);
        enterFolder(chooser, path);
        if (chooser.selectedFiles() != QStringList{whole}) {
            ADD_FAILURE() << "the chooser reads "
                          << chooser.selectedFiles().join(QLatin1Char(' ')).toStdString();
            dialog.reject();
            return;
        }
        click(dialog, button);
    });
}

void DialogUser::click(QDialog& dialog, const std::string& text) {
    for (auto* button : dialog.findChildren<QPushButton*>()) {
        if (button->text().toStdString() == text && button->isVisible()) {
            QTest::mouseClick(button, Qt::LeftButton);
            return;
        }
    }
    ADD_FAILURE() << "no button '" << text << "'";
    dialog.reject();
}

void DialogUser::look() {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    const bool isQuestion = qobject_cast<AlertPanel*>(dialog) != nullptr ||
                            qobject_cast<QFileDialog*>(dialog) != nullptr;
    if (!isQuestion || !dialog->isVisible() || dialog == m_last) {
        return;
    }
    m_last = dialog;
    m_seen.push_back(describe(*dialog));
    if (m_answers.empty()) {
        ADD_FAILURE() << "unexpected dialog '" << m_seen.back().title << "'";
        dialog->reject();
        return;
    }
    const auto answer = std::move(m_answers.front());
    m_answers.pop_front();
    answer(*dialog);
}

} // namespace corvid::test

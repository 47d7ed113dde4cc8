#include "MacCacheManager/platform/alert.h"

#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

namespace corvid {

AlertAnswer runAlertPanel(QWidget* window, const QString& title, const QString& message,
                          const QString& defaultButton, const QString& alternateButton) {
    QMessageBox alert(QMessageBox::Warning, QStringLiteral("Cache Manager"), title,
                      QMessageBox::NoButton, window);
    alert.setWindowModality(Qt::WindowModal);
    alert.setTextFormat(Qt::PlainText);
    alert.setInformativeText(message);
    for (QLabel* label : alert.findChildren<QLabel*>()) {
        label->setTextFormat(Qt::PlainText);
    }
    QPushButton* accept = alert.addButton(defaultButton, QMessageBox::AcceptRole);
    alert.setDefaultButton(accept);
    QPushButton* escape = alternateButton.isEmpty()
                              ? accept
                              : alert.addButton(alternateButton, QMessageBox::RejectRole);
    alert.setEscapeButton(escape);
    alert.exec();
    return alert.clickedButton() == accept ? AlertAnswer::Default : AlertAnswer::Alternate;
}

QString alertFormat(const QString& format) {
    QString text = format;
    return text.replace(QStringLiteral("%%"), QStringLiteral("%"));
}

} // namespace corvid

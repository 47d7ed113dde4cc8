#pragma once

#include <QDialog>
#include <QString>

class QLabel;

namespace corvid {

class MessageView;

enum class AlertAnswer { Default, Alternate };

// How the message is shown at first: as it is, or marked, ready to be copied.
enum class AlertMessage { Plain, Marked };

// A modal alert on a window. One that asks bears the mark of a warning; one with a single button
// informs and bears that mark. Title and message are shown as they are, never read as markup; the
// message can be marked and copied, with the mouse, the keyboard and its context menu.
class AlertPanel : public QDialog {
    Q_OBJECT

public:
    // An empty alternate button: there is only the default one.
    AlertPanel(QWidget* window, const QString& title, const QString& message,
               const QString& defaultButton, const QString& alternateButton);

    void markMessage();
    // Shows it and waits. Escape and closing the alert answer with the alternate button, or with
    // the only one.
    AlertAnswer run();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void layOut(QWidget* mark, QLabel* title, QWidget* buttons);

    MessageView* m_message;
    bool m_hasAlternate;
};

// Makes and runs an alert.
AlertAnswer runAlertPanel(QWidget* window, const QString& title, const QString& message,
                          const QString& defaultButton, const QString& alternateButton = QString(),
                          AlertMessage shown = AlertMessage::Plain);

// A message made from a format in which "%%" stands for "%" and everything else for itself, so that
// a name with a "%" in it reads as it is.
QString alertFormat(const QString& format);

} // namespace corvid

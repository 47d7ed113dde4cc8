#pragma once

#include <QString>

class QWidget;

namespace corvid {

enum class AlertAnswer { Default, Alternate };

// Shows a modal alert on a window and waits for the answer. Title and message are shown as they
// are, never read as markup. Escape and closing the alert answer with the alternate button, or with
// the only one.
AlertAnswer runAlertPanel(QWidget* window, const QString& title, const QString& message,
                          const QString& defaultButton, const QString& alternateButton = QString());

// A message made from a format in which "%%" stands for "%" and everything else for itself, so that
// a name with a "%" in it reads as it is.
QString alertFormat(const QString& format);

} // namespace corvid

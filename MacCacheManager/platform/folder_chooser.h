#pragma once

#include <QString>

#include <optional>

class QWidget;

namespace corvid {

// Lets the user choose one folder, or create one, beginning at `startFolder`; links are resolved.
// Nothing when the user cancels. Waits for the answer.
std::optional<QString> chooseFolder(QWidget* window, const QString& title, const QString& prompt,
                                    const QString& startFolder);

} // namespace corvid

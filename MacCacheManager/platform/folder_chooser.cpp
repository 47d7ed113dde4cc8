#include "MacCacheManager/platform/folder_chooser.h"

#include "MacCacheManager/CorvidPanel.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QScreen>

namespace corvid {

std::optional<QString> chooseFolder(QWidget* window, const QString& title, const QString& prompt,
                                    const QString& startFolder) {
    QFileDialog chooser(window, title, startFolder);
    chooser.setFileMode(QFileDialog::Directory);
    chooser.setOption(QFileDialog::ShowDirsOnly);
    chooser.setLabelText(QFileDialog::Accept, prompt);
    chooser.adjustSize();
    const QRect room = chooser.screen()->availableGeometry().marginsRemoved(kWidestFrame);
    chooser.resize(chooser.size().boundedTo(room.size()));
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty()) {
        return std::nullopt;
    }
    // While a typed name is still being completed, the folder above it stands before it.
    const QString chosen = chooser.selectedFiles().constLast();
    const QString resolved = QFileInfo(chosen).canonicalFilePath();
    return resolved.isEmpty() ? chosen : resolved;
}

} // namespace corvid

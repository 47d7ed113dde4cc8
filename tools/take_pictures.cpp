// take_pictures FOLDER SUFFIX: saves pictures of the real window, without a screen, in every state
// that the documents show: empty, filled, with a selection, with the settings open. CORVIDPRO_ROOT
// names the cache; the pixel density and the brightness are the environment's and the user
// default's, as always.

#include "MacCacheManager/AppController.h"
#include "MacCacheManager/CorvidPanel.h"

#include <QApplication>
#include <QDialog>
#include <QPainter>
#include <QTemporaryDir>

#include <cstdlib>
#include <iostream>

namespace {

class Photographer {
public:
    Photographer(QString folder, QString suffix)
        : m_folder(std::move(folder)), m_suffix(std::move(suffix)) {}

    bool save(const QPixmap& picture, const char* state) const {
        const QString file = m_folder + QStringLiteral("/window-") + QLatin1String(state) +
                             m_suffix + QStringLiteral(".png");
        std::cout << file.toStdString() << '\n';
        return picture.save(file, "PNG");
    }

private:
    QString m_folder;
    QString m_suffix;
};

QPixmap pictureOf(QWidget* window) {
    QCoreApplication::processEvents();
    return window->grab();
}

// The sheet hangs from the window's toolbar, as it does on the screen.
QPixmap pictureWithSheet(QWidget* window, QDialog* sheet) {
    QPixmap picture = pictureOf(window);
    QPainter painter(&picture);
    QColor veil(Qt::black);
    veil.setAlphaF(0.35F);
    painter.fillRect(window->rect(), veil);
    const QPixmap settings = pictureOf(sheet);
    const QSizeF size = settings.deviceIndependentSize();
    painter.drawPixmap(
        QPointF((window->width() - size.width()) / 2, (window->height() - size.height()) / 2),
        settings);
    return picture;
}

bool takeFilled(const Photographer& photographer) {
    AppController controller;
    controller.awakeFromNib();
    controller.applicationDidFinishLaunching();
    QWidget* window = controller.getWindow();
    bool isSaved = photographer.save(pictureOf(window), "filled");
    controller.expandAll();
    auto* outline = window->findChild<CacheOutlineView*>();
    for (const int row : {1, 6, 7}) {
        outline->selectRow(row, row != 1);
    }
    isSaved = photographer.save(pictureOf(window), "selected") && isSaved;
    controller.displaySettingsSheet();
    auto* sheet = window->findChild<QDialog*>(QStringLiteral("m_sheetSettings"));
    return photographer.save(pictureWithSheet(window, sheet), "settings") && isSaved;
}

bool takeEmpty(const Photographer& photographer) {
    const QTemporaryDir nothing;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread is there yet
    ::setenv("CORVIDPRO_ROOT", nothing.path().toLocal8Bit().constData(), 1);
    AppController controller;
    controller.awakeFromNib();
    controller.applicationDidFinishLaunching();
    return photographer.save(pictureOf(controller.getWindow()), "empty");
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    const QStringList words = QCoreApplication::arguments();
    if (words.size() != 3) {
        std::cerr << "usage: take_pictures FOLDER SUFFIX\n";
        return 1;
    }
    const Photographer photographer(words[1], words[2]);
    return takeFilled(photographer) && takeEmpty(photographer) ? 0 : 1;
}

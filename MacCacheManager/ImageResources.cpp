#include "MacCacheManager/ImageResources.h"

#include <QCoreApplication>
#include <QFile>
#include <QHash>
#include <QPainter>
#include <QPixmap>

// Images that are linked from a library have to be registered by name, outside of any namespace.
static void registerImages() {
    Q_INIT_RESOURCE(images);
}

namespace {

QString pathOf(const QString& name, const char* suffix) {
    return QStringLiteral(":/images/%1%2.png").arg(name, QLatin1String(suffix));
}

// Kept, because loading one decodes three files; pixmaps must not outlive the application.
QHash<QString, QIcon>& loadedImages() {
    static QHash<QString, QIcon> images;
    if (images.isEmpty()) {
        qAddPostRoutine([] { loadedImages().clear(); });
    }
    return images;
}

QPixmap rendition(const QPainter& painter, const QIcon& image) {
    return image.pixmap(corvid::imageSize(image), painter.device()->devicePixelRatioF());
}

} // namespace

namespace corvid {

QIcon imageNamed(const QString& name) {
    QHash<QString, QIcon>& loaded = loadedImages();
    const auto known = loaded.constFind(name);
    if (known != loaded.constEnd()) {
        return *known;
    }
    registerImages();
    QIcon image;
    for (const char* suffix : {"", "@2x", "@3x"}) {
        const QString path = pathOf(name, suffix);
        if (QFile::exists(path)) {
            image.addFile(path);
        }
    }
    loaded.insert(name, image);
    return image;
}

// No larger ones: adding a file decodes it, and a large one takes as long as the rest of the
// window.
QIcon programIcon() {
    registerImages();
    QIcon icon;
    for (const char* size : {"16", "24", "32", "48", "64", "128"}) {
        icon.addFile(pathOf(QStringLiteral("cachemanager_"), size));
    }
    return icon;
}

QSize imageSize(const QIcon& image) {
    QSize smallest;
    for (const QSize& size : image.availableSizes()) {
        smallest = smallest.isEmpty() ? size : smallest.boundedTo(size);
    }
    return smallest.isEmpty() ? QSize(0, 0) : smallest;
}

void drawImage(QPainter* painter, const QPointF& topLeft, const QIcon& image) {
    if (image.isNull()) {
        return;
    }
    painter->drawPixmap(topLeft, rendition(*painter, image));
}

void drawShape(QPainter* painter, const QPointF& topLeft, const QIcon& shape, const QColor& color) {
    if (shape.isNull()) {
        return;
    }
    QPixmap tinted = rendition(*painter, shape);
    QPainter tint(&tinted);
    tint.setCompositionMode(QPainter::CompositionMode_SourceIn);
    tint.fillRect(QRectF(QPointF(0, 0), tinted.deviceIndependentSize()), color);
    tint.end();
    painter->drawPixmap(topLeft, tinted);
}

} // namespace corvid

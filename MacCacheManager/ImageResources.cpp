#include "MacCacheManager/ImageResources.h"

#include <QCoreApplication>
#include <QDir>
#include <QHash>
#include <QImage>
#include <QPainter>
#include <QPixmap>

#include <future>
#include <initializer_list>

// Images that are linked from a library have to be registered by name, outside of any namespace.
static void registerImages() {
    Q_INIT_RESOURCE(images);
}

namespace {

using Renditions = QHash<QString, QImage>; // by file name

Renditions decodedImages() {
    const QDir folder(QStringLiteral(":/images"));
    Renditions images;
    for (const QString& name : folder.entryList()) {
        images.insert(name, QImage(folder.filePath(name)));
    }
    return images;
}

// Decodes on another thread, or in get() where there can be none. Qt loads all of its image
// plug-ins before it decodes the first file; with the decoding that is a tenth of a start.
std::future<Renditions>& decoding() {
    static std::future<Renditions> images = [] {
        registerImages();
        return std::async(decodedImages);
    }();
    return images;
}

const Renditions& renditions() {
    static const Renditions images = decoding().get();
    return images;
}

// Kept, because each icon holds its own pixmaps; these must not outlive the application.
QHash<QString, QIcon>& knownImages() {
    static QHash<QString, QIcon> images;
    if (images.isEmpty()) {
        qAddPostRoutine([] { knownImages().clear(); });
    }
    return images;
}

// The image that is called so, made of the files whose names end in the given ways.
QIcon imageWithRenditions(const QString& name, std::initializer_list<const char*> suffixes) {
    QHash<QString, QIcon>& known = knownImages();
    const auto found = known.constFind(name);
    if (found != known.constEnd()) {
        return *found;
    }
    QIcon image;
    for (const char* suffix : suffixes) {
        image.addPixmap(QPixmap::fromImage(
            renditions().value(QStringLiteral("%1%2.png").arg(name, QLatin1String(suffix)))));
    }
    known.insert(name, image);
    return image;
}

QPixmap rendition(const QPainter& painter, const QIcon& image) {
    return image.pixmap(corvid::imageSize(image), painter.device()->devicePixelRatioF());
}

} // namespace

namespace corvid {

void startDecodingImages() {
    static_cast<void>(decoding());
}

QIcon imageNamed(const QString& name) {
    return imageWithRenditions(name, {"", "@2x", "@3x"});
}

QIcon programIcon() {
    return imageWithRenditions(QStringLiteral("cachemanager"),
                               {"_16", "_24", "_32", "_48", "_64", "_128"});
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

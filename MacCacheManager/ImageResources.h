#pragma once

#include <QIcon>
#include <QString>

class QPainter;

namespace corvid {

// Begins to decode the program's images on another thread, so that they are there when the window
// has its fonts and asks for them; without it, they are decoded when the first is asked for. Wants
// an application.
void startDecodingImages();

// An image of the program by its name without type, with its renditions for every pixel density; a
// null icon when there is none.
QIcon imageNamed(const QString& name);

// The program's icon in all its sizes.
QIcon programIcon();

// The image's size in logical pixels; empty for a null icon.
QSize imageSize(const QIcon& image);

// Composites the image over what is there, sharp at the painter's pixel density, its upper left
// corner at `topLeft`. A null icon draws nothing.
void drawImage(QPainter* painter, const QPointF& topLeft, const QIcon& image);

// The same with every visible pixel in the given colour, for images that are only a shape.
void drawShape(QPainter* painter, const QPointF& topLeft, const QIcon& shape, const QColor& color);

} // namespace corvid

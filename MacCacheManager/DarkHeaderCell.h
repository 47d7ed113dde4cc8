#pragma once

#include <QFont>
#include <QString>

class QPainter;
class QRectF;

// One cell of the outline's header: a gradient with a light inner and a dark outer edge, and a
// title.
class DarkHeaderCell {
public:
    explicit DarkHeaderCell(QString title = QString());

    // Draws the cell into the frame and nothing outside it; a title that is too long ends in an
    // ellipsis.
    void drawWithFrame(QPainter* painter, const QRectF& frame) const;

    static QFont titleFont();

private:
    QString m_strTitle;
};

#pragma once

#include <QFont>
#include <QString>

class QPainter;
class QRectF;

// One cell of the outline's header: a gradient with a light inner and a dark outer edge, and a
// title.
class DarkHeaderCell {
public:
    // How much the cell stands out: while the mouse is over it, while it has the keyboard.
    enum class Emphasis { None, Hovered, Focused };

    explicit DarkHeaderCell(QString title = QString(), Emphasis emphasis = Emphasis::None);

    // Draws the cell into the frame and nothing outside it; a title that is too long ends in an
    // ellipsis.
    void drawWithFrame(QPainter* painter, const QRectF& frame) const;

    static QFont titleFont();

private:
    QString m_strTitle;
    Emphasis m_emphasis;
};

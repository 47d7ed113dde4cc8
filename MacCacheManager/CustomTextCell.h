#pragma once

#include <QStyledItemDelegate>

// Draws an item's text in the scheme's colour on one line, an ellipsis in the place of its middle
// when it is too long. Selection is the outline's to draw, so the cell draws no background.
class CustomTextCell : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

    // The same for a text of one's own, with the painter's font.
    static void drawWithFrame(QPainter* painter, const QRectF& frame, const QString& text,
                              Qt::Alignment alignment = Qt::AlignLeft | Qt::AlignVCenter);
};

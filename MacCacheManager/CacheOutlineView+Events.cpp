#include "MacCacheManager/CacheOutlineView.h"
#include "MacCacheManager/ImageResources.h"
#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/ViewGeometry.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>

namespace {

constexpr int kIndentation = 16;
constexpr int kTriangleMargin = 4;
constexpr int kTriangleWidth = 16;

// How strongly the row under the mouse takes the selection's colour.
constexpr float kHoverStrength = 0.35F;
// How strongly the current row, while it is not selected, is framed in the text's colour.
constexpr float kFocusStrength = 0.4F;

} // namespace

QRect CacheOutlineView::disclosureRect(const QRect& cell, int depth) {
    return {cell.left() + kTriangleMargin + depth * kIndentation, cell.top(), kTriangleWidth,
            cell.height()};
}

void CacheOutlineView::drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                               const QModelIndex& index) const {
    const UISettings& colors = *UISettings::instance();
    const bool isSelected = isRowSelected(index.row());
    const QRect row(0, option.rect.top(), viewport()->width(), option.rect.height());
    if (isSelected) {
        painter->fillRect(corvid::selectedRowRectangle(row), colors.getClrOutlineViewHighlight());
    } else if (viewport()->underMouse() &&
               row.contains(viewport()->mapFromGlobal(QCursor::pos()))) {
        QColor hover = colors.getClrOutlineViewHighlight();
        hover.setAlphaF(kHoverStrength);
        painter->fillRect(corvid::selectedRowRectangle(row), hover);
    }
    QStyleOptionViewItem plain = option;
    plain.state &= ~(QStyle::State_Selected | QStyle::State_HasFocus | QStyle::State_MouseOver);
    for (int column = 0; column < corvid::kOutlineColumns; ++column) {
        const QModelIndex cell = index.siblingAtColumn(column);
        plain.rect = QRect(columnViewportPosition(column), option.rect.top(), columnWidth(column),
                           option.rect.height());
        itemDelegate()->paint(painter, plain, cell);
    }
    drawDisclosure(
        painter,
        QRect(columnViewportPosition(0), option.rect.top(), columnWidth(0), option.rect.height()),
        index);
    if (hasFocus() && !isSelected && currentIndex().row() == index.row()) {
        QColor frame = colors.getClrTextOutlineView();
        frame.setAlphaF(kFocusStrength);
        painter->setPen(frame);
        painter->drawRect(row.adjusted(0, 1, -1, -1));
    }
}

void CacheOutlineView::drawBranches(QPainter* /*painter*/, const QRect& /*rect*/,
                                    const QModelIndex& /*index*/) const {
    // The triangles belong to the first column's cells.
}

void CacheOutlineView::drawDisclosure(QPainter* painter, const QRect& cell,
                                      const QModelIndex& index) const {
    if (!index.data(corvid::ExpandableRole).toBool()) {
        return;
    }
    if (m_willDisplay) {
        m_willDisplay(m_disclosure);
    }
    const bool isExpanded = index.data(corvid::ExpandedRole).toBool();
    const QRect triangle = disclosureRect(cell, index.data(corvid::DepthRole).toInt());
    const QIcon& image = isExpanded ? m_disclosure.alternateImage : m_disclosure.image;
    painter->save();
    painter->setClipRect(cell, Qt::IntersectClip);
    if (image.isNull()) {
        QStyleOption branch;
        branch.initFrom(this);
        branch.rect = triangle;
        branch.state = QStyle::State_Children |
                       (isExpanded ? QStyle::State_Open : QStyle::State_None) |
                       QStyle::State_Enabled;
        style()->drawPrimitive(QStyle::PE_IndicatorBranch, &branch, painter, this);
    } else {
        const QSize size = corvid::imageSize(image);
        const QPoint corner = triangle.center() - QPoint(size.width() / 2, size.height() / 2 - 1);
        corvid::drawImage(painter, corner, image);
    }
    painter->restore();
}

void CacheOutlineView::paintEvent(QPaintEvent* event) {
    QTreeView::paintEvent(event);
    if (m_placeholder.isEmpty() || m_model == nullptr || m_model->rowCount() > 0) {
        return;
    }
    QPainter painter(viewport());
    painter.setPen(UISettings::instance()->getClrTextOutlineView());
    constexpr int kMargin = 40;
    painter.drawText(viewport()->rect().adjusted(kMargin, kMargin, -kMargin, -kMargin),
                     Qt::AlignCenter | Qt::TextWordWrap, m_placeholder);
}

FrameCacheEntry* CacheOutlineView::itemOfTriangleAt(const QPoint& position) const {
    const QModelIndex cell = indexAt(position);
    if (!cell.isValid() || cell.column() != 0 || !cell.data(corvid::ExpandableRole).toBool()) {
        return nullptr;
    }
    const QRect triangle = disclosureRect(visualRect(cell), cell.data(corvid::DepthRole).toInt());
    return triangle.contains(position) ? m_model->itemAtRow(cell.row()) : nullptr;
}

void CacheOutlineView::toggle(FrameCacheEntry* item, bool withChildren) {
    if (m_model->isItemExpanded(item)) {
        collapseItem(item, withChildren);
    } else {
        expandItem(item, withChildren);
    }
}

void CacheOutlineView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->accept(); // a right-click offers the menu for what is selected already
        return;
    }
    if (FrameCacheEntry* item = itemOfTriangleAt(event->pos())) {
        toggle(item, event->modifiers().testFlag(Qt::AltModifier));
        event->accept();
        return;
    }
    QTreeView::mousePressEvent(event);
}

void CacheOutlineView::mouseMoveEvent(QMouseEvent* event) {
    QTreeView::mouseMoveEvent(event);
    viewport()->update(); // the row under the mouse is marked
}

void CacheOutlineView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && itemOfTriangleAt(event->pos()) == nullptr) {
        QTreeView::mouseReleaseEvent(event);
    } else {
        setState(NoState);
        event->accept();
    }
}

void CacheOutlineView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->accept();
        return;
    }
    FrameCacheEntry* item = itemOfTriangleAt(event->pos());
    if (item == nullptr) {
        item = m_model->itemAtRow(indexAt(event->pos()).row());
    }
    if (item != nullptr) {
        toggle(item, event->modifiers().testFlag(Qt::AltModifier));
    }
    event->accept();
}

bool CacheOutlineView::stepIntoOrOpen(int row, bool withChildren) {
    FrameCacheEntry* item = m_model->itemAtRow(row);
    if (item == nullptr || item->getNumberOfChildren() == 0) {
        return false;
    }
    if (!m_model->isItemExpanded(item) || withChildren) {
        expandItem(item, withChildren);
    } else {
        selectRow(row + 1, false);
    }
    return true;
}

bool CacheOutlineView::stepOutOrClose(int row, bool withChildren) {
    FrameCacheEntry* item = m_model->itemAtRow(row);
    if (item == nullptr) {
        return false;
    }
    if (m_model->isItemExpanded(item)) {
        collapseItem(item, withChildren);
        return true;
    }
    const int parentRow = m_model->rowForItem(item->getParent());
    if (parentRow < 0) {
        return false;
    }
    selectRow(parentRow, false);
    return true;
}

void CacheOutlineView::keyPressEvent(QKeyEvent* event) {
    const int row = currentIndex().row();
    const bool withChildren = event->modifiers().testFlag(Qt::AltModifier);
    bool isHandled = false;
    if (event->key() == Qt::Key_Right) {
        isHandled = stepIntoOrOpen(row, withChildren);
    } else if (event->key() == Qt::Key_Left) {
        isHandled = stepOutOrClose(row, withChildren);
    }
    if (isHandled) {
        event->accept();
    } else {
        QTreeView::keyPressEvent(event);
    }
}

void CacheOutlineView::contextMenuEvent(QContextMenuEvent* event) {
    QMenu* menu = menuForEvent();
    if (menu == nullptr) {
        event->accept();
        return;
    }
    QPoint position = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard) {
        const QRect cell = visualRect(m_model->index(selectedRow(), 0));
        position = viewport()->mapToGlobal(cell.intersected(viewport()->rect()).center());
    }
    menu->popup(position);
    event->accept();
}

#include "MacCacheManager/CacheOutlineView.h"
#include "MacCacheManager/ImageResources.h"
#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/views/StateColors.h"
#include "MacCacheManager/views/ViewGeometry.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>

#include <algorithm>
#include <iterator>

namespace {

constexpr int kIndentation = 16;
constexpr int kTriangleMargin = 4;
constexpr int kTriangleWidth = 16;

constexpr int kHoverBarWidth = 3; // at the left edge of the row under the mouse

// What marks a row that is not selected, resting or under the mouse.
QColor markColor(const UISettings& colors) {
    return corvid::stateColor({colors.getClrFillPrimary(), colors.getClrFillSecondary()},
                              colors.getClrTextOutlineView());
}

// Some systems ask for the menu themselves when one of these is pressed, others leave it to us.
bool isMenuKey(const QKeyEvent& event) {
    return event.key() == Qt::Key_Menu ||
           (event.key() == Qt::Key_F10 && event.modifiers() == Qt::ShiftModifier);
}

// Keys that go to another row and select it.
bool isMovingKey(const QKeyEvent& event) {
    constexpr Qt::Key kKeys[] = {Qt::Key_Up,  Qt::Key_Down,   Qt::Key_Home,
                                 Qt::Key_End, Qt::Key_PageUp, Qt::Key_PageDown};
    return !event.modifiers().testFlag(Qt::ControlModifier) &&
           std::find(std::begin(kKeys), std::end(kKeys), event.key()) != std::end(kKeys);
}

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
    } else if (m_mouse && row.contains(*m_mouse)) {
        QRectF hovered = corvid::selectedRowRectangle(row);
        painter->fillRect(hovered, colors.getClrFillSecondary());
        hovered.setWidth(kHoverBarWidth);
        painter->fillRect(hovered, markColor(colors));
    }
    QStyleOptionViewItem plain = option;
    plain.state &= ~(QStyle::State_Selected | QStyle::State_HasFocus | QStyle::State_MouseOver);
    for (int column = 0; column < m_model->columnCount(); ++column) {
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
        painter->setPen(markColor(colors));
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

// The first cell of the row whose triangle is there; invalid for none.
QModelIndex CacheOutlineView::cellOfTriangleAt(const QPoint& position) const {
    const QModelIndex cell = indexAt(position);
    if (!cell.isValid() || cell.column() != 0 || !cell.data(corvid::ExpandableRole).toBool()) {
        return {};
    }
    const QRect triangle = disclosureRect(visualRect(cell), cell.data(corvid::DepthRole).toInt());
    return triangle.contains(position) ? cell : QModelIndex();
}

void CacheOutlineView::toggle(FrameCacheEntry* item, bool withChildren) {
    if (m_model->isItemExpanded(item)) {
        collapseItem(item, withChildren);
    } else {
        expandItem(item, withChildren);
    }
}

bool CacheOutlineView::viewportEvent(QEvent* event) {
    follow(*event);
    return QTreeView::viewportEvent(event);
}

// Keeps where the mouse is, to mark the row under it.
void CacheOutlineView::follow(const QEvent& event) {
    std::optional<QPoint> mouse;
    switch (event.type()) {
    case QEvent::Enter:
        mouse = static_cast<const QEnterEvent&>(event).position().toPoint();
        break;
    case QEvent::MouseMove:
        mouse = static_cast<const QMouseEvent&>(event).position().toPoint();
        break;
    case QEvent::Leave:
        break;
    default:
        return;
    }
    if (mouse != m_mouse) {
        m_mouse = mouse;
        viewport()->update();
    }
}

void CacheOutlineView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->accept(); // a right-click offers the menu for what is selected already
        return;
    }
    m_pressedTriangle.reset();
    const QModelIndex triangle = cellOfTriangleAt(event->pos());
    if (triangle.isValid()) {
        m_pressedTriangle = triangle;
        event->accept();
        return;
    }
    QTreeView::mousePressEvent(event);
}

void CacheOutlineView::mouseMoveEvent(QMouseEvent* event) {
    if (!event->buttons().testFlag(Qt::LeftButton)) {
        m_pressedTriangle.reset(); // its release went elsewhere
    }
    if (!m_pressedTriangle) { // else it would select from the last press on a name to here
        QTreeView::mouseMoveEvent(event);
    }
}

void CacheOutlineView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        setState(NoState);
        event->accept();
    } else if (m_pressedTriangle) {
        const QModelIndex pressed = *m_pressedTriangle;
        m_pressedTriangle.reset();
        if (pressed.isValid() && cellOfTriangleAt(event->pos()) == pressed) {
            toggle(m_model->itemAtRow(pressed.row()), event->modifiers().testFlag(Qt::AltModifier));
        }
        event->accept();
    } else {
        QTreeView::mouseReleaseEvent(event);
    }
}

void CacheOutlineView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->accept();
        return;
    }
    if (cellOfTriangleAt(event->pos()).isValid()) {
        m_pressedTriangle.emplace(); // held down, and has done what it does
    }
    if (FrameCacheEntry* item = m_model->itemAtRow(indexAt(event->pos()).row())) {
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

// Without a row that has the keyboard, a key begins at the end of the rows that it comes from.
QModelIndex CacheOutlineView::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) {
    if (m_model == nullptr || currentIndex().isValid()) {
        return QTreeView::moveCursor(action, modifiers);
    }
    switch (action) {
    case MoveNext: // asked for when the view gets the focus, which gives it to no row
        return {};
    case MoveUp:
    case MovePageUp:
    case MoveEnd:
        return m_model->index(m_model->rowCount() - 1, 0);
    default:
        return m_model->index(0, 0);
    }
}

void CacheOutlineView::keyPressEvent(QKeyEvent* event) {
    const int row = currentIndex().row();
    const bool withChildren = event->modifiers().testFlag(Qt::AltModifier);
    bool isHandled = false;
    if (event->key() == Qt::Key_Right) {
        isHandled = stepIntoOrOpen(row, withChildren);
    } else if (event->key() == Qt::Key_Left) {
        isHandled = stepOutOrClose(row, withChildren);
    } else if (isMenuKey(*event)) {
        openMenuAtKeyboard();
        isHandled = true;
    }
    if (isHandled) {
        event->accept();
        return;
    }
    QTreeView::keyPressEvent(event);
    // There was nowhere to go: what the key would select is the row itself.
    if (isMovingKey(*event) && currentIndex().row() == row && !isRowSelected(row)) {
        selectRow(row, event->modifiers().testFlag(Qt::ShiftModifier));
    }
}

void CacheOutlineView::openMenuAtKeyboard() {
    QMenu* menu = menuForEvent();
    if (menu == nullptr || menu->isVisible()) {
        return;
    }
    const int row = currentIndex().isValid() ? currentIndex().row() : selectedRow();
    const QModelIndex cell = m_model->index(row, 0);
    scrollTo(cell);
    const QRect inSight = visualRect(cell).intersected(viewport()->rect());
    menu->popup(viewport()->mapToGlobal(inSight.center()));
}

void CacheOutlineView::contextMenuEvent(QContextMenuEvent* event) {
    if (event->reason() == QContextMenuEvent::Keyboard) {
        openMenuAtKeyboard();
    } else if (QMenu* menu = menuForEvent()) {
        menu->popup(event->globalPos());
    }
    event->accept();
}

#include "MacCacheManager/views/outline_accessibility.h"

#include "MacCacheManager/CacheOutlineView.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QHash>
#include <QHeaderView>
#include <QPersistentModelIndex>

#include <algorithm>

namespace corvid {

namespace {

// The outline itself. Its children are the titles, then the cells row by row; Qt's views number
// them so in what they tell. They are made when asked for and live until their row goes.
class OutlineTree : public QAccessibleWidget,
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
                    public QAccessibleSelectionInterface,
#endif
                    public QAccessibleTableInterface {
public:
    explicit OutlineTree(CacheOutlineView* view) : QAccessibleWidget(view, QAccessible::Tree) {}

    CacheOutlineView& view() const {
        return *static_cast<CacheOutlineView*>(widget());
    }
    OutlineModel& model() const {
        return *view().outlineModel();
    }
    QAccessibleInterface* cell(const QModelIndex& index) const;
    QAccessibleInterface* title(int column) const;

    QAccessible::State state() const override;
    int childCount() const override {
        return (rowCount() + 1) * columnCount();
    }
    QAccessibleInterface* child(int index) const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    QAccessibleInterface* childAt(int x, int y) const override;
    QAccessibleInterface* focusChild() const override {
        return cell(view().currentIndex());
    }
    void* interface_cast(QAccessible::InterfaceType type) override;

    QAccessibleInterface* caption() const override {
        return nullptr;
    }
    QAccessibleInterface* summary() const override {
        return nullptr;
    }
    QAccessibleInterface* cellAt(int row, int column) const override;
    int rowCount() const override {
        return view().outlineModel() != nullptr ? model().rowCount() : 0;
    }
    int columnCount() const override {
        return view().outlineModel() != nullptr ? model().columnCount() : 0;
    }
    QString columnDescription(int column) const override;
    QString rowDescription(int row) const override;
    int selectedCellCount() const override {
        return selectedRowCount() * columnCount();
    }
    QList<QAccessibleInterface*> selectedCells() const override;
    int selectedRowCount() const override {
        return view().numberOfSelectedRows();
    }
    QList<int> selectedRows() const override;
    bool isRowSelected(int row) const override {
        return view().isRowSelected(row);
    }
    bool selectRow(int row) override;
    bool unselectRow(int row) override;
    int selectedColumnCount() const override {
        return 0;
    }
    QList<int> selectedColumns() const override {
        return {};
    }
    bool isColumnSelected(int /*column*/) const override {
        return false;
    }
    bool selectColumn(int /*column*/) override {
        return false;
    }
    bool unselectColumn(int /*column*/) override {
        return false;
    }
    void modelChange(QAccessibleTableModelChangeEvent* event) override;

#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    int selectedItemCount() const override {
        return selectedCellCount();
    }
    QList<QAccessibleInterface*> selectedItems() const override {
        return selectedCells();
    }
    bool isSelected(QAccessibleInterface* item) const override {
        return isRowSelected(rowOf(item));
    }
    bool select(QAccessibleInterface* item) override {
        return selectRow(rowOf(item));
    }
    bool unselect(QAccessibleInterface* item) override {
        return unselectRow(rowOf(item));
    }
    bool selectAll() override {
        view().selectAll();
        return true;
    }
    bool clear() override {
        view().deselectAll();
        return true;
    }
    int rowOf(const QAccessibleInterface* item) const {
        const int index = indexOfChild(item);
        return index < 0 ? -1 : index / columnCount() - 1;
    }
#endif

protected:
    ~OutlineTree() override;

private:
    mutable QHash<QPersistentModelIndex, QAccessible::Id> m_cells;
    mutable QHash<int, QAccessible::Id> m_titles; // by column
};

// What titles and cells have in common: they belong to the outline and contain nothing.
class OutlinePart : public QAccessibleInterface {
public:
    explicit OutlinePart(const OutlineTree& tree) : m_tree(tree) {}

    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return m_tree.window(); }
    QAccessibleInterface* parent() const override {
        return QAccessible::queryAccessibleInterface(&m_tree.view());
    }
    QAccessibleInterface* child(int /*index*/) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface* /*child*/) const override { return -1; }
    QAccessibleInterface* childAt(int /*x*/, int /*y*/) const override { return nullptr; }
    void setText(QAccessible::Text /*kind*/, const QString& /*text*/) override {}

    const OutlineTree& tree() const { return m_tree; }
    virtual int indexInTree() const = 0; // -1 when its row is gone

private:
    const OutlineTree& m_tree;
};

class OutlineTitle : public OutlinePart {
public:
    OutlineTitle(const OutlineTree& tree, int column) : OutlinePart(tree), m_column(column) {}

    int indexInTree() const override { return m_column; }
    bool isValid() const override { return tree().isValid(); }
    QAccessible::Role role() const override { return QAccessible::ColumnHeader; }
    QAccessible::State state() const override { return {}; }
    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Name ? tree().columnDescription(m_column) : QString();
    }
    QRect rect() const override {
        const QHeaderView& header = *tree().view().header();
        const QPoint corner(header.sectionViewportPosition(m_column), 0);
        return {header.viewport()->mapToGlobal(corner),
                QSize(header.sectionSize(m_column), header.height())};
    }

private:
    int m_column;
};

class OutlineTreeCell : public OutlinePart,
                        public QAccessibleTableCellInterface,
                        public QAccessibleActionInterface {
public:
    OutlineTreeCell(const OutlineTree& tree, const QModelIndex& index)
        : OutlinePart(tree), m_index(index) {}

    int indexInTree() const override {
        return m_index.isValid() ? (m_index.row() + 1) * tree().columnCount() + m_index.column()
                                 : -1;
    }
    bool isValid() const override { return tree().isValid() && m_index.isValid(); }
    QAccessible::Role role() const override { return QAccessible::TreeItem; }
    QAccessible::State state() const override;
    QString text(QAccessible::Text kind) const override;
    QRect rect() const override;
    void* interface_cast(QAccessible::InterfaceType type) override;

    bool isSelected() const override { return tree().isRowSelected(m_index.row()); }
    QList<QAccessibleInterface*> columnHeaderCells() const override {
        return {tree().title(m_index.column())};
    }
    QList<QAccessibleInterface*> rowHeaderCells() const override { return {}; }
    int columnIndex() const override { return m_index.column(); }
    int rowIndex() const override { return m_index.row(); }
    int columnExtent() const override { return 1; }
    int rowExtent() const override { return 1; }
    QAccessibleInterface* table() const override { return parent(); }

    QStringList actionNames() const override;
    void doAction(const QString& name) override;
    QStringList keyBindingsForAction(const QString& /*name*/) const override { return {}; }

private:
    bool isExpandable() const { // figures do not open
        return m_index.column() == kTreeColumn && m_index.data(ExpandableRole).toBool();
    }

    QPersistentModelIndex m_index;
};

QAccessible::State OutlineTreeCell::state() const {
    QAccessible::State state;
    if (!isValid()) {
        state.invalid = true;
        return state;
    }
    const CacheOutlineView& view = tree().view();
    const QRect inSight(view.viewport()->mapToGlobal(QPoint(0, 0)), view.viewport()->size());
    state.invisible = !view.isVisible() || !inSight.intersects(rect());
    state.selectable = true;
    state.extSelectable = true;
    state.selected = isSelected();
    state.focusable = true;
    state.focused = view.currentIndex() == m_index;
    if (isExpandable()) {
        const bool isExpanded = m_index.data(ExpandedRole).toBool();
        state.expandable = true;
        state.expanded = isExpanded;
        state.collapsed = !isExpanded;
    }
    return state;
}

QString OutlineTreeCell::text(QAccessible::Text kind) const {
    switch (kind) {
    case QAccessible::Name:
        return m_index.data().toString();
    case QAccessible::Description:
        return m_index.data(Qt::AccessibleDescriptionRole).toString();
    default:
        return {};
    }
}

QRect OutlineTreeCell::rect() const {
    if (!isValid()) {
        return {};
    }
    const CacheOutlineView& view = tree().view();
    const QRect place = view.visualRect(m_index);
    return {view.viewport()->mapToGlobal(place.topLeft()), place.size()};
}

void* OutlineTreeCell::interface_cast(QAccessible::InterfaceType type) {
    switch (type) {
    case QAccessible::TableCellInterface:
        return static_cast<QAccessibleTableCellInterface*>(this);
    case QAccessible::ActionInterface:
        return static_cast<QAccessibleActionInterface*>(this);
    default:
        return nullptr;
    }
}

QStringList OutlineTreeCell::actionNames() const {
    if (!isValid()) {
        return {};
    }
    return isExpandable() ? QStringList{toggleAction(), pressAction()} : QStringList{pressAction()};
}

void OutlineTreeCell::doAction(const QString& name) {
    if (!actionNames().contains(name)) {
        return;
    }
    CacheOutlineView& view = tree().view();
    FrameCacheEntry* item = tree().model().itemAtRow(m_index.row());
    if (name == pressAction()) {
        view.selectRow(m_index.row(), false);
    } else if (tree().model().isItemExpanded(item)) {
        view.collapseItem(item, false);
    } else {
        view.expandItem(item, false);
    }
}

OutlineTree::~OutlineTree() {
    for (const QAccessible::Id id : std::as_const(m_cells)) {
        QAccessible::deleteAccessibleInterface(id);
    }
    for (const QAccessible::Id id : std::as_const(m_titles)) {
        QAccessible::deleteAccessibleInterface(id);
    }
}

QAccessibleInterface* OutlineTree::cell(const QModelIndex& index) const {
    if (!index.isValid()) {
        return nullptr;
    }
    QAccessible::Id& id = m_cells[QPersistentModelIndex(index)];
    if (id == 0) {
        id = QAccessible::registerAccessibleInterface(new OutlineTreeCell(*this, index));
    }
    return QAccessible::accessibleInterface(id);
}

QAccessibleInterface* OutlineTree::title(int column) const {
    QAccessible::Id& id = m_titles[column];
    if (id == 0) {
        id = QAccessible::registerAccessibleInterface(new OutlineTitle(*this, column));
    }
    return QAccessible::accessibleInterface(id);
}

QAccessible::State OutlineTree::state() const {
    QAccessible::State state = QAccessibleWidget::state();
    state.multiSelectable = true;
    state.extSelectable = true;
    return state;
}

QAccessibleInterface* OutlineTree::child(int index) const {
    if (index < 0 || index >= childCount()) {
        return nullptr;
    }
    const int row = index / columnCount() - 1;
    const int column = index % columnCount();
    return row < 0 ? title(column) : cellAt(row, column);
}

int OutlineTree::indexOfChild(const QAccessibleInterface* child) const {
    const auto* part = dynamic_cast<const OutlinePart*>(child);
    return part != nullptr && &part->tree() == this ? part->indexInTree() : -1;
}

QAccessibleInterface* OutlineTree::childAt(int x, int y) const {
    const QPoint place(x, y);
    const QWidget& titles = *view().header()->viewport();
    if (titles.rect().contains(titles.mapFromGlobal(place))) {
        const int column = view().header()->logicalIndexAt(titles.mapFromGlobal(place));
        return column >= 0 ? title(column) : nullptr;
    }
    const QPoint inRows = view().viewport()->mapFromGlobal(place);
    return view().viewport()->rect().contains(inRows) ? cell(view().indexAt(inRows)) : nullptr;
}

void* OutlineTree::interface_cast(QAccessible::InterfaceType type) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    if (type == QAccessible::SelectionInterface) {
        return static_cast<QAccessibleSelectionInterface*>(this);
    }
#endif
    return type == QAccessible::TableInterface ? static_cast<QAccessibleTableInterface*>(this)
                                               : QAccessibleWidget::interface_cast(type);
}

QAccessibleInterface* OutlineTree::cellAt(int row, int column) const {
    return rowCount() > 0 ? cell(model().index(row, column)) : nullptr;
}

QString OutlineTree::columnDescription(int column) const {
    return view().model() != nullptr ? view().model()->headerData(column, Qt::Horizontal).toString()
                                     : QString();
}

QString OutlineTree::rowDescription(int row) const {
    return rowCount() > 0 ? model().index(row, 0).data().toString() : QString();
}

QList<QAccessibleInterface*> OutlineTree::selectedCells() const {
    QList<QAccessibleInterface*> cells;
    for (const int row : selectedRows()) {
        for (int column = 0; column < columnCount(); ++column) {
            cells.append(cellAt(row, column));
        }
    }
    return cells;
}

QList<int> OutlineTree::selectedRows() const {
    QList<int> rows;
    for (const QItemSelectionRange& range : view().selectionModel()->selection()) {
        for (int row = range.top(); row <= range.bottom(); ++row) {
            rows.append(row);
        }
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

bool OutlineTree::selectRow(int row) {
    const QModelIndex index = rowCount() > 0 ? model().index(row, 0) : QModelIndex();
    if (!index.isValid()) {
        return false;
    }
    view().selectionModel()->select(index, QItemSelectionModel::Select | QItemSelectionModel::Rows);
    return true;
}

bool OutlineTree::unselectRow(int row) {
    if (row < 0 || row >= rowCount()) {
        return false;
    }
    view().deselectRow(row);
    return true;
}

void OutlineTree::modelChange(QAccessibleTableModelChangeEvent* /*event*/) {
    for (auto cell = m_cells.begin(); cell != m_cells.end();) {
        if (cell.key().isValid()) {
            ++cell;
        } else {
            QAccessible::deleteAccessibleInterface(cell.value());
            cell = m_cells.erase(cell);
        }
    }
}

QAccessibleInterface* describeOutline(const QString& className, QObject* object) {
    auto* view = qobject_cast<CacheOutlineView*>(object);
    return view != nullptr && className == QLatin1String("CacheOutlineView") ? new OutlineTree(view)
                                                                             : nullptr;
}

} // namespace

void makeOutlinesAccessible() {
    QAccessible::installFactory(describeOutline); // once, however often
}

void tellRowOpenedOrClosed(CacheOutlineView& view, int row) {
    if (row < 0 || !QAccessible::isActive()) {
        return;
    }
    QAccessible::State changed;
    changed.expanded = true;
    QAccessibleStateChangeEvent event(&view, changed);
    event.setChild((row + 1) * view.outlineModel()->columnCount());
    QAccessible::updateAccessibility(&event);
}

} // namespace corvid

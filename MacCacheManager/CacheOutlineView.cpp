#include "MacCacheManager/CacheOutlineView.h"

#include "MacCacheManager/AEScroller.h"
#include "MacCacheManager/CustomTextCell.h"
#include "MacCacheManager/DarkCornerView.h"
#include "MacCacheManager/Fonts.h"
#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/views/DarkHeaderView.h"
#include "MacCacheManager/views/outline_accessibility.h"

#include <QMenu>
#include <QResizeEvent>
#include <QScrollArea>
#include <QScrollBar>

#include <algorithm>
#include <string_view>
#include <typeinfo>
#include <unordered_map>

namespace {

constexpr int kFontSize = 11;
constexpr int kSpacingX = 10;
constexpr int kSpacingY = 1;
constexpr int kRowPadding = 5;

// A cell of the outline: its text between the column spacing, behind the triangle in the first
// column.
class OutlineCell : public CustomTextCell {
public:
    using CustomTextCell::CustomTextCell;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        QStyleOptionViewItem cell = option;
        const bool isOutlineColumn = index.column() == corvid::kTreeColumn;
        const int left = isOutlineColumn ? CacheOutlineView::disclosureRect(
                                               option.rect, index.data(corvid::DepthRole).toInt())
                                                   .right() +
                                               3
                                         : option.rect.left() + kSpacingX / 2;
        cell.rect.setLeft(std::min(left, cell.rect.right()));
        cell.rect.setRight(std::max(cell.rect.right() - kSpacingX / 2, cell.rect.left()));
        CustomTextCell::paint(painter, cell, index);
    }

    QSize sizeHint(const QStyleOptionViewItem& option,
                   const QModelIndex& /*index*/) const override {
        return {0, option.fontMetrics.height() + kRowPadding + kSpacingY};
    }
};

} // namespace

namespace corvid {

std::vector<int> outlineColumnWidths(int viewWidth, const std::vector<int>& neededWidths,
                                     const std::vector<Column>& columns) {
    std::vector<int> widths{viewWidth};
    for (std::size_t i = 1; i < columns.size(); ++i) {
        const int needed = i <= neededWidths.size() ? neededWidths[i - 1] : 0;
        const int width = std::max(columns[i].usualWidth, needed);
        widths.push_back(width);
        widths.front() -= width;
    }
    return widths;
}

} // namespace corvid

CacheOutlineView::CacheOutlineView(QWidget* parent) : QTreeView(parent) {
    corvid::makeOutlinesAccessible();
    setSelectionMode(ExtendedSelection);
    setSelectionBehavior(SelectRows);
    setRootIsDecorated(false);
    setItemsExpandable(false);
    setExpandsOnDoubleClick(false);
    setUniformRowHeights(true);
    setIndentation(0);
    setEditTriggers(NoEditTriggers);
    setFrameShape(NoFrame);
    setAllColumnsShowFocus(true);
    setVerticalScrollMode(ScrollPerPixel);
    setMouseTracking(true);
    setItemDelegate(new OutlineCell(this));
    setFont(corvid::systemFontOfSize(kFontSize));
    QPalette colors = palette();
    colors.setColor(QPalette::Base, UISettings::instance()->getClrFillPrimary());
    colors.setColor(QPalette::Text, UISettings::instance()->getClrTextOutlineView());
    setPalette(colors);
}

void CacheOutlineView::setOutlineModel(OutlineModel* model) {
    m_model = model;
    m_textWidths = {};
    setModel(model);
    connect(model, &QAbstractItemModel::modelReset, this, [this] { m_isSelectedKnown = false; });
    connect(model, &QAbstractItemModel::rowsRemoved, this, [this] { m_isSelectedKnown = false; });
}

QScrollArea* CacheOutlineView::parentScrollView() const {
    QWidget* above = parentWidget() != nullptr ? parentWidget()->parentWidget() : nullptr;
    while (above != nullptr && typeid(*above) != typeid(QScrollArea)) {
        above = above->parentWidget();
    }
    return static_cast<QScrollArea*>(above);
}

void CacheOutlineView::setupOutlineView() {
    setHeader(new corvid::DarkHeaderView(Qt::Horizontal, this));
    setupScrollers();
    setupColumns();
}

void CacheOutlineView::setupScrollers() {
    setVerticalScrollBar(new AEScroller(Qt::Vertical));
    setHorizontalScrollBar(new AEScroller(Qt::Horizontal));
    verticalScrollBar()->setAccessibleName(tr("Scroll up and down"));
    horizontalScrollBar()->setAccessibleName(tr("Scroll sideways"));
    addScrollBarWidget(new DarkCornerView(header()->sizeHint().height()), Qt::AlignTop);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
}

void CacheOutlineView::setupColumns() {
    header()->setStretchLastSection(false);
    header()->setSectionsMovable(false);
    header()->setSectionsClickable(false);
    header()->setMinimumSectionSize(40);
    header()->setAccessibleName(tr("Columns"));
    layOutColumns();
}

// Comes once after any number of rows came or went, and after another font.
void CacheOutlineView::doItemsLayout() {
    if (m_model != nullptr) {
        std::vector<int> fitting;
        for (const corvid::Column& column : m_model->columns()) {
            fitting.push_back(column.usualWidth - kSpacingX);
        }
        const std::vector<int> widest = m_textWidths.widest(*m_model, *viewport(), fitting);
        m_neededWidths.clear();
        for (std::size_t i = 1; i < widest.size(); ++i) {
            m_neededWidths.push_back(widest[i] + kSpacingX);
        }
        layOutColumns();
    }
    QTreeView::doItemsLayout();
}

void CacheOutlineView::layOutColumns() {
    if (m_model == nullptr || header()->count() < m_model->columnCount()) {
        return;
    }
    const std::vector<int> widths =
        corvid::outlineColumnWidths(viewport()->width(), m_neededWidths, m_model->columns());
    for (int column = 0; column < m_model->columnCount(); ++column) {
        setColumnWidth(column, std::max(widths[static_cast<std::size_t>(column)],
                                        header()->minimumSectionSize()));
    }
}

void CacheOutlineView::resizeEvent(QResizeEvent* event) {
    QTreeView::resizeEvent(event);
    layOutColumns();
    if (m_isChangingRows && event->size() != event->oldSize()) {
        setUpdatesEnabled(true); // what was in sight has no place in the new size
    }
}

void CacheOutlineView::setWillDisplayOutlineCell(
    std::function<void(corvid::DisclosureCell&)> willDisplay) {
    m_willDisplay = std::move(willDisplay);
}

int CacheOutlineView::selectedRow() const {
    int first = -1;
    for (const QItemSelectionRange& range : selectionModel()->selection()) {
        first = first < 0 ? range.top() : std::min(first, range.top());
    }
    return first;
}

int CacheOutlineView::numberOfSelectedRows() const {
    int rows = 0;
    for (const QItemSelectionRange& range : selectionModel()->selection()) {
        rows += range.height();
    }
    return rows;
}

bool CacheOutlineView::isRowSelected(int row) const {
    return isItemSelected(m_model->itemAtRow(row));
}

bool CacheOutlineView::isItemSelected(const FrameCacheEntry* item) const {
    if (!m_isSelectedKnown) {
        m_selected.clear();
        for (const FrameCacheEntry* selected : selectedItems()) {
            m_selected.insert(selected);
        }
        m_isSelectedKnown = true;
    }
    return item != nullptr && m_selected.count(item) > 0;
}

std::vector<FrameCacheEntry*> CacheOutlineView::selectedItems() const {
    std::vector<FrameCacheEntry*> items;
    for (const QItemSelectionRange& range : selectionModel()->selection()) {
        for (int row = range.top(); row <= range.bottom(); ++row) {
            items.push_back(m_model->itemAtRow(row));
        }
    }
    return items;
}

void CacheOutlineView::selectRow(int row, bool byExtendingSelection) {
    if (m_model->itemAtRow(row) == nullptr) {
        return;
    }
    const QModelIndex cell = m_model->index(row, 0);
    const auto command =
        byExtendingSelection ? QItemSelectionModel::Select : QItemSelectionModel::ClearAndSelect;
    selectionModel()->setCurrentIndex(cell, command | QItemSelectionModel::Rows);
    scrollTo(cell);
    viewport()->update();
}

void CacheOutlineView::deselectRow(int row) {
    if (m_model->itemAtRow(row) != nullptr) {
        selectionModel()->select(m_model->index(row, 0),
                                 QItemSelectionModel::Deselect | QItemSelectionModel::Rows);
        viewport()->update();
    }
}

void CacheOutlineView::deselectItems(const std::vector<const FrameCacheEntry*>& items) {
    const std::unordered_set<const FrameCacheEntry*> doomed(items.begin(), items.end());
    std::vector<FrameCacheEntry*> kept = selectedItems();
    kept.erase(
        std::remove_if(kept.begin(), kept.end(),
                       [&doomed](const FrameCacheEntry* item) { return doomed.count(item) > 0; }),
        kept.end());
    select(kept);
}

void CacheOutlineView::deselectAll() {
    clearSelection();
}

// The rows of the items as few ranges, selected at once: row by row would compare each with all
// others.
void CacheOutlineView::select(const std::vector<FrameCacheEntry*>& items) {
    std::vector<int> rows;
    for (const FrameCacheEntry* item : items) {
        const int row = m_model->rowForItem(item);
        if (row >= 0) {
            rows.push_back(row);
        }
    }
    std::sort(rows.begin(), rows.end());
    QItemSelection selection;
    for (std::size_t i = 0; i < rows.size();) {
        std::size_t last = i;
        while (last + 1 < rows.size() && rows[last + 1] == rows[last] + 1) {
            ++last;
        }
        selection.append(QItemSelectionRange(
            m_model->index(rows[i], 0), m_model->index(rows[last], m_model->columnCount() - 1)));
        i = last + 1;
    }
    selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
}

// For changes that reset the model: the selection, the current row and the scroll position go with
// the nodes. One notification tells of it all.
template <class Change>
void CacheOutlineView::changeKeepingSelection(Change change) {
    const std::vector<FrameCacheEntry*> selected = selectedItems();
    const FrameCacheEntry* current = m_model->itemAtRow(currentIndex().row());
    const int scrollPosition = verticalScrollBar()->value();
    m_isChangingRows = true;
    change();
    select(selected);
    if (current != nullptr && m_model->rowForItem(current) >= 0) {
        selectionModel()->setCurrentIndex(m_model->index(m_model->rowForItem(current), 0),
                                          QItemSelectionModel::NoUpdate);
    }
    executeDelayedItemsLayout();
    verticalScrollBar()->setValue(scrollPosition);
    m_isChangingRows = false;
    emit selectionDidChange();
}

void CacheOutlineView::expandItem(FrameCacheEntry* item, bool expandChildren) {
    const int row = m_model->rowForItem(item);
    if (expandChildren && m_model->isItemExpanded(item)) {
        expandItems({item}); // some of the rows are there already, perhaps selected
    } else {
        m_model->expandItem(item, expandChildren);
    }
    corvid::tellRowOpenedOrClosed(*this, row);
}

void CacheOutlineView::collapseItem(FrameCacheEntry* item, bool collapseChildren) {
    const int row = m_model->rowForItem(item);
    const int before = numberOfSelectedRows();
    // The current row must not wander to whatever follows the rows that go away.
    const FrameCacheEntry* current = m_model->itemAtRow(currentIndex().row());
    for (const FrameCacheEntry* above = current; above != nullptr; above = above->getParent()) {
        if (above == item && current != item) {
            selectionModel()->setCurrentIndex(m_model->index(row, 0),
                                              QItemSelectionModel::NoUpdate);
        }
    }
    m_model->collapseItem(item, collapseChildren);
    if (numberOfSelectedRows() != before) {
        m_isSelectedKnown = false;
        emit selectionDidChange();
    }
    corvid::tellRowOpenedOrClosed(*this, row);
}

void CacheOutlineView::expandItems(const std::vector<FrameCacheEntry*>& items) {
    changeKeepingSelection([this, &items] { m_model->expandItems(items); });
}

void CacheOutlineView::collapseItems(const std::vector<FrameCacheEntry*>& items) {
    changeKeepingSelection([this, &items] { m_model->collapseItems(items); });
}

corvid::OutlineState CacheOutlineView::takeState() {
    corvid::OutlineState state;
    for (const FrameCacheEntry* item : m_model->expandedItems()) {
        state.expanded.insert(item->getPath());
    }
    for (const FrameCacheEntry* item : selectedItems()) {
        state.selected.insert(item->getPath());
    }
    state.current = currentIndex().row();
    for (int row = 0; state.current >= 0 && row < m_model->rowCount(); ++row) {
        state.rows.emplace_back(m_model->itemAtRow(row)->getPath());
    }
    state.scrollPosition = verticalScrollBar()->value();
    m_isChangingRows = true;
    // The old rows, if there are any, stay in sight until the new ones are there. What waits to be
    // painted would be painted all the same, and without them.
    if (m_model->rowCount() > 0) {
        viewport()->repaint();
        setUpdatesEnabled(false);
    }
    m_model->forgetData();
    return state;
}

void CacheOutlineView::restoreState(const corvid::OutlineState& state) {
    m_model->reloadData(
        [&state](const FrameCacheEntry& item) { return state.expanded.count(item.getPath()) > 0; });
    std::vector<FrameCacheEntry*> selected;
    std::unordered_set<std::string> wanted =
        state.selected; // two rows can share a path: one of them it was
    for (int row = 0; row < m_model->rowCount(); ++row) {
        FrameCacheEntry* item = m_model->itemAtRow(row);
        if (wanted.erase(item->getPath()) > 0) {
            selected.push_back(item);
        }
    }
    select(selected);
    const QModelIndex current = m_model->index(nearestRowLeft(state), 0);
    if (current.isValid()) {
        selectionModel()->setCurrentIndex(current, QItemSelectionModel::NoUpdate);
    }
    executeDelayedItemsLayout();
    verticalScrollBar()->setValue(state.scrollPosition);
    if (current.isValid() && m_model->itemAtRow(current.row())->getPath() !=
                                 state.rows[static_cast<std::size_t>(state.current)]) {
        scrollTo(current); // it may be far from where the keyboard was
    }
    m_isChangingRows = false;
    setUpdatesEnabled(true);
}

// The row that had the keyboard, else the next after it that is still there, else the last before
// it; -1 for none.
int CacheOutlineView::nearestRowLeft(const corvid::OutlineState& state) const {
    if (state.current < 0) {
        return -1;
    }
    std::unordered_map<std::string_view, int> rowsThen;
    for (std::size_t row = 0; row < state.rows.size(); ++row) {
        rowsThen.emplace(state.rows[row], static_cast<int>(row));
    }
    int nearest = -1;
    int nearestThen = -1;
    for (int row = 0; row < m_model->rowCount(); ++row) {
        const auto found = rowsThen.find(m_model->itemAtRow(row)->getPath());
        if (found == rowsThen.end()) {
            continue;
        }
        const int then = found->second;
        const bool isNearer = nearestThen < state.current
                                  ? then > nearestThen
                                  : then >= state.current && then < nearestThen;
        if (nearest < 0 || isNearer) {
            nearest = row;
            nearestThen = then;
        }
    }
    return nearest;
}

void CacheOutlineView::selectionChanged(const QItemSelection& selected,
                                        const QItemSelection& deselected) {
    QTreeView::selectionChanged(selected, deselected);
    m_isSelectedKnown = false;
    viewport()->update();
    if (!m_isChangingRows) {
        emit selectionDidChange();
    }
}

void CacheOutlineView::setMenu(QMenu* menu) {
    m_menu = menu;
}

QMenu* CacheOutlineView::menuForEvent() const {
    return selectedRow() >= 0 ? m_menu.data() : nullptr;
}

void CacheOutlineView::setPlaceholderText(const QString& text) {
    m_placeholder = text;
    setAccessibleDescription(text);
    viewport()->update();
}

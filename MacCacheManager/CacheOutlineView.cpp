#include "MacCacheManager/CacheOutlineView.h"

#include "MacCacheManager/AEScroller.h"
#include "MacCacheManager/CustomTextCell.h"
#include "MacCacheManager/DarkCornerView.h"
#include "MacCacheManager/DarkHeaderView.h"
#include "MacCacheManager/Fonts.h"
#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/platform/date_formatter.h"

#include <QDateTime>
#include <QEvent>
#include <QMenu>
#include <QScrollBar>

#include <algorithm>

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
        const bool isOutlineColumn =
            index.column() == static_cast<int>(corvid::OutlineColumn::CacheType);
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

std::vector<int> outlineColumnWidths(int viewWidth, const std::vector<int>& widestTexts) {
    constexpr int kRequested[] = {60, 60, 150};
    std::vector<int> widths{viewWidth};
    for (std::size_t i = 0; i < std::size(kRequested); ++i) {
        const int width = std::max(kRequested[i], i < widestTexts.size() ? widestTexts[i] : 0);
        widths.push_back(width);
        widths.front() -= width;
    }
    return widths;
}

} // namespace corvid

CacheOutlineView::CacheOutlineView(QWidget* parent) : QTreeView(parent) {
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
    setModel(model);
    connect(model, &QAbstractItemModel::modelReset, this, [this] { m_isSelectedKnown = false; });
    connect(model, &QAbstractItemModel::rowsRemoved, this, [this] { m_isSelectedKnown = false; });
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
    measureColumns();
    layOutColumns();
}

void CacheOutlineView::measureColumns() {
    const QFontMetrics metrics(font());
    m_widest.clear();
    for (const char* text : {"1000.00 MB", "9999999"}) {
        m_widest.push_back(metrics.horizontalAdvance(QLatin1String(text)) + kSpacingX);
    }
    int widestDate = 0;
    for (int month = 1; month <= 12; ++month) { // names of months differ in width
        const QDateTime evening(QDate(2028, month, 28), QTime(22, 58, 58));
        const QString text = corvid::shortDateTime(evening.toSecsSinceEpoch());
        widestDate = std::max(widestDate, metrics.horizontalAdvance(text));
    }
    m_widest.push_back(widestDate + kSpacingX);
}

void CacheOutlineView::changeEvent(QEvent* event) {
    QTreeView::changeEvent(event);
    if (event->type() == QEvent::FontChange) {
        measureColumns();
        layOutColumns();
    }
}

void CacheOutlineView::layOutColumns() {
    if (m_model == nullptr || header()->count() < corvid::kOutlineColumns) {
        return;
    }
    const std::vector<int> widths = corvid::outlineColumnWidths(viewport()->width(), m_widest);
    for (int column = 0; column < corvid::kOutlineColumns; ++column) {
        setColumnWidth(column, std::max(widths[static_cast<std::size_t>(column)],
                                        header()->minimumSectionSize()));
    }
}

void CacheOutlineView::resizeEvent(QResizeEvent* event) {
    QTreeView::resizeEvent(event);
    layOutColumns();
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
            m_model->index(rows[i], 0), m_model->index(rows[last], corvid::kOutlineColumns - 1)));
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
    if (expandChildren && m_model->isItemExpanded(item)) {
        expandItems({item}); // some of the rows are there already, perhaps selected
    } else {
        m_model->expandItem(item, expandChildren);
    }
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
    if (const FrameCacheEntry* current = m_model->itemAtRow(currentIndex().row())) {
        state.current = current->getPath();
    }
    state.scrollPosition = verticalScrollBar()->value();
    m_isChangingRows = true;
    m_model->forgetData();
    return state;
}

void CacheOutlineView::restoreState(const corvid::OutlineState& state) {
    m_model->reloadData(
        [&state](const FrameCacheEntry& item) { return state.expanded.count(item.getPath()) > 0; });
    std::vector<FrameCacheEntry*> selected;
    std::unordered_set<std::string> wanted =
        state.selected; // two rows can share a path: one of them it was
    int current = -1;
    for (int row = 0; row < m_model->rowCount(); ++row) {
        FrameCacheEntry* item = m_model->itemAtRow(row);
        if (wanted.erase(item->getPath()) > 0) {
            selected.push_back(item);
        }
        if (current < 0 && state.current == item->getPath()) {
            current = row;
        }
    }
    select(selected);
    if (current >= 0) {
        selectionModel()->setCurrentIndex(m_model->index(current, 0),
                                          QItemSelectionModel::NoUpdate);
    }
    executeDelayedItemsLayout();
    verticalScrollBar()->setValue(state.scrollPosition);
    m_isChangingRows = false;
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

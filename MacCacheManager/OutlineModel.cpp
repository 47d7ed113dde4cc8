#include "MacCacheManager/OutlineModel.h"

#include <utility>

namespace {

// A tool tip takes a text that looks like markup for markup.
QString asPlainToolTip(const QString& text) {
    return text.contains(u'<') ? QStringLiteral("<qt>%1</qt>").arg(text.toHtmlEscaped()) : text;
}

} // namespace

OutlineModel::OutlineModel(const CacheDataSource& dataSource, std::vector<corvid::Column> columns,
                           QObject* parent)
    : QAbstractItemModel(parent), m_dataSource(dataSource), m_columns(std::move(columns)) {}

void OutlineModel::forgetData() {
    beginResetModel();
    m_rows.clear();
    m_expanded.clear();
    m_rowOfItem.clear();
    endResetModel();
}

void OutlineModel::fillRows() {
    m_rows.clear();
    m_rowOfItem.clear();
    appendVisible(m_rows, m_dataSource.getRootNode(), 0);
}

void OutlineModel::appendVisible(std::vector<Row>& rows, const FrameCacheEntry* parent,
                                 int depth) const {
    for (int i = 0; parent != nullptr && i < parent->getNumberOfChildren(); ++i) {
        FrameCacheEntry* child = parent->getChildAt(i);
        rows.push_back({child, depth});
        if (isItemExpanded(child)) {
            appendVisible(rows, child, depth + 1);
        }
    }
}

FrameCacheEntry* OutlineModel::itemAtRow(int row) const {
    return row >= 0 && row < rowCount() ? m_rows[static_cast<std::size_t>(row)].node : nullptr;
}

int OutlineModel::rowForItem(const FrameCacheEntry* item) const {
    if (m_rowOfItem.empty()) {
        m_rowOfItem.reserve(m_rows.size());
        for (std::size_t row = 0; row < m_rows.size(); ++row) {
            m_rowOfItem.emplace(m_rows[row].node, static_cast<int>(row));
        }
    }
    const auto found = m_rowOfItem.find(item);
    return found != m_rowOfItem.end() ? found->second : -1;
}

void OutlineModel::markSubtree(const FrameCacheEntry* item, bool expanded) {
    if (item->getNumberOfChildren() == 0) {
        return;
    }
    if (expanded) {
        m_expanded.insert(item);
    } else {
        m_expanded.erase(item);
    }
    for (int i = 0; i < item->getNumberOfChildren(); ++i) {
        markSubtree(item->getChildAt(i), expanded);
    }
}

void OutlineModel::expandItem(FrameCacheEntry* item, bool expandChildren) {
    if (item == nullptr || item->getNumberOfChildren() == 0) {
        return;
    }
    if (expandChildren) {
        collapseItem(item, false); // so that all rows below it come in one insertion
    } else if (isItemExpanded(item)) {
        return;
    }
    const int row = rowForItem(item);
    if (expandChildren) {
        markSubtree(item, true);
    } else {
        m_expanded.insert(item);
    }
    if (row < 0) {
        return;
    }
    std::vector<Row> below;
    appendVisible(below, item, m_rows[static_cast<std::size_t>(row)].depth + 1);
    beginInsertRows({}, row + 1, row + static_cast<int>(below.size()));
    m_rows.insert(m_rows.begin() + row + 1, below.begin(), below.end());
    m_rowOfItem.clear();
    endInsertRows();
    emit dataChanged(index(row, 0), index(row, columnCount() - 1));
}

void OutlineModel::collapseItem(FrameCacheEntry* item, bool collapseChildren) {
    if (item == nullptr) {
        return;
    }
    const int row = isItemExpanded(item) ? rowForItem(item) : -1;
    m_expanded.erase(item);
    if (collapseChildren) {
        markSubtree(item, false);
    }
    if (row < 0) {
        return;
    }
    const int depth = m_rows[static_cast<std::size_t>(row)].depth;
    int last = row;
    while (last + 1 < rowCount() && m_rows[static_cast<std::size_t>(last) + 1].depth > depth) {
        ++last;
    }
    if (last > row) {
        beginRemoveRows({}, row + 1, last);
        m_rows.erase(m_rows.begin() + row + 1, m_rows.begin() + last + 1);
        m_rowOfItem.clear();
        endRemoveRows();
    }
    emit dataChanged(index(row, 0), index(row, columnCount() - 1));
}

void OutlineModel::expandItems(const std::vector<FrameCacheEntry*>& items) {
    beginResetModel();
    for (const FrameCacheEntry* item : items) {
        markSubtree(item, true);
    }
    fillRows();
    endResetModel();
}

void OutlineModel::collapseItems(const std::vector<FrameCacheEntry*>& items) {
    beginResetModel();
    for (const FrameCacheEntry* item : items) {
        markSubtree(item, false);
    }
    fillRows();
    endResetModel();
}

QModelIndex OutlineModel::index(int row, int column, const QModelIndex& parent) const {
    const bool isCell =
        !parent.isValid() && row >= 0 && row < rowCount() && column >= 0 && column < columnCount();
    return isCell ? createIndex(row, column) : QModelIndex();
}

QModelIndex OutlineModel::parent(const QModelIndex& /*child*/) const {
    return {};
}

int OutlineModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rowCount();
}

int OutlineModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_columns.size());
}

Qt::ItemFlags OutlineModel::flags(const QModelIndex& index) const {
    return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren
                           : Qt::NoItemFlags;
}

QString OutlineModel::accessibleDescription(const Row& row) const {
    QString level = tr("level %1").arg(row.depth + 1);
    if (row.node->getNumberOfChildren() == 0) {
        return level;
    }
    return isItemExpanded(row.node) ? tr("%1, expanded").arg(level)
                                    : tr("%1, collapsed").arg(level);
}

QVariant OutlineModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid()) {
        return {};
    }
    const Row& row = m_rows[static_cast<std::size_t>(index.row())];
    const corvid::Column& column = m_columns[static_cast<std::size_t>(index.column())];
    const bool isTreeColumn = index.column() == corvid::kTreeColumn;
    switch (role) {
    case Qt::DisplayRole:
        return column.text(*row.node);
    case Qt::ToolTipRole:
        return isTreeColumn ? asPlainToolTip(QString::fromUtf8(row.node->getName())) : QVariant();
    case Qt::TextAlignmentRole:
        return QVariant::fromValue<Qt::Alignment>(Qt::AlignVCenter | column.alignment);
    case Qt::AccessibleDescriptionRole:
        return isTreeColumn ? accessibleDescription(row) : QVariant();
    case corvid::DepthRole:
        return row.depth;
    case corvid::ExpandableRole:
        return m_dataSource.outlineViewIsItemExpandable(row.node);
    case corvid::ExpandedRole:
        return isItemExpanded(row.node);
    default:
        return {};
    }
}

QVariant OutlineModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= columnCount()) {
        return {};
    }
    if (role == Qt::TextAlignmentRole) {
        return data(index(0, section), role).isValid()
                   ? data(index(0, section), role)
                   : QVariant::fromValue<Qt::Alignment>(Qt::AlignLeft);
    }
    if (role != Qt::DisplayRole) {
        return {};
    }
    return tr(m_columns[static_cast<std::size_t>(section)].title);
}

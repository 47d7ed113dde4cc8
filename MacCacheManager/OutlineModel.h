#pragma once

// The outline as a table of its visible rows: the nodes whose ancestors are all open, in order,
// each with its depth. A child of a collapsed node has no row, so it cannot be selected or counted
// by row.

#include "MacCacheManager/CacheDataSource.h"
#include "MacCacheManager/columns.h"

#include <QAbstractItemModel>

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace corvid {

enum OutlineRole {
    DepthRole = Qt::UserRole, // int, 0 for a project
    ExpandableRole,           // bool
    ExpandedRole              // bool
};

} // namespace corvid

class OutlineModel : public QAbstractItemModel {
    Q_OBJECT

public:
    // The data source is not owned and must outlive the model. The model is empty until
    // reloadData().
    explicit OutlineModel(const CacheDataSource& dataSource,
                          std::vector<corvid::Column> columns = corvid::outlineColumns(),
                          QObject* parent = nullptr);

    const std::vector<corvid::Column>& columns() const { return m_columns; }

    // Forgets every node; to be called before the data source drops its tree.
    void forgetData();
    // Shows the data source's present tree. Nodes are open where `isOpen` says so.
    template <class IsOpen>
    void reloadData(IsOpen isOpen) {
        beginResetModel();
        m_expanded.clear();
        openNodes(m_dataSource.getRootNode(), isOpen);
        fillRows();
        endResetModel();
    }
    void reloadData() {
        reloadData([](const FrameCacheEntry&) { return false; });
    }

    int rowCount() const { return static_cast<int>(m_rows.size()); }
    // Null for a row that does not exist.
    FrameCacheEntry* itemAtRow(int row) const;
    // -1 for a node that has no row at the moment.
    int rowForItem(const FrameCacheEntry* item) const;

    bool isItemExpanded(const FrameCacheEntry* item) const { return m_expanded.count(item) > 0; }
    // Opens or closes one node, with its whole subtree if asked. Descendants that were open show
    // again when their ancestor opens.
    void expandItem(FrameCacheEntry* item, bool expandChildren);
    void collapseItem(FrameCacheEntry* item, bool collapseChildren);
    // Opens or closes the whole subtree of several nodes at once, as one reset of the model.
    void expandItems(const std::vector<FrameCacheEntry*>& items);
    void collapseItems(const std::vector<FrameCacheEntry*>& items);
    // The open nodes, those below a closed one included.
    const std::unordered_set<const FrameCacheEntry*>& expandedItems() const { return m_expanded; }

    QModelIndex index(int row, int column,
                      const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    struct Row {
        FrameCacheEntry* node;
        int depth;
    };

    template <class IsOpen>
    void openNodes(const FrameCacheEntry* node, IsOpen& isOpen) {
        for (int i = 0; node != nullptr && i < node->getNumberOfChildren(); ++i) {
            const FrameCacheEntry* child = node->getChildAt(i);
            if (child->getNumberOfChildren() > 0 && isOpen(*child)) {
                m_expanded.insert(child);
            }
            openNodes(child, isOpen);
        }
    }
    void fillRows();
    void appendVisible(std::vector<Row>& rows, const FrameCacheEntry* parent, int depth) const;
    void markSubtree(const FrameCacheEntry* item, bool expanded);
    QString accessibleDescription(const Row& row) const;

    const CacheDataSource& m_dataSource;
    std::vector<corvid::Column> m_columns;
    std::vector<Row> m_rows;
    std::unordered_set<const FrameCacheEntry*> m_expanded;
    mutable std::unordered_map<const FrameCacheEntry*, int> m_rowOfItem; // empty until asked for
};

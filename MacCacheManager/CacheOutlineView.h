#pragma once

// The outline: a tree view over the flat table of visible rows, with its own disclosure triangles,
// selection colour and keyboard.

#include "MacCacheManager/OutlineModel.h"
#include "MacCacheManager/views/outline_text_widths.h"

#include <QIcon>
#include <QMenu>
#include <QPointer>
#include <QTreeView>

#include <functional>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

class QScrollArea;

namespace corvid {

// What is drawn for a disclosure triangle; null images leave the platform's own.
struct DisclosureCell {
    QIcon image;
    QIcon alternateImage; // for an open item
};

// What must survive a rebuild of the tree, by path, because the nodes themselves do not.
struct OutlineState {
    std::unordered_set<std::string> expanded;
    std::unordered_set<std::string> selected;
    int current = -1;              // the row with the keyboard, -1 for none
    std::vector<std::string> rows; // all, from the top, when there is one
    int scrollPosition = 0;
};

// The columns' widths in a view of the given width: the usual ones, more where that is less than
// the texts need of a column after the first, and for the first what they leave.
std::vector<int> outlineColumnWidths(int viewWidth, const std::vector<int>& neededWidths,
                                     const std::vector<Column>& columns = outlineColumns());

} // namespace corvid

class CacheOutlineView : public QTreeView {
    Q_OBJECT

public:
    explicit CacheOutlineView(QWidget* parent = nullptr);

    // Not owned; must outlive the view's use.
    void setOutlineModel(OutlineModel* model);
    OutlineModel* outlineModel() const { return m_model; }
    // The nearest plain scroll area around the view, looked for from its parent's parent on; null
    // for none, as in the main window: the view scrolls its rows itself.
    QScrollArea* parentScrollView() const;
    // Scrollers, corner, columns and cells; once, before the window is shown.
    void setupOutlineView();
    // Called before a triangle is drawn, to choose its images.
    void setWillDisplayOutlineCell(std::function<void(corvid::DisclosureCell&)> willDisplay);

    // Rows are visible rows. The first selected row, -1 for none.
    int selectedRow() const;
    int numberOfSelectedRows() const;
    bool isRowSelected(int row) const;
    bool isItemSelected(const FrameCacheEntry* item) const;
    // Selects a row, alone unless `byExtendingSelection`, and makes it visible.
    void selectRow(int row, bool byExtendingSelection);
    void deselectRow(int row);
    void deselectAll();
    // Deselects the rows of many items at once.
    void deselectItems(const std::vector<const FrameCacheEntry*>& items);

    // Collapsing deselects what it hides.
    void expandItem(FrameCacheEntry* item, bool expandChildren);
    void collapseItem(FrameCacheEntry* item, bool collapseChildren);
    void expandItems(const std::vector<FrameCacheEntry*>& items);
    void collapseItems(const std::vector<FrameCacheEntry*>& items);

    // To be called around a rebuild of the tree: the first forgets every node. In between the view
    // shows the rows it had, or, when it had none or is resized, the placeholder text. When the row
    // with the keyboard is gone, the next that is left has it afterwards, or the last before it.
    corvid::OutlineState takeState();
    void restoreState(const corvid::OutlineState& state);

    // The context menu, not owned. It is offered for what is selected, never otherwise.
    void setMenu(QMenu* menu);
    QMenu* menu() const { return m_menu; }
    QMenu* menuForEvent() const;

    // A quiet line in place of rows; empty for none.
    void setPlaceholderText(const QString& text);
    QString placeholderText() const { return m_placeholder; }

    // Where the disclosure triangle of a first-column cell is.
    static QRect disclosureRect(const QRect& cell, int depth);

signals:
    void selectionDidChange();

protected:
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                 const QModelIndex& index) const override;
    void drawBranches(QPainter* painter, const QRect& rect,
                      const QModelIndex& index) const override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void doItemsLayout() override;
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void selectionChanged(const QItemSelection& selected,
                          const QItemSelection& deselected) override;

private:
    void setupScrollers();
    void setupColumns();
    void layOutColumns();
    void follow(const QEvent& event);
    void drawDisclosure(QPainter* painter, const QRect& cell, const QModelIndex& index) const;
    QModelIndex cellOfTriangleAt(const QPoint& position) const;
    void toggle(FrameCacheEntry* item, bool withChildren);
    bool stepIntoOrOpen(int row, bool withChildren);
    bool stepOutOrClose(int row, bool withChildren);
    void openMenuAtKeyboard();
    int nearestRowLeft(const corvid::OutlineState& state) const;
    std::vector<FrameCacheEntry*> selectedItems() const;
    void select(const std::vector<FrameCacheEntry*>& items);
    template <class Change>
    void changeKeepingSelection(Change change);

    OutlineModel* m_model = nullptr;
    corvid::OutlineTextWidths m_textWidths;
    std::vector<int> m_neededWidths; // of the columns after the first
    // Held down since it was pressed; invalid when its row has gone meanwhile.
    std::optional<QPersistentModelIndex> m_pressedTriangle;
    std::optional<QPoint> m_mouse; // where it is in the viewport
    QPointer<QMenu> m_menu;
    QString m_placeholder;
    std::function<void(corvid::DisclosureCell&)> m_willDisplay;
    mutable corvid::DisclosureCell m_disclosure;
    mutable std::unordered_set<const FrameCacheEntry*> m_selected; // filled when asked for
    mutable bool m_isSelectedKnown = false;
    bool m_isChangingRows = false;
};

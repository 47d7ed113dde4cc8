#pragma once

#include <QHeaderView>

namespace corvid {

// The outline's header: every section a DarkHeaderCell, and an empty one beyond the last section.
class DarkHeaderView : public QHeaderView {
    Q_OBJECT

public:
    explicit DarkHeaderView(Qt::Orientation orientation, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
    void paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const override;
    QSize sectionSizeFromContents(int logicalIndex) const override;

private:
    QString titleOf(int logicalIndex) const;
};

} // namespace corvid

#include "MacCacheManager/ToolbarView.h"

#include "MacCacheManager/ImageResources.h"
#include "MacCacheManager/UISettings.h"

#include <QAbstractButton>
#include <QPainter>

namespace {

QAbstractButton* dressedButton(const QWidget& toolbar, const QString& name, const QString& image) {
    auto* button = toolbar.findChild<QAbstractButton*>(name);
    if (button == nullptr) {
        return nullptr;
    }
    QPalette palette = button->palette();
    palette.setColor(QPalette::ButtonText, UISettings::instance()->getClrTextOutlineView());
    button->setPalette(palette);
    button->setIcon(corvid::imageNamed(image));
    return button;
}

} // namespace

void ToolbarView::awakeFromNib() {
    m_btnDelete =
        dressedButton(*this, QStringLiteral("m_btnDelete"), QStringLiteral("toolbar_delete"));
    m_btnRefresh =
        dressedButton(*this, QStringLiteral("m_btnRefresh"), QStringLiteral("toolbar_refresh"));
    m_btnFinder =
        dressedButton(*this, QStringLiteral("m_btnFinder"), QStringLiteral("toolbar_finder"));
    m_btnSettings =
        dressedButton(*this, QStringLiteral("m_btnSettings"), QStringLiteral("toolbar_settings"));
}

void ToolbarView::paintEvent(QPaintEvent* /*event*/) {
    QPainter(this).fillRect(rect(), UISettings::instance()->getClrFillToolbar());
}

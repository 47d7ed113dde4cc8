#include "MacCacheManager/ToolbarView.h"

#include "MacCacheManager/ImageResources.h"
#include "MacCacheManager/UISettings.h"

#include <QAbstractButton>
#include <QPainter>

namespace {

struct ButtonImage {
    const char* button;
    const char* image;
};

constexpr ButtonImage kButtonImages[] = {{"m_btnDelete", "toolbar_delete"},
                                         {"m_btnRefresh", "toolbar_refresh"},
                                         {"m_btnFinder", "toolbar_finder"},
                                         {"m_btnSettings", "toolbar_settings"}};

void dress(QAbstractButton& button, const char* image) {
    QPalette palette = button.palette();
    palette.setColor(QPalette::ButtonText, UISettings::instance()->getClrTextOutlineView());
    button.setPalette(palette);
    button.setIcon(corvid::imageNamed(QLatin1String(image)));
}

} // namespace

void ToolbarView::awakeFromNib() {
    for (QAbstractButton* button : findChildren<QAbstractButton*>()) {
        for (const ButtonImage& row : kButtonImages) {
            if (button->objectName() == QLatin1String(row.button)) {
                dress(*button, row.image);
            }
        }
    }
}

void ToolbarView::paintEvent(QPaintEvent* /*event*/) {
    QPainter(this).fillRect(rect(), UISettings::instance()->getClrFillToolbar());
}

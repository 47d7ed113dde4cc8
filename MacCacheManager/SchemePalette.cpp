#include "MacCacheManager/SchemePalette.h"

#include "MacCacheManager/UISettings.h"

namespace corvid {

QPalette schemePalette(const UISettings& colors) {
    constexpr float kFaded = 0.5F;
    const QColor fill = colors.getClrFillPrimary();
    const QColor text = colors.getClrTextOutlineView();
    QColor faded = text;
    faded.setAlphaF(kFaded);
    QPalette scheme(colors.getClrFillToolbar(), fill);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                            QPalette::ToolTipText, QPalette::HighlightedText, QPalette::Link}) {
        scheme.setColor(role, text);
        scheme.setColor(QPalette::Disabled, role, faded);
    }
    scheme.setColor(QPalette::PlaceholderText, faded);
    scheme.setColor(QPalette::Base, colors.getClrFillSecondary());
    scheme.setColor(QPalette::AlternateBase, fill);
    scheme.setColor(QPalette::ToolTipBase, colors.getClrFillToolbar());
    scheme.setColor(QPalette::Highlight, colors.getClrOutlineViewHighlight());
    return scheme;
}

} // namespace corvid

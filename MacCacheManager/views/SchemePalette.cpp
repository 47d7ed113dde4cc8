#include "MacCacheManager/views/SchemePalette.h"

#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/views/StateColors.h"

namespace corvid {

namespace {

// A text's colour on its surface, and how it is when it cannot be used.
void setText(QPalette& scheme, QPalette::ColorRole role, const QColor& surface,
             const QColor& text) {
    const QColor legible = legibleText(surface, text);
    scheme.setColor(role, legible);
    scheme.setColor(QPalette::Disabled, role, stateColor({surface}, legible));
}

} // namespace

QPalette schemePalette(const UISettings& colors) {
    const QColor window = colors.getClrFillPrimary();
    const QColor base = colors.getClrFillSecondary();
    const QColor button = colors.getClrFillToolbar();
    const QColor text = colors.getClrTextOutlineView();
    QPalette scheme(button, window);
    scheme.setColor(QPalette::Base, base);
    scheme.setColor(QPalette::AlternateBase, window);
    scheme.setColor(QPalette::ToolTipBase, button);
    setText(scheme, QPalette::WindowText, window, text);
    setText(scheme, QPalette::Link, window, text);
    setText(scheme, QPalette::Text, base, text);
    setText(scheme, QPalette::ButtonText, button, text);
    setText(scheme, QPalette::ToolTipText, button, text);
    scheme.setColor(QPalette::PlaceholderText, stateColor({base}, scheme.color(QPalette::Text)));
    const QColor highlight = stateColor({window, base, button}, scheme.color(QPalette::WindowText));
    scheme.setColor(QPalette::Highlight, highlight);
    const bool isDark = contrastRatio(highlight, Qt::white) > contrastRatio(highlight, Qt::black);
    scheme.setColor(QPalette::HighlightedText, isDark ? Qt::white : Qt::black);
    return scheme;
}

} // namespace corvid

#pragma once

#include <QPalette>

class UISettings;

namespace corvid {

// The scheme's colours in the toolkit's roles, for the window and for everything that it opens.
// Texts are the scheme's where these can be read, and else as near as can be read; what is
// highlighted, and texts of what is disabled, stand out from their surfaces as marks do.
QPalette schemePalette(const UISettings& colors);

} // namespace corvid

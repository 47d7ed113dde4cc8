#pragma once

#include <QPalette>

class UISettings;

namespace corvid {

// The scheme's colours in the toolkit's roles, for the window and for everything that it opens.
QPalette schemePalette(const UISettings& colors);

} // namespace corvid

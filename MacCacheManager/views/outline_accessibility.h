#pragma once

// What a screen reader and its like learn of the outline, and what they can do with it. Qt's own
// account of a tree view asks a model with parents and children; the outline is a table of visible
// rows, which only it can tell are open or closed.

class CacheOutlineView;

namespace corvid {

// From then on every outline is described so: a tree of column titles and cells, the first cell of
// a row saying whether it is open. Its rows are selected as a table's; "Toggle" opens or closes a
// row, "Press" selects it alone.
void makeOutlinesAccessible();

// Tells those who listen that a row has been opened or closed; nothing for a row of -1.
void tellRowOpenedOrClosed(CacheOutlineView& view, int row);

} // namespace corvid

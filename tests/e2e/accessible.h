#pragma once

// What the running program tells the accessibility layer: every window, button, label and cell with
// its name and its place on the screen. Lets a test find what a user would look for, and click
// there.

#include <QPoint>
#include <QRect>
#include <QString>

#include <string>
#include <vector>

namespace corvid::test {

class XSession;

struct Accessible {
    std::string
        role; // "frame", "dialog", "button", "label", "table cell", "tree item", "menu item", ...
    std::string name;
    QRect place; // on the screen
    bool isShowing = false;
    bool isSelected = false;
    bool isChecked = false;
    bool isExpandable = false;
    bool isExpanded = false;
    bool isEnabled = false;
    std::string service; // where the program answers for it
    std::string path;
    std::vector<Accessible> children;

    // All showing members of this tree with this name and, if given, role; in the order of the
    // tree.
    std::vector<const Accessible*> all(const std::string& wantedName,
                                       const std::string& wantedRole = {}) const;
    // All showing members with this role.
    std::vector<const Accessible*> allWithRole(const std::string& wantedRole) const;
};

// The tree of the session's program as it is now; an empty node while the program has none.
Accessible readAccessibleTree(XSession& session);
// Waits until exactly one showing member has the name (and role) and returns a copy; throws with
// the names that are showing when it does not come.
Accessible waitForAccessible(XSession& session, const std::string& name,
                             const std::string& role = {});
// Waits for it and clicks in its middle.
void clickOn(XSession& session, const std::string& name, const std::string& role = {});
// The names of what a screen reader can have done with an element, and the doing of one of them;
// whether there was such an action.
std::vector<std::string> actionsOf(XSession& session, const Accessible& element);
bool doAction(XSession& session, const Accessible& element, const std::string& action);
// The selected rows of a table, and the adding of one to them; whether it was added.
std::vector<int> selectedRowsOf(XSession& session, const Accessible& table);
bool selectRowOf(XSession& session, const Accessible& table, int row);
// The tree as indented text, for messages.
std::string toText(const Accessible& tree);

} // namespace corvid::test

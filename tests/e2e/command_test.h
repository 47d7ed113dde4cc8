#pragma once

// What tests of the commands share: the rows of the outline as they stand on the screen, answers to
// dialogs, and what is on the disk.

#include "store/PISSMD5.h"
#include "tests/e2e/accessible.h"
#include "tests/e2e/program_test.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace corvid::test {

// Relative path -> bytes of every file below a folder, and "/" for a folder.
using Contents = std::map<std::string, std::string>;

class CommandProgramTest : public ProgramTest {
protected:
    static SampleOptions smallCache(int projects, int compositions = 1, int features = 2) {
        SampleOptions options;
        options.projects = projects;
        options.compositions = compositions;
        options.features = features;
        options.frames = 3;
        return options;
    }
    void open() { window = startProgram(); }

    Contents contents(const std::string& folder) const {
        Contents all;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            all[entry.path().lexically_relative(folder).string()] =
                entry.is_regular_file() ? readFile(entry.path().string()) : "/";
        }
        return all;
    }
    // The file name that the outline shows for a project's key.
    static std::string shownName(const SampleProject& project) {
        return std::filesystem::path(project.node.name).filename().string();
    }

    // The names in the first column, from the top.
    std::vector<std::string> rows() {
        const Accessible tree = readAccessibleTree(session);
        std::vector<std::string> names;
        const std::vector<const Accessible*> views = tree.allWithRole("tree");
        if (!views.empty()) {
            for (const Accessible& child : views.front()->children) {
                if (child.role == "tree item" && child.isShowing &&
                    child.place.x() == views.front()->place.x()) {
                    names.push_back(child.name);
                }
            }
        }
        return names;
    }
    // Waits until these are the rows; the rows as they are then.
    std::vector<std::string> rowsBecoming(const std::vector<std::string>& wanted) {
        std::vector<std::string> now;
        waitFor([&] { return (now = rows()) == wanted; }, std::chrono::seconds(20));
        return now;
    }
    void clickRow(const std::string& name, MouseButton button = MouseButton::Left,
                  const std::string& modifier = {}) {
        const Accessible row = waitForAccessible(session, name, "tree item");
        session.clickOnScreen(row.place.center(), button, modifier);
        session.waitUntilIdle(window.id);
    }
    void press(const std::string& key) {
        session.pressKey(window.id, key);
        session.waitUntilIdle(window.id);
    }
    // Waits for a dialog's button and clicks it; the dialog is gone afterwards.
    void answer(const std::string& button) {
        clickOn(session, button, "push button");
        waitFor([&] { return readAccessibleTree(session).all(button, "push button").empty(); });
        session.waitUntilIdle(window.id);
    }
    // Whether a label with this text is on the screen, once it had time to come.
    bool shows(const std::string& text) { return waitForAccessible(session, text).isShowing; }

    XWindow window;
};

} // namespace corvid::test

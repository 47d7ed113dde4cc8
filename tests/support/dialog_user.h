#pragma once

// A user who answers the dialogs that come up, by clicking what stands in them.

#include <QPointer>
#include <QTimer>

#include <deque>
#include <functional>
#include <string>
#include <vector>

class QDialog;

namespace corvid::test {

// What an alert or a folder chooser showed to the user.
struct ShownDialog {
    std::string title;   // of an alert the large text, of a chooser what stands in its title bar
    std::string message; // of a chooser the folder in which it opened
    std::vector<std::string> buttons;
    std::string defaultButton;
    bool isPlain = true; // whether all labels show their texts as they are, never as markup
};

// Answers dialogs in the order in which they come up, by clicking their buttons. A dialog for which
// there is no answer fails the test and is dismissed.
class DialogUser {
public:
    DialogUser();

    // The button to click in the next alert.
    void willClick(const std::string& button);
    void willPressEscape();
    // The path to enter into the next folder chooser, and the button to click then. When the
    // chooser reads anything else from it, the test fails and the chooser is dismissed: what
    // follows would be done to another folder.
    void willChoose(const std::string& folder, const std::string& button = "Choose folder");
    // Anything else to do with the next dialog; it must close it.
    void will(std::function<void(QDialog&)> answer) { m_answers.push_back(std::move(answer)); }

    const std::vector<ShownDialog>& seen() const { return m_seen; }
    void forgetSeen() { m_seen.clear(); }
    bool hasAnsweredAll() const { return m_answers.empty(); }

    static void click(QDialog& dialog, const std::string& text);

private:
    void look();

    QTimer m_timer;
    QPointer<QDialog> m_last;
    std::deque<std::function<void(QDialog&)>> m_answers;
    std::vector<ShownDialog> m_seen;
};

} // namespace corvid::test

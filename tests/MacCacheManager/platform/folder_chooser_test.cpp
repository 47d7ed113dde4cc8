#include "MacCacheManager/platform/folder_chooser.h"

#include "tests/support/command_fixture.h"

#include <QPushButton>
#include <QTreeView>

using namespace corvid::test;
using ::testing::Contains;

namespace {

class FolderChooser : public ProductTest {
protected:
    FolderChooser() {
        makeDirectory(root.path("start"));
        makeDirectory(root.path("start/inside"));
        writeFile(root.path("start/file"), "");
    }
    std::optional<std::string> choose() { return chooseFrom(root.path("start")); }
    static std::optional<std::string> chooseFrom(const std::string& start) {
        const std::optional<QString> chosen =
            corvid::chooseFolder(nullptr, QStringLiteral("Title"), QStringLiteral("Take it"),
                                 QString::fromStdString(start));
        return chosen ? std::optional<std::string>(chosen->toStdString()) : std::nullopt;
    }

    DialogUser user;
};

TEST_F(FolderChooser, ShowsItsTitleAndPromptInTheStartFolder) {
    user.will([](QDialog& dialog) { dialog.reject(); });

    choose();

    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, "Title");
    EXPECT_EQ(user.seen()[0].message, root.path("start"));
    EXPECT_THAT(user.seen()[0].buttons, Contains("Take it"));
}

TEST_F(FolderChooser, GivesTheFolderWithoutASlash) {
    user.willChoose(root.path("start/inside"), "Take it");

    EXPECT_EQ(choose(), root.path("start/inside"));
}

TEST_F(FolderChooser, TakesANameRelativeToTheStartFolder) {
    user.willChoose("inside", "Take it");

    EXPECT_EQ(choose(), root.path("start/inside"));
}

TEST_F(FolderChooser, GivesNothingWhenCancelled) {
    user.will([](QDialog& dialog) { DialogUser::click(dialog, "Cancel"); });

    EXPECT_EQ(choose(), std::nullopt);
}

TEST_F(FolderChooser, GivesNothingWhenEscaped) {
    user.will([](QDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); });

    EXPECT_EQ(choose(), std::nullopt);
}

TEST_F(FolderChooser, GivesTheStartFolderWhenNothingElseIsChosen) {
    user.will([](QDialog& dialog) { DialogUser::click(dialog, "Take it"); });

    EXPECT_EQ(choose(), root.path("start"));
}

TEST_F(FolderChooser, ResolvesLinks) {
    ASSERT_EQ(::symlink(root.path("start/inside").c_str(), root.path("start/link").c_str()), 0);
    user.willChoose(root.path("start/link"), "Take it");

    EXPECT_EQ(choose(), root.path("start/inside"));
}

TEST_F(FolderChooser, GivesANameWithUmlautsAndPercentSigns) {
    makeDirectory(root.path("start/Übersicht 100%1"));
    user.will([this](QDialog& dialog) {
        dynamic_cast<QFileDialog&>(dialog).selectFile(
            QString::fromStdString(root.path("start/Übersicht 100%1")));
        DialogUser::click(dialog, "Take it");
    });

    EXPECT_EQ(choose(), root.path("start/Übersicht 100%1"));
}

TEST_F(FolderChooser, OffersFoldersOnlyAndTheMakingOfNewOnes) {
    bool canCreate = false;
    QFileDialog::FileMode mode = QFileDialog::AnyFile;
    bool foldersOnly = false;
    user.will([&](QDialog& dialog) {
        const auto& chooser = dynamic_cast<QFileDialog&>(dialog);
        mode = chooser.fileMode();
        foldersOnly = chooser.testOption(QFileDialog::ShowDirsOnly);
        const auto* button = dialog.findChild<QToolButton*>(QStringLiteral("newFolderButton"));
        canCreate = button != nullptr && button->isVisible() && button->isEnabled();
        dialog.reject();
    });

    choose();

    EXPECT_EQ(mode, QFileDialog::Directory); // one, and no file
    EXPECT_TRUE(foldersOnly);
    EXPECT_TRUE(canCreate);
}

TEST_F(FolderChooser, DoesNotTakeAFile) {
    bool stayedOpen = false;
    user.will([&](QDialog& dialog) {
        auto* name = dialog.findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        name->setText(QString::fromStdString(root.path("start/file")));
        QTimer::singleShot(0, &dialog, [&] {
            stayedOpen = dialog.isVisible();
            dialog.reject();
        });
        for (auto* button : dialog.findChildren<QPushButton*>()) {
            if (button->text() == QStringLiteral("Take it") && button->isEnabled()) {
                QTest::mouseClick(button, Qt::LeftButton);
            }
        }
    });

    EXPECT_EQ(choose(), std::nullopt);
    EXPECT_TRUE(stayedOpen);
}

TEST_F(FolderChooser, OpensSomewhereWhenTheStartFolderIsGone) {
    user.willChoose(root.path("start/inside"), "Take it");

    EXPECT_EQ(chooseFrom(root.path("gone/long/ago")), root.path("start/inside"));
}

TEST_F(FolderChooser, OpensSomewhereWithoutAStartFolder) {
    user.willChoose(root.path("start/inside"), "Take it");

    EXPECT_EQ(chooseFrom(""), root.path("start/inside"));
}

} // namespace

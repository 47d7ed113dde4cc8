#pragma once

// An outline in a window of its own over a tree made by hand.

#include "MacCacheManager/CacheOutlineView.h"
#include "tests/support/hand_made_tree.h"
#include "tests/support/user_defaults_folder.h"

#include <QApplication>
#include <QMouseEvent>
#include <QStringList>
#include <QTest>

#include <memory>
#include <string>
#include <vector>

namespace corvid::test {

// Projects "alpha", "beta" and "empty"; the first two have compositions "<name> one" and "<name>
// two" with the features Precomp Proxy and Spec Render.
class OutlineTest : public UserDefaultsFolder {
protected:
    OutlineTest() {
        FrameCacheEntry& root = *source.getRootNode();
        for (const char* name : {"alpha", "beta", "empty"}) {
            FrameCacheEntry* project = addNode(root, corvid::kProjectNode, name);
            for (const char* number : {" one", " two"}) {
                if (std::string(name) != "empty") {
                    FrameCacheEntry* composition =
                        addNode(*project, corvid::kCompositionNode, std::string(name) + number);
                    addNode(*composition, corvid::kFeatureNode, "PROXY");
                    addNode(*composition, corvid::kFeatureNode, "SPEC_RENDER");
                }
            }
        }
        view.setOutlineModel(&model);
        view.setupOutlineView();
        model.reloadData();
        view.resize(700, 400);
        view.show();
        view.setFocus();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&view));
    }
    FrameCacheEntry* project(int i) const { return source.getRootNode()->getChildAt(i); }
    QStringList rows() const {
        QStringList names;
        for (int row = 0; row < model.rowCount(); ++row) {
            names << model.index(row, 0).data().toString();
        }
        return names;
    }
    QStringList selected() const {
        QStringList names;
        for (int row = 0; row < model.rowCount(); ++row) {
            if (view.isRowSelected(row)) {
                names << model.index(row, 0).data().toString();
            }
        }
        return names;
    }
    QRect rowRect(int row) const { return view.visualRect(model.index(row, 0)); }
    QPoint triangleAt(int row) const {
        return CacheOutlineView::disclosureRect(rowRect(row),
                                                model.index(row, 0).data(corvid::DepthRole).toInt())
            .center();
    }
    QPoint nameAt(int row) const { return {triangleAt(row).x() + 20, triangleAt(row).y()}; }
    void click(int row, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::mouseClick(view.viewport(), Qt::LeftButton, modifiers, nameAt(row));
    }
    void clickTriangle(int row, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::mouseClick(view.viewport(), Qt::LeftButton, modifiers, triangleAt(row));
    }
    // The pointer goes through all the places with the left button down, from the first to the
    // last.
    void drag(const std::vector<QPoint>& places) {
        QTest::mousePress(view.viewport(), Qt::LeftButton, Qt::NoModifier, places.front());
        moveHeld(places);
        QTest::mouseRelease(view.viewport(), Qt::LeftButton, Qt::NoModifier, places.back());
    }
    void moveHeld(const std::vector<QPoint>& places) {
        for (const QPoint& place : places) {
            QMouseEvent move(QEvent::MouseMove, place, view.viewport()->mapToGlobal(place),
                             Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(view.viewport(), &move);
        }
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(&view, key, modifiers);
    }

    CacheDataSource source;
    OutlineModel model{source};
    CacheOutlineView view;
};

} // namespace corvid::test

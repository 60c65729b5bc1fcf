// How the windows behind menu items are made, kept and shown.
#include "page_window.h"

#include "support/box_answers.h"

#include <QDialog>
#include <gtest/gtest.h>

namespace {

int made = 0;
int initialised = 0;
constexpr int kResult = 7;

class Frame : public QDialog {
public:
    Frame(Cdb_fac_mgr* /*store*/, QWidget* parent) : QDialog(parent) { ++made; }
};

class OtherFrame : public Frame {
    using Frame::Frame;
};

class Dialog : public Frame {
public:
    using Frame::Frame;
    void Init() { ++initialised; }
};

class PageWindows : public testing::Test {
protected:
    PageWindows() { made = initialised = 0; }

    // The dialog that was run.
    const QDialog* run(const PageWindow& window)
    {
        const QDialog* shown = nullptr;
        boxes.expectEditor(QString(), [&shown](QDialog& dialog) {
            shown = &dialog;
            dialog.done(kResult);
        });
        EXPECT_EQ(windows.open(window, nullptr), kResult);
        return shown;
    }

    BoxAnswers boxes;
    QWidget parent;
    Cpage_windows windows{&parent};
};

TEST_F(PageWindows, AFrameIsMadeOnceAndShownAgain)
{
    EXPECT_EQ(windows.open(frame<Frame>(), nullptr), 0);
    auto* const shown = parent.findChild<Frame*>();
    ASSERT_NE(shown, nullptr);
    EXPECT_TRUE(shown->isVisible());
    EXPECT_FALSE(shown->isModal());
    shown->close();
    windows.open(frame<Frame>(), nullptr);
    EXPECT_TRUE(shown->isVisible());
    EXPECT_EQ(made, 1);
}

TEST_F(PageWindows, ItemsOfTheSamePageShareIt)
{
    QWidget* const one = windows.get(remoteFrame<Frame>(), nullptr);
    EXPECT_EQ(windows.get(remoteFrame<Frame>(), nullptr), one);
    EXPECT_NE(windows.get(remoteFrame<OtherFrame>(), nullptr), one);
    EXPECT_EQ(made, 2);
}

TEST_F(PageWindows, ADialogIsTheSameOnEveryOpening)
{
    const QDialog* const first = run(dialog<Dialog>());
    EXPECT_EQ(run(dialog<Dialog>()), first);
    EXPECT_EQ(made, 1);
    EXPECT_EQ(initialised, 0);
}

TEST_F(PageWindows, ADialogWithInitIsInitialisedOnEveryOpening)
{
    const QDialog* const first = run(dialogWithInit<Dialog>());
    EXPECT_EQ(initialised, 1);
    EXPECT_EQ(run(dialogWithInit<Dialog>()), first);
    EXPECT_EQ(initialised, 2);
    EXPECT_EQ(made, 1);
}

} // namespace

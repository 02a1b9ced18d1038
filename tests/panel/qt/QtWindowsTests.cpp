// The Qt event loop's timers, the alerts and the popup job-notes window, driven with QTest input.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include "Screenshots.h"
#include "panel/qt/QtPopupJobNotesWindow.h"
#include "platform/qt/QtAlerts.h"
#include "platform/qt/QtEventLoop.h"

using kelvo::panel::PopupJobNoteAnswer;
using kelvo::panel::PopupJobNoteButton;
using kelvo::panel::PopupJobNoteField;
using kelvo::panel::qt::QtPopupJobNotesWindow;
using kelvo::platform::QtAlerts;
using kelvo::platform::QtEventLoop;
using kelvo::platform::TimerId;

namespace {

/// Runs the event loop until `done` or two seconds pass.
template <typename Done>
bool SpinUntil(Done done) {
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < 2000)
        QTest::qWait(5);
    return done();
}

} // namespace

TEST(QtEventLoop, TimersFireInDelayOrderFromTheLoopOnly) {
    QtEventLoop loop;
    std::vector<std::string> fired;
    loop.InstallTimer(0.03, [&] { fired.push_back("late"); });
    loop.InstallTimer(0, [&] { fired.push_back("now"); });
    loop.InstallTimer(std::nan(""), [&] { fired.push_back("nan"); });
    loop.InstallTimer(-5, [&] { fired.push_back("negative"); });
    // Never from inside InstallTimer.
    EXPECT_TRUE(fired.empty());
    EXPECT_EQ(loop.Pending(), 4u);
    ASSERT_TRUE(SpinUntil([&] { return fired.size() == 4; }));
    EXPECT_EQ(fired, (std::vector<std::string>{"now", "nan", "negative", "late"}));
    EXPECT_EQ(loop.Pending(), 0u);
}

TEST(QtEventLoop, RemovedTimersNeverFireAndRemoveAnswersOnce) {
    QtEventLoop loop;
    int fired = 0;
    const TimerId removed = loop.InstallTimer(0, [&] { fired += 100; });
    const TimerId kept = loop.InstallTimer(0, [&] { ++fired; });
    EXPECT_NE(removed, 0u);
    EXPECT_NE(removed, kept);
    EXPECT_TRUE(loop.RemoveTimer(removed));
    EXPECT_FALSE(loop.RemoveTimer(removed));
    EXPECT_FALSE(loop.RemoveTimer(9999));
    ASSERT_TRUE(SpinUntil([&] { return fired != 0; }));
    QTest::qWait(20);
    EXPECT_EQ(fired, 1);
    // A fired timer is forgotten.
    EXPECT_FALSE(loop.RemoveTimer(kept));
}

TEST(QtEventLoop, ACallbackReArmsItselfAndRemovesAnother) {
    QtEventLoop loop;
    int polls = 0;
    bool victimFired = false;
    TimerId self = 0;
    const TimerId victim = loop.InstallTimer(0.05, [&] { victimFired = true; });
    std::function<void()> poll = [&] {
        // Its own id has fired: removing it answers false.
        EXPECT_FALSE(loop.RemoveTimer(self));
        if (++polls == 3) {
            EXPECT_TRUE(loop.RemoveTimer(victim));
        }
        if (polls < 5)
            self = loop.InstallTimer(0.001, poll);
    };
    self = loop.InstallTimer(0, poll);
    ASSERT_TRUE(SpinUntil([&] { return polls == 5; }));
    QTest::qWait(80);
    EXPECT_EQ(polls, 5);
    EXPECT_FALSE(victimFired);
    EXPECT_EQ(loop.Pending(), 0u);
}

TEST(QtEventLoop, DestroyingTheLoopDropsItsTimers) {
    bool fired = false;
    {
        QtEventLoop loop;
        loop.InstallTimer(0, [&] { fired = true; });
    }
    QTest::qWait(20);
    EXPECT_FALSE(fired);
}

TEST(QtAlerts, ShowsAWarningWithTheGivenTitleTextAndButton) {
    QWidget parent;
    QtAlerts alerts(&parent);
    QString title, text, button;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    bool modal = false;
    QTimer::singleShot(0, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        title = box->windowTitle();
        text = box->text();
        icon = box->icon();
        modal = box->isModal();
        EXPECT_EQ(box->parentWidget(), &parent);
        ASSERT_EQ(box->buttons().size(), 1);
        button = box->buttons().front()->text();
        QTest::mouseClick(box->buttons().front(), Qt::LeftButton);
    });
    alerts.ShowAlert("Printer address", "Schließen", "The address is not valid.");
    EXPECT_EQ(title, QStringLiteral("Printer address"));
    EXPECT_EQ(text, QStringLiteral("The address is not valid."));
    EXPECT_EQ(button, QString::fromUtf8("Schließen"));
    EXPECT_EQ(icon, QMessageBox::Warning);
    EXPECT_TRUE(modal);
}

namespace {

const std::vector<PopupJobNoteField> kFields = {
    {"Account", "ACC-1", false},
    {"PIN", "", true},
};

QLineEdit* Field(QDialog* dialog, int i) { return dialog->findChild<QLineEdit*>(QStringLiteral("field%1").arg(i)); }

QPushButton* Button(QDialog* dialog, QDialogButtonBox::StandardButton which) {
    auto* box = dialog->findChild<QDialogButtonBox*>();
    return box ? box->button(which) : nullptr;
}

void ClickAlways(QDialog* dialog) {
    auto* always = dialog->findChild<QCheckBox*>(QStringLiteral("always"));
    ASSERT_NE(always, nullptr);
    QTest::mouseClick(always, Qt::LeftButton, Qt::NoModifier, QPoint(8, always->height() / 2));
}

} // namespace

TEST(QtPopupJobNotesWindow, BuildsOneRowPerFieldWithSecureFieldsMasked) {
    QtPopupJobNotesWindow window;
    ASSERT_TRUE(window.Open("Job notes", kFields, true));
    QDialog* dialog = window.Dialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowTitle(), QStringLiteral("Job notes"));
    ASSERT_NE(Field(dialog, 0), nullptr);
    ASSERT_NE(Field(dialog, 1), nullptr);
    EXPECT_EQ(Field(dialog, 2), nullptr);
    EXPECT_EQ(Field(dialog, 0)->text(), QStringLiteral("ACC-1"));
    EXPECT_EQ(Field(dialog, 0)->echoMode(), QLineEdit::Normal);
    EXPECT_EQ(Field(dialog, 1)->echoMode(), QLineEdit::Password);
    QTest::keyClicks(Field(dialog, 1), "4321");
    EXPECT_EQ(Field(dialog, 1)->text(), QStringLiteral("4321"));
    EXPECT_NE(Field(dialog, 1)->displayText(), QStringLiteral("4321"));
    // Labels are the fields' buddies, so Alt+letter and screen readers find them.
    int buddies = 0;
    for (QLabel* label : dialog->findChildren<QLabel*>())
        buddies += label->buddy() == Field(dialog, 0) || label->buddy() == Field(dialog, 1);
    EXPECT_EQ(buddies, 2);
    EXPECT_TRUE(dialog->findChild<QCheckBox*>(QStringLiteral("always"))->isChecked());
    dialog->adjustSize();
    EXPECT_FALSE(kelvotest::SaveScreenshot(*dialog, "popup-job-notes.png").empty());
    window.Close();
    EXPECT_EQ(window.Dialog(), nullptr);
}

TEST(QtPopupJobNotesWindow, RefusesNoFieldsAndMoreThanFive) {
    QtPopupJobNotesWindow window;
    const std::vector<PopupJobNoteField> six(6, PopupJobNoteField{"N", "", false});
    EXPECT_FALSE(window.Open("t", {}, false));
    EXPECT_FALSE(window.Open("t", six, false));
    EXPECT_EQ(window.Dialog(), nullptr);
    // No window: a session answers Cancel at once instead of blocking.
    EXPECT_EQ(window.RunModal().button, PopupJobNoteButton::kCancel);
}

TEST(QtPopupJobNotesWindow, ButtonsAnswerEachPath) {
    // Each row: what the user does while the session runs, and the answer.
    struct Row {
        const char* name;
        std::function<void(QDialog*)> act;
        PopupJobNoteButton button;
        std::vector<std::string> fields;
    };
    const Row rows[] = {
        {"ok after typing",
         [](QDialog* d) {
             // The pre-filled field comes up selected: End keeps its text.
             QTest::keyClick(Field(d, 0), Qt::Key_End);
             QTest::keyClicks(Field(d, 0), "-X");
             QTest::keyClicks(Field(d, 1), "pw");
             QTest::mouseClick(Button(d, QDialogButtonBox::Ok), Qt::LeftButton);
         },
         PopupJobNoteButton::kOK,
         {"ACC-1-X", "pw"}},
        {"cancel", [](QDialog* d) { QTest::mouseClick(Button(d, QDialogButtonBox::Cancel), Qt::LeftButton); },
         PopupJobNoteButton::kCancel, {}},
        {"escape", [](QDialog* d) { QTest::keyClick(d, Qt::Key_Escape); }, PopupJobNoteButton::kCancel, {}},
        {"closing the window", [](QDialog* d) { d->close(); }, PopupJobNoteButton::kCancel, {}},
        {"always", [](QDialog* d) { ClickAlways(d); }, PopupJobNoteButton::kAlways, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        QtPopupJobNotesWindow window;
        ASSERT_TRUE(window.Open("Job notes", kFields, false));
        QDialog* dialog = window.Dialog();
        QTimer::singleShot(0, dialog, [&] { row.act(dialog); });
        const PopupJobNoteAnswer answer = window.RunModal();
        EXPECT_EQ(answer.button, row.button);
        EXPECT_EQ(answer.fields, row.fields);
        window.Close();
    }
}

TEST(QtPopupJobNotesWindow, AlwaysLeavesTheWindowOpenForTheNextSession) {
    QtPopupJobNotesWindow window;
    ASSERT_TRUE(window.Open("Job notes", kFields, false));
    QDialog* dialog = window.Dialog();
    QTimer::singleShot(0, dialog, [&] { ClickAlways(dialog); });
    EXPECT_EQ(window.RunModal().button, PopupJobNoteButton::kAlways);
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(window.Dialog(), dialog);
    EXPECT_TRUE(dialog->findChild<QCheckBox*>(QStringLiteral("always"))->isChecked());
    // The second session sees what the first left: the typed text stays.
    QTimer::singleShot(0, dialog, [&] {
        QTest::keyClicks(Field(dialog, 1), "77");
        QTest::mouseClick(Button(dialog, QDialogButtonBox::Ok), Qt::LeftButton);
    });
    const PopupJobNoteAnswer answer = window.RunModal();
    EXPECT_EQ(answer.button, PopupJobNoteButton::kOK);
    EXPECT_EQ(answer.fields, (std::vector<std::string>{"ACC-1", "77"}));
    window.Close();
    EXPECT_EQ(window.Dialog(), nullptr);
}

TEST(QtPopupJobNotesWindow, IsModalOverItsParent) {
    QWidget parent;
    QtPopupJobNotesWindow window(&parent);
    ASSERT_TRUE(window.Open("Job notes", kFields, false));
    EXPECT_EQ(window.Dialog()->parentWidget(), &parent);
    bool modal = false;
    QTimer::singleShot(0, window.Dialog(), [&] {
        modal = QApplication::activeModalWidget() == window.Dialog();
        QTest::mouseClick(Button(window.Dialog(), QDialogButtonBox::Cancel), Qt::LeftButton);
    });
    window.RunModal();
    EXPECT_TRUE(modal);
    window.Close();
}

// The control editors driven through QTest input: what each kind shows,
// what reaches the document, greyed choices and the resolution dialog.
#include <memory>
#include <string>
#include <vector>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>
#include <gtest/gtest.h>

#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/QJVPPD.h"
#include "TestSupport.h"
#include "panel/qt/ControlEditor.h"
#include "panel/qt/ResolveDialog.h"
#include "platform/StringsTable.h"

using kelvo::panel::qt::ControlEditor;
using kelvo::panel::qt::ResolveDialogPrompt;

namespace {

/// The sample document and a shown window to hold editors.
class EditorTest : public ::testing::Test {
protected:
    void SetUp() override {
        mDoc.reset(new QJVPPD(kelvotest::SamplePath("kelvo-sample.ppd"), kParseAll));
        ASSERT_TRUE(mDoc->IsValidPPD());
        mWindow = std::make_unique<QWidget>();
        mColumn = new QVBoxLayout(mWindow.get());
        mWindow->resize(400, 300);
        mWindow->show();
    }

    /// The editor of `keyword`, its label and field placed in the window.
    ControlEditor* Make(const char* keyword) {
        PPDXControl* control = mDoc->GetPPDXControlForKey(keyword);
        if (!control)
            return nullptr;
        auto editor = ControlEditor::Create(*control, *mDoc, mStrings, mWindow.get());
        if (!editor)
            return nullptr;
        if (editor->Label())
            mColumn->addWidget(editor->Label());
        mColumn->addWidget(editor->Field());
        mEditors.push_back(std::move(editor));
        return mEditors.back().get();
    }

    std::string Value(const char* keyword) { return mDoc->CopyValueForKey(keyword).value_or("<none>"); }

    static void ClickBox(QCheckBox* box) {
        QTest::mouseClick(box, Qt::LeftButton, Qt::NoModifier, QPoint(8, box->height() / 2));
    }

    /// Types `text` over the whole content of a spin box and confirms it.
    static void TypeInto(QAbstractSpinBox* spin, const QString& text) {
        spin->selectAll();
        QTest::keyClicks(spin, text);
        QTest::keyClick(spin, Qt::Key_Return);
    }

    QJVPPDRef mDoc;
    kelvo::platform::StringsTable mStrings;
    std::unique_ptr<QWidget> mWindow;
    QVBoxLayout* mColumn = nullptr;
    std::vector<std::unique_ptr<ControlEditor>> mEditors;
};

} // namespace

TEST_F(EditorTest, EachKindGetsItsWidgetShowingTheValue) {
    struct Row {
        const char* keyword;
        const char* widgetClass; // null: no editor
        QString shown;           // current text / value as text
        bool hasLabel;
    } rows[] = {
        {"*PageSize", "QComboBox", "Letter", true},
        {"*QJFinisherModel", "QComboBox", QString::fromUtf8("Kelvo® Booklet Maker F400"), true},
        {"*QJInsertSheets", "QWidget", "BeforeFirst", true},
        {"*QJCollate", "QCheckBox", "true", false},
        {"*QJReversePrint", "QCheckBox", "false", false},
        {"*QJCopies", "QSpinBox", "1", true},
        {"*QJBrightness", "QSpinBox", "0", true},
        {"*QJGamma", "QDoubleSpinBox", "1.8", true},
        {"*Notes2", "QWidget", "Deliver to the mail room", true},
        {"*CustomPrintSize", nullptr, "", false},
        {"*QJControllerModel", nullptr, "", false},
        {"*QJSmoothing", nullptr, "", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.keyword);
        ControlEditor* editor = Make(row.keyword);
        if (!row.widgetClass) {
            EXPECT_EQ(editor, nullptr);
            continue;
        }
        ASSERT_NE(editor, nullptr);
        QWidget* field = editor->Field();
        EXPECT_STREQ(field->metaObject()->className(), row.widgetClass);
        EXPECT_EQ(field->objectName(), QString::fromUtf8(row.keyword + 1));
        EXPECT_FALSE(field->accessibleName().isEmpty());
        EXPECT_EQ(editor->Label() != nullptr, row.hasLabel);
        if (editor->Label()) {
            EXPECT_EQ(editor->Label()->text(), field->accessibleName() + ":");
            EXPECT_NE(editor->Label()->buddy(), nullptr);
        }
        QString shown;
        if (auto* combo = qobject_cast<QComboBox*>(field))
            shown = combo->currentText();
        else if (auto* box = qobject_cast<QCheckBox*>(field))
            shown = box->isChecked() ? "true" : "false";
        else if (auto* spin = qobject_cast<QSpinBox*>(field))
            shown = QString::number(spin->value());
        else if (auto* dspin = qobject_cast<QDoubleSpinBox*>(field))
            shown = QString::number(dspin->value());
        else if (auto* edit = field->findChild<QLineEdit*>())
            shown = edit->text();
        else
            for (QCheckBox* box : field->findChildren<QCheckBox*>())
                if (box->isChecked())
                    shown += box->objectName();
        EXPECT_EQ(shown, row.shown);
    }
}

TEST_F(EditorTest, KeyboardChoiceReachesTheDocument) {
    ControlEditor* editor = Make("*PageSize");
    ASSERT_NE(editor, nullptr);
    QSignalSpy changed(editor, &ControlEditor::valueChanged);
    auto* combo = qobject_cast<QComboBox*>(editor->Field());
    QTest::keyClick(combo, Qt::Key_Down);
    EXPECT_EQ(Value("*PageSize"), "Legal");
    EXPECT_EQ(combo->currentText(), "Legal");
    EXPECT_EQ(changed.count(), 1);

    // ApplyValue goes the same way and shows the value.
    editor->ApplyValue("A3");
    EXPECT_EQ(Value("*PageSize"), "A3");
    EXPECT_EQ(combo->currentText(), "A3");
    EXPECT_EQ(changed.count(), 2);
}

TEST_F(EditorTest, ConstrainedChoicesAreGreyedWithTheReason) {
    ASSERT_TRUE(mDoc->SetValueForKey("*QJDuplex", "DuplexNoTumble"));
    ControlEditor* editor = Make("*MediaType");
    ASSERT_NE(editor, nullptr);
    auto* combo = qobject_cast<QComboBox*>(editor->Field());
    struct Row {
        const char* choice;
        bool greyed;
        const char* tip;
    } rows[] = {
        {"Plain", false, ""},
        {"Transparency", true, "Conflicts with Two-Sided Printing: Long-Edge Binding"},
        {"Labels", true, "Conflicts with Two-Sided Printing: Long-Edge Binding"},
        {"Glossy", false, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.choice);
        const int index = combo->findData(QString(row.choice));
        ASSERT_GE(index, 0);
        EXPECT_EQ(combo->itemData(index, Qt::ForegroundRole).isValid(), row.greyed);
        EXPECT_EQ(combo->itemData(index, Qt::ToolTipRole).toString(), QString(row.tip));
    }

    // Still forbidden, now for another reason: the list says the new one
    // when it opens.
    ASSERT_TRUE(mDoc->SetValueForKey("*QJDuplex", "DuplexTumble"));
    editor->Regrey();
    combo->showPopup();
    EXPECT_EQ(combo->itemData(combo->findData(QString("Transparency")), Qt::ToolTipRole).toString(),
              QString("Conflicts with Two-Sided Printing: Short-Edge Binding"));
    combo->hidePopup();

    // Once the conflict is gone the greying goes too.
    ASSERT_TRUE(mDoc->SetValueForKey("*QJDuplex", "None"));
    editor->Regrey();
    const int transparency = combo->findData(QString("Transparency"));
    EXPECT_FALSE(combo->itemData(transparency, Qt::ForegroundRole).isValid());
    EXPECT_TRUE(combo->itemData(transparency, Qt::ToolTipRole).toString().isEmpty());
}

TEST_F(EditorTest, PickingAForbiddenChoiceLeavesTheValue) {
    ASSERT_TRUE(mDoc->SetValueForKey("*MediaType", "Transparency"));
    ControlEditor* editor = Make("*QJDuplex");
    ASSERT_NE(editor, nullptr);
    QSignalSpy conflict(editor, &ControlEditor::conflictingChoice);
    QSignalSpy changed(editor, &ControlEditor::valueChanged);
    auto* combo = qobject_cast<QComboBox*>(editor->Field());
    QTest::keyClick(combo, Qt::Key_Down); // Off -> Long-Edge Binding, forbidden
    ASSERT_EQ(conflict.count(), 1);
    EXPECT_EQ(conflict.at(0).at(1).toString(), "DuplexNoTumble");
    EXPECT_EQ(changed.count(), 0);
    EXPECT_EQ(Value("*QJDuplex"), "None");
    EXPECT_EQ(combo->currentText(), "Off");
}

TEST_F(EditorTest, BooleanClicksAndConflicts) {
    ControlEditor* collate = Make("*QJCollate");
    ASSERT_NE(collate, nullptr);
    ClickBox(qobject_cast<QCheckBox*>(collate->Field()));
    EXPECT_EQ(Value("*QJCollate"), "False");

    // A stapled job cannot become a booklet.
    ASSERT_TRUE(mDoc->SetValueForKey("*QJStaple", "TopLeft"));
    ControlEditor* booklet = Make("*QJBooklet");
    ASSERT_NE(booklet, nullptr);
    auto* box = qobject_cast<QCheckBox*>(booklet->Field());
    EXPECT_EQ(box->toolTip(), "Conflicts with Staple: One, Top Left");
    QSignalSpy conflict(booklet, &ControlEditor::conflictingChoice);
    ClickBox(box);
    ASSERT_EQ(conflict.count(), 1);
    EXPECT_EQ(conflict.at(0).at(1).toString(), "True");
    EXPECT_FALSE(box->isChecked());
    EXPECT_EQ(Value("*QJBooklet"), "False");

    // Unstapled, the same box is free again.
    ASSERT_TRUE(mDoc->SetValueForKey("*QJStaple", "None"));
    booklet->Regrey();
    EXPECT_TRUE(box->toolTip().isEmpty());
    ClickBox(box);
    EXPECT_EQ(Value("*QJBooklet"), "True");
}

TEST_F(EditorTest, PickManyTogglesEachChoice) {
    ControlEditor* editor = Make("*QJInsertSheets");
    ASSERT_NE(editor, nullptr);
    auto* popup = dynamic_cast<PPDXPopupControl*>(&editor->Control());
    ASSERT_NE(popup, nullptr);
    auto* afterLast = editor->Field()->findChild<QCheckBox*>("AfterLast");
    auto* beforeFirst = editor->Field()->findChild<QCheckBox*>("BeforeFirst");
    ASSERT_NE(afterLast, nullptr);
    ASSERT_NE(beforeFirst, nullptr);
    QSignalSpy changed(editor, &ControlEditor::valueChanged);

    ClickBox(afterLast);
    EXPECT_TRUE(popup->IsKeywordSelected("AfterLast"));
    EXPECT_TRUE(popup->IsKeywordSelected("BeforeFirst"));
    ClickBox(beforeFirst);
    EXPECT_FALSE(popup->IsKeywordSelected("BeforeFirst"));
    EXPECT_TRUE(popup->IsKeywordSelected("AfterLast"));
    // The value text follows a choice still ticked.
    EXPECT_EQ(Value("*QJInsertSheets"), "AfterLast");
    EXPECT_EQ(changed.count(), 2);
    EXPECT_TRUE(afterLast->isChecked());
    EXPECT_FALSE(beforeFirst->isChecked());
}

TEST_F(EditorTest, RangesSnapToTheIncrement) {
    struct Row {
        const char* keyword;
        const char* typed;
        const char* stored;
        double shown;
    } rows[] = {
        {"*QJBrightness", "13", "10", 10},    // step 5, counted from zero
        {"*QJBrightness", "-7", "-5", -5},
        {"*QJCopies", "25", "25", 25},
        {"*QJCreep", "0.13", "0.150", 0.15},  // step 0.05
        {"*QJImageShift", "1.5", "1.500", 1.5},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.keyword) + " " + row.typed);
        ControlEditor* editor = Make(row.keyword);
        ASSERT_NE(editor, nullptr);
        auto* spin = qobject_cast<QAbstractSpinBox*>(editor->Field());
        ASSERT_NE(spin, nullptr);
        TypeInto(spin, row.typed);
        EXPECT_EQ(Value(row.keyword), row.stored);
        if (auto* whole = qobject_cast<QSpinBox*>(spin))
            EXPECT_EQ(whole->value(), static_cast<int>(row.shown));
        else
            EXPECT_NEAR(qobject_cast<QDoubleSpinBox*>(spin)->value(), row.shown, 1e-6);
    }
    auto* creep = qobject_cast<QDoubleSpinBox*>(Make("*QJCreep")->Field());
    EXPECT_EQ(creep->decimals(), 2);
    EXPECT_DOUBLE_EQ(creep->singleStep(), static_cast<double>(0.05f));
}

TEST_F(EditorTest, JobNoteMasksLimitsAndExplains) {
    ControlEditor* password = Make("*QJUserPassword");
    ASSERT_NE(password, nullptr);
    auto* secret = password->Field()->findChild<QLineEdit*>();
    ASSERT_NE(secret, nullptr);
    EXPECT_EQ(secret->echoMode(), QLineEdit::Password);
    EXPECT_EQ(secret->maxLength(), 12);
    QTest::keyClicks(secret, "abcdefghijklmnopqrst");
    EXPECT_EQ(secret->text(), "abcdefghijkl");
    EXPECT_EQ(Value("*QJUserPassword"), "abcdefghijkl");
    EXPECT_NE(secret->displayText(), secret->text());

    ControlEditor* account = Make("*QJAccount"); // 16|Numeric|Required|MinLength4
    ControlEditor* dept = Make("*QJDeptCode");   // 8|Alpha|Numeric
    ControlEditor* notes = Make("*Notes1");      // any text
    ASSERT_TRUE(account && dept && notes);
    EXPECT_EQ(account->Field()->findChild<QLineEdit*>()->echoMode(), QLineEdit::Normal);
    struct Row {
        ControlEditor* editor;
        const char* typed;
        const char* problem;
    } rows[] = {
        {account, "12", "at least 4 characters"},
        {account, "", "required"},
        {account, "12a4", "only digits"},
        {account, "12 4", "only digits"},
        {account, "1234", ""},
        {dept, "AB-1", "only letters, digits"},
        {dept, "AB12", ""},
        {dept, "", ""},
        {notes, "Room 4, by noon - thanks!", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.editor->Keyword()) + " \"" + row.typed + "\"");
        auto* edit = row.editor->Field()->findChild<QLineEdit*>();
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Backspace);
        QTest::keyClicks(edit, row.typed);
        EXPECT_EQ(row.editor->Problem(), QString(row.problem));
        EXPECT_EQ(edit->toolTip(), QString(row.problem));
        auto* message = row.editor->Field()->findChild<QLabel*>();
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(message->text(), QString(row.problem));
        EXPECT_EQ(Value(row.editor->Keyword().c_str()), row.typed);
    }
}

TEST(ResolveDialog, ApplyAndCancelAnswer) {
    struct Row {
        QDialogButtonBox::StandardButton button;
        bool answer;
    } rows[] = {{QDialogButtonBox::Apply, true}, {QDialogButtonBox::Cancel, false}};
    for (const Row& row : rows) {
        QWidget parent;
        parent.show();
        ResolveDialogPrompt prompt;
        QString title, listed;
        bool clicked = false;
        QTimer::singleShot(0, [&] {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            if (!dialog)
                return;
            title = dialog->windowTitle();
            if (auto* changes = dialog->findChild<QLabel*>("resolveChanges"))
                listed = changes->text();
            auto* buttons = dialog->findChild<QDialogButtonBox*>("resolveButtons");
            if (QPushButton* button = buttons ? buttons->button(row.button) : nullptr) {
                QTest::mouseClick(button, Qt::LeftButton);
                clicked = true;
            } else {
                dialog->done(-1); // never hang the test on a missing button
            }
        });
        const bool answer =
            prompt.Confirm(&parent, "Long-Edge Binding", {"Paper Type: Plain", "Staple: Off"});
        EXPECT_TRUE(clicked);
        EXPECT_EQ(answer, row.answer);
        EXPECT_FALSE(title.isEmpty());
        EXPECT_TRUE(listed.contains("Paper Type: Plain"));
        EXPECT_TRUE(listed.contains("Staple: Off"));
    }
}

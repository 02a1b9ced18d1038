// The panel widget over the sample PPD: layout, greying, resolution, the
// buttons, the keyboard and the address views.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTest>
#include <gtest/gtest.h>

#include "PPDX/QJVPPD.h"
#include "panel/KelvoFeaturesPDE.h"
#include "panel/PDEData.h"
#include "panel/PanelLayout.h"
#include "panel/qt/ControlEditor.h"
#include "panel/qt/CustomizeDialog.h"
#include "panel/qt/KelvoPanelWidget.h"
#include "panel/qt/PanelSession.h"
#include "panel/qt/QtPanelViews.h"
#include "platform/memory/InMemoryHost.h"

namespace kelvo::panel::qt {
namespace {

/// Answers every confirmation with a fixed answer and records what it was shown.
class FakePrompt final : public ResolutionPrompt {
public:
    explicit FakePrompt(bool answer) : mAnswer(answer) {}
    bool Confirm(QWidget*, const QString& choiceTitle, const std::vector<QString>& changes) override {
        ++calls;
        title = choiceTitle;
        lines = changes;
        return mAnswer;
    }
    int calls = 0;
    QString title;
    std::vector<QString> lines;

private:
    bool mAnswer;
};

class PanelWidgetTest : public ::testing::Test {
protected:
    void SetUp() override {
        host.MutablePrinter().ppdPath = KELVO_SAMPLES "/kelvo-sample.ppd";
        host.MutablePrinter().name = "sample";
        PanelSessionOptions options;
        options.withHelper = false;
        std::string error;
        session = PanelSession::Create(host, options, error);
        ASSERT_TRUE(session) << error;
        widget.reset(session->CreateWidget());
        ASSERT_TRUE(widget);
    }

    QJVPPD& Doc() const { return *session->Pde().Document(); }
    std::string Value(const char* keyword) const { return Doc().CopyValueForKey(keyword).value_or("<none>"); }

    QComboBox* Combo(const char* keyword) const {
        ControlEditor* editor = widget->EditorFor(keyword);
        return editor ? qobject_cast<QComboBox*>(editor->Field()) : nullptr;
    }

    /// Picks a choice as the user does: the combo's activation of that row.
    static void Pick(QComboBox* combo, const char* choice) {
        const int row = combo->findData(QString::fromUtf8(choice));
        ASSERT_GE(row, 0) << choice;
        combo->setCurrentIndex(row);
        emit combo->activated(row);
    }

    static bool Greyed(QComboBox* combo, const char* choice) {
        const int row = combo->findData(QString::fromUtf8(choice));
        return row >= 0 && combo->itemData(row, Qt::ForegroundRole).isValid() &&
               !combo->itemData(row, Qt::ToolTipRole).toString().isEmpty();
    }

    platform::InMemoryHost host;
    std::unique_ptr<PanelSession> session;
    // Declared after the session: the widget goes first.
    std::unique_ptr<KelvoPanelWidget> widget;
};

TEST_F(PanelWidgetTest, OneEditorPerVisibleControlInLayoutOrder) {
    const PanelLayout layout = BuildPanelLayout(Doc());
    ASSERT_EQ(widget->Editors().size(), layout.ControlCount());
    ASSERT_EQ(widget->Pages()->count(), static_cast<int>(layout.pages.size()));
    std::size_t at = 0;
    for (std::size_t p = 0; p < layout.pages.size(); ++p) {
        EXPECT_EQ(widget->Pages()->tabText(static_cast<int>(p)).toStdString(), layout.pages[p].title);
        QWidget* tab = widget->Pages()->widget(static_cast<int>(p));
        for (const LayoutSection& section : layout.pages[p].sections)
            for (PPDXControl* control : section.controls) {
                ControlEditor* editor = widget->Editors()[at++];
                EXPECT_EQ(&editor->Control(), control);
                EXPECT_EQ(widget->EditorFor(editor->Keyword()), editor);
                EXPECT_TRUE(tab->isAncestorOf(editor->Field())) << editor->Keyword();
                EXPECT_FALSE(editor->Field()->accessibleName().isEmpty()) << editor->Keyword();
            }
    }
    EXPECT_EQ(widget->windowTitle().toStdString(), session->Pde().panelName());
}

TEST_F(PanelWidgetTest, SampleControlsSitOnTheirTabs) {
    struct Row {
        const char* keyword;
        const char* tab; // null: no editor
    };
    const Row rows[] = {
        {"*PageSize", "Kelvo General"},       {"*MediaType", "Kelvo General"},
        {"*QJDuplex", "Kelvo General"},       {"*QJStaple", "Kelvo Finishing"},
        {"*QJBooklet", "Kelvo Finishing"},    {"*QJColorMode", "Kelvo Image Quality"},
        {"*CustomPrintSize", nullptr},
    };
    for (const Row& row : rows) {
        ControlEditor* editor = widget->EditorFor(row.keyword);
        if (!row.tab) {
            EXPECT_EQ(editor, nullptr) << row.keyword;
            continue;
        }
        ASSERT_NE(editor, nullptr) << row.keyword;
        QWidget* owner = nullptr;
        for (int i = 0; i < widget->Pages()->count(); ++i)
            if (widget->Pages()->widget(i)->isAncestorOf(editor->Field()))
                owner = widget->Pages()->widget(i);
        ASSERT_NE(owner, nullptr) << row.keyword;
        EXPECT_EQ(widget->Pages()->tabText(widget->Pages()->indexOf(owner)), QString::fromUtf8(row.tab))
            << row.keyword;
    }
}

TEST_F(PanelWidgetTest, ConflictingChoiceGreysTheOthers) {
    struct Row {
        const char* setKeyword;
        const char* setChoice;
        const char* keyword;
        std::vector<const char*> greyed;
        std::vector<const char*> free;
    };
    const std::vector<Row> rows = {
        {"*MediaType", "Transparency", "*QJDuplex", {"DuplexNoTumble", "DuplexTumble"}, {"None"}},
        {"*InputSlot", "Envelope", "*QJStaple", {"TopLeft", "DualTop"}, {"None"}},
        {"*QJDuplex", "DuplexTumble", "*MediaType", {"Transparency"}, {"Plain", "Glossy"}},
    };
    for (const Row& row : rows) {
        QComboBox* setter = Combo(row.setKeyword);
        QComboBox* target = Combo(row.keyword);
        ASSERT_TRUE(setter && target) << row.setKeyword;
        const std::string before = Value(row.setKeyword);
        for (const char* choice : row.greyed)
            EXPECT_FALSE(Greyed(target, choice)) << row.keyword << " " << choice << " before";
        Pick(setter, row.setChoice);
        ASSERT_EQ(Value(row.setKeyword), row.setChoice);
        for (const char* choice : row.greyed)
            EXPECT_TRUE(Greyed(target, choice)) << row.keyword << " " << choice;
        for (const char* choice : row.free)
            EXPECT_FALSE(Greyed(target, choice)) << row.keyword << " " << choice;
        // Back to the old value: the greying goes again.
        Pick(setter, before.c_str());
        for (const char* choice : row.greyed)
            EXPECT_FALSE(Greyed(target, choice)) << row.keyword << " " << choice << " after";
    }
}

TEST_F(PanelWidgetTest, GreyedChoiceAppliesTheSolversChangesOnlyWhenAccepted) {
    for (const bool accept : {true, false}) {
        SCOPED_TRACE(accept ? "accepted" : "declined");
        Pick(Combo("*QJDuplex"), "None");
        Pick(Combo("*MediaType"), "Transparency");
        ASSERT_EQ(Value("*MediaType"), "Transparency");
        FakePrompt prompt(accept);
        widget->SetResolutionPrompt(&prompt);
        QSignalSpy changed(widget.get(), &KelvoPanelWidget::settingsChanged);

        Pick(Combo("*QJDuplex"), "DuplexNoTumble");

        EXPECT_EQ(prompt.calls, 1);
        ASSERT_FALSE(prompt.lines.empty());
        EXPECT_TRUE(prompt.lines.front().startsWith(QStringLiteral("Paper Type: "))) << prompt.lines.front().toStdString();
        EXPECT_EQ(prompt.title, QStringLiteral("Long-Edge Binding"));
        if (accept) {
            EXPECT_EQ(Value("*QJDuplex"), "DuplexNoTumble");
            EXPECT_NE(Value("*MediaType"), "Transparency");
            EXPECT_GE(changed.count(), 1);
        } else {
            EXPECT_EQ(Value("*QJDuplex"), "None");
            EXPECT_EQ(Value("*MediaType"), "Transparency");
            EXPECT_EQ(changed.count(), 0);
        }
        // The fields show the document either way.
        EXPECT_EQ(Combo("*QJDuplex")->currentData().toString().toStdString(), Value("*QJDuplex"));
        EXPECT_EQ(Combo("*MediaType")->currentData().toString().toStdString(), Value("*MediaType"));
        widget->SetResolutionPrompt(nullptr);
    }
}

TEST_F(PanelWidgetTest, DefaultsButtonRestoresDefaults) {
    const std::string media = Value("*MediaType");
    const std::string staple = Value("*QJStaple");
    Pick(Combo("*MediaType"), "Glossy");
    Pick(Combo("*QJStaple"), "TopLeft");
    ASSERT_EQ(Value("*MediaType"), "Glossy");
    auto* defaults = widget->findChild<QPushButton*>(QStringLiteral("defaults"));
    ASSERT_NE(defaults, nullptr);
    QTest::mouseClick(defaults, Qt::LeftButton);
    EXPECT_EQ(Value("*MediaType"), media);
    EXPECT_EQ(Value("*QJStaple"), staple);
    EXPECT_EQ(Combo("*MediaType")->currentData().toString().toStdString(), media);
    EXPECT_EQ(Combo("*QJStaple")->currentData().toString().toStdString(), staple);
}

std::vector<std::string> Keywords(const std::vector<ControlEditor*>& editors) {
    std::vector<std::string> out;
    for (ControlEditor* editor : editors)
        out.push_back(editor->Keyword());
    return out;
}

TEST_F(PanelWidgetTest, ShortcutEditorsFollowThePageEditors) {
    const std::vector<std::string> shortcuts = Keywords(widget->ShortcutEditors());
    ASSERT_FALSE(shortcuts.empty());
    EXPECT_EQ(shortcuts.front(), "*PageSize");
    ControlEditor* twin = nullptr;
    for (ControlEditor* editor : widget->ShortcutEditors())
        if (editor->Keyword() == "*MediaType")
            twin = editor;
    ASSERT_NE(twin, nullptr);
    auto* quickCombo = qobject_cast<QComboBox*>(twin->Field());
    ASSERT_NE(quickCombo, nullptr);
    Pick(quickCombo, "Bond");
    EXPECT_EQ(Combo("*MediaType")->currentData().toString(), QStringLiteral("Bond"));
    Pick(Combo("*MediaType"), "Heavy");
    EXPECT_EQ(quickCombo->currentData().toString(), QStringLiteral("Heavy"));
}

TEST_F(PanelWidgetTest, CustomizeDialogChangesTheQuickAccessEditors) {
    const std::vector<std::string> before = Keywords(widget->ShortcutEditors());
    ASSERT_FALSE(before.empty());
    ASSERT_EQ(before.front(), "*PageSize");
    QTest::mouseClick(widget->findChild<QPushButton*>(QStringLiteral("customize")), Qt::LeftButton);
    auto* dialog = widget->findChild<CustomizeDialog*>();
    ASSERT_NE(dialog, nullptr);
    EXPECT_TRUE(session->Views().IsCustomizeWindowOpen());
    QListWidget* list = dialog->List();
    bool sawPunch = false;
    for (int row = 0; row < list->count(); ++row) {
        QListWidgetItem* item = list->item(row);
        const std::string keyword = item->data(Qt::UserRole).toString().toStdString();
        const bool listed = std::find(before.begin(), before.end(), keyword) != before.end();
        EXPECT_EQ(item->checkState() == Qt::Checked, listed) << keyword;
        if (keyword == "*PageSize")
            item->setCheckState(Qt::Unchecked);
        if (keyword == "*QJPunch") {
            item->setCheckState(Qt::Checked);
            sawPunch = true;
        }
    }
    ASSERT_TRUE(sawPunch);
    auto* buttons = dialog->findChild<QDialogButtonBox*>();
    ASSERT_NE(buttons, nullptr);
    QTest::mouseClick(buttons->button(QDialogButtonBox::Ok), Qt::LeftButton);

    std::vector<std::string> expected(before.begin() + 1, before.end());
    expected.push_back("*QJPunch");
    EXPECT_EQ(Keywords(widget->ShortcutEditors()), expected);
    const auto kept = host.Settings().Get(kQuickAccessKey);
    ASSERT_TRUE(kept && kept->AsString());
    EXPECT_NE(kept->AsString()->find("*QJPunch"), std::string::npos);
    EXPECT_EQ(kept->AsString()->find("*PageSize"), std::string::npos);
}

TEST_F(PanelWidgetTest, TabWalksTheEditorsInOrder) {
    widget->show();
    QApplication::setActiveWindow(widget.get());
    ASSERT_TRUE(QTest::qWaitForWindowActive(widget.get()));
    ControlEditor* first = widget->EditorFor("*QJStaple");
    ASSERT_NE(first, nullptr);
    widget->Pages()->setCurrentIndex(widget->Pages()->indexOf(widget->Pages()->widget(1)));
    first->Field()->setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(first->Field()->hasFocus());
    for (const char* next : {"*QJPunch", "*QJFold", "*QJOutputBin"}) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QWidget* field = widget->EditorFor(next)->Field();
        QWidget* focus = QApplication::focusWidget();
        EXPECT_TRUE(focus == field || field->isAncestorOf(focus)) << next;
    }
}

TEST_F(PanelWidgetTest, AddressRoundTripsThroughTheViews) {
    QtPanelViews& views = session->Views();
    auto* field = widget->findChild<QLineEdit*>(QStringLiteral("printerAddress"));
    auto* bidi = widget->findChild<QCheckBox*>(QStringLiteral("bidi"));
    ASSERT_TRUE(field && bidi);

    views.setprinterIPField("10.1.2.3");
    views.setBIDIStatusON(false);
    EXPECT_EQ(field->text(), QStringLiteral("10.1.2.3"));
    field->clear();
    QTest::keyClicks(field, "printer.example");
    QTest::mouseClick(bidi, Qt::LeftButton, Qt::NoModifier, QPoint(8, bidi->height() / 2));
    EXPECT_EQ(views.getprinterIPField(), "printer.example");
    EXPECT_TRUE(views.isBIDIEnabled());

    views.greyoutBIDICheckbox(false);
    EXPECT_FALSE(bidi->isEnabled());
    views.greyoutConfigureButton(false);
    EXPECT_FALSE(field->isEnabled());

    // Gone widget: the last values stay, and a widget attached later shows
    // them (the session's CreateWidget would refill them from the panel).
    widget.reset();
    EXPECT_EQ(views.getprinterIPField(), "printer.example");
    EXPECT_TRUE(views.isBIDIEnabled());
    widget = std::make_unique<KelvoPanelWidget>(session->Pde(), session->Strings());
    views.Attach(widget.get());
    EXPECT_EQ(widget->Address(), QStringLiteral("printer.example"));
    EXPECT_TRUE(widget->Bidi());
}

} // namespace
} // namespace kelvo::panel::qt

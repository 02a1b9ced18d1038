// The panel in Qt widgets: pages as tabs, the quick-access pane, the
// panel's buttons and the printer address field.
#include "panel/qt/KelvoPanelWidget.h"

#include <string>
#include <unordered_map>
#include <utility>

#include <QCheckBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QTabWidget>
#include <QVBoxLayout>

#include "PPDX/ChoiceQuestion.h"
#include "PPDX/PPDObjects/Controls/PPDXControl.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/PPDXControls.h"
#include "PPDX/QJVPPD.h"
#include "panel/KelvoFeaturesPDE.h"
#include "panel/PDEData.h"
#include "panel/PanelLayout.h"
#include "panel/UI_Panel.h"
#include "panel/qt/CollapsibleSection.h"
#include "panel/qt/ControlEditor.h"
#include "panel/qt/CustomizeDialog.h"
#include "panel/qt/ResolveDialog.h"
#include "platform/StringsTable.h"


namespace kelvo::panel::qt {

namespace {

/// The panel's own words: the bundle's text when it has the key, else
/// English (an untranslated key would show the key itself).
QString Text(const platform::StringsTable& strings, const char* key, const char* english) {
    const std::string* found = strings.Find(key);
    return found ? QString::fromStdString(*found) : QString::fromUtf8(english);
}

QString ControlTitle(PPDXControl& control) {
    const std::string& title = control.CFStringUserName();
    if (!title.empty())
        return QString::fromStdString(title);
    return control.Keyword() ? QString::fromUtf8(control.Keyword()) : QString();
}

/// A choice as the user reads it: the PPD's translation for a pop-up's
/// item, else the choice text itself.
QString ChoiceTitle(PPDXControl* control, const std::string& choice) {
    if (control && control->Type() == kControlTypePopup) {
        const std::string* local = static_cast<PPDXPopupControl*>(control)->GetKeywordCFLocalName(choice.c_str());
        if (local && !local->empty())
            return QString::fromStdString(*local);
    }
    return QString::fromStdString(choice);
}

/// "Control: Choice" lines for the user, one per pair.
std::vector<QString> PairLines(QJVPPD& doc, const ChoiceAnswer::Pairs& pairs) {
    std::vector<QString> lines;
    lines.reserve(pairs.size());
    for (const auto& [keyword, choice] : pairs) {
        PPDXControl* control = doc.GetPPDXControlForKey(keyword);
        const QString title = control ? ControlTitle(*control) : QString::fromStdString(keyword);
        lines.push_back(title + QStringLiteral(": ") + ChoiceTitle(control, choice));
    }
    return lines;
}

/// Adds an editor's row: label and field, or a check box across the row.
void AddRow(QFormLayout& form, ControlEditor& editor) {
    if (editor.Label())
        form.addRow(editor.Label(), editor.Field());
    else
        form.addRow(editor.Field());
}

QFormLayout* NewForm(QWidget* owner) {
    auto* form = new QFormLayout(owner);
    // Long option lists read better with fields growing to the pane's width.
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    return form;
}

} // namespace

struct KelvoPanelWidget::Impl {
    KelvoPanelWidget* q = nullptr;
    KelvoFeaturesPDE& pde;
    const platform::StringsTable& strings;

    QGroupBox* quick = nullptr;
    QWidget* quickBody = nullptr;
    QTabWidget* pages = nullptr;
    QLineEdit* address = nullptr;
    QCheckBox* bidi = nullptr;
    QPushButton* defaults = nullptr;
    QPushButton* fullProperties = nullptr;
    QPushButton* customize = nullptr;
    QPushButton* help = nullptr;
    QPointer<CustomizeDialog> customizeDialog;

    // The editors are QObjects without a Qt parent: they are destroyed here
    // before the widget's children, whose fields they point to.
    std::vector<std::unique_ptr<ControlEditor>> ownedPage;
    std::vector<std::unique_ptr<ControlEditor>> ownedShortcuts;
    std::vector<ControlEditor*> editors;
    std::vector<ControlEditor*> shortcutEditors;
    std::unordered_map<std::string, ControlEditor*> byKeyword;
    std::unordered_map<std::string, ControlEditor*> shortcutByKeyword;

    ResolutionPrompt* prompt = nullptr;
    std::unique_ptr<ResolutionPrompt> defaultPrompt;
    /// Set while several values go in at once: the re-grey and the signal
    /// then come once at the end instead of after every value.
    bool batch = false;

    Impl(KelvoPanelWidget* owner, KelvoFeaturesPDE& panel, const platform::StringsTable& table)
        : q(owner), pde(panel), strings(table) {}

    QJVPPD* Doc() const { return pde.Document(); }

    std::unique_ptr<ControlEditor> MakeEditor(PPDXControl& control, QWidget* parent) {
        QJVPPD* doc = Doc();
        if (!doc)
            return nullptr;
        std::unique_ptr<ControlEditor> editor = ControlEditor::Create(control, *doc, strings, parent);
        if (!editor)
            return nullptr;
        ControlEditor* raw = editor.get();
        QObject::connect(raw, &ControlEditor::valueChanged, q, [this](ControlEditor* e) { OnValueChanged(e); });
        QObject::connect(raw, &ControlEditor::conflictingChoice, q,
                         [this](ControlEditor* e, const QString& choice) { OnConflictingChoice(e, choice); });
        return editor;
    }

    void BuildPages() {
        pages = new QTabWidget(q);
        pages->setObjectName(QStringLiteral("pages"));
        QJVPPD* doc = Doc();
        if (!doc)
            return;
        const PanelLayout layout = BuildPanelLayout(*doc);
        editors.reserve(layout.ControlCount());
        ownedPage.reserve(layout.ControlCount());
        byKeyword.reserve(layout.ControlCount());
        for (const LayoutPage& page : layout.pages) {
            auto* inner = new QWidget;
            auto* column = new QVBoxLayout(inner);
            for (const LayoutSection& section : page.sections) {
                const QString title = QString::fromStdString(section.title);
                QWidget* body = nullptr;
                if (section.kind == LayoutSection::Kind::kRollDown) {
                    auto* rollDown = new CollapsibleSection(title, inner);
                    rollDown->setObjectName(QString::fromStdString(section.keyword));
                    body = new QWidget;
                    rollDown->SetBody(body);
                    column->addWidget(rollDown);
                } else {
                    auto* group = new QGroupBox(title, inner);
                    group->setObjectName(QString::fromStdString(section.keyword));
                    body = group;
                    column->addWidget(group);
                }
                QFormLayout* form = NewForm(body);
                for (PPDXControl* control : section.controls) {
                    if (!control)
                        continue;
                    std::unique_ptr<ControlEditor> editor = MakeEditor(*control, body);
                    if (!editor)
                        continue;
                    AddRow(*form, *editor);
                    editors.push_back(editor.get());
                    byKeyword.emplace(editor->Keyword(), editor.get());
                    ownedPage.push_back(std::move(editor));
                }
            }
            column->addStretch(1);
            auto* scroll = new QScrollArea;
            scroll->setObjectName(QString::fromStdString(page.keyword));
            scroll->setWidgetResizable(true);
            scroll->setFrameShape(QFrame::NoFrame);
            scroll->setWidget(inner);
            pages->addTab(scroll, QString::fromStdString(page.title));
        }
    }

    void BuildShortcuts() {
        shortcutEditors.clear();
        shortcutByKeyword.clear();
        ownedShortcuts.clear();
        // The editors are gone, so their fields may go now; a deferred
        // delete would leave the old rows visible for one event turn.
        delete quickBody;
        quickBody = new QWidget(quick);
        // Two label/field pairs a row: the pane sits above the pages and
        // should leave them most of the window.
        auto* grid = new QGridLayout(quickBody);
        grid->setContentsMargins(0, 0, 0, 0);
        grid->setColumnStretch(1, 1);
        grid->setColumnStretch(3, 1);
        static_cast<QVBoxLayout*>(quick->layout())->addWidget(quickBody);

        QJVPPD* doc = Doc();
        UI_Panel* panel = pde.GetUI_PanelPtr();
        if (doc && panel) {
            const PPDTree& tree = panel->GetTree();
            const std::size_t count = std::min(tree.shortcutCount, tree.shortcuts.size());
            for (std::size_t i = 0; i < count; ++i) {
                const std::string& keyword = tree.shortcuts[i].keyword;
                if (shortcutByKeyword.contains(keyword))
                    continue;
                PPDXControl* control = doc->GetPPDXControlForKey(keyword);
                if (!control || !HasEditor(*control))
                    continue;
                std::unique_ptr<ControlEditor> editor = MakeEditor(*control, quickBody);
                if (!editor)
                    continue;
                const int place = static_cast<int>(shortcutEditors.size());
                const int row = place / 2, column = (place % 2) * 2;
                if (editor->Label()) {
                    grid->addWidget(editor->Label(), row, column);
                    grid->addWidget(editor->Field(), row, column + 1);
                } else {
                    grid->addWidget(editor->Field(), row, column, 1, 2);
                }
                shortcutEditors.push_back(editor.get());
                shortcutByKeyword.emplace(editor->Keyword(), editor.get());
                ownedShortcuts.push_back(std::move(editor));
            }
        }
        quick->setVisible(!shortcutEditors.empty());
        // New fields join the end of the focus chain; move them back behind
        // the pane's box (ahead of the pages) so Tab still follows the layout
        // top to bottom after a rebuild.
        QWidget* previous = quick;
        for (ControlEditor* editor : shortcutEditors) {
            QWidget::setTabOrder(previous, editor->Field());
            previous = editor->Field();
        }
    }

    void BuildAddressRow(QVBoxLayout& main) {
        auto* row = new QHBoxLayout;
        auto* label = new QLabel(Text(strings, "Printer Address Label", "Printer address:"), q);
        address = new QLineEdit(q);
        address->setObjectName(QStringLiteral("printerAddress"));
        address->setAccessibleName(Text(strings, "Printer Address", "Printer address"));
        label->setBuddy(address);
        bidi = new QCheckBox(Text(strings, "Bidirectional Communication", "Bidirectional communication"), q);
        bidi->setObjectName(QStringLiteral("bidi"));
        bidi->setAccessibleName(bidi->text());
        row->addWidget(label);
        row->addWidget(address, 1);
        row->addWidget(bidi);
        main.addLayout(row);
    }

    QPushButton* Button(QHBoxLayout& row, const char* name, const char* key, const char* english) {
        auto* button = new QPushButton(Text(strings, key, english), q);
        button->setObjectName(QString::fromUtf8(name));
        button->setAutoDefault(false);
        row.addWidget(button);
        return button;
    }

    void BuildButtons(QVBoxLayout& main) {
        auto* row = new QHBoxLayout;
        defaults = Button(*row, "defaults", "Defaults", "Defaults");
        fullProperties = Button(*row, "fullProperties", "Full Properties", "Full Properties");
        customize = Button(*row, "customize", "Customize...", "Customize...");
        row->addStretch(1);
        help = Button(*row, "help", "Help", "Help");
        main.addLayout(row);

        QObject::connect(defaults, &QPushButton::clicked, q, [this] {
            pde.DefaultsButton();
            q->RefreshAll();
            emit q->settingsChanged();
        });
        // The helper's answer arrives through the controller's poll on the
        // event loop, which redraws us through the views.
        QObject::connect(fullProperties, &QPushButton::clicked, q, [this] { pde.launchFullProperties(); });
        QObject::connect(customize, &QPushButton::clicked, q, [this] { OpenCustomize(); });
        QObject::connect(help, &QPushButton::clicked, q, [this] { pde.shouldShowHelp(); });
    }

    void OpenCustomize() {
        QJVPPD* doc = Doc();
        if (!doc || customizeDialog)
            return;
        std::vector<std::string> current;
        current.reserve(shortcutEditors.size());
        for (ControlEditor* editor : shortcutEditors)
            current.push_back(editor->Keyword());
        auto* dialog = new CustomizeDialog(*doc, current, strings, q);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        customizeDialog = dialog;
        QObject::connect(dialog, &QDialog::accepted, q, [this, dialog] { SaveShortcuts(dialog->Chosen()); });
        // Window-modal and not blocking: the controller may cancel it when
        // the panel hides.
        dialog->open();
    }

    void SaveShortcuts(const std::vector<std::string>& keywords) {
        UI_Panel* panel = pde.GetUI_PanelPtr();
        QJVPPD* doc = Doc();
        if (!panel || !doc)
            return;
        PPDTree& tree = panel->GetTree();
        tree.shortcutCount = 0;
        for (const std::string& keyword : keywords) {
            PPDXControl* control = doc->GetPPDXControlForKey(keyword);
            if (!control)
                continue;
            if (!tree.AddShortcut(control->CFStringUserName(), keyword))
                break;
        }
        if (PDEData* data = pde.GetPDEDataPtr())
            data->SetPPDShortcuts(tree);
        q->RebuildShortcuts();
        emit q->settingsChanged();
    }

    /// The same control shown twice (page and quick access): the other one
    /// shows the new value too.
    void RefreshTwin(ControlEditor* editor) {
        const std::string keyword = editor->Keyword();
        auto page = byKeyword.find(keyword);
        if (page != byKeyword.end() && page->second != editor)
            page->second->Refresh();
        auto shortcut = shortcutByKeyword.find(keyword);
        if (shortcut != shortcutByKeyword.end() && shortcut->second != editor)
            shortcut->second->Refresh();
    }

    void OnValueChanged(ControlEditor* editor) {
        if (!editor)
            return;
        RefreshTwin(editor);
        if (batch)
            return;
        q->Regrey();
        emit q->settingsChanged();
    }

    void ApplyOne(const std::string& keyword, const std::string& value) {
        auto page = byKeyword.find(keyword);
        if (page != byKeyword.end()) {
            page->second->ApplyValue(value);
            return;
        }
        auto shortcut = shortcutByKeyword.find(keyword);
        if (shortcut != shortcutByKeyword.end()) {
            shortcut->second->ApplyValue(value);
            return;
        }
        // A control without an editor (hidden) still takes the solver's
        // change: the constraints are judged on the whole document.
        if (QJVPPD* doc = Doc())
            doc->SetValueForKey(keyword, value);
    }

    /// A forbidden choice was picked. When the solver finds changes that
    /// make room for it, the user is shown them and decides; when it finds
    /// none, the user is only told what stands in the way (a test prompt is
    /// asked with no changes instead, and its answer does not matter),
    /// since there is nothing to apply.
    void OnConflictingChoice(ControlEditor* editor, const QString& choiceText) {
        QJVPPD* doc = Doc();
        if (!editor || !doc)
            return;
        const std::string keyword = editor->Keyword();
        const std::string choice = choiceText.toStdString();
        const ChoiceAnswer answer = AskChoice(*doc, keyword, choice, /*resolve=*/true);
        const QString title = ChoiceTitle(&editor->Control(), choice);
        if (!answer.constrained) {
            // The greying was stale: nothing is in the way any more.
            editor->ApplyValue(choice);
            return;
        }
        if (!answer.resolved) {
            if (prompt) {
                prompt->Confirm(q, title, {});
                return;
            }
            QStringList lines;
            for (const QString& line : PairLines(*doc, answer.conflicts))
                lines << line;
            QMessageBox::information(q, title,
                                     Text(strings, "Choice conflicts", "\"%1\" can't be chosen: it conflicts with %2.")
                                         .arg(title, lines.join(QStringLiteral(", "))));
            return;
        }
        ResolutionPrompt* asked = prompt;
        if (!asked) {
            if (!defaultPrompt)
                defaultPrompt = std::make_unique<ResolveDialogPrompt>(strings);
            asked = defaultPrompt.get();
        }
        if (!asked->Confirm(q, title, PairLines(*doc, answer.changes)))
            return;
        batch = true;
        // The other controls move first, so the choice finds them out of
        // its way when it goes in.
        for (const auto& [otherKeyword, otherChoice] : answer.changes)
            ApplyOne(otherKeyword, otherChoice);
        ApplyOne(keyword, choice);
        batch = false;
        q->RefreshAll();
        emit q->settingsChanged();
    }
};

KelvoPanelWidget::KelvoPanelWidget(KelvoFeaturesPDE& pde, const platform::StringsTable& strings, QWidget* parent)
    : QWidget(parent), mPde(pde), d(std::make_unique<Impl>(this, pde, strings)) {
    setObjectName(QStringLiteral("kelvoPanel"));
    setWindowTitle(QString::fromStdString(pde.panelName()));

    auto* main = new QVBoxLayout(this);
    // Created in layout order: Qt's default focus chain is creation order,
    // so Tab then walks the panel top to bottom.
    d->quick = new QGroupBox(Text(strings, "Quick Access", "Quick access"), this);
    d->quick->setObjectName(QStringLiteral("quickAccess"));
    auto* quickColumn = new QVBoxLayout(d->quick);
    quickColumn->setContentsMargins(6, 6, 6, 6);
    main->addWidget(d->quick);
    d->BuildShortcuts();

    d->BuildPages();
    main->addWidget(d->pages, 1);
    d->BuildAddressRow(*main);
    d->BuildButtons(*main);
    Regrey();
}

KelvoPanelWidget::~KelvoPanelWidget() {
    // Editors first: they point at fields that the QWidget base deletes.
    d.reset();
}

QTabWidget* KelvoPanelWidget::Pages() const { return d->pages; }

const std::vector<ControlEditor*>& KelvoPanelWidget::Editors() const { return d->editors; }

ControlEditor* KelvoPanelWidget::EditorFor(std::string_view keyword) const {
    auto found = d->byKeyword.find(std::string(keyword));
    return found == d->byKeyword.end() ? nullptr : found->second;
}

const std::vector<ControlEditor*>& KelvoPanelWidget::ShortcutEditors() const { return d->shortcutEditors; }

void KelvoPanelWidget::RefreshAll() {
    for (ControlEditor* editor : d->editors)
        editor->Refresh();
    for (ControlEditor* editor : d->shortcutEditors)
        editor->Refresh();
    Regrey();
}

void KelvoPanelWidget::Regrey() {
    for (ControlEditor* editor : d->editors)
        editor->Regrey();
    for (ControlEditor* editor : d->shortcutEditors)
        editor->Regrey();
}

void KelvoPanelWidget::RebuildShortcuts() {
    d->BuildShortcuts();
    Regrey();
}

void KelvoPanelWidget::SetShortcutsEnabled(bool enabled) { d->quick->setEnabled(enabled); }
void KelvoPanelWidget::SetFullPropertiesEnabled(bool enabled) { d->fullProperties->setEnabled(enabled); }
void KelvoPanelWidget::SetDefaultsEnabled(bool enabled) { d->defaults->setEnabled(enabled); }
void KelvoPanelWidget::SetCustomizeEnabled(bool enabled) { d->customize->setEnabled(enabled); }

QString KelvoPanelWidget::Address() const { return d->address->text(); }
void KelvoPanelWidget::SetAddress(const QString& address) { d->address->setText(address); }
bool KelvoPanelWidget::Bidi() const { return d->bidi->isChecked(); }
void KelvoPanelWidget::SetBidi(bool on) { d->bidi->setChecked(on); }
void KelvoPanelWidget::SetAddressEnabled(bool enabled) { d->address->setEnabled(enabled); }
void KelvoPanelWidget::SetBidiEnabled(bool enabled) { d->bidi->setEnabled(enabled); }

void KelvoPanelWidget::SetResolutionPrompt(ResolutionPrompt* prompt) { d->prompt = prompt; }

std::vector<QString> KelvoPanelWidget::Problems() const {
    std::vector<QString> out;
    for (ControlEditor* editor : d->editors) {
        const QString problem = editor->Problem();
        if (!problem.isEmpty())
            out.push_back(ControlTitle(editor->Control()) + QStringLiteral(": ") + problem);
    }
    return out;
}

} // namespace kelvo::panel::qt

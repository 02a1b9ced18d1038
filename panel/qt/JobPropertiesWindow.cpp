// The job-properties helper's window and the serving of one request with it.
#include "panel/qt/JobPropertiesWindow.h"

#include <atomic>

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QTabWidget>
#include <QVBoxLayout>

#include "PPDX/ChoiceQuestion.h"
#include "PPDX/PPDObjects/Controls/PPDXControl.h"
#include "PPDX/PPDObjects/PPDXControls.h"
#include "panel/PanelLayout.h"
#include "panel/SharedMemoryList.h"
#include "panel/qt/ControlEditor.h"
#include "platform/SharedSegment.h"
#include "platform/StringsTable.h"
#include "util/Log.h"

namespace kelvo::panel::qt {

namespace {

constexpr const char* kOtherPageTitle = "Other settings";

QString Wide(const std::wstring& text) { return QString::fromStdWString(text); }

/// A setting's key as the document names controls: control keys travel
/// without their asterisk, the pseudo-keys with theirs.
std::string ControlKeyword(const std::wstring& key) {
    std::string keyword = Wide(key).toStdString();
    if (keyword.empty() || keyword.front() != '*')
        keyword.insert(keyword.begin(), '*');
    return keyword;
}

/// A scrolling page holding `content`.
QWidget* ScrollPage(QWidget* content) {
    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(content);
    return scroll;
}

QString PairsText(const ChoiceAnswer::Pairs& pairs) {
    QStringList lines;
    for (const auto& [key, choice] : pairs)
        lines << QStringLiteral("  %1: %2").arg(QString::fromStdString(key), QString::fromStdString(choice));
    return lines.join(QLatin1Char('\n'));
}

} // namespace

JobPropertiesWindow::JobPropertiesWindow(SDMKeyValueList settings, const std::filesystem::path& ppdCopy,
                                         const platform::StringsTable& strings, QWidget* parent)
    : QDialog(parent), mOriginal(std::move(settings)) {
    setObjectName(QStringLiteral("jobProperties"));
    setWindowTitle(QStringLiteral("Job Properties"));

    if (!ppdCopy.empty()) {
        std::error_code ec;
        // Only a regular file: a FIFO or device named by a stale segment
        // must not hold the helper.
        if (std::filesystem::is_regular_file(ppdCopy, ec)) {
            QJVPPDRef doc(new QJVPPD(ppdCopy, kParseAll));
            if (doc->IsValidPPD() && doc->GetControls())
                mDoc = std::move(doc);
        }
    }
    ApplySettings();

    auto* layout = new QVBoxLayout(this);
    mTabs = new QTabWidget(this);
    mTabs->setObjectName(QStringLiteral("pages"));
    layout->addWidget(mTabs);
    BuildPages(strings);
    BuildOtherPage();
    Regrey();

    mButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    mButtons->setObjectName(QStringLiteral("buttons"));
    layout->addWidget(mButtons);
    connect(mButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(mButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    resize(640, 480);
}

JobPropertiesWindow::~JobPropertiesWindow() {
    // The fields go before their editors and the document they edit.
    delete mTabs;
    mTabs = nullptr;
    mEditorByKeyword.clear();
    mEditors.clear();
}

void JobPropertiesWindow::ApplySettings() {
    mEntries.assign(mOriginal.entries.size(), Entry{});
    if (!mDoc)
        return;
    PPDXControls& controls = *mDoc->GetControls();
    // Straight into the controls, as the panel applies a helper's answer:
    // the panel's list is consistent already, and the constraint table
    // must not reorder what it says.
    for (std::size_t i = 0; i < mOriginal.entries.size(); ++i) {
        const SDMKeyValue& entry = mOriginal.entries[i];
        PPDXControl* control = controls.FindAny(ControlKeyword(entry.key).c_str());
        if (!control)
            continue;
        mEntries[i].control = control;
        control->SetCurrentControlWithCFString(Wide(entry.value).toStdString());
    }
    // The baseline is read after every setting is in, so a key listed
    // twice compares against what its control finally showed.
    for (Entry& entry : mEntries)
        if (entry.control)
            entry.shown = entry.control->CopyCurrentControlValueString();
}

void JobPropertiesWindow::BuildPages(const platform::StringsTable& strings) {
    if (!mDoc)
        return;
    const PanelLayout layout = BuildPanelLayout(*mDoc);
    for (const LayoutPage& page : layout.pages) {
        auto* content = new QWidget;
        auto* column = new QVBoxLayout(content);
        for (const LayoutSection& section : page.sections) {
            auto* box = new QGroupBox(QString::fromStdString(section.title), content);
            box->setObjectName(QString::fromStdString(section.keyword));
            auto* form = new QFormLayout(box);
            for (PPDXControl* control : section.controls) {
                std::unique_ptr<ControlEditor> editor = ControlEditor::Create(*control, *mDoc, strings, box);
                if (!editor)
                    continue;
                if (editor->Label())
                    form->addRow(editor->Label(), editor->Field());
                else
                    form->addRow(editor->Field());
                ControlEditor* raw = editor.get();
                connect(raw, &ControlEditor::valueChanged, this, [this] { Regrey(); });
                connect(raw, &ControlEditor::conflictingChoice, this,
                        [this](ControlEditor* from, QString choice) { OnConflict(from, choice); });
                mEditorByKeyword.emplace(raw->Keyword(), raw);
                mEditors.push_back(std::move(editor));
            }
            column->addWidget(box);
        }
        column->addStretch(1);
        QWidget* scroll = ScrollPage(content);
        scroll->setObjectName(QString::fromStdString(page.keyword));
        mTabs->addTab(scroll, QString::fromStdString(page.title));
    }
}

void JobPropertiesWindow::BuildOtherPage() {
    auto* content = new QWidget;
    auto* form = new QFormLayout(content);
    int rows = 0;
    for (std::size_t i = 0; i < mOriginal.entries.size(); ++i) {
        const SDMKeyValue& entry = mOriginal.entries[i];
        if (mEntries[i].control && Editor(ControlKeyword(entry.key)))
            continue;
        auto* value = new QLineEdit(Wide(entry.value), content);
        value->setReadOnly(true);
        value->setObjectName(QStringLiteral("other:") + Wide(entry.key));
        auto* label = new QLabel(Wide(entry.key), content);
        label->setBuddy(value);
        value->setAccessibleName(Wide(entry.key));
        form->addRow(label, value);
        ++rows;
    }
    if (rows == 0) {
        delete content;
        return;
    }
    QWidget* scroll = ScrollPage(content);
    scroll->setObjectName(QStringLiteral("otherSettings"));
    mTabs->addTab(scroll, QString::fromUtf8(kOtherPageTitle));
}

ControlEditor* JobPropertiesWindow::Editor(const std::string& keyword) const {
    const auto found = mEditorByKeyword.find(keyword);
    return found == mEditorByKeyword.end() ? nullptr : found->second;
}

void JobPropertiesWindow::Regrey() {
    for (const std::unique_ptr<ControlEditor>& editor : mEditors) {
        editor->Refresh();
        editor->Regrey();
    }
}

void JobPropertiesWindow::OnConflict(ControlEditor* editor, const QString& choice) {
    if (!mDoc || !editor)
        return;
    const std::string keyword = editor->Keyword();
    const ChoiceAnswer answer = AskChoice(*mDoc, keyword, choice.toStdString(), true);
    const QString name = QString::fromStdString(keyword) + QStringLiteral(" ") + choice;
    if (!answer.resolved) {
        QMessageBox::warning(this, windowTitle(),
                             tr("%1 cannot be chosen: it conflicts with\n%2").arg(name, PairsText(answer.conflicts)));
        return;
    }
    if (!answer.changes.empty()) {
        const auto pressed =
            QMessageBox::question(this, windowTitle(),
                                  tr("Choosing %1 also changes:\n%2").arg(name, PairsText(answer.changes)),
                                  QMessageBox::Apply | QMessageBox::Cancel, QMessageBox::Apply);
        if (pressed != QMessageBox::Apply)
            return;
    }
    // The solver's changes first: they make room for the choice.
    for (const auto& [key, value] : answer.changes) {
        if (ControlEditor* other = Editor(key))
            other->ApplyValue(value);
        else
            mDoc->SetValueForKey(key, value);
    }
    editor->ApplyValue(choice.toStdString());
    Regrey();
}

SDMKeyValueList JobPropertiesWindow::UpdatedSettings() const {
    SDMKeyValueList updated = mOriginal;
    for (std::size_t i = 0; i < updated.entries.size() && i < mEntries.size(); ++i) {
        PPDXControl* control = mEntries[i].control;
        if (!control)
            continue;
        const std::string now = control->CopyCurrentControlValueString();
        // An untouched value goes back as the panel sent it, byte for byte,
        // even where the control would spell it differently.
        if (now != mEntries[i].shown)
            updated.entries[i].value = QString::fromStdString(now).toStdWString();
    }
    return updated;
}

JobPropertiesAnswer ServeJobPropertiesRequest(SharedMemoryList& view, platform::SharedSegments& segments,
                                              int segmentId, const platform::StringsTable& strings,
                                              const std::function<void(JobPropertiesWindow&)>& shown) {
    std::unique_ptr<SDMKeyValueList> list = Create_SDMList_From_SharedMemoryList(view, segments);
    JobPropertiesWindow window(std::move(*list), view.PPDCopyPath(), strings);
    window.show();
    if (shown)
        shown(window);
    const bool accepted = window.exec() == QDialog::Accepted;
    if (accepted) {
        const SDMKeyValueList updated = window.UpdatedSettings();
        const SegmentWriteResult written = Create_SharedMemoryList_From_SDMList(view, updated, segments, segmentId);
        if (written.overflowError != 0)
            kelvo::Log("JobPropertiesWindow: the settings beyond the segment's slots were dropped: errno " +
                       std::to_string(written.overflowError));
    }
    // The settings must be in the segment before the panel can see the
    // answer: the status is what it polls for.
    std::atomic_thread_fence(std::memory_order_release);
    view.SetStatus(accepted ? 0 : 1);
    return accepted ? JobPropertiesAnswer::kAccepted : JobPropertiesAnswer::kCanceled;
}

} // namespace kelvo::panel::qt

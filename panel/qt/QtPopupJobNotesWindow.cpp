// The popup job-notes window in Qt widgets: a modal dialog whose session
// answers once per button, so that the always box can answer and stay open.
#include "panel/qt/QtPopupJobNotesWindow.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QEventLoop>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QString>
#include <QVBoxLayout>
#include <vector>

namespace kelvo::panel::qt {

namespace {

/// The box's text. The strings table has no entry for it and the core
/// hands over only whether it is ticked.
constexpr const char* kAlwaysText = "Always use these values";

QString FromUtf8(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

struct QtPopupJobNotesWindow::Impl {
    QPointer<QWidget> parent;
    /// Owned here (deleted in Close); a QPointer because a parent that goes
    /// first takes the dialog with it.
    QPointer<QDialog> dialog;
    std::vector<QLineEdit*> fields;
    QCheckBox* always = nullptr;
    /// The running session's loop and what ended it; null between sessions,
    /// so a click that lands outside RunModal answers nothing.
    QEventLoop* loop = nullptr;
    PopupJobNoteAnswer answer;

    void Finish(PopupJobNoteButton button) {
        if (!loop)
            return;
        answer = {};
        answer.button = button;
        if (button == PopupJobNoteButton::kOK)
            for (const QLineEdit* field : fields)
                answer.fields.push_back(field->text().toStdString());
        loop->quit();
    }

    void Destroy() {
        fields.clear();
        always = nullptr;
        delete dialog.data();
        dialog = nullptr;
    }
};

QtPopupJobNotesWindow::QtPopupJobNotesWindow(QWidget* parent) : d(std::make_unique<Impl>()) { d->parent = parent; }

QtPopupJobNotesWindow::~QtPopupJobNotesWindow() {
    if (d->loop)
        d->loop->quit();
    d->Destroy();
}

QDialog* QtPopupJobNotesWindow::Dialog() const { return d->dialog.data(); }

void QtPopupJobNotesWindow::SetParent(QWidget* parent) { d->parent = parent; }

void QtPopupJobNotesWindow::DoOpen(std::string_view title, std::span<const PopupJobNoteField> fields,
                                   bool alwaysTicked) {
    d->Destroy();
    auto* dialog = new QDialog(d->parent.data());
    d->dialog = dialog;
    dialog->setObjectName(QStringLiteral("popupJobNotes"));
    dialog->setWindowTitle(FromUtf8(title));
    dialog->setModal(true);
    // Room for an account number or a sentence of instructions without
    // scrolling the field.
    dialog->setMinimumWidth(380);

    auto* outer = new QVBoxLayout(dialog);
    auto* form = new QFormLayout;
    outer->addLayout(form);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const PopupJobNoteField& field = fields[i];
        auto* edit = new QLineEdit(FromUtf8(field.text), dialog);
        edit->setObjectName(QStringLiteral("field%1").arg(i));
        if (field.secure)
            edit->setEchoMode(QLineEdit::Password);
        auto* label = new QLabel(FromUtf8(field.label), dialog);
        label->setBuddy(edit);
        edit->setAccessibleName(FromUtf8(field.label));
        form->addRow(label, edit);
        d->fields.push_back(edit);
    }

    d->always = new QCheckBox(QString::fromUtf8(kAlwaysText), dialog);
    d->always->setObjectName(QStringLiteral("always"));
    d->always->setChecked(alwaysTicked);
    outer->addWidget(d->always);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, dialog);
    buttons->setObjectName(QStringLiteral("buttons"));
    outer->addWidget(buttons);

    Impl* impl = d.get();
    // clicked, not toggled: only the user's click answers, never the state
    // set above.
    QObject::connect(d->always, &QCheckBox::clicked, dialog,
                     [impl] { impl->Finish(PopupJobNoteButton::kAlways); });
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, [impl] { impl->Finish(PopupJobNoteButton::kOK); });
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    // Cancel, Escape and the window's close button all end in reject.
    QObject::connect(dialog, &QDialog::rejected, dialog, [impl] { impl->Finish(PopupJobNoteButton::kCancel); });
    if (!d->fields.empty())
        d->fields.front()->setFocus();
}

PopupJobNoteAnswer QtPopupJobNotesWindow::RunModal() {
    if (!d->dialog || d->loop)
        return {};
    QDialog* dialog = d->dialog.data();
    if (!dialog->isVisible())
        dialog->show();
    dialog->activateWindow();

    QEventLoop loop;
    d->loop = &loop;
    d->answer = {};
    // A dialog destroyed under the session (its parent went) ends it as a
    // Cancel.
    const QMetaObject::Connection gone =
        QObject::connect(dialog, &QObject::destroyed, &loop, [impl = d.get()] { impl->Finish(PopupJobNoteButton::kCancel); });
    loop.exec(QEventLoop::DialogExec);
    QObject::disconnect(gone);
    d->loop = nullptr;
    return std::move(d->answer);
}

void QtPopupJobNotesWindow::Close() {
    if (d->loop)
        d->loop->quit();
    if (d->dialog)
        d->dialog->hide();
    d->Destroy();
}

} // namespace kelvo::panel::qt

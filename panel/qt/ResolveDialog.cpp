// The Apply / Cancel dialog listing what else changes with a forbidden choice.
#include "panel/qt/ResolveDialog.h"

#include <string>

#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "platform/StringsTable.h"

namespace kelvo::panel::qt {

namespace {

QString Text(const platform::StringsTable* strings, const char* key, const char* fallback) {
    const std::string* found = strings ? strings->Find(key) : nullptr;
    return QString::fromStdString(found ? *found : std::string(fallback));
}

} // namespace

ResolveDialogPrompt::ResolveDialogPrompt() : ResolveDialogPrompt(platform::StringsTable()) {}

ResolveDialogPrompt::ResolveDialogPrompt(const platform::StringsTable& strings)
    : mTitle(Text(&strings, "Resolve Conflict", "Conflicting Settings")),
      mIntro(Text(&strings, "Resolve Conflict Intro", "To choose \"%1\", the choice needs these changes:")),
      mApply(Text(&strings, "Apply", "Apply")),
      mCancel(Text(&strings, "Cancel", "Cancel")) {}

bool ResolveDialogPrompt::Confirm(QWidget* parent, const QString& choiceTitle, const std::vector<QString>& changes) {
    QDialog dialog(parent);
    dialog.setObjectName(QStringLiteral("resolveDialog"));
    dialog.setWindowTitle(mTitle);
    dialog.setModal(true);

    auto* column = new QVBoxLayout(&dialog);
    auto* intro = new QLabel(mIntro.arg(choiceTitle), &dialog);
    intro->setWordWrap(true);
    column->addWidget(intro);

    QStringList lines;
    for (const QString& change : changes)
        lines << QStringLiteral("\u2022 ") + change;
    auto* list = new QLabel(lines.join(QLatin1Char('\n')), &dialog);
    list->setObjectName(QStringLiteral("resolveChanges"));
    list->setTextFormat(Qt::PlainText);
    list->setWordWrap(true);
    column->addWidget(list);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Apply | QDialogButtonBox::Cancel, &dialog);
    buttons->setObjectName(QStringLiteral("resolveButtons"));
    QPushButton* apply = buttons->button(QDialogButtonBox::Apply);
    apply->setText(mApply);
    apply->setDefault(true);
    buttons->button(QDialogButtonBox::Cancel)->setText(mCancel);
    // Apply has the apply role, which the box does not turn into accepted.
    QObject::connect(apply, &QPushButton::clicked, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    column->addWidget(buttons);

    return dialog.exec() == QDialog::Accepted;
}

} // namespace kelvo::panel::qt

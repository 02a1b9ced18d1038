// The confirmation shown before a forbidden choice is applied together with
// the further changes the constraint solver found for it.
#pragma once

#include <vector>

#include <QString>

#include "panel/qt/KelvoPanelWidget.h"

namespace kelvo::platform {
class StringsTable;
}

namespace kelvo::panel::qt {

/// A modal dialog over `parent`: a line naming the choice, one line per
/// change the choice needs, and Apply / Cancel. Its words come from the
/// strings table given at construction (English when the table lacks them);
/// they are copied, so the table need not outlive the prompt.
///
/// Object names for tests: the dialog "resolveDialog", the button box
/// "resolveButtons", the list of changes "resolveChanges".
class ResolveDialogPrompt final : public ResolutionPrompt {
public:
    ResolveDialogPrompt();
    explicit ResolveDialogPrompt(const platform::StringsTable& strings);

    /// Shows the dialog and waits for the user. True: Apply was chosen.
    bool Confirm(QWidget* parent, const QString& choiceTitle, const std::vector<QString>& changes) override;

private:
    QString mTitle;   // the window title
    QString mIntro;   // "%1" is the choice's title
    QString mApply;
    QString mCancel;
};

} // namespace kelvo::panel::qt

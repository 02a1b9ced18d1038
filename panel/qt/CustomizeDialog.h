// The customize window: picks the controls of the quick-access pane.
#pragma once

#include <string>
#include <vector>

#include <QDialog>

class QJVPPD;
class QListWidget;

namespace kelvo::platform {
class StringsTable;
}

namespace kelvo::panel::qt {

/// A list of every pop-up control the basic panel may show, each with a
/// check box: checked ones are in the quick-access pane. The dialog only
/// answers the choice (Chosen); its owner stores it.
class CustomizeDialog : public QDialog {
    Q_OBJECT
public:
    /// `current`: the keywords (with asterisks) in the pane now, in order.
    /// The document is borrowed for the dialog's life.
    CustomizeDialog(QJVPPD& doc, const std::vector<std::string>& current, const platform::StringsTable& strings,
                    QWidget* parent = nullptr);

    QListWidget* List() const { return mList; }
    /// The checked keywords: those of `current` still checked in their old
    /// order, then the newly checked ones in list order, so a user's
    /// arrangement survives adding one more.
    std::vector<std::string> Chosen() const;

private:
    QListWidget* mList = nullptr;
    std::vector<std::string> mCurrent;
};

} // namespace kelvo::panel::qt

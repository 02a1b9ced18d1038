// The customize window: picks the controls of the quick-access pane.
#include "panel/qt/CustomizeDialog.h"

#include <algorithm>
#include <unordered_set>

#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QVBoxLayout>

#include "PPDX/PPDObjects/Controls/PPDXControl.h"
#include "PPDX/PPDObjects/PPDXControls.h"
#include "PPDX/QJVPPD.h"
#include "panel/PDEData.h"
#include "panel/PanelLayout.h"
#include "panel/UI_PanelTree.h"
#include "platform/StringsTable.h"

namespace kelvo::panel::qt {

namespace {

QString Text(const platform::StringsTable& strings, const char* key, const char* english) {
    const std::string* found = strings.Find(key);
    return found ? QString::fromStdString(*found) : QString::fromUtf8(english);
}

} // namespace

CustomizeDialog::CustomizeDialog(QJVPPD& doc, const std::vector<std::string>& current,
                                 const platform::StringsTable& strings, QWidget* parent)
    : QDialog(parent), mCurrent(current) {
    setObjectName(QStringLiteral("customizeDialog"));
    setWindowTitle(Text(strings, "Customize Quick Access", "Customize Quick Access"));

    auto* layout = new QVBoxLayout(this);
    auto* prompt = new QLabel(Text(strings, "Choose the quick-access controls",
                                   "Choose the controls shown in the quick-access pane:"),
                              this);
    layout->addWidget(prompt);

    mList = new QListWidget(this);
    mList->setObjectName(QStringLiteral("customizeList"));
    mList->setAccessibleName(prompt->text());
    prompt->setBuddy(mList);
    layout->addWidget(mList);

    const std::unordered_set<std::string> chosen(current.begin(), current.end());
    if (PPDXControls* controls = doc.GetControls()) {
        for (PPDXControl* control : controls->All()) {
            // Shortcuts are pop-ups only (the tree and the PPD's shortcut
            // list hold nothing else), and only those the panel shows.
            if (!control || control->Type() != kControlTypePopup || !control->Keyword() || !HasEditor(*control) ||
                !PDEData::IsValidBasicPanelControl(control))
                continue;
            const std::string keyword = control->Keyword();
            // Longer keywords cannot be kept in the tree whole; offering
            // them would save a shortcut that never comes back.
            if (keyword.size() >= kTreeKeywordSize)
                continue;
            auto* item = new QListWidgetItem(QString::fromStdString(control->CFStringUserName()), mList);
            item->setData(Qt::UserRole, QString::fromStdString(keyword));
            item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
            item->setCheckState(chosen.contains(keyword) ? Qt::Checked : Qt::Unchecked);
        }
    }

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->setObjectName(QStringLiteral("customizeButtons"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}

std::vector<std::string> CustomizeDialog::Chosen() const {
    std::unordered_set<std::string> checked;
    std::vector<std::string> listed;
    for (int row = 0; row < mList->count(); ++row) {
        const QListWidgetItem* item = mList->item(row);
        if (item->checkState() != Qt::Checked)
            continue;
        std::string keyword = item->data(Qt::UserRole).toString().toStdString();
        checked.insert(keyword);
        listed.push_back(std::move(keyword));
    }
    std::vector<std::string> out;
    std::unordered_set<std::string> taken;
    for (const std::string& keyword : mCurrent)
        if (checked.contains(keyword) && taken.insert(keyword).second)
            out.push_back(keyword);
    for (std::string& keyword : listed)
        if (taken.insert(keyword).second)
            out.push_back(std::move(keyword));
    return out;
}

} // namespace kelvo::panel::qt

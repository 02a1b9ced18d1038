// The views the panel's state controller drives, over the Qt panel widget.
#include "panel/qt/QtPanelViews.h"

#include <QCheckBox>
#include <QLineEdit>

#include "panel/qt/CustomizeDialog.h"
#include "panel/qt/KelvoPanelWidget.h"

namespace kelvo::panel::qt {

void QtPanelViews::Attach(KelvoPanelWidget* widget) {
    mWidget = widget;
    if (!widget)
        return;
    widget->SetAddress(QString::fromStdString(mAddress));
    widget->SetBidi(mBidi);
    // Keep the user's edits here as they happen: once the widget is gone
    // (the dialog closed before the save) its fields can no longer be read.
    if (auto* field = widget->findChild<QLineEdit*>(QStringLiteral("printerAddress")))
        QObject::connect(field, &QLineEdit::textChanged, widget,
                         [this](const QString& text) { mAddress = text.toStdString(); });
    if (auto* box = widget->findChild<QCheckBox*>(QStringLiteral("bidi")))
        QObject::connect(box, &QCheckBox::toggled, widget, [this](bool on) { mBidi = on; });
}

void QtPanelViews::drawControlsInTree() {
    if (mWidget)
        mWidget->RefreshAll();
}

void QtPanelViews::greyoutShortcutControls(bool grey) {
    if (mWidget)
        mWidget->SetShortcutsEnabled(!grey);
}

void QtPanelViews::setFullPropertiesButtonStatusON(bool on) {
    if (mWidget)
        mWidget->SetFullPropertiesEnabled(on);
}

void QtPanelViews::setDefaultsButtonStatusON(bool on) {
    if (mWidget)
        mWidget->SetDefaultsEnabled(on);
}

void QtPanelViews::setCustomizeQuickAccessButtonButtonStatusON(bool on) {
    if (mWidget)
        mWidget->SetCustomizeEnabled(on);
}

void QtPanelViews::bringDialogForward() {
    if (!mWidget)
        return;
    QWidget* top = mWidget->window();
    top->raise();
    top->activateWindow();
}

bool QtPanelViews::isBIDIEnabled() const { return mWidget ? mWidget->Bidi() : mBidi; }

std::string QtPanelViews::getprinterIPField() const {
    return mWidget ? mWidget->Address().toStdString() : mAddress;
}

void QtPanelViews::setprinterIPField(std::string_view address) {
    mAddress = std::string(address);
    if (mWidget)
        mWidget->SetAddress(QString::fromStdString(mAddress));
}

void QtPanelViews::setBIDIStatusON(bool on) {
    mBidi = on;
    if (mWidget)
        mWidget->SetBidi(on);
}

void QtPanelViews::greyoutConfigureButton(bool enabled) {
    if (mWidget)
        mWidget->SetAddressEnabled(enabled);
}

void QtPanelViews::greyoutBIDICheckbox(bool enabled) {
    if (mWidget)
        mWidget->SetBidiEnabled(enabled);
}

bool QtPanelViews::IsCustomizeWindowOpen() const {
    if (!mWidget)
        return false;
    const auto* dialog = mWidget->findChild<CustomizeDialog*>();
    return dialog && dialog->isVisible();
}

void QtPanelViews::doButtonCancelClicked() {
    if (!mWidget)
        return;
    if (auto* dialog = mWidget->findChild<CustomizeDialog*>())
        dialog->reject();
}

} // namespace kelvo::panel::qt

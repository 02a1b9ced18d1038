// The views the panel's state controller drives, over the Qt panel widget.
#pragma once

#include <string>
#include <string_view>

#include <QPointer>

#include "panel/KelvoFeaturesPDE.h"
#include "panel/PanelViews.h"

namespace kelvo::panel::qt {

class KelvoPanelWidget;

/// Made before the panel (the dialog hands the views to the panel when it
/// creates it) and attached to the widget once that exists. Until then, and
/// after the widget is gone, every call is answered from the values kept
/// here and draws nothing.
class QtPanelViews final : public CustomizePane,
                           public PanelButtons,
                           public PrinterAddressDialog,
                           public PanelSideWindows {
public:
    void Attach(KelvoPanelWidget* widget);
    KelvoPanelWidget* Widget() const { return mWidget.data(); }

    // CustomizePane
    void drawControlsInTree() override;
    void greyoutShortcutControls(bool grey) override;
    // PanelButtons
    void setFullPropertiesButtonStatusON(bool on) override;
    void setDefaultsButtonStatusON(bool on) override;
    void setCustomizeQuickAccessButtonButtonStatusON(bool on) override;
    void bringDialogForward() override;
    // PrinterAddressDialog
    bool isBIDIEnabled() const override;
    std::string getprinterIPField() const override;
    void setprinterIPField(std::string_view address) override;
    void setBIDIStatusON(bool on) override;
    void greyoutConfigureButton(bool enabled) override;
    void greyoutBIDICheckbox(bool enabled) override;
    // PanelSideWindows: the customize dialog is the widget's
    bool IsCustomizeWindowOpen() const override;
    void doButtonCancelClicked() override;
    bool IsAddressDialogOpen() const override { return false; }
    void clickedCancel() override {}

private:
    QPointer<KelvoPanelWidget> mWidget;
    std::string mAddress;
    bool mBidi = false;
};

} // namespace kelvo::panel::qt

// What the panel's state controller needs of the views around it, with recording views for tests and scripts.
//
// The views themselves belong to the host's toolkit; the controller sees
// only these few operations, so it runs the same under a desktop toolkit,
// in the command-line host and in tests.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelvo::panel {

/// The pane that shows the tree of groups and the quick-access controls.
class CustomizePane {
public:
    virtual ~CustomizePane() = default;
    /// Draws the controls again from the document's current values.
    virtual void drawControlsInTree() = 0;
    /// Greys the quick-access controls out (true) or makes them usable.
    virtual void greyoutShortcutControls(bool grey) = 0;
};

/// The printer address dialog: the printer's network address and the
/// bidirectional communication switch.
class PrinterAddressDialog {
public:
    virtual ~PrinterAddressDialog() = default;
    virtual bool isBIDIEnabled() const = 0;
    virtual std::string getprinterIPField() const = 0;
    virtual void setprinterIPField(std::string_view address) = 0;
    virtual void setBIDIStatusON(bool on) = 0;
    /// Both take true to make the control usable, false to grey it out.
    virtual void greyoutConfigureButton(bool enabled) = 0;
    virtual void greyoutBIDICheckbox(bool enabled) = 0;
};

/// The panel's own buttons and its window.
class PanelButtons {
public:
    virtual ~PanelButtons() = default;
    virtual void setFullPropertiesButtonStatusON(bool on) = 0;
    virtual void setDefaultsButtonStatusON(bool on) = 0;
    virtual void setCustomizeQuickAccessButtonButtonStatusON(bool on) = 0;
    /// Brings the print dialog's process and window to the front.
    virtual void bringDialogForward() = 0;
};

/// One line per call, "name" or "name:YES"/"name:NO"/"name:TEXT", shared by
/// the recording views so a test sees the order across all of them.
using ViewCallLog = std::vector<std::string>;

inline std::string ViewCall(std::string_view name, bool flag) {
    return std::string(name) + (flag ? ":YES" : ":NO");
}

class RecordingCustomizePane final : public CustomizePane {
public:
    explicit RecordingCustomizePane(ViewCallLog& log) : mLog(log) {}
    void drawControlsInTree() override { mLog.emplace_back("drawControlsInTree"); }
    void greyoutShortcutControls(bool grey) override { mLog.push_back(ViewCall("greyoutShortcutControls", grey)); }

private:
    ViewCallLog& mLog;
};

/// Answers with the address and switch a test sets.
class RecordingPrinterAddressDialog final : public PrinterAddressDialog {
public:
    explicit RecordingPrinterAddressDialog(ViewCallLog& log) : mLog(log) {}
    bool isBIDIEnabled() const override { return bidi; }
    std::string getprinterIPField() const override { return address; }
    void setprinterIPField(std::string_view text) override {
        address = std::string(text);
        mLog.push_back("setprinterIPField:" + address);
    }
    void setBIDIStatusON(bool on) override {
        bidi = on;
        mLog.push_back(ViewCall("setBIDIStatusON", on));
    }
    void greyoutConfigureButton(bool enabled) override { mLog.push_back(ViewCall("greyoutConfigureButton", enabled)); }
    void greyoutBIDICheckbox(bool enabled) override { mLog.push_back(ViewCall("greyoutBIDICheckbox", enabled)); }

    bool bidi = false;
    std::string address;

private:
    ViewCallLog& mLog;
};

class RecordingPanelButtons final : public PanelButtons {
public:
    explicit RecordingPanelButtons(ViewCallLog& log) : mLog(log) {}
    void setFullPropertiesButtonStatusON(bool on) override {
        mLog.push_back(ViewCall("setFullPropertiesButtonStatusON", on));
    }
    void setDefaultsButtonStatusON(bool on) override { mLog.push_back(ViewCall("setDefaultsButtonStatusON", on)); }
    void setCustomizeQuickAccessButtonButtonStatusON(bool on) override {
        mLog.push_back(ViewCall("setCustomizeQuickAccessButtonButtonStatusON", on));
    }
    void bringDialogForward() override { mLog.emplace_back("bringDialogForward"); }

private:
    ViewCallLog& mLog;
};

} // namespace kelvo::panel

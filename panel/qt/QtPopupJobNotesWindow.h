// The popup job-notes window in Qt widgets.
#pragma once

#include <QPointer>
#include <memory>

#include "panel/PopupJobNotesWindow.h"

class QWidget;
class QDialog;

namespace kelvo::panel::qt {

/// A modal QDialog over `parent` (the print dialog): one label and field
/// row per note (secure fields masked), the "always" check box, OK and
/// Cancel. Ticking the check box answers kAlways (the window stays open);
/// OK answers kOK with the fields' texts; Cancel, Escape or closing the
/// window answers kCancel.
class QtPopupJobNotesWindow final : public PopupJobNotesWindow {
public:
    explicit QtPopupJobNotesWindow(QWidget* parent = nullptr);
    ~QtPopupJobNotesWindow() override;
    PopupJobNoteAnswer RunModal() override;
    void Close() override;
    /// The dialog while open (for tests and screenshots), else null.
    QDialog* Dialog() const;
    void SetParent(QWidget* parent);

protected:
    void DoOpen(std::string_view title, std::span<const PopupJobNoteField> fields, bool alwaysTicked) override;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

} // namespace kelvo::panel::qt

// The panel in Qt widgets: the document's pages as tabs, the quick-access
// pane, the panel's buttons and the printer address field.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <QString>
#include <QWidget>

class QTabWidget;

namespace kelvo::platform {
class StringsTable;
}

namespace kelvo::panel {
class KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58;
using KelvoFeaturesPDE = KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58;
} // namespace kelvo::panel

namespace kelvo::panel::qt {

class ControlEditor;

/// What the user is asked before a forbidden choice is applied with the
/// solver's changes; tests replace it to answer without a window.
class ResolutionPrompt {
public:
    virtual ~ResolutionPrompt() = default;
    /// `changes` are (control title, choice title) lines to show. True:
    /// apply them with the choice.
    virtual bool Confirm(QWidget* parent, const QString& choiceTitle, const std::vector<QString>& changes) = 0;
};

/// Laid out top to bottom:
///   - the quick-access pane: an editor for each shortcut of the panel
///     (the user's list from the print settings, else the PPD's);
///   - the pages (QTabWidget, object name "pages"): one tab per page of
///     PanelLayout, each a scroll area holding its sections (roll-downs as
///     collapsible sections, groups as group boxes) of label/editor rows;
///   - the printer address field and the bidirectional check box;
///   - the buttons Defaults, Full Properties, Customize... and Help.
/// Its window title is the panel's title (a QPrintDialog option tab shows
/// it). Every editor is reachable by Tab; labels are buddies; every field
/// has an accessible name (the control's title).
///
/// The widget borrows the panel; the panel must outlive it.
class KelvoPanelWidget : public QWidget {
    Q_OBJECT
public:
    KelvoPanelWidget(KelvoFeaturesPDE& pde, const platform::StringsTable& strings, QWidget* parent = nullptr);
    ~KelvoPanelWidget() override;

    KelvoFeaturesPDE& Pde() const { return mPde; }
    QTabWidget* Pages() const;
    /// The page editors in layout order (quick-access editors excluded).
    const std::vector<ControlEditor*>& Editors() const;
    /// The page editor of a keyword (with its asterisk), or null.
    ControlEditor* EditorFor(std::string_view keyword) const;
    /// The quick-access editors, in order.
    const std::vector<ControlEditor*>& ShortcutEditors() const;

    /// Shows every control's value again and re-greys (after Defaults, a
    /// helper return, an automation file...).
    void RefreshAll();
    /// Re-greys every editor from the current selections.
    void Regrey();
    /// Rebuilds the quick-access pane from the panel's shortcut list.
    void RebuildShortcuts();
    /// Greys the quick-access editors (the customize pane's call).
    void SetShortcutsEnabled(bool enabled);
    void SetFullPropertiesEnabled(bool enabled);
    void SetDefaultsEnabled(bool enabled);
    void SetCustomizeEnabled(bool enabled);

    /// The address field and bidirectional box (the address dialog's view).
    QString Address() const;
    void SetAddress(const QString& address);
    bool Bidi() const;
    void SetBidi(bool on);
    void SetAddressEnabled(bool enabled);
    void SetBidiEnabled(bool enabled);

    /// Replaces the confirmation dialog (borrowed; null: the real one).
    void SetResolutionPrompt(ResolutionPrompt* prompt);
    /// Job-note problems of every editor, one line each ("Title: problem").
    std::vector<QString> Problems() const;

signals:
    /// Any control changed (after the change and the re-grey).
    void settingsChanged();

private:
    struct Impl;
    KelvoFeaturesPDE& mPde;
    std::unique_ptr<Impl> d;
};

} // namespace kelvo::panel::qt

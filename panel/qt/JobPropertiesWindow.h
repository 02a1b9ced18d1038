// The job-properties helper's window: every setting the panel sent, laid
// out as the PPD groups them, with the panel's own editors.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <QDialog>

#include "PPDX/QJVPPD.h"
#include "panel/SDMKeyValueList.h"

class QTabWidget;
class QDialogButtonBox;

namespace kelvo::platform {
class SharedSegments;
class StringsTable;
} // namespace kelvo::platform

namespace kelvo::panel {
class SharedMemoryList;
}

namespace kelvo::panel::qt {

class ControlEditor;

/// A dialog over a copy of the panel's settings. It reads the PPD copy the
/// segment names into a document of its own, applies the settings to it so
/// the editors show the panel's values, and lays the controls out as the
/// panel does (a tab per page, a group box per section). Settings that no
/// editor shows are listed read-only on an "Other settings" page.
///
/// The document is the window's alone: the panel's process never sees it,
/// only the settings list written back (UpdatedSettings).
class JobPropertiesWindow final : public QDialog {
    Q_OBJECT
public:
    /// `settings` as read from the segment; `ppdCopy` the PPD copy it names
    /// (an empty path or an unreadable file leaves every setting on the
    /// "Other settings" page, see HasDocument). `strings` must outlive the
    /// window.
    JobPropertiesWindow(SDMKeyValueList settings, const std::filesystem::path& ppdCopy,
                        const platform::StringsTable& strings, QWidget* parent = nullptr);
    ~JobPropertiesWindow() override;

    /// Whether the PPD copy was read into a valid document.
    bool HasDocument() const { return mDoc != nullptr; }
    /// The editor of a control keyword (with its asterisk), or null.
    ControlEditor* Editor(const std::string& keyword) const;
    std::size_t EditorCount() const { return mEditors.size(); }
    QTabWidget* Tabs() const { return mTabs; }
    QDialogButtonBox* Buttons() const { return mButtons; }

    /// The settings as the panel sent them.
    const SDMKeyValueList& Original() const { return mOriginal; }
    /// The settings to write back: the same keys in the same order; an
    /// entry whose control now holds another value than it showed at the
    /// start gets the new value, every other entry keeps its exact text.
    SDMKeyValueList UpdatedSettings() const;

private:
    /// One setting's place: its control (null when the document has none
    /// for it) and that control's value text once every setting was applied.
    struct Entry {
        PPDXControl* control = nullptr;
        std::string shown;
    };

    void ApplySettings();
    void BuildPages(const platform::StringsTable& strings);
    void BuildOtherPage();
    void Regrey();
    void OnConflict(ControlEditor* editor, const QString& choice);

    SDMKeyValueList mOriginal;
    QJVPPDRef mDoc;
    std::vector<Entry> mEntries;
    std::vector<std::unique_ptr<ControlEditor>> mEditors;
    /// Keyword (with its asterisk) -> its editor, the first one built.
    std::map<std::string, ControlEditor*, std::less<>> mEditorByKeyword;
    QTabWidget* mTabs = nullptr;
    QDialogButtonBox* mButtons = nullptr;
};

/// How a request ended.
enum class JobPropertiesAnswer { kAccepted, kCanceled };

/// Serves one request over an attached segment: reads its settings (and
/// the overflow segment), shows the window modally until OK or Cancel (or
/// closing it), then writes the answer. OK: every setting written back
/// (UpdatedSettings; a new overflow segment replaces the old one, never
/// `segmentId` itself) and then status 0; Cancel: status 1 and the settings
/// untouched. The status goes last: it is what the panel polls for.
/// `shown`, when set, is called once the window is up (before its modal
/// session), for scripted runs and tests to drive it.
JobPropertiesAnswer ServeJobPropertiesRequest(SharedMemoryList& view, platform::SharedSegments& segments,
                                              int segmentId, const platform::StringsTable& strings,
                                              const std::function<void(JobPropertiesWindow&)>& shown = {});

} // namespace kelvo::panel::qt

// The extended PPD document: statement dispatch and the model built from it.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "PPDX/Constraints/UIConstraints.h"
#include "PPDX/PPDObjects/PPDXControls.h"
#include "PPDX/PPDObjects/PPDXGroups.h"
#include "PPDX/PPDObjects/PPDXShortcuts.h"
#include "PPDX/PPDX.h"
#include "util/PointerList.h"

#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"

/// Job-note flag levels: 0 accepts the first 9 flag words, 1 the first 12,
/// 2 the first 15, any other value all of them.
enum : _EXTENSIONS_SUPPORT_ {
    kExtensionsLevel0 = 0,
    kExtensionsLevel1 = 1,
    kExtensionsLevel2 = 2,
    kExtensionsAll = 3,
};

class QJVPPD;
using QJVPPDRef = std::unique_ptr<QJVPPD, PPDXReleaser>;

/// Reads a PPD statement by statement into pages, groups, controls,
/// shortcuts and constraints. Only options announced by a "*%QJVFlags" line
/// become controls; plain UI blocks are read past.
///
/// The document is built entirely by its constructor; errors are collected
/// in GetErrors(), never thrown. Release() it (or hold it in a QJVPPDRef).
class QJVPPD : public PPDX {
public:
    /// An empty document (no file).
    explicit QJVPPD(_PARSE_OPTIONS_ options);
    /// Reads the PPD at `path`.
    QJVPPD(const std::filesystem::path& path, _PARSE_OPTIONS_ options, std::vector<std::string> printerNames = {},
           PPDHostInfo host = {});
    /// Rebuilds a document from a snapshot that Save wrote, without reading
    /// the PPD. With `path` (the printer's PPD as the caller knows it) the
    /// snapshot is used only when that file is the one recorded in it and
    /// its "*PCFileName" holds one of `names` (no names: any); otherwise, or
    /// when the store holds no document, nothing is built and the document
    /// is not valid, with PPDErr_StaleSnapshot or PPDErr_NotSnapshot in its
    /// errors, so that the caller parses the PPD instead. Without a path the
    /// snapshot alone is rebuilt.
    QJVPPD(Settings& settings, const std::optional<std::filesystem::path>& path,
           const std::optional<std::vector<std::string>>& names);
    static QJVPPDRef FromSettings(Settings& settings, const std::optional<std::filesystem::path>& path = {},
                                  const std::optional<std::vector<std::string>>& names = {});
    /// Reads PPD text held in memory exactly as the same bytes in a file
    /// would be read. The document has no file path.
    static QJVPPDRef FromBytes(std::string_view bytes, _PARSE_OPTIONS_ options, PPDHostInfo host = {});
    ~QJVPPD() override;

    /// Writes the whole model: header items, the maker's two texts, then
    /// pages, groups, controls and shortcuts, everything included whatever
    /// the display option. False at the first item that fails; a model whose
    /// members would need more ids than the numbering has room for (over
    /// 1000 pages or groups, a popup of over 100 choices that is not the
    /// last control) is refused with kSettingsIdOverflow. SaveStatus() tells the status of
    /// the last Save.
    bool Save(Settings& settings) override;
    SettingsStatus SaveStatus() const { return mSaveStatus; }
    /// Sets the current values of the existing controls from a snapshot of
    /// the same document (each control from the id it was saved under).
    /// Pages, groups and the header are not read back.
    void Restore(Settings& settings);
    /// Rebuilds pages, groups, controls (with a new, empty constraint table)
    /// and shortcuts from a snapshot into this empty document, then links
    /// parents again by name. Returns false when the store holds no model.
    bool BuildFromSettings(Settings& settings);

    PPDXControls* GetControls() const { return mControls.get(); }
    PPDXGroups* GetGroups() const { return mGroups.get(); }
    PPDXProperties* GetProperties() const { return mProperties.get(); }
    PPDXShortcuts* GetShortcuts() const { return mShortcuts.get(); }
    UIConstraints* GetUIConstraints() const { return mConstraints.get(); }

    // Maker header values (null when absent).
    const char* QJFileVersion() const { return Text(mQJFileVersion); }
    const char* MakerQJVersion() const { return Text(mQJVersion); }
    const char* QJVersionMac() const { return Text(mQJVersionMac); }
    /// True when the file holds at least one of the maker's extension
    /// statements ("*%QJ..."); a plain PPD builds an empty model.
    bool HasMakerStatements() const { return mMakerStatements; }
    /// Title of the popup job-note window, from "FPPopupAccounting".
    const std::string& PopupAccountingTitle() const { return mPopupAccountingTitle; }

    /// The same document: read from the same file (file system, directory
    /// and name, as PPDFileRef records them) with equal "*PCFileName"
    /// values. Documents from memory equal nothing.
    bool operator==(const QJVPPD& other) const;

    /// The control of a keyword, with or without its leading asterisk.
    PPDXControl* GetPPDXControlForKey(std::string_view key) const;
    /// The value text of a control, or nullopt when there is none.
    std::optional<std::string> CopyValueForKey(std::string_view key) const;
    /// Applies a value text; false when no control (or a special option) has the key.
    bool SetValueForKey(std::string_view key, std::string_view value);
    /// Keyword (with asterisk) -> preset value text, for every control with a value.
    std::map<std::string, std::string> CopyAllValues() const;
    void SetAllValues(const std::map<std::string, std::string>& values);

    /// Would choosing `choice` for `key` conflict? "*QJPrintSize" set to
    /// "SameAsPageSize" is tested as the current page size.
    bool IsKVConstrained(const char* key, const char* choice);
    /// Told by the panel when page setup chose a custom page size.
    void SetCustomPageSizeChosen(bool chosen) { mCustomPageSizeChosen = chosen; }

    /// While alive, a "*QJPrintSize" set to "SameAsPageSize" holds the size it
    /// follows (the page size, or "CustomPrintSize"), so that constraint
    /// questions see the real size; the destructor puts "SameAsPageSize" back.
    class PrintSizeStandIn {
    public:
        explicit PrintSizeStandIn(QJVPPD& doc);
        ~PrintSizeStandIn();
        PrintSizeStandIn(const PrintSizeStandIn&) = delete;
        PrintSizeStandIn& operator=(const PrintSizeStandIn&) = delete;
        bool Active() const { return mPrintSize != nullptr; }
        /// The size the print size follows ("" when inactive).
        const std::string& FollowedSize() const { return mFollowed; }

    private:
        PPDXPopupControl* mPrintSize = nullptr;
        std::string mFollowed;
    };

    // Run-time menus built by the panel.
    PPDXPopupControl* PPDCreatePopupMenu(const char* groupName, const char* keyword, const char* userName,
                                         PopupItemList items, std::optional<CString> defaultKeyword);
    bool PPDReconcilePopupMenu(const char* keyword, const char* userName, PopupItemList items,
                               std::optional<CString> defaultKeyword);

    /// Finds the group of a declared name, creating it on first use.
    PPDXGroup* FindAndCreateParent(const char* name);

    static _EXTENSIONS_SUPPORT_ GetExtensions() { return sExtensionsSupport; }
    static void SetExtensions(_EXTENSIONS_SUPPORT_ level) { sExtensionsSupport = level; }

protected:
    QJVPPD(std::unique_ptr<PPDFile> source, _PARSE_OPTIONS_ options, PPDHostInfo host);
    void Build();
    virtual void Parse();
    PPDXErrorPtr ParsePSKeywords(PPDStream& stream, const char* keyword) override;

private:
    // Statements (the stream is positioned after the statement keyword).
    PPDXErrorPtr ParseStatement(PPDStream& stream, const char* keyword);
    PPDXErrorPtr ParseControl(PPDStream& stream);
    PPDXErrorPtr ParseGroup(PPDStream& stream, const char* key, FlagList& flags);
    PPDXErrorPtr ParseOpenUI(PPDStream& stream, const char* key, FlagList& flags, PPDXGroup* group);
    PPDXErrorPtr ParseOpenUIQJV(PPDStream& stream, const char* key, FlagList& flags);
    PPDXErrorPtr ParsePopupControl(const char* keyword, std::string localName, FlagList& flags, PPDXGroup* parent,
                                   const bool& multiple);
    PPDXErrorPtr ParseBooleanControl(const char* keyword, std::string localName, FlagList& flags,
                                     PPDXGroup* parent);
    PPDXErrorPtr ParseRange(PPDStream& stream, const char* keyword, FlagList& flags, PPDXGroup* parent,
                            bool isFloat);
    PPDXErrorPtr ParseCustomPageSize(PPDStream& stream, const char* keyword);
    PPDXErrorPtr ParseJobNote(PPDStream& stream, const char* keyword, FlagList& flags, PPDXGroup* parent);
    PPDXErrorPtr ParseJobNote(PPDStream& stream);
    PPDXErrorPtr ParseShortcut(PPDStream& stream);
    PPDXErrorPtr ParseSpecialOption(PPDStream& stream);
    PPDXErrorPtr ParseUIConstraint(PPDStream& stream, bool isRequires);
    PPDXErrorPtr ParsePropertyPage(PPDStream& stream);
    PPDXErrorPtr ParseGroupName(PPDStream& stream);
    PPDXErrorPtr ParseParent(PPDStream& stream);
    PPDXErrorPtr ParseSubGroupName(PPDStream& stream);

    // Closing passes.
    void ResolveShortcuts();
    void CollectOrphanGroups();
    void ClearGroupNameList() { mGroupNames.clear(); }
    /// After a rebuild from a snapshot, where parents are names: a scroll
    /// pane gets the page of its name (and becomes its pane), a roll-down
    /// the scroll pane of its name (which lists it), a control the group of
    /// its name (a roll-down also lists it). Names that find nothing leave
    /// orphans; every name is dropped.
    void ResolveHeirarchy();
    /// kSettingsNoErr when every member of the model gets ids of its own in
    /// a snapshot, else kSettingsIdOverflow.
    SettingsStatus CheckSnapshotRoom();

    // Helpers.
    void AddError(PPDXErrorPtr error);
    /// Reads flag words (separated by bars, inside quotes) to the line's end.
    FlagList ReadFlags(PPDStream& stream);
    /// Reads "option[/translation]:"; the translation is empty when absent.
    /// `hasSlash`, when given, says whether a translation was written at all
    /// ("/:" writes an empty one).
    bool ReadOptionAndTranslation(PPDStream& stream, char* option, char* translation, bool* hasSlash = nullptr);
    void AddGroupNameToList(GroupName record);
    const GroupName* FindGroupNameFromList(const char* name) const;
    /// Finds or creates the group, making a plain visible group of that name
    /// when it was never declared.
    PPDXGroup* FindOrCreateGroup(const char* name);
    /// Adds the control to the collection, under `group` when there is one;
    /// with `place`, a roll-down also lists it among its controls. Controls
    /// whose keyword the panel handles itself are dropped (returns null).
    PPDXControl* SetupControl(std::unique_ptr<PPDXControl> control, PPDXGroup* group, bool place);
    bool AcceptsOrphans() const { return (mParseOptions & kParseOrphans) != 0; }
    bool KeepsHidden() const { return (mParseOptions & kParseHidden) != 0; }
    /// The group a control without a group line falls into.
    PPDXGroup* DefaultGroup() const;

    std::unique_ptr<PPDXProperties> mProperties;
    std::unique_ptr<PPDXGroups> mGroups;
    std::unique_ptr<PPDXControls> mControls;
    std::unique_ptr<PPDXShortcuts> mShortcuts;
    bool mInInstallableOptions = false;
    PPDXRollDown* mInstallableRollDown = nullptr;
    std::optional<CString> mQJFileVersion;
    std::optional<CString> mQJVersion;
    std::optional<CString> mQJVersionMac;
    std::vector<CString> mStringList;
    GroupNameList mGroupNames;
    std::unique_ptr<UIConstraints> mConstraints;
    std::string mPopupAccountingTitle;
    bool mCustomPageSizeChosen = false;
    bool mMakerStatements = false;
    SettingsStatus mSaveStatus = 0;
    /// The line of the statement being read; 0 outside the statement loop.
    std::uint32_t mStatementLine = 0;

    static inline _EXTENSIONS_SUPPORT_ sExtensionsSupport = kExtensionsAll;
};

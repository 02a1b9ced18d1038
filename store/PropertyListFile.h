// One property-list file: loaded when constructed, written back with Save.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/PlistFile.h"
#include "store/PropertyValue.h"

namespace kelvo::store {

/// A property-list file at a fixed path. The constructor reads it (XML or
/// binary); a missing or unreadable file leaves the root empty and its
/// reason in LastError(). The loaded flag is set after the attempt in every
/// case, the file found or not.
class PropertyListFile {
public:
    /// Selects the constructor that takes a path under the home folder.
    struct UnderHome {};

    /// The file at `path`, made absolute against the working folder.
    explicit PropertyListFile(const std::filesystem::path& path, bool mutableRoot = false);
    /// The file `name` in `directory`.
    PropertyListFile(const std::filesystem::path& directory, std::string_view name, bool mutableRoot = false);
    /// The file at HOME followed by `path` as text ("/Library/x.plist" gives
    /// "$HOME/Library/x.plist"). Without HOME nothing is read, the path is
    /// empty and LastError() is kPlistNoHome.
    PropertyListFile(UnderHome, std::string_view path, bool mutableRoot = false);
    virtual ~PropertyListFile() = default;

    PropertyListFile(const PropertyListFile&) = default;
    PropertyListFile& operator=(const PropertyListFile&) = default;

    const std::filesystem::path& Path() const { return mPath; }
    /// The root read from the file, or null when none was read.
    const PropertyValue* Root() const { return mRoot ? &*mRoot : nullptr; }
    bool IsLoaded() const { return mLoaded; }
    /// Whether the creator asked for a root it may change (kept for the
    /// callers that make that distinction; the value is always a copy here).
    bool IsMutable() const { return mMutable; }
    /// Status of the last read or write (kPlistOK, an errno value, or a
    /// negative kPlist code).
    PlistStatus LastError() const { return mError; }

    /// Reads and parses `path` into the root, replacing it; on failure the
    /// root is emptied. Returns whether a property list was read.
    bool CreatePropertyListFromFile(const std::filesystem::path& path);

    /// Writes `root` as XML over the file (see WritePropertyListXML).
    /// Returns success; the status is kept in LastError(), -108 when the
    /// value cannot be serialised.
    bool Save(const PropertyValue& root);

protected:
    /// Selects the constructor that takes the content instead of reading it.
    struct WithRoot {};
    /// The file at `path` with `root` taken as its content; nothing is read.
    PropertyListFile(WithRoot, const std::filesystem::path& path, bool mutableRoot, PropertyValue root);

    void SetLoaded(bool loaded) { mLoaded = loaded; }
    void SetError(PlistStatus status) { mError = status; }

private:
    void Load();

    std::filesystem::path mPath;
    std::optional<PropertyValue> mRoot;
    bool mMutable = false;
    bool mLoaded = false;
    PlistStatus mError = kPlistOK;
};

/// The "PrinterList.plist" of a folder and its "PCFILENAME" entry: the PPD
/// file names the panel serves. The object counts as loaded only when the
/// entry exists.
class PrinterListFile : public PropertyListFile {
public:
    static constexpr std::string_view kFileName = "PrinterList.plist";
    static constexpr std::string_view kKey = "PCFILENAME";

    explicit PrinterListFile(const std::filesystem::path& directory);

    /// The "PCFILENAME" value as stored, or null when the root is no
    /// dictionary or has no such key.
    const PropertyValue* Value() const;
    /// The names the value lists: one for a string, the string elements of
    /// an array (others skipped); nothing when the entry is absent or of
    /// another kind, which means every printer is served.
    std::optional<std::vector<std::string>> Names() const;
};

} // namespace kelvo::store

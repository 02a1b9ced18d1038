// The panel's bundle: the installed folder that holds the info file, the strings tables and the helper.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/PropertyValue.h"

namespace kelvo::platform {

/// The bundle folder's name. It starts with "QJ" because the popup
/// job-notes file takes its name from the path component that follows the
/// first "/QJ" of the bundle path. The build (cmake/KelvoBundle.cmake)
/// makes a folder of this name in the build tree and installs it under
/// <libdir>/kelvo/.
inline constexpr std::string_view kBundleName = "QJVKelvoPDE.plugin";
/// Environment variable naming the bundle folder; it wins over every other
/// way of finding it (tests, a bundle moved by hand).
inline constexpr std::string_view kBundleEnvironment = "KELVO_BUNDLE";
/// The info file, inside Contents/: an XML property list.
inline constexpr std::string_view kInfoFileName = "Info.plist";
inline constexpr std::string_view kInfoIdentifierKey = "CFBundleIdentifier";
inline constexpr std::string_view kInfoVersionKey = "CFBundleVersion";
inline constexpr std::string_view kInfoSupportedKeysKey = "PMPPDKeysSupported";
/// Longest bundle version the helper exchange carries, in bytes.
inline constexpr std::size_t kMaxBundleVersionBytes = 14;

/// Which job-properties helper serves a PPD, and the minor number it is
/// started with.
struct HelperVersion {
    std::string text; ///< "3", "4", "4.1", "4.2" or "4.4"
    int minor = 0;

    friend bool operator==(const HelperVersion&, const HelperVersion&) = default;
};

/// The helper for a PPD's version string (the platform version if the PPD
/// has one, else its general one; empty when it has neither): "4" and
/// "4.0" give "4"/0, "4.1" gives "4.1"/1, "4.2" and "4.3" give "4.2"/2 (the
/// 4.2 helper serves 4.3), any other text starting "4." gives "4.4" with
/// the number after "4." as `atoi` reads it (0 when it has no digits or
/// does not fit in an int), anything else "3"/0.
HelperVersion HelperVersionFor(std::string_view versionString);

/// The helper executable inside the bundle at `bundlePath`:
/// bundlePath + "/Contents/QJV KD" + versionText + "toJP.app/Contents/MacOS/QJV KD" + versionText + "toJP".
/// Only text: nothing is checked on disk.
std::string HelperPath(std::string_view bundlePath, std::string_view versionText);

/// The bundle's name as the helper exchange carries it: the last component
/// of `bundlePath` (a trailing "/" ignored), cut at its first blank.
std::string BundleNameForSegment(std::string_view bundlePath);

/// An opened bundle: its folder and what its info file says. A value; it
/// holds no file open.
class Bundle {
public:
    /// Opens the bundle folder `folder`: it must be a directory holding
    /// Contents/Info.plist with a dictionary root. The three info keys are
    /// optional (a missing one reads as empty; a version longer than
    /// kMaxBundleVersionBytes is cut to whole UTF-8 characters). On failure
    /// returns nothing and says why in `error`.
    static std::optional<Bundle> Open(const std::filesystem::path& folder, std::string& error);

    /// Finds and opens the bundle the running program belongs to; see
    /// FindBundleFolder. Nothing, with `error` set, when there is none.
    static std::optional<Bundle> Find(std::string& error);

    /// The bundle folder (absolute, without a trailing "/").
    const std::filesystem::path& Path() const { return mPath; }
    std::filesystem::path ContentsPath() const { return mPath / "Contents"; }
    /// Contents/Resources: the strings tables (<lang>.lproj/<Table>.strings)
    /// and PrinterList.plist.
    std::filesystem::path ResourcesPath() const { return ContentsPath() / "Resources"; }

    /// "CFBundleIdentifier", "CFBundleVersion" and the string elements of
    /// "PMPPDKeysSupported" (other elements skipped) from the info file.
    const std::string& Identifier() const { return mIdentifier; }
    const std::string& Version() const { return mVersion; }
    const std::vector<std::string>& SupportedKeys() const { return mSupportedKeys; }
    /// Any other entry of the info file, or null.
    const store::PropertyValue* InfoValue(std::string_view key) const { return mInfo.Find(key); }

    /// HelperPath over this bundle's path.
    std::string HelperPath(std::string_view versionText) const;
    /// BundleNameForSegment over this bundle's path.
    std::string NameForSegment() const;

private:
    Bundle() = default;

    std::filesystem::path mPath;
    store::PropertyValue mInfo;
    std::string mIdentifier;
    std::string mVersion;
    std::vector<std::string> mSupportedKeys;
};

/// Where the bundle is, in this order:
/// 1. `environmentValue` when not null or empty (normally $KELVO_BUNDLE);
/// 2. installed beside the program: `program` in <prefix>/bin gives
///    <prefix>/<libdir>/kelvo/<kBundleName> (also <prefix>/lib/kelvo/...);
/// 3. in a build tree: the nearest folder above `program` that holds
///    CMakeCache.txt, and its <kBundleName>.
/// A candidate of 2 and 3 counts only when it holds Contents/Info.plist.
/// Returns nothing, with `error` set, when no rule gives a folder; rule 1's
/// folder is returned as given (Open checks it).
std::optional<std::filesystem::path> FindBundleFolder(const std::filesystem::path& program,
                                                      const char* environmentValue, std::string& error);

/// The running program's file (/proc/self/exe), empty when unreadable.
std::filesystem::path RunningProgramPath();

} // namespace kelvo::platform

// The panel's bundle: finding it, reading its info file, and the paths and names derived from its path.
#include "platform/Bundle.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "store/PlistFile.h"
#include "util/Numbers.h"
#include "util/Utf8Cut.h"

// The library folder as seen from the programs' folder, set by the build
// (cmake/KelvoBundle.cmake) from the install directories, so that a
// multiarch libdir ("lib/x86_64-linux-gnu") is found too.
#ifndef KELVO_LIBDIR_FROM_BINDIR
#define KELVO_LIBDIR_FROM_BINDIR "../lib"
#endif

namespace kelvo::platform {

namespace fs = std::filesystem;

HelperVersion HelperVersionFor(std::string_view version) {
    if (version == "4" || version == "4.0")
        return {"4", 0};
    if (version == "4.1")
        return {"4.1", 1};
    if (version == "4.2" || version == "4.3")
        return {"4.2", 2};
    if (version.starts_with("4.")) {
        // The later helpers are one program told its minor number.
        const std::string rest(version.substr(2));
        const std::optional<std::int32_t> minor = LeadingInt32(rest.c_str());
        return {"4.4", minor ? static_cast<int>(*minor) : 0};
    }
    return {"3", 0};
}

std::string HelperPath(std::string_view bundlePath, std::string_view versionText) {
    std::string path;
    path.reserve(bundlePath.size() + 2 * versionText.size() + 60);
    path.append(bundlePath).append("/Contents/QJV KD").append(versionText);
    path.append("toJP.app/Contents/MacOS/QJV KD").append(versionText).append("toJP");
    return path;
}

std::string BundleNameForSegment(std::string_view bundlePath) {
    while (bundlePath.size() > 1 && bundlePath.back() == '/')
        bundlePath.remove_suffix(1);
    const std::size_t slash = bundlePath.rfind('/');
    std::string_view name = slash == std::string_view::npos ? bundlePath : bundlePath.substr(slash + 1);
    const std::size_t blank = name.find(' ');
    if (blank != std::string_view::npos)
        name = name.substr(0, blank);
    return std::string(name);
}

namespace {

bool HoldsInfoFile(const fs::path& folder) {
    std::error_code ec;
    return fs::is_regular_file(folder / "Contents" / kInfoFileName, ec);
}

std::string InfoString(const store::PropertyValue& info, std::string_view key) {
    const store::PropertyValue* value = info.Find(key);
    return value ? std::string(value->StringOr("")) : std::string();
}

} // namespace

std::optional<Bundle> Bundle::Open(const fs::path& folder, std::string& error) {
    std::error_code ec;
    fs::path path = fs::absolute(folder, ec);
    if (ec || folder.empty()) {
        error = "no bundle folder given";
        return std::nullopt;
    }
    path = path.lexically_normal();
    if (path.has_relative_path() && !path.has_filename())
        path = path.parent_path();
    if (!fs::is_directory(path, ec)) {
        error = path.string() + ": not a folder";
        return std::nullopt;
    }
    const fs::path infoPath = path / "Contents" / kInfoFileName;
    store::PropertyValue info;
    const store::PlistStatus status = store::ReadPropertyList(infoPath, info);
    if (status != store::kPlistOK) {
        error = infoPath.string() + ": " + store::PlistStatusText(status);
        return std::nullopt;
    }
    if (!info.IsDictionary()) {
        error = infoPath.string() + ": the root is not a dictionary";
        return std::nullopt;
    }

    Bundle bundle;
    bundle.mPath = std::move(path);
    bundle.mIdentifier = InfoString(info, kInfoIdentifierKey);
    bundle.mVersion = std::string(CutUTF8(InfoString(info, kInfoVersionKey), kMaxBundleVersionBytes));
    if (const store::PropertyValue* keys = info.Find(kInfoSupportedKeysKey)) {
        if (const store::PropertyArray* items = keys->AsArray()) {
            for (const store::PropertyValue& item : *items) {
                if (const std::string* key = item.AsString())
                    bundle.mSupportedKeys.push_back(*key);
            }
        }
    }
    bundle.mInfo = std::move(info);
    return bundle;
}

std::optional<Bundle> Bundle::Find(std::string& error) {
    const std::optional<fs::path> folder =
        FindBundleFolder(RunningProgramPath(), std::getenv(std::string(kBundleEnvironment).c_str()), error);
    if (!folder)
        return std::nullopt;
    return Open(*folder, error);
}

std::string Bundle::HelperPath(std::string_view versionText) const {
    return platform::HelperPath(mPath.native(), versionText);
}

std::string Bundle::NameForSegment() const {
    return BundleNameForSegment(mPath.native());
}

std::optional<fs::path> FindBundleFolder(const fs::path& program, const char* environmentValue, std::string& error) {
    if (environmentValue && *environmentValue)
        return fs::path(environmentValue);
    if (program.empty() || !program.is_absolute()) {
        error = "the running program's location is unknown and " + std::string(kBundleEnvironment) + " is not set";
        return std::nullopt;
    }

    const fs::path programFolder = program.parent_path();
    for (const fs::path& libdir : {fs::path(KELVO_LIBDIR_FROM_BINDIR), fs::path("../lib")}) {
        // An absolute libdir stands on its own; operator/ keeps it so.
        const fs::path candidate = (programFolder / libdir / "kelvo" / kBundleName).lexically_normal();
        if (HoldsInfoFile(candidate))
            return candidate;
    }

    // A program run where it was built: the build tree's top holds the
    // configure cache, and the build made the bundle beside it. Only that
    // folder is looked at, so an installed program never picks up a stray
    // folder of the same name higher up.
    std::error_code ec;
    for (fs::path folder = programFolder; folder.has_relative_path(); folder = folder.parent_path()) {
        if (fs::is_regular_file(folder / "CMakeCache.txt", ec)) {
            const fs::path candidate = folder / kBundleName;
            if (HoldsInfoFile(candidate))
                return candidate;
            break;
        }
    }
    error = "no bundle " + std::string(kBundleName) + " beside " + program.string() + " (set " +
            std::string(kBundleEnvironment) + ")";
    return std::nullopt;
}

fs::path RunningProgramPath() {
    char buffer[PATH_MAX + 1];
    const ssize_t length = readlink("/proc/self/exe", buffer, PATH_MAX);
    if (length <= 0 || length >= PATH_MAX)
        return {};
    return fs::path(std::string(buffer, static_cast<std::size_t>(length)));
}

} // namespace kelvo::platform

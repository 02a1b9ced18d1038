// Helpers for the property-list tests: a temporary folder and environment
// variables set for the length of a test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include <unistd.h>

namespace kelvotest {

/// A fresh folder under the system's temporary folder, removed with the object.
class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "kelvo-plist-XXXXXX").string();
        if (mkdtemp(pattern.data()))
            mPath = pattern;
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::permissions(mPath, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ec);
        std::filesystem::remove_all(mPath, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& Path() const { return mPath; }
    std::filesystem::path operator/(const std::string& name) const { return mPath / name; }

private:
    std::filesystem::path mPath;
};

/// Sets (or with nullopt unsets) an environment variable, restoring the old
/// value when destroyed.
class ScopedEnv {
public:
    ScopedEnv(const char* name, std::optional<std::string> value) : mName(name) {
        if (const char* old = std::getenv(name))
            mOld = old;
        if (value)
            setenv(name, value->c_str(), 1);
        else
            unsetenv(name);
    }
    ~ScopedEnv() {
        if (mOld)
            setenv(mName.c_str(), mOld->c_str(), 1);
        else
            unsetenv(mName.c_str());
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string mName;
    std::optional<std::string> mOld;
};

} // namespace kelvotest

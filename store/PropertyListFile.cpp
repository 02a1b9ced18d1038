// One property-list file: loaded when constructed, written back with Save.
#include "store/PropertyListFile.h"

#include <cerrno>
#include <cstdlib>

namespace kelvo::store {

PropertyListFile::PropertyListFile(const std::filesystem::path& path, bool mutableRoot) : mMutable(mutableRoot) {
    std::error_code ec;
    mPath = path.empty() ? path : std::filesystem::absolute(path, ec);
    if (ec)
        mPath = path;
    Load();
}

PropertyListFile::PropertyListFile(const std::filesystem::path& directory, std::string_view name, bool mutableRoot)
    : PropertyListFile(directory / name, mutableRoot) {}

PropertyListFile::PropertyListFile(UnderHome, std::string_view path, bool mutableRoot) : mMutable(mutableRoot) {
    const char* home = std::getenv("HOME");
    if (!home || !*home) {
        mError = kPlistNoHome;
        mLoaded = true;
        return;
    }
    // Plain concatenation, as the path is given with its leading slash.
    mPath = std::filesystem::path(std::string(home) + std::string(path));
    Load();
}

PropertyListFile::PropertyListFile(WithRoot, const std::filesystem::path& path, bool mutableRoot, PropertyValue root)
    : mPath(path), mRoot(std::move(root)), mMutable(mutableRoot), mLoaded(true) {}

void PropertyListFile::Load() {
    if (mPath.empty()) {
        mError = ENOENT;
        mRoot.reset();
    } else {
        CreatePropertyListFromFile(mPath);
    }
    mLoaded = true;
}

bool PropertyListFile::CreatePropertyListFromFile(const std::filesystem::path& path) {
    PropertyValue root;
    mError = ReadPropertyList(path, root);
    if (mError != kPlistOK) {
        mRoot.reset();
        return false;
    }
    mRoot = std::move(root);
    return true;
}

bool PropertyListFile::Save(const PropertyValue& root) {
    if (mPath.empty()) {
        if (mError == kPlistOK)
            mError = ENOENT;
        return false;
    }
    mError = WritePropertyListXML(mPath, root);
    return mError == kPlistOK;
}

PrinterListFile::PrinterListFile(const std::filesystem::path& directory)
    : PropertyListFile(directory, kFileName, false) {
    SetLoaded(Value() != nullptr);
}

const PropertyValue* PrinterListFile::Value() const {
    const PropertyValue* root = Root();
    return root ? root->Find(kKey) : nullptr;
}

std::optional<std::vector<std::string>> PrinterListFile::Names() const {
    const PropertyValue* value = Value();
    if (!value)
        return std::nullopt;
    if (const std::string* name = value->AsString())
        return std::vector<std::string>{*name};
    const PropertyArray* items = value->AsArray();
    if (!items)
        return std::nullopt;
    std::vector<std::string> names;
    for (const PropertyValue& item : *items)
        if (const std::string* name = item.AsString())
            names.push_back(*name);
    return names;
}

} // namespace kelvo::store

// A host held in memory, saved and loaded as one JSON file.
#pragma once

#include <filesystem>
#include <string>

#include "platform/Host.h"

namespace kelvo::platform {

/// Print settings in a plain dictionary.
class InMemoryPrintSettings final : public PrintSettings {
public:
    InMemoryPrintSettings() = default;
    explicit InMemoryPrintSettings(PropertyDictionary entries) : mEntries(std::move(entries)) {}
    std::optional<PropertyValue> Get(std::string_view key) const override;
    void Set(std::string_view key, PropertyValue value) override;
    void Remove(std::string_view key) override;
    PropertyDictionary CopyAsDictionary() const override { return mEntries; }

private:
    PropertyDictionary mEntries;
};

/// Everything a dialog's host knows, in memory: for tests, the command-line
/// tool and scripts. The state file (docs/host-state.md) is JSON:
///
///   {"printSettings": {KEY: VALUE, ...},
///    "pageFormat": {"orientation": 1, "paperName": "A4",
///                   "paper": [top, left, bottom, right]},
///    "printer": {"name": ..., "hostName": ..., "deviceURI": ..., "ppdPath": ...,
///                "presets": {NAME: {KEY: VALUE, ...}}},
///    "applicationID": ..., "processName": ..., "loginName": ...}
///
/// A VALUE is a JSON string, integer, real, boolean, array or object; data
/// bytes are {"data": BASE64}. Every member may be left out.
class InMemoryHost final : public Host {
public:
    InMemoryHost();

    PrintSettings& Settings() override { return mSettings; }
    PageFormat& Page() override { return mPage; }
    const PrinterInfo& Printer() const override { return mPrinter; }
    PrinterInfo& MutablePrinter() { return mPrinter; }
    std::string ApplicationID() const override { return mApplicationID; }
    std::string ProcessName() const override { return mProcessName; }
    std::string LoginName() const override { return mLoginName; }
    void SetApplicationID(std::string id) { mApplicationID = std::move(id); }
    void SetProcessName(std::string name) { mProcessName = std::move(name); }
    void SetLoginName(std::string name) { mLoginName = std::move(name); }

    /// Replaces the state with the file's. On failure the state is
    /// unchanged and `error` says what is wrong (the file, the member).
    bool Load(const std::filesystem::path& path, std::string& error);
    /// Writes the state (atomically: a temporary file renamed over the old).
    bool Save(const std::filesystem::path& path, std::string& error) const;
    /// The state as JSON text, and back.
    std::string ToJSON() const;
    bool FromJSON(std::string_view text, std::string& error);

private:
    InMemoryPrintSettings mSettings;
    PageFormat mPage;
    PrinterInfo mPrinter;
    std::string mApplicationID;
    std::string mProcessName;
    std::string mLoginName;
};

} // namespace kelvo::platform

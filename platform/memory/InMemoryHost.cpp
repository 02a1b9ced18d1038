// The in-memory host and its JSON state file.
#include "platform/memory/InMemoryHost.h"

#include <nettle/base64.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "store/PlistFile.h"

namespace kelvo::platform {

using nlohmann::json;

std::optional<PropertyValue> InMemoryPrintSettings::Get(std::string_view key) const {
    auto it = mEntries.find(key);
    if (it == mEntries.end())
        return std::nullopt;
    return it->second;
}

void InMemoryPrintSettings::Set(std::string_view key, PropertyValue value) {
    mEntries.insert_or_assign(std::string(key), std::move(value));
}

void InMemoryPrintSettings::Remove(std::string_view key) {
    if (auto it = mEntries.find(key); it != mEntries.end())
        mEntries.erase(it);
}

InMemoryHost::InMemoryHost() : mLoginName(CurrentLoginName()) {}

namespace {

/// The deepest nesting a state file may have: deeper JSON is refused
/// rather than walked recursively.
constexpr int kMaxDepth = 64;
/// A state file is small; anything much larger is not one.
constexpr std::uintmax_t kMaxStateBytes = 64u << 20;

std::string Base64(const store::PropertyData& bytes) {
    std::string out(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
    base64_encode_raw(reinterpret_cast<char*>(out.data()), bytes.size(), bytes.data());
    return out;
}

bool FromBase64(const std::string& text, store::PropertyData& out) {
    base64_decode_ctx ctx;
    base64_decode_init(&ctx);
    out.resize(BASE64_DECODE_LENGTH(text.size()));
    std::size_t length = out.size();
    if (!base64_decode_update(&ctx, &length, out.data(), text.size(), text.data()) || !base64_decode_final(&ctx))
        return false;
    out.resize(length);
    return true;
}

json ToJSONValue(const PropertyValue& value) {
    switch (value.GetKind()) {
    case PropertyValue::Kind::String: return *value.AsString();
    case PropertyValue::Kind::Integer: return *value.AsInteger();
    case PropertyValue::Kind::Real:
        // JSON has no NaN or infinity: such a real is kept as null.
        return std::isfinite(*value.AsReal()) ? json(*value.AsReal()) : json(nullptr);
    case PropertyValue::Kind::Boolean: return *value.AsBoolean();
    case PropertyValue::Kind::Data: return json{{"data", Base64(*value.AsData())}};
    case PropertyValue::Kind::Array: {
        json out = json::array();
        for (const PropertyValue& item : *value.AsArray())
            out.push_back(ToJSONValue(item));
        return out;
    }
    case PropertyValue::Kind::Dictionary: {
        json out = json::object();
        for (const auto& [key, item] : *value.AsDictionary())
            out[key] = ToJSONValue(item);
        return out;
    }
    }
    return nullptr;
}

bool FromJSONValue(const json& j, PropertyValue& out, int depth, std::string& error, const std::string& where) {
    if (depth > kMaxDepth) {
        error = where + ": nested too deeply";
        return false;
    }
    if (j.is_string()) {
        out = PropertyValue(j.get<std::string>());
    } else if (j.is_boolean()) {
        out = PropertyValue(j.get<bool>());
    } else if (j.is_number_unsigned()) {
        const auto v = j.get<std::uint64_t>();
        if (v > static_cast<std::uint64_t>(INT64_MAX)) {
            error = where + ": integer beyond 64 bits";
            return false;
        }
        out = PropertyValue(static_cast<std::int64_t>(v));
    } else if (j.is_number_integer()) {
        out = PropertyValue(j.get<std::int64_t>());
    } else if (j.is_number_float()) {
        out = PropertyValue(j.get<double>());
    } else if (j.is_array()) {
        store::PropertyArray items;
        for (std::size_t i = 0; i < j.size(); ++i) {
            PropertyValue item;
            if (!FromJSONValue(j[i], item, depth + 1, error, where + "[" + std::to_string(i) + "]"))
                return false;
            items.push_back(std::move(item));
        }
        out = PropertyValue(std::move(items));
    } else if (j.is_object() && j.size() == 1 && j.contains("data") && j["data"].is_string()) {
        store::PropertyData bytes;
        if (!FromBase64(j["data"].get<std::string>(), bytes)) {
            error = where + ": data is not Base64";
            return false;
        }
        out = PropertyValue(std::move(bytes));
    } else if (j.is_object()) {
        PropertyDictionary entries;
        for (const auto& [key, item] : j.items()) {
            PropertyValue value;
            if (!FromJSONValue(item, value, depth + 1, error, where + "." + key))
                return false;
            entries.emplace(key, std::move(value));
        }
        out = PropertyValue(std::move(entries));
    } else {
        error = where + ": null is no value";
        return false;
    }
    return true;
}

bool ReadDictionary(const json& j, PropertyDictionary& out, std::string& error, const std::string& where) {
    PropertyValue value;
    if (!j.is_object() || !FromJSONValue(j, value, 0, error, where) || !value.IsDictionary()) {
        if (error.empty())
            error = where + ": not an object";
        return false;
    }
    out = std::move(*value.AsDictionary());
    return true;
}

bool ReadString(const json& parent, const char* key, std::string& out, std::string& error,
                const std::string& where) {
    if (!parent.contains(key))
        return true;
    if (!parent[key].is_string()) {
        error = where + "." + key + ": not a string";
        return false;
    }
    out = parent[key].get<std::string>();
    return true;
}

} // namespace

std::string InMemoryHost::ToJSON() const {
    json j;
    j["printSettings"] = ToJSONValue(PropertyValue(mSettings.CopyAsDictionary()));
    j["pageFormat"] = {{"orientation", mPage.orientation},
                       {"paperName", mPage.paperName},
                       {"paper",
                        {mPage.unadjustedPaper.top, mPage.unadjustedPaper.left, mPage.unadjustedPaper.bottom,
                         mPage.unadjustedPaper.right}}};
    json presets = json::object();
    for (const auto& [name, entries] : mPrinter.presets)
        presets[name] = ToJSONValue(PropertyValue(entries));
    j["printer"] = {{"name", mPrinter.name},
                    {"hostName", mPrinter.hostName},
                    {"deviceURI", mPrinter.deviceURI},
                    {"ppdPath", mPrinter.ppdPath},
                    {"presets", presets}};
    j["applicationID"] = mApplicationID;
    j["processName"] = mProcessName;
    j["loginName"] = mLoginName;
    // A print-settings text need not be UTF-8 (a note typed in another
    // encoding): such bytes are written as U+FFFD rather than failing.
    return j.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

bool InMemoryHost::FromJSON(std::string_view text, std::string& error) {
    const json j = json::parse(text, nullptr, false);
    if (j.is_discarded() || !j.is_object()) {
        error = "not a JSON object";
        return false;
    }
    // Read into a copy: a file with one bad member changes nothing.
    InMemoryHost next = *this;
    if (j.contains("printSettings")) {
        PropertyDictionary entries;
        if (!ReadDictionary(j["printSettings"], entries, error, "printSettings"))
            return false;
        next.mSettings = InMemoryPrintSettings(std::move(entries));
    }
    if (j.contains("pageFormat")) {
        const json& page = j["pageFormat"];
        if (!page.is_object()) {
            error = "pageFormat: not an object";
            return false;
        }
        if (page.contains("orientation")) {
            if (!page["orientation"].is_number_integer() || page["orientation"].get<std::int64_t>() < 1 ||
                page["orientation"].get<std::int64_t>() > 4) {
                error = "pageFormat.orientation: not 1, 2, 3 or 4";
                return false;
            }
            next.mPage.orientation = page["orientation"].get<int>();
        }
        if (!ReadString(page, "paperName", next.mPage.paperName, error, "pageFormat"))
            return false;
        if (page.contains("paper")) {
            const json& r = page["paper"];
            if (!r.is_array() || r.size() != 4 || !std::all_of(r.begin(), r.end(), [](const json& v) {
                    return v.is_number();
                })) {
                error = "pageFormat.paper: not four numbers";
                return false;
            }
            next.mPage.unadjustedPaper = {r[0].get<double>(), r[1].get<double>(), r[2].get<double>(),
                                          r[3].get<double>()};
        }
    }
    if (j.contains("printer")) {
        const json& printer = j["printer"];
        if (!printer.is_object()) {
            error = "printer: not an object";
            return false;
        }
        if (!ReadString(printer, "name", next.mPrinter.name, error, "printer") ||
            !ReadString(printer, "hostName", next.mPrinter.hostName, error, "printer") ||
            !ReadString(printer, "deviceURI", next.mPrinter.deviceURI, error, "printer") ||
            !ReadString(printer, "ppdPath", next.mPrinter.ppdPath, error, "printer"))
            return false;
        if (printer.contains("presets")) {
            if (!printer["presets"].is_object()) {
                error = "printer.presets: not an object";
                return false;
            }
            next.mPrinter.presets.clear();
            for (const auto& [name, entries] : printer["presets"].items()) {
                PropertyDictionary dict;
                if (!ReadDictionary(entries, dict, error, "printer.presets." + name))
                    return false;
                next.mPrinter.presets.emplace(name, std::move(dict));
            }
        }
    }
    if (!ReadString(j, "applicationID", next.mApplicationID, error, "") ||
        !ReadString(j, "processName", next.mProcessName, error, "") ||
        !ReadString(j, "loginName", next.mLoginName, error, ""))
        return false;
    *this = std::move(next);
    return true;
}

bool InMemoryHost::Load(const std::filesystem::path& path, std::string& error) {
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    if (ec) {
        error = path.string() + ": " + ec.message();
        return false;
    }
    if (size > kMaxStateBytes) {
        error = path.string() + ": too large for a state file";
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    if (!in.good() && !in.eof()) {
        error = path.string() + ": cannot be read";
        return false;
    }
    std::string why;
    if (!FromJSON(text.str(), why)) {
        error = path.string() + ": " + why;
        return false;
    }
    return true;
}

bool InMemoryHost::Save(const std::filesystem::path& path, std::string& error) const {
    const store::PlistStatus status = store::WriteFileAtomically(path, ToJSON());
    if (status != store::kPlistOK) {
        error = path.string() + ": " + store::PlistStatusText(status);
        return false;
    }
    return true;
}

} // namespace kelvo::platform

// kelvo-pde snapshot: save a document's model as a settings block, rebuild
// and show it, and list a block's items.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <ostream>
#include <span>
#include <sys/stat.h>
#include <unistd.h>

#include "Commands.h"
#include "store/PlistFile.h"
#include "store/Settings.h"

namespace kelvo::tool {

using nlohmann::json;

namespace {

/// How many value bytes `items` shows of each item.
constexpr std::size_t kHeadBytes = 16;


/// The bytes of a snapshot file, or of standard input for "-". A file must
/// be a regular one: a device or a pipe under a name could feed bytes
/// without end.
bool ReadSnapshotFile(const std::string& path, std::string& bytes, std::string& why) {
    if (path == kStdinPath)
        return ReadAll(STDIN_FILENO, bytes, why);
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        why = std::strerror(errno);
        return false;
    }
    struct stat st {};
    bool ok = false;
    if (fstat(fd, &st) != 0)
        why = std::strerror(errno);
    else if (S_ISDIR(st.st_mode))
        why = std::strerror(EISDIR);
    else if (!S_ISREG(st.st_mode))
        why = "not a regular file";
    else if (static_cast<std::uint64_t>(st.st_size) > kMaxStdinBytes)
        why = "more than " + std::to_string(kMaxStdinBytes >> 20) + " MiB";
    else
        ok = ReadAll(fd, bytes, why);
    close(fd);
    return ok;
}

/// Why a block could not be unflattened, in words.
std::string BlockProblem(SettingsStatus status) {
    switch (status) {
    case kSettingsParamErr: return "the file is empty";
    case kSettingsBadVersion: return "a format version this reader does not know";
    case kSettingsDamagedBlock: return "the block is cut or damaged";
    case kSettingsMemFull: return "out of memory";
    default: return "store status " + std::to_string(status);
    }
}

/// Reads and unflattens the block of `path`. On failure writes the one
/// diagnostic line to `err` and returns nullopt.
std::optional<Settings> LoadBlock(const std::string& path, std::ostream& err) {
    std::string bytes, why;
    if (!ReadSnapshotFile(path, bytes, why)) {
        err << "kelvo-pde: " << ShownPath(path) << ": " << why << "\n";
        return std::nullopt;
    }
    Settings settings(std::span<const std::uint8_t>(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                                    bytes.size()));
    if (settings.LastError() != kSettingsNoErr || !settings.Valid()) {
        err << "kelvo-pde: " << ShownPath(path) << ": not a settings block: " << BlockProblem(settings.LastError())
            << "\n";
        return std::nullopt;
    }
    return settings;
}

/// The four characters of a tag ("KyWd"), or nullopt unless all four bytes
/// are printable ASCII (the numbered tags such as 1000).
std::optional<std::string> FourChars(std::uint32_t tag) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto c = static_cast<unsigned char>(tag >> shift);
        if (c < 0x20 || c > 0x7E)
            return std::nullopt;
        text += static_cast<char>(c);
    }
    return text;
}

std::string Hex(std::span<const std::uint8_t> bytes, const char* separator) {
    static const char kHex[] = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0)
            out += separator;
        out += kHex[bytes[i] >> 4];
        out += kHex[bytes[i] & 0xF];
    }
    return out;
}

/// Printable ASCII as it is, every other byte as ".": nothing a value holds
/// can reach the terminal as a control sequence.
std::string Printable(std::span<const std::uint8_t> bytes) {
    std::string out;
    for (std::uint8_t b : bytes)
        out += b >= 0x20 && b <= 0x7E ? static_cast<char>(b) : '.';
    return out;
}

/// Words for the status of a refused Save.
std::string SaveProblem(SettingsStatus status) {
    switch (status) {
    case kSettingsIdOverflow: return "the model has more pages, groups or popup choices than a snapshot can number";
    case kSettingsMemFull: return "out of memory";
    default: return "the store refused an item (status " + std::to_string(status) + ")";
    }
}

} // namespace

void PrintInspect(QJVPPD& doc, std::ostream& out, bool asJSON) {
    if (asJSON)
        out << InspectJSON(doc).dump(2, ' ', false, json::error_handler_t::replace) << "\n";
    else
        InspectTree(doc, out);
}

int SaveSnapshot(QJVPPD& doc, const std::string& ppdPath, const std::string& output, std::ostream& out,
                 std::ostream& err) {
    Settings settings;
    if (!doc.Save(settings)) {
        err << "kelvo-pde: " << ShownPath(ppdPath) << ": cannot make a snapshot: " << SaveProblem(doc.SaveStatus())
            << "\n";
        return kExitBadPPD;
    }
    std::vector<std::uint8_t> block;
    if (const SettingsStatus status = settings.GetSettingsHandle(block); status != kSettingsNoErr) {
        err << "kelvo-pde: " << ShownPath(ppdPath) << ": cannot flatten the snapshot: " << SaveProblem(status) << "\n";
        return kExitBadPPD;
    }
    const std::string_view bytes(reinterpret_cast<const char*>(block.data()), block.size());
    if (output == kStdinPath) {
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.flush();
        if (!out) {
            err << "kelvo-pde: (standard output): the snapshot cannot be written\n";
            return kExitBadPPD;
        }
        return kExitOK;
    }
    // Never half a file: a reader of the old snapshot sees it whole until the
    // new one replaces it.
    if (const store::PlistStatus status = store::WriteFileAtomically(output, bytes); status != store::kPlistOK) {
        err << "kelvo-pde: " << ForTerminal(output) << ": " << store::PlistStatusText(status) << "\n";
        return kExitBadPPD;
    }
    return kExitOK;
}

int ShowSnapshot(const std::string& path, bool asJSON, std::ostream& out, std::ostream& err) {
    std::optional<Settings> settings = LoadBlock(path, err);
    if (!settings)
        return kExitBadPPD;
    // The same walk as inspect: orphans and hidden elements included.
    PPDX::Options(kDisplayAll);
    QJVPPDRef doc = QJVPPD::FromSettings(*settings);
    if (!doc->IsValidPPD()) {
        const PPDXErrorObj* culprit = nullptr;
        for (std::size_t i = 0; const PPDXErrorObj* e = doc->GetErrors()->At(i); ++i) {
            if (!culprit || (e->IsFatal() && !culprit->IsFatal()))
                culprit = e;
        }
        const char* message = culprit ? PPDErrMessage(culprit->Code()) : nullptr;
        const char* name = culprit ? PPDErrName(culprit->Code()) : nullptr;
        err << "kelvo-pde: " << ShownPath(path) << ": "
            << (message ? message : "the snapshot does not rebuild a usable document");
        if (name)
            err << " (" << name << ")";
        err << "\n";
        return kExitBadPPD;
    }
    PrintInspect(*doc, out, asJSON);
    return kExitOK;
}

int ListSnapshotItems(const std::string& path, bool asJSON, std::ostream& out, std::ostream& err) {
    std::optional<Settings> settings = LoadBlock(path, err);
    if (!settings)
        return kExitBadPPD;
    json list = json::array();
    for (const SettingsItem& item : settings->Collection()->Items()) {
        const std::span<const std::uint8_t> head(item.value.data(), std::min(item.value.size(), kHeadBytes));
        const std::optional<std::string> chars = FourChars(item.tag);
        if (asJSON) {
            list.push_back({{"tag", chars ? json(*chars) : json(item.tag)},
                            {"id", item.id},
                            {"size", item.value.size()},
                            {"attributes", item.attributes},
                            {"head", Hex(head, "")}});
            continue;
        }
        const std::string tag = chars ? *chars : std::to_string(item.tag);
        char line[64];
        std::snprintf(line, sizeof line, "%-10s %11d %8zu  ", tag.c_str(), item.id, item.value.size());
        // Hex padded to the width of a full head, so that the text lines up.
        std::string hex = Hex(head, " ");
        hex.resize(kHeadBytes * 3 - 1, ' ');
        out << line << hex << "  |" << Printable(head) << "|\n";
    }
    if (asJSON)
        out << list.dump(2) << "\n";
    return kExitOK;
}

} // namespace kelvo::tool

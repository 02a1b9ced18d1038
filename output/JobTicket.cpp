// The job ticket: pieces collected in memory, print-settings entries, and the
// injection file written for the printing system's filter.
#include "output/JobTicket.h"

#include <uuid/uuid.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

#include "PPDX/PPDObjects/Controls/PPDXControl.h"
#include "PPDX/QJVPPD.h"
#include "output/InjectionFile.h"
#include "output/TempFiles.h"
#include "store/PlistFile.h"
#include "util/Log.h"

namespace kelvo::output {

namespace {

/// The largest framed PostScript a single control may contribute. A longer
/// piece is left out altogether rather than cut, which would break the
/// feature code in the middle.
constexpr long kMaxControlPiece = 1024;

/// A new UUID written out would be this long plus its terminator.
constexpr std::size_t kUUIDTextSize = 37;

/// Attempts at a fresh name when the one made already exists (which only a
/// file planted under a guessed UUID could cause).
constexpr int kNameAttempts = 3;

} // namespace

const char* InjectionSiteName(std::int32_t site) {
    switch (site) {
    case kInjectSuppressFeature: return "kInjectSuppressFeature";
    case kInjectJobNoteData: return "kInjectJobNoteData";
    case kInjectBeforeEndSetup: return "kInjectBeforeEndSetup";
    case kInjectAfterEndSetup: return "kInjectAfterEndSetup";
    case kInjectFeatureCode: return "kInjectFeatureCode";
    case kInjectHeaderComment: return "kInjectHeaderComment";
    case kInjectLayoutComment: return "kInjectLayoutComment";
    case kInjectMailboxPath: return "kInjectMailboxPath";
    default: return nullptr;
    }
}

int JobTicket::Get(std::string_view key, int& out) const {
    if (!mSettings)
        return 0;
    const std::optional<platform::PropertyValue> value = mSettings->Get(key);
    if (!value)
        return 0;
    constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
    constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
    if (const std::int64_t* number = value->AsInteger()) {
        if (*number < kMin || *number > kMax)
            return 0;
        out = static_cast<int>(*number);
        return 1;
    }
    // A real converts when it is a whole number that fits; anything lossy
    // is a failed conversion and leaves `out` alone.
    if (const double* real = value->AsReal()) {
        if (!std::isfinite(*real) || std::trunc(*real) != *real || *real < kMin || *real > kMax)
            return 0;
        out = static_cast<int>(*real);
        return 1;
    }
    return 0;
}

void JobTicket::Set(std::string_view, std::string_view, const platform::PropertyDictionary& dictionary) {
    if (!mSettings)
        return;
    for (const auto& [key, value] : dictionary)
        mSettings->Set(key, value);
}

QJVJobTicket::QJVJobTicket(PrintSettingsTicket* ticket, platform::PrintSettings* settings, std::string key)
    : JobTicket(nullptr, settings), mTicket(ticket), mKey(std::move(key)) {}

void QJVJobTicket::Add(PostScriptInjectionSite site, const char* bytes, unsigned long length) {
    if (!bytes && length > 0) {
        Log("job ticket: a piece of " + std::to_string(length) + " bytes without its bytes is left out");
        return;
    }
    InjectionPiece piece;
    piece.site = site;
    if (length > 0)
        piece.bytes.assign(reinterpret_cast<const std::uint8_t*>(bytes),
                           reinterpret_cast<const std::uint8_t*>(bytes) + length);
    mPieces.push_back(std::move(piece));
}

void QJVJobTicket::Add(PostScriptInjectionSite site, PPDXControl* control) {
    if (!control)
        return;
    const long length = control->PostScript(nullptr);
    if (length < 0 || length > kMaxControlPiece)
        return;
    unsigned char buffer[kMaxControlPiece];
    const long written = length > 0 ? control->PostScript(buffer) : 0;
    // A control that writes other than it announced contributes what both
    // calls agree on, and never more than the buffer holds.
    const long used = written < 0 ? 0 : std::min(written, length);

    // The page size must be set before the end of the setup, whatever the
    // caller asked for: later feature code may depend on the page.
    const char* keyword = control->Keyword();
    if (keyword && std::strcmp(keyword, "*PageSize") == 0) {
        site = kInjectBeforeEndSetup;
        Log("'*PageSize' kInjectBeforeEndSetup <------------");
    }
    Add(site, reinterpret_cast<const char*>(buffer), static_cast<unsigned long>(used));
}

void QJVJobTicket::SavePPDForAllKeys(QJVPPD* document, std::string_view key) {
    if (!document || !mTicket)
        return;
    platform::PropertyDictionary values;
    for (auto& [keyword, value] : document->CopyAllValues())
        values.emplace(keyword, platform::PropertyValue(std::move(value)));
    mTicket->Set(key, key, values);
}

std::optional<std::filesystem::path> QJVJobTicket::Save() {
    std::string xml;
    if (const int status = SerializeInjectionList(mPieces, xml); status != store::kPlistOK) {
        Log("job ticket: cannot serialise the injection list: " + store::PlistStatusText(status));
        if (mSettings)
            mSettings->Remove(mKey);
        return std::nullopt;
    }

    const std::filesystem::path folder = TemporaryFolder();
    const std::string filterUser = FilterUserName();
    int status = EEXIST;
    std::filesystem::path path;
    for (int attempt = 0; attempt < kNameAttempts && status == EEXIST; ++attempt) {
        path = folder / CreateRandomFileName(kInjectionFilePrefix);
        status = CreateFileForFilter(path, xml, filterUser);
    }
    if (status != 0) {
        // A path to a file that is not ours (or not there) must not reach
        // the job: the filter would read someone else's file, or an older
        // ticket left under the key would print with the wrong settings.
        Log("job ticket: cannot write " + path.string() + ": " + std::strerror(status));
        if (mSettings)
            mSettings->Remove(mKey);
        return std::nullopt;
    }
    InjectTempFileToPSStream(mKey, path.string());
    return path;
}

void QJVJobTicket::InjectTempFileToPSStream(std::string_view key, std::string_view value) {
    if (mSettings)
        mSettings->Set(key, platform::PropertyValue(value));
}

std::string CreateRandomFileName(std::string_view prefix) {
    uuid_t uuid;
    uuid_generate(uuid);
    char text[kUUIDTextSize];
    uuid_unparse_upper(uuid, text);
    return std::string(prefix) + text;
}

std::string CreatePostscriptDataFileKey() {
    return std::string(kInjectionFileKey);
}

} // namespace kelvo::output

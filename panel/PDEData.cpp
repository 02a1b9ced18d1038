// Per-dialog data: the PPD copy, the state kept in the print settings and the
// printer address list, and questions about controls and the host.
#include "panel/PDEData.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "PPDX/QJVPPD.h"
#include "output/TempFiles.h"
#include "panel/UI_PanelTree.h"
#include "util/Log.h"
#include "util/Utf8Cut.h"

namespace kelvo::panel {

namespace {

using platform::PropertyValue;

/// The string under `key`, cut to `limit` bytes; "" when absent or no string.
std::string TextSetting(const platform::PrintSettings& settings, std::string_view key, std::size_t limit) {
    const std::optional<PropertyValue> value = settings.Get(key);
    if (!value || !value->IsString())
        return {};
    return std::string(CutUTF8(value->StringOr(""), limit));
}

/// Controls whose features only the full job properties can set up: the
/// basic panel leaves them out. They come in sets (the ranges of a mixed
/// media job, booklet creep with its booklet, the N-up arrangement) that
/// one control alone cannot express.
constexpr std::array<const char*, 7> kFullPropertiesOnly = {
    "*QJMMInUse",  "*QJImageShift",           "*QJBookletCreep", "*QJNUpOption",
    "*QJClearCoat", "*QJImageWise_RangeValue", "*QJEmbeddedCMYK",
};

/// Functions of the workflow client, as this system calls them.
using SVOpenSessionFn = void* (*)(const char* printerAddress);
using SVCreateNewJobExFn = int (*)(void* session, int kind);
using SVCloseSessionFn = void (*)(void* session);

/// A library we load into the dialog's process must be a regular file that
/// only root can change.
bool TrustedLibrary(const std::string& path) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0)
        return false;
    if (!S_ISREG(st.st_mode) || st.st_uid != 0 || (st.st_mode & (S_IWGRP | S_IWOTH))) {
        Log("workflow client " + path + " is not a root-owned file that only root can change; not loaded");
        return false;
    }
    return true;
}

} // namespace

PDEData::PDEData(QJVPPD* document, std::string printerName, platform::Host* host, PDEDataOptions options)
    : mDocument(document), mHost(host), mPrinterName(std::move(printerName)) {
    for (std::size_t i = 0; i < mPaperCatalog.size(); ++i)
        mPaperCatalog[i] = {kPaperCatalogKeywords[i], std::string(kPaperCatalogUnset)};
    mAddressList = options.addressList ? std::make_unique<store::QJVTessaryPrinterPList>(*options.addressList)
                                       : std::make_unique<store::QJVTessaryPrinterPList>();
    mPrinterAddress = mAddressList->Find(mPrinterName);
    mPrinterBidi = mAddressList->getIPEnabled(mPrinterName);
    mPageOrientation = GetPageOrientationFromOS();
    if (options.copyPPD)
        MakePPDCopy();
}

PDEData::~PDEData() {
    if (!mOwnsCopy)
        return;
    // Only our own copy: a dialog opened since for the same PPD has put its
    // copy at this name, and its helper may be reading it.
    struct stat st {};
    if (lstat(mPPDCopyPath.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_dev == mCopyDevice &&
        st.st_ino == mCopyInode)
        ::unlink(mPPDCopyPath.c_str());
}

void PDEData::MakePPDCopy() {
    if (!mDocument || !mDocument->FilePath())
        return;
    const std::filesystem::path& source = *mDocument->FilePath();
    std::string name = source.filename().string();
    if (name.empty())
        return;
    if (name.find(".ppd") == std::string::npos)
        name += ".ppd";
    mPPDCopyPath = output::TemporaryFolder() / name;

    // A copy left by an earlier dialog of ours (a crash) is replaced; a
    // file or link of anybody else's is not ours to touch, and copying
    // over it would either follow the link or hand the helper a file
    // someone else controls.
    struct stat st {};
    if (lstat(mPPDCopyPath.c_str(), &st) == 0) {
        // The PPD itself may sit where its copy would go: it is then read
        // in place, and above all never removed.
        std::error_code same;
        if (std::filesystem::equivalent(source, mPPDCopyPath, same)) {
            Log("PPD copy " + mPPDCopyPath.string() + ": the PPD itself; no copy made");
            return;
        }
        if (!S_ISREG(st.st_mode) || st.st_uid != geteuid()) {
            Log("PPD copy " + mPPDCopyPath.string() + ": the name is taken by a file that is not ours; no copy made");
            return;
        }
    }
    // The copy is written under a name of its own (created exclusively, mode
    // 0600, never through a link) and then renamed into place, which
    // replaces a copy of ours (an earlier dialog's, or one still open for
    // the same PPD) in one step: a helper reading the name always finds a
    // whole file.
    std::string staging = mPPDCopyPath.string() + ".XXXXXX";
    const int out = ::mkstemp(staging.data());
    if (out < 0) {
        Log("PPD copy " + mPPDCopyPath.string() + ": " + std::strerror(errno));
        return;
    }
    const int in = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
    bool copied = in >= 0;
    int error = in >= 0 ? 0 : errno;
    char buffer[64 * 1024];
    while (copied) {
        const ssize_t got = ::read(in, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0) {
            copied = got == 0;
            error = got < 0 ? errno : 0;
            break;
        }
        for (ssize_t done = 0; done < got;) {
            const ssize_t put = ::write(out, buffer + done, static_cast<std::size_t>(got - done));
            if (put < 0 && errno == EINTR)
                continue;
            if (put <= 0) {
                copied = false;
                error = put < 0 ? errno : EIO;
                break;
            }
            done += put;
        }
    }
    struct stat made {};
    if (copied && ::fstat(out, &made) != 0) {
        copied = false;
        error = errno;
    }
    if (in >= 0)
        ::close(in);
    if (::close(out) != 0 && copied) {
        copied = false;
        error = errno;
    }
    if (!copied || ::rename(staging.c_str(), mPPDCopyPath.c_str()) != 0) {
        Log("PPD copy " + mPPDCopyPath.string() + ": " + std::strerror(copied ? errno : error));
        ::unlink(staging.c_str());
        return;
    }
    mOwnsCopy = true;
    mCopyDevice = made.st_dev;
    mCopyInode = made.st_ino;
}

// ---- the lists ----

bool PDEData::SelectWatermark(int index) {
    if (index != -1 && (index < 0 || static_cast<std::size_t>(index) >= mWatermarks.size())) {
        mSelectedWatermark = -1;
        return false;
    }
    mSelectedWatermark = index;
    return true;
}

bool PDEData::AddMixedMedia(std::string keyword, std::string option) {
    if (mMixedMedia.size() >= kMaxMixedMedia)
        return false;
    mMixedMedia.emplace_back(std::move(keyword), std::move(option));
    return true;
}

bool PDEData::AddPadCover(std::string keyword, std::string option) {
    if (mPadCovers.size() >= kMaxPadCovers)
        return false;
    mPadCovers.emplace_back(std::move(keyword), std::move(option));
    return true;
}

void PDEData::SetPaperCatalogValue(std::size_t index, std::string value) {
    if (index < mPaperCatalog.size())
        mPaperCatalog[index].second = std::string(CutUTF8(value, kMaxPaperCatalogText));
}

// ---- print settings ----

int PDEData::SaveNonPSSettings() {
    if (!mHost)
        return 0;
    platform::PrintSettings& settings = mHost->Settings();
    const bool firstPageOnly = mSelectedWatermark >= 0 &&
                               static_cast<std::size_t>(mSelectedWatermark) < mWatermarks.size() &&
                               mWatermarks[static_cast<std::size_t>(mSelectedWatermark)].FirstPageOnly();
    settings.Set(kWatermarkFirstPageKey, PropertyValue(firstPageOnly ? 1 : 0));
    settings.Set(kSelectedWatermarkKey, PropertyValue(mSelectedWatermark));
    settings.Set(kMixedMediaCountKey, PropertyValue(static_cast<std::int64_t>(mMixedMedia.size())));
    for (std::size_t i = 0; i < mMixedMedia.size(); ++i) {
        settings.Set("MMKey" + std::to_string(i), PropertyValue(mMixedMedia[i].first));
        settings.Set("MMValue" + std::to_string(i), PropertyValue(mMixedMedia[i].second));
    }
    settings.Set(kPadCoverCountKey, PropertyValue(static_cast<std::int64_t>(mPadCovers.size())));
    for (std::size_t i = 0; i < mPadCovers.size(); ++i) {
        settings.Set("PCovKey" + std::to_string(i), PropertyValue(mPadCovers[i].first));
        settings.Set("PCovValue" + std::to_string(i), PropertyValue(mPadCovers[i].second));
    }
    return 0;
}

int PDEData::RestoreNonPSSettings() {
    if (!mHost)
        return -1;
    const platform::PrintSettings& settings = mHost->Settings();

    // The index is only good while the printer still stores that many
    // watermarks; and only while it names one of ours.
    mSelectedWatermark = -1;
    if (const std::optional<long long> index = platform::NumberSetting(settings, kSelectedWatermarkKey)) {
        std::vector<std::string> stored;
        mAddressList->GetDataBlob(mPrinterName, kWatermarkBlobId, stored);
        if (*index >= 0 && static_cast<std::size_t>(*index) < stored.size() &&
            static_cast<std::size_t>(*index) < mWatermarks.size())
            mSelectedWatermark = static_cast<int>(*index);
    }
    if (const std::optional<long long> first = platform::NumberSetting(settings, kWatermarkFirstPageKey))
        if (mSelectedWatermark >= 0)
            mWatermarks[static_cast<std::size_t>(mSelectedWatermark)].SetFirstPageOnly(*first == 1 ? "True"
                                                                                                    : "False");

    for (std::size_t i = 0; i < mPaperCatalog.size(); ++i)
        if (const std::optional<PropertyValue> value = settings.Get(kPaperCatalogKeywords[i]); value && value->IsString())
            SetPaperCatalogValue(i, std::string(value->StringOr("")));

    auto readPairs = [&](std::string_view countKey, const char* keyName, const char* valueName, std::size_t limit,
                         std::vector<KeyValuePair>& out) {
        out.clear();
        const long long count = platform::NumberSetting(settings, countKey).value_or(0);
        for (long long i = 0; i < count && out.size() < limit; ++i) {
            const std::string n = std::to_string(i);
            out.emplace_back(TextSetting(settings, keyName + n, kMaxPairText),
                             TextSetting(settings, valueName + n, kMaxPairText));
        }
    };
    readPairs(kMixedMediaCountKey, "MMKey", "MMValue", kMaxMixedMedia, mMixedMedia);
    readPairs(kPadCoverCountKey, "PCovKey", "PCovValue", kMaxPadCovers, mPadCovers);
    return 0;
}

// ---- printer address list ----

bool PDEData::SaveWatermarksToPreferences() {
    using store::QJVTessaryPrinterPList;
    bool listed = false;
    mAddressList->Exists(mPrinterName, listed);
    if (!listed)
        return false;
    std::vector<char> blocks(mWatermarks.size() * QJVTessaryPrinterPList::kBlockSize, '\0');
    for (std::size_t i = 0; i < mWatermarks.size(); ++i) {
        const std::string& definition = mWatermarks[i].Definition();
        const std::size_t length = std::min(definition.size(), QJVTessaryPrinterPList::kBlockSize - 1);
        std::memcpy(blocks.data() + i * QJVTessaryPrinterPList::kBlockSize, definition.data(), length);
    }
    if (!mAddressList->AddDataBlob(mPrinterName, static_cast<int>(mWatermarks.size()), kWatermarkBlobId, blocks))
        return false;
    return mAddressList->Save();
}

bool PDEData::GetWatermarksFromPreferences() {
    std::vector<std::string> definitions;
    if (!mAddressList->GetDataBlob(mPrinterName, kWatermarkBlobId, definitions))
        return false;
    mWatermarks.clear();
    for (const std::string& definition : definitions)
        mWatermarks.emplace_back(definition);
    if (mSelectedWatermark >= 0 && static_cast<std::size_t>(mSelectedWatermark) >= mWatermarks.size())
        mSelectedWatermark = -1;
    return true;
}

bool PDEData::isBIDIEnabled() const { return mAddressList->getIPEnabled(mPrinterName); }

// ---- questions ----

bool PDEData::isSpecialChromaquaControl(std::string_view keyword) {
    return keyword.find("*QJOutProfile") != std::string_view::npos ||
           keyword.find("*QJSimulation") != std::string_view::npos ||
           keyword.find("*QJRGBOverride") != std::string_view::npos;
}

bool PDEData::IsValidBasicPanelControl(PPDXControl* control) {
    if (!control || !control->Keyword())
        return false;
    return std::none_of(kFullPropertiesOnly.begin(), kFullPropertiesOnly.end(),
                        [&](const char* keyword) { return std::strcmp(keyword, control->Keyword()) == 0; });
}

int PDEData::GetNumCopiesFromOS() const {
    if (!mHost)
        return 1;
    const std::optional<long long> copies = platform::NumberSetting(mHost->Settings(), kCopiesKey);
    return copies && *copies > 0 && *copies <= 0x7FFFFFFF ? static_cast<int>(*copies) : 1;
}

int PDEData::GetPageOrientationFromOS() const { return mHost ? mHost->Page().orientation : 1; }

bool PDEData::GetPrimayPaperFeedFromOS(std::string& out) const {
    if (!mHost)
        return false;
    const std::optional<PropertyValue> value = mHost->Settings().Get(kPrimaryPaperFeedKey);
    if (!value || !value->IsString())
        return false;
    out = std::string(value->StringOr(""));
    return true;
}

std::size_t PDEData::GetPPDShortcuts(PPDTree& tree) {
    if (!mHost || !mDocument || !mDocument->GetControls())
        return 0;
    const std::string kept = TextSetting(mHost->Settings(), kQuickAccessKey, 64 * kMaxTreeShortcuts);
    std::size_t added = 0;
    std::size_t at = 0;
    while (at < kept.size()) {
        const std::size_t end = std::min(kept.find(' ', at), kept.size());
        const std::string keyword = kept.substr(at, end - at);
        at = end + 1;
        // Only whole keywords a node can hold: a cut one would name another control.
        if (keyword.empty() || keyword.size() >= kTreeKeywordSize || tree.FindShortcut(keyword))
            continue;
        PPDXControl* control = mDocument->GetControls()->FindAny(keyword.c_str());
        if (!IsValidBasicPanelControl(control))
            continue;
        if (!tree.AddShortcut(control->CFStringUserName(), keyword))
            break;
        ++added;
    }
    return added;
}

bool PDEData::HasSavedShortcuts() const {
    if (!mHost)
        return false;
    const std::optional<PropertyValue> kept = mHost->Settings().Get(kQuickAccessKey);
    return kept && kept->IsString();
}

void PDEData::SetPPDShortcuts(const PPDTree& tree) {
    if (!mHost)
        return;
    std::string kept;
    for (std::size_t i = 0; i < tree.shortcutCount; ++i) {
        if (!kept.empty())
            kept += ' ';
        kept += tree.shortcuts[i].keyword;
    }
    mHost->Settings().Set(kQuickAccessKey, PropertyValue(kept));
}

int PDEData::UploadSwivaneXMLFiles(int kind) {
    // The client for this model first, then the shared one. The model's
    // folder is named by the PPD's *PCFileName without its extension.
    std::vector<std::string> candidates;
    if (mDocument && mDocument->PCFileName()) {
        std::string model = mDocument->PCFileName();
        if (const std::size_t dot = model.rfind('.'); dot != std::string::npos)
            model.resize(dot);
        if (!model.empty() && model.find('/') == std::string::npos && model != "." && model != "..")
            candidates.push_back("/usr/lib/kelvo/driver/" + model + "/libsv2client.so");
    }
    candidates.emplace_back("/usr/lib/kelvo/lib/libsv2client.so");

    for (const std::string& path : candidates) {
        if (access(path.c_str(), F_OK) != 0 || !TrustedLibrary(path))
            continue;
        void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!library) {
            const char* why = dlerror();
            Log("workflow client " + path + ": " + (why ? why : "cannot be loaded"));
            return -1;
        }
        auto open = reinterpret_cast<SVOpenSessionFn>(dlsym(library, "SVOpenSession"));
        auto create = reinterpret_cast<SVCreateNewJobExFn>(dlsym(library, "SVCreateNewJobEx"));
        auto close = reinterpret_cast<SVCloseSessionFn>(dlsym(library, "SVCloseSession"));
        int status = -1;
        if (open && create && close) {
            if (void* session = open(mPrinterAddress.c_str())) {
                status = create(session, kind) == 0 ? 0 : -1;
                close(session);
            }
        } else {
            Log("workflow client " + path + ": SVOpenSession, SVCreateNewJobEx or SVCloseSession is missing");
        }
        dlclose(library);
        return status;
    }
    return 1;
}

} // namespace kelvo::panel

// The per-user printer address list: record lookup, upgrades of old records,
// data blobs, and saving under the user's configuration folder.
#include "store/PrinterAddressList.h"

#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "util/CaseFold.h"

namespace kelvo::store {

namespace {

constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

/// The number at the start of `text` as atoi reads it (blanks, a sign,
/// digits), from at most 63 characters; negative values give 0 and values
/// beyond int saturate, as every caller uses it as a count of elements.
std::size_t LeadingCount(std::string_view text) {
    char buffer[64];
    const std::size_t n = std::min(text.size(), sizeof buffer - 1);
    if (n > 0)
        std::memcpy(buffer, text.data(), n);
    buffer[n] = '\0';
    const long v = std::strtol(buffer, nullptr, 10);
    if (v <= 0)
        return 0;
    return static_cast<std::size_t>(std::min<long>(v, INT_MAX));
}

/// Creates the missing folders of `folder`, each private to the user.
int MakeFolders(const std::filesystem::path& folder) {
    if (folder.empty())
        return 0;
    std::error_code ec;
    if (std::filesystem::is_directory(folder, ec))
        return 0;
    if (int status = MakeFolders(folder.parent_path()); status != 0)
        return status;
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        return errno;
    return 0;
}

} // namespace

std::filesystem::path QJVTessaryPrinterPList::DefaultPath() {
    if (const char* file = std::getenv("KELVO_PRINTER_LIST"); file && *file)
        return file;
    // The XDG rule: a relative XDG_CONFIG_HOME is ignored.
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && *config == '/')
        return std::filesystem::path(config) / "kelvo" / kFileName;
    if (const char* home = std::getenv("HOME"); home && *home)
        return std::filesystem::path(home) / ".config" / "kelvo" / kFileName;
    return {};
}

QJVTessaryPrinterPList::QJVTessaryPrinterPList() : QJVTessaryPrinterPList(DefaultPath()) {}

QJVTessaryPrinterPList::QJVTessaryPrinterPList(const std::filesystem::path& file) : PropertyListFile(file, true) {
    if (Path().empty())
        SetError(kPlistNoHome);
    MakeWorkingArray();
}

QJVTessaryPrinterPList::QJVTessaryPrinterPList(const std::filesystem::path& file, PropertyValue root)
    : PropertyListFile(WithRoot{}, file, true, std::move(root)) {
    MakeWorkingArray();
}

void QJVTessaryPrinterPList::MakeWorkingArray() {
    const PropertyValue* root = Root();
    if (root && root->IsArray()) {
        mRecords = *root->AsArray();
    } else {
        // Whatever else the file held is not a list we can use: start empty
        // and say why, so a tool can report it before overwriting the file.
        mRecords.clear();
        if (root)
            SetError(kPlistWrongRoot);
    }
    mReady = true;
}

std::string_view QJVTessaryPrinterPList::StringAt(std::size_t index) const {
    if (index >= mRecords.size())
        return {};
    return mRecords[index].StringOr({});
}

std::size_t QJVTessaryPrinterPList::Exists(std::string_view name, bool& found) const {
    found = false;
    for (std::size_t i = 0; i < mRecords.size(); ++i) {
        const std::string* text = mRecords[i].AsString();
        if (!text || !EqualsIgnoringCaseUTF8(*text, name))
            continue;
        if (i + 1 < mRecords.size() && mRecords[i + 1].IsBoolean())
            continue; // an address, not a name
        found = true;
        return i;
    }
    return mRecords.size();
}

std::string QJVTessaryPrinterPList::Find(std::string_view name) const {
    bool found = false;
    const std::size_t i = Exists(name, found);
    return found ? std::string(StringAt(i + 1)) : std::string();
}

void QJVTessaryPrinterPList::Add(std::string_view name, std::string_view address, bool enabled) {
    bool found = false;
    const std::size_t i = Exists(name, found);
    mChanged = true;
    if (!found) {
        mRecords.emplace_back(name);
        mRecords.emplace_back(address);
        mRecords.emplace_back(enabled);
        mRecords.emplace_back(kCurrentVersion);
        mRecords.emplace_back(kTerminator);
        return;
    }
    // Positions are set in increasing order, so a record cut short at the
    // end of the array grows one element at a time and stays contiguous.
    auto setAt = [this](std::size_t pos, PropertyValue value) {
        if (pos < mRecords.size())
            mRecords[pos] = std::move(value);
        else
            mRecords.push_back(std::move(value));
    };
    setAt(i + 1, PropertyValue(address));
    setAt(i + 2, PropertyValue(enabled));
    if (i + 3 >= mRecords.size()) {
        setAt(i + 3, PropertyValue(kCurrentVersion));
        setAt(i + 4, PropertyValue(kTerminator));
        return;
    }
    const std::string_view version = StringAt(i + 3);
    if (version == "0") {
        setAt(i + 3, PropertyValue(kCurrentVersion));
        setAt(i + 4, PropertyValue(kTerminator));
    } else if (version == "1") {
        if (i + 4 < mRecords.size()) {
            const std::size_t available = mRecords.size() - (i + 5);
            const std::size_t old = std::min(LeadingCount(StringAt(i + 4)), available);
            const auto first = mRecords.begin() + static_cast<std::ptrdiff_t>(i + 5);
            mRecords.erase(first, first + static_cast<std::ptrdiff_t>(old));
            mRecords.erase(mRecords.begin() + static_cast<std::ptrdiff_t>(i + 4));
        }
        setAt(i + 3, PropertyValue(kCurrentVersion));
        setAt(i + 4, PropertyValue(kTerminator));
    }
}

bool QJVTessaryPrinterPList::setIPEnabled(std::string_view name, bool enabled) {
    bool found = false;
    const std::size_t i = Exists(name, found);
    if (!found || i + 2 >= mRecords.size())
        return false;
    mRecords[i + 2] = PropertyValue(enabled);
    return true;
}

bool QJVTessaryPrinterPList::getIPEnabled(std::string_view name) const {
    bool found = false;
    const std::size_t i = Exists(name, found);
    if (!found || i + 2 >= mRecords.size())
        return false;
    return mRecords[i + 2].BooleanOr(false);
}

std::size_t QJVTessaryPrinterPList::FindBlobHeader(std::size_t record, int id, std::size_t& count) const {
    const std::string prefix = std::to_string(id) + ":";
    // Every element is looked at, blob strings included, up to the record's
    // terminator (or the end of the array when a damaged record has none).
    for (std::size_t j = record + 3; j < mRecords.size(); ++j) {
        const std::string* text = mRecords[j].AsString();
        if (!text)
            continue;
        if (*text == kTerminator)
            return kNotFound;
        if (text->size() >= prefix.size() && strncasecmp(text->c_str(), prefix.c_str(), prefix.size()) == 0) {
            const std::size_t after = mRecords.size() - (j + 1);
            count = std::min(LeadingCount(std::string_view(*text).substr(prefix.size())), after);
            return j;
        }
    }
    return kNotFound;
}

bool QJVTessaryPrinterPList::GetDataBlob(std::string_view name, int id, std::vector<std::string>& out) const {
    bool found = false;
    const std::size_t i = Exists(name, found);
    if (!found)
        return false;
    const std::string_view version = StringAt(i + 3);
    if (version == "0" || version == "1")
        return false;
    std::size_t count = 0;
    const std::size_t header = FindBlobHeader(i, id, count);
    if (header == kNotFound)
        return false;
    for (std::size_t k = 1; k <= count; ++k)
        out.emplace_back(StringAt(header + k));
    return true;
}

bool QJVTessaryPrinterPList::AddDataBlob(std::string_view name, int count, int id, std::span<const char> blocks) {
    if (count < 0 || count > kMaxBlobCount || blocks.size() / kBlockSize < static_cast<std::size_t>(count))
        return false;
    bool found = false;
    const std::size_t i = Exists(name, found);
    if (!found)
        return true; // dropped on purpose: blobs belong to listed printers only
    std::size_t oldCount = 0;
    if (const std::size_t header = FindBlobHeader(i, id, oldCount); header != kNotFound) {
        const auto first = mRecords.begin() + static_cast<std::ptrdiff_t>(header);
        mRecords.erase(first, first + static_cast<std::ptrdiff_t>(oldCount + 1));
    }
    PropertyArray blob;
    blob.reserve(static_cast<std::size_t>(count) + 1);
    blob.emplace_back(std::to_string(id) + ":" + std::to_string(count));
    for (int k = 0; k < count; ++k) {
        const char* block = blocks.data() + static_cast<std::size_t>(k) * kBlockSize;
        const void* nul = std::memchr(block, '\0', kBlockSize);
        const std::size_t length = nul ? static_cast<std::size_t>(static_cast<const char*>(nul) - block) : kBlockSize;
        blob.emplace_back(std::string_view(block, length));
    }
    const std::size_t at = std::min(i + 4, mRecords.size());
    mRecords.insert(mRecords.begin() + static_cast<std::ptrdiff_t>(at), std::make_move_iterator(blob.begin()),
                    std::make_move_iterator(blob.end()));
    mChanged = true;
    return true;
}

std::vector<PrinterRecordSummary> QJVTessaryPrinterPList::Printers() const {
    std::vector<PrinterRecordSummary> out;
    const std::size_t size = mRecords.size();
    std::size_t i = 0;
    while (i < size) {
        const std::string* name = mRecords[i].AsString();
        if (!name || (i + 1 < size && mRecords[i + 1].IsBoolean())) {
            ++i;
            continue;
        }
        PrinterRecordSummary record;
        record.index = i;
        record.name = *name;
        record.address = StringAt(i + 1);
        record.enabled = i + 2 < size && mRecords[i + 2].BooleanOr(false);
        record.version = StringAt(i + 3);
        std::size_t next = i + 4;
        if (record.version == "1") {
            next = i + 5 + std::min(LeadingCount(StringAt(i + 4)), size > i + 5 ? size - (i + 5) : 0);
        } else if (record.version != "0") {
            for (; next < size; ++next) {
                const std::string_view text = StringAt(next);
                if (text == kTerminator) {
                    ++next;
                    break;
                }
                // A header is "ID:COUNT"; its strings are skipped.
                const std::size_t colon = text.find(':');
                if (colon == std::string_view::npos || colon == 0)
                    continue;
                char* end = nullptr;
                const std::string idText(text.substr(0, colon));
                const long id = std::strtol(idText.c_str(), &end, 10);
                if (*end != '\0' || id < INT_MIN || id > INT_MAX)
                    continue;
                record.blobIds.push_back(static_cast<int>(id));
                next += std::min(LeadingCount(text.substr(colon + 1)), size - next - 1);
            }
        }
        out.push_back(std::move(record));
        i = std::max(next, i + 1);
    }
    return out;
}

bool QJVTessaryPrinterPList::Save() {
    if (Path().empty()) {
        SetError(kPlistNoHome);
        return false;
    }
    if (int status = MakeFolders(Path().parent_path()); status != 0) {
        SetError(status);
        return false;
    }
    if (!PropertyListFile::Save(PropertyValue(mRecords)))
        return false;
    mChanged = false;
    return true;
}

} // namespace kelvo::store

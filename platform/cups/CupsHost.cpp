// The CUPS host: print settings as a queue's options, the queue's PPD, and saving through libcups.
#include "platform/cups/CupsHost.h"

#include <cups/cups.h>
#include <cups/ppd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "output/JobNotesOutput.h"
#include "output/JobTicket.h"
#include "util/Log.h"

namespace kelvo::platform {

namespace {

/// Facts the server reports about a queue, which libcups hands out among
/// the destination's options. They describe the printer, never a choice of
/// the user: saving them would pin a passing state (printer-state,
/// marker-levels...) in the user's file, and sending them with a job means
/// nothing to the server.
constexpr std::array<std::string_view, 24> kServerAttributes = {
    "auth-info-required",
    "device-uri",
    "marker-change-time",
    "marker-colors",
    "marker-high-levels",
    "marker-levels",
    "marker-low-levels",
    "marker-message",
    "marker-names",
    "marker-types",
    "printer-commands",
    "printer-info",
    "printer-is-accepting-jobs",
    "printer-is-shared",
    "printer-is-temporary",
    "printer-location",
    "printer-make-and-model",
    "printer-mandatory-job-attributes",
    "printer-name",
    "printer-state",
    "printer-state-change-time",
    "printer-state-reasons",
    "printer-type",
    "printer-uri-supported",
};

bool IsServerAttribute(std::string_view name) {
    return std::find(kServerAttributes.begin(), kServerAttributes.end(), name) != kServerAttributes.end();
}

/// The notes that carry names and passwords in every document. They stay
/// out of every option even before DescribeControls names the queue's own
/// notes, so that an early Set cannot leak them.
bool IsWellKnownNote(std::string_view key) {
    for (const output::JobNoteKeywordRow& row : output::gKeywordMap)
        if (key == row.keyword)
            return true;
    for (const char* keyword : output::kDocumentServerKeywords)
        if (key == keyword)
            return true;
    return false;
}

bool HasControlCharacter(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

/// Whether `name` can stand as an option name in an option list and in an
/// lpoptions line: those split at blanks and '=' and unquote quotes.
bool IsOptionName(std::string_view name) {
    if (name.empty() || HasControlCharacter(name))
        return false;
    return name.find_first_of(" =\"'\\") == std::string_view::npos;
}

/// The option text of `value`, or nothing when it cannot be one (data,
/// arrays, dictionaries, text with a control character, a real that is not
/// finite). A control character would end an lpoptions line early and let
/// the rest of the value read as further options.
std::optional<std::string> OptionText(const PropertyValue& value) {
    switch (value.GetKind()) {
    case PropertyValue::Kind::String:
        if (HasControlCharacter(*value.AsString()))
            return std::nullopt;
        return *value.AsString();
    case PropertyValue::Kind::Integer: return std::to_string(*value.AsInteger());
    case PropertyValue::Kind::Real: {
        const double real = *value.AsReal();
        if (!std::isfinite(real))
            return std::nullopt;
        char buffer[64];
        const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, real);
        if (ec != std::errc())
            return std::nullopt;
        return std::string(buffer, end);
    }
    case PropertyValue::Kind::Boolean: return std::string(*value.AsBoolean() ? "true" : "false");
    default: return std::nullopt;
    }
}

/// Rows and columns for a "number-up" value; {0, 0} for no layout.
std::pair<int, int> LayoutForNumberUp(std::string_view numberUp) {
    static constexpr std::array<std::array<int, 3>, 5> kLayouts = {{
        {2, 1, 2},
        {4, 2, 2},
        {6, 2, 3},
        {9, 3, 3},
        {16, 4, 4},
    }};
    int count = 0;
    const auto [end, ec] = std::from_chars(numberUp.data(), numberUp.data() + numberUp.size(), count);
    if (ec != std::errc() || end != numberUp.data() + numberUp.size())
        return {0, 0};
    for (const auto& row : kLayouts)
        if (row[0] == count)
            return {row[1], row[2]};
    return {0, 0};
}

bool IsLayoutKey(std::string_view key) {
    return key == output::kLayoutRowsKey || key == output::kLayoutColumnsKey || key == output::kLayoutNUpKey;
}

bool IsTrueText(std::string_view text) {
    return text.empty() || text == "true" || text == "yes" || text == "on";
}

/// "localhost" for the local server's socket, else the server's name as
/// libcups was pointed at it, with its port when not the usual one.
std::string ServerName(bool withPort) {
    const char* server = cupsServer();
    if (!server || !*server || server[0] == '/')
        return "localhost";
    std::string name = server;
    if (withPort && ippPort() != 631)
        name += ":" + std::to_string(ippPort());
    return name;
}

/// Whether the last libcups request failed for another reason than the
/// server having nothing to list.
bool ServerFailed() {
    const ipp_status_t status = cupsLastError();
    return status > IPP_STATUS_OK_EVENTS_COMPLETE && status != IPP_STATUS_ERROR_NOT_FOUND;
}

/// The server's destinations, freed with the object.
class Destinations {
public:
    Destinations() { mCount = cupsGetDests2(CUPS_HTTP_DEFAULT, &mDests); }
    ~Destinations() { cupsFreeDests(mCount, mDests); }
    Destinations(const Destinations&) = delete;
    Destinations& operator=(const Destinations&) = delete;

    int Count() const { return mCount; }
    cups_dest_t* All() { return mDests; }
    /// The destination `name` (with `instance` when not empty), or null.
    cups_dest_t* Find(const std::string& name, const std::string& instance) {
        return cupsGetDest(name.c_str(), instance.empty() ? nullptr : instance.c_str(), mCount, mDests);
    }
    /// Why the list is empty when the server could not be asked; "" else.
    std::string Failure() const {
        if (mCount > 0 || !ServerFailed())
            return "";
        // libcups words a refused connection with whatever errno the closed
        // socket left behind ("Bad file descriptor"): say what it means.
        if (cupsLastError() == IPP_STATUS_ERROR_SERVICE_UNAVAILABLE)
            return "cannot reach the print server " + ServerName(true) +
                   ": it does not answer (is cupsd running? CUPS_SERVER and client.conf choose the server)";
        return "cannot reach the print server " + ServerName(true) + ": " + cupsLastErrorString();
    }

private:
    cups_dest_t* mDests = nullptr;
    int mCount = 0;
};

} // namespace

// --- CupsPrintSettings ---

std::string CupsPrintSettings::OptionName(std::string_view key) const {
    return std::string(!key.empty() && key.front() == '*' ? key.substr(1) : key);
}

std::vector<CupsOption>::const_iterator CupsPrintSettings::FindOption(std::string_view name) const {
    return std::find_if(mOptions.begin(), mOptions.end(), [name](const CupsOption& o) { return o.first == name; });
}

std::string CupsPrintSettings::KeyFor(std::string_view optionName) const {
    std::string starred = "*" + std::string(optionName);
    if (mControls.count(starred) || mStarred.count(optionName))
        return starred;
    return std::string(optionName);
}

bool CupsPrintSettings::IsJobOnlyOption(std::string_view optionName) const {
    const std::string starred = "*" + std::string(optionName);
    return mNotes.count(starred) || mNotes.count(optionName) || IsWellKnownNote(starred) ||
           optionName == output::kInjectionFileKey;
}

bool CupsPrintSettings::IsSessionOnlyKey(std::string_view key) const {
    return IsJobOnlyOption(OptionName(key));
}

std::optional<PropertyValue> CupsPrintSettings::Get(std::string_view key) const {
    if (auto it = mSessionOnly.find(key); it != mSessionOnly.end())
        return it->second;
    if (IsLayoutKey(key)) {
        const auto numberUp = FindOption("number-up");
        if (numberUp == mOptions.end())
            return std::nullopt;
        const auto [rows, columns] = LayoutForNumberUp(numberUp->second);
        if (rows == 0)
            return std::nullopt;
        if (key == output::kLayoutNUpKey)
            return PropertyValue(true);
        return PropertyValue(key == output::kLayoutRowsKey ? rows : columns);
    }
    const auto it = FindOption(OptionName(key));
    if (it == mOptions.end())
        return std::nullopt;
    return PropertyValue(it->second);
}

void CupsPrintSettings::Set(std::string_view key, PropertyValue value) {
    // The layout follows "number-up"; a layout of its own would disagree
    // with what the server prints.
    if (IsLayoutKey(key))
        return;
    const std::string name = OptionName(key);
    std::optional<std::string> text = OptionText(value);
    const bool sessionOnly = IsSessionOnlyKey(key) || !text || !IsOptionName(name);
    if (sessionOnly) {
        if (!IsSessionOnlyKey(key) && mLogged.insert(std::string(key)).second)
            Log("print settings: " + std::string(key) + " (" + store::KindName(value.GetKind()) +
                ") cannot be a printer option: kept for this run only");
        if (auto it = FindOption(name); it != mOptions.end())
            mOptions.erase(it);
        mSessionOnly.insert_or_assign(std::string(key), std::move(value));
        return;
    }
    if (auto it = mSessionOnly.find(key); it != mSessionOnly.end())
        mSessionOnly.erase(it);
    if (!key.empty() && key.front() == '*')
        mStarred.insert(name);
    if (auto it = FindOption(name); it != mOptions.end())
        mOptions[static_cast<std::size_t>(it - mOptions.begin())].second = std::move(*text);
    else
        mOptions.emplace_back(name, std::move(*text));
}

void CupsPrintSettings::Remove(std::string_view key) {
    if (auto it = mSessionOnly.find(key); it != mSessionOnly.end())
        mSessionOnly.erase(it);
    if (IsLayoutKey(key))
        return;
    if (auto it = FindOption(OptionName(key)); it != mOptions.end())
        mOptions.erase(it);
}

PropertyDictionary CupsPrintSettings::CopyAsDictionary() const {
    PropertyDictionary all;
    for (const auto& [name, value] : mOptions)
        all.insert_or_assign(KeyFor(name), PropertyValue(value));
    for (std::string_view key : {output::kLayoutRowsKey, output::kLayoutColumnsKey, output::kLayoutNUpKey})
        if (std::optional<PropertyValue> value = Get(key))
            all.insert_or_assign(std::string(key), std::move(*value));
    for (const auto& [key, value] : mSessionOnly)
        all.insert_or_assign(key, value);
    return all;
}

void CupsPrintSettings::DescribeControls(std::set<std::string, std::less<>> controls,
                                         std::set<std::string, std::less<>> notes) {
    mControls = std::move(controls);
    mNotes = std::move(notes);
    MoveNotesToSession();
}

void CupsPrintSettings::MoveNotesToSession() {
    // A note's text may have come in as an option (a file saved by hand or
    // by an older program): from now on it is held for this run only.
    for (auto it = mOptions.begin(); it != mOptions.end();) {
        if (IsJobOnlyOption(it->first)) {
            // Notes are controls: their key has the star whether or not the
            // PPD has been described yet. An injection path names the file
            // of one job: one found among saved options is stale, dropped.
            if (it->first != output::kInjectionFileKey)
                mSessionOnly.insert_or_assign("*" + it->first, PropertyValue(it->second));
            it = mOptions.erase(it);
        } else {
            ++it;
        }
    }
}

void CupsPrintSettings::LoadOptions(const std::vector<CupsOption>& options) {
    mOptions.clear();
    for (const CupsOption& option : options) {
        if (!IsOptionName(option.first) || HasControlCharacter(option.second))
            continue;
        if (auto it = FindOption(option.first); it != mOptions.end())
            mOptions[static_cast<std::size_t>(it - mOptions.begin())].second = option.second;
        else
            mOptions.push_back(option);
    }
    MoveNotesToSession();
}

std::vector<CupsOption> CupsPrintSettings::SavedOptions() const {
    std::vector<CupsOption> saved;
    for (const CupsOption& option : mOptions) {
        // An empty value would be written as a bare name, which reads back
        // as "true" (or, for a name starting with "no", as "false").
        if (option.second.empty() || IsServerAttribute(option.first) || IsJobOnlyOption(option.first))
            continue;
        saved.push_back(option);
    }
    return saved;
}

std::vector<CupsOption> CupsPrintSettings::JobOptions() const {
    std::vector<CupsOption> job = SavedOptions();
    if (auto it = mSessionOnly.find(output::kInjectionFileKey); it != mSessionOnly.end())
        if (std::optional<std::string> path = OptionText(it->second); path && !path->empty())
            job.emplace_back(std::string(output::kInjectionFileKey), std::move(*path));
    return job;
}

// --- CupsHost ---

std::unique_ptr<CupsHost> CupsHost::Open(std::string_view queue, std::string& error) {
    const std::size_t slash = queue.find('/');
    const std::string name(queue.substr(0, slash));
    const std::string instance(slash == std::string_view::npos ? std::string_view() : queue.substr(slash + 1));
    if (name.empty() || (slash != std::string_view::npos && instance.empty())) {
        error = "not a queue name: \"" + std::string(queue) + "\"";
        return nullptr;
    }

    std::unique_ptr<CupsHost> host(new CupsHost());
    std::vector<CupsOption> options;
    {
        Destinations dests;
        if (std::string failure = dests.Failure(); !failure.empty()) {
            error = std::move(failure);
            return nullptr;
        }
        const cups_dest_t* dest = dests.Find(name, instance);
        if (!dest) {
            error = "no queue " + std::string(queue) + " on " + ServerName(true);
            return nullptr;
        }
        for (int i = 0; i < dest->num_options; ++i)
            if (dest->options[i].name && dest->options[i].value)
                options.emplace_back(dest->options[i].name, dest->options[i].value);
        const char* deviceURI = cupsGetOption("device-uri", dest->num_options, dest->options);
        host->mPrinter.deviceURI = deviceURI ? deviceURI : "";
        host->mPrinter.hostName = ServerName(false);
    }
    host->mPrinter.name = name;
    host->mInstance = instance;

    // Our own buffer, started empty: cupsGetPPD2's buffer is one per thread
    // and reused, so a second queue opened on the thread would overwrite
    // (and its host later delete) the first one's file.
    char ppdPath[1024] = "";
    time_t modified = 0;
    // libcups marks its PPD calls deprecated but offers no other way to
    // get the queue's PPD file, which the panel reads.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    const http_status_t fetched = cupsGetPPD3(CUPS_HTTP_DEFAULT, name.c_str(), &modified, ppdPath, sizeof ppdPath);
#pragma GCC diagnostic pop
    if (fetched != HTTP_STATUS_OK) {
        error = "cannot fetch the PPD of " + name + ": " + cupsLastErrorString();
        if (ppdPath[0])
            unlink(ppdPath);
        return nullptr;
    }
    host->mPrinter.ppdPath = ppdPath;

    host->mSettings.LoadOptions(options);
    auto option = [&options](std::string_view key) -> const std::string* {
        for (const CupsOption& o : options)
            if (o.first == key)
                return &o.second;
        return nullptr;
    };
    if (const std::string* requested = option("orientation-requested")) {
        int code = 0;
        std::from_chars(requested->data(), requested->data() + requested->size(), code);
        host->mPage.orientation = OrientationFromRequested(code);
    } else if (const std::string* landscape = option("landscape"); landscape && IsTrueText(*landscape)) {
        host->mPage.orientation = 2;
    }
    const std::string* media = option("media");
    const std::string* pageSize = option("PageSize");
    if (media && !media->empty())
        host->mPage.paperName = media->substr(0, media->find(',')); // "A4,Tray1": size, then source
    else if (pageSize)
        host->mPage.paperName = *pageSize;
    if (!host->mPage.paperName.empty()) {
        const char* paper = host->mPage.paperName.c_str();
        const pwg_media_t* size = pwgMediaForPWG(paper);
        if (!size)
            size = pwgMediaForPPD(paper);
        if (!size)
            size = pwgMediaForLegacy(paper);
        if (size) // hundredths of a millimetre to points
            host->mPage.unadjustedPaper = {0, 0, size->length * 72.0 / 2540.0, size->width * 72.0 / 2540.0};
    }
    return host;
}

CupsHost::~CupsHost() {
    // The copy is ours (or a link libcups made to the server's own file):
    // remove only the name, never follow it.
    if (!mPrinter.ppdPath.empty())
        unlink(mPrinter.ppdPath.c_str());
}

bool CupsHost::Save(std::string& error) {
    Destinations dests;
    if (std::string failure = dests.Failure(); !failure.empty()) {
        error = std::move(failure);
        return false;
    }
    cups_dest_t* dest = dests.Find(mPrinter.name, mInstance);
    if (!dest) {
        error = "no queue " + mPrinter.name + (mInstance.empty() ? "" : "/" + mInstance) + " on " + ServerName(true);
        return false;
    }
    cupsFreeOptions(dest->num_options, dest->options);
    dest->num_options = 0;
    dest->options = nullptr;
    for (const auto& [name, value] : mSettings.SavedOptions())
        if (name != "orientation-requested" && name != "landscape")
            dest->num_options = cupsAddOption(name.c_str(), value.c_str(), dest->num_options, &dest->options);
    dest->num_options =
        cupsAddOption("orientation-requested", std::to_string(RequestedFromOrientation(mPage.orientation)).c_str(),
                      dest->num_options, &dest->options);

    errno = 0;
    if (cupsSetDests2(CUPS_HTTP_DEFAULT, dests.Count(), dests.All()) != 0) {
        // A file that cannot be opened leaves errno; a refused request the
        // libcups status.
        error = "cannot save the options of " + mPrinter.name + ": " +
                (errno != 0 ? std::string(std::strerror(errno)) : std::string(cupsLastErrorString()));
        return false;
    }
    return true;
}

std::vector<CupsOption> CupsHost::JobOptions() const {
    std::vector<CupsOption> job = mSettings.JobOptions();
    std::erase_if(job, [](const CupsOption& o) { return o.first == "orientation-requested" || o.first == "landscape"; });
    if (mPage.orientation != 1)
        job.emplace_back("orientation-requested", std::to_string(RequestedFromOrientation(mPage.orientation)));
    return job;
}

std::vector<QueueEntry> ListQueues(std::string& error) {
    Destinations dests;
    if (std::string failure = dests.Failure(); !failure.empty()) {
        error = std::move(failure);
        return {};
    }
    std::vector<QueueEntry> queues;
    for (int i = 0; i < dests.Count(); ++i) {
        const cups_dest_t& dest = dests.All()[i];
        if (!dest.name)
            continue;
        QueueEntry entry;
        entry.name = dest.name;
        if (dest.instance)
            entry.name += "/" + std::string(dest.instance);
        entry.isDefault = dest.is_default != 0;
        queues.push_back(std::move(entry));
    }
    return queues;
}

int OrientationFromRequested(int requested) {
    switch (requested) {
    case 4: return 2;
    case 5: return 4;
    case 6: return 3;
    default: return 1;
    }
}

int RequestedFromOrientation(int orientation) {
    switch (orientation) {
    case 2: return 4;
    case 3: return 6;
    case 4: return 5;
    default: return 3;
    }
}

} // namespace kelvo::platform

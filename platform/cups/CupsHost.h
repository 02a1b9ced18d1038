// The host for a CUPS queue: printers, saved options and job options through libcups.
//
// A Linux user picks a queue, not a PPD path. The queue's saved options
// (the user's lpoptions, as `lpoptions -p QUEUE -o KEY=VALUE` writes them)
// stand for the print settings, so that a second run sees the first run's
// choices. How keys map onto options is in docs/cups-host.md.
//
// This file and its sources are the only part of the platform layer that
// include libcups; the core never does.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Host.h"

namespace kelvo::platform {

/// A job option as libcups takes it: name and value text.
using CupsOption = std::pair<std::string, std::string>;

/// Print settings kept as the CUPS options of one queue.
///
/// - A control's entry "*Key" is the option "Key"; every other key is an
///   option of the same name. Which options are controls is told by
///   DescribeControls (from the queue's PPD); until then only keys that
///   start with "*" are taken for controls.
/// - Values are text. An integer is written in decimal, a real as the
///   shortest text that reads back the same, a Boolean as "true"/"false".
///   A value that cannot be an option (data, an array, a dictionary, text
///   holding a control character) is kept for this run only, and said so
///   once in the log.
/// - Job-note texts and the injection-file path (output::kInjectionFileKey)
///   are kept for this run only:
///   they never reach the saved options, and job-note texts never become
///   job options (the job notes reach the printer in the injection file,
///   which only the user and the filter may read).
/// - The layout keys the job-note output reads
///   ("com.apple.print.PrintSettings.PMLayoutRows", "...PMLayoutColumns",
///   "...PMLayoutNUp") are derived from the option "number-up" and are not
///   stored: 2 gives 1 row and 2 columns, 4 gives 2x2, 6 gives 2 rows and 3
///   columns, 9 gives 3x3, 16 gives 4x4; anything else is no layout. Rows
///   and columns read as integers, NUp as true; setting or removing them
///   does nothing.
/// - Facts the server reports among a destination's options (device-uri,
///   printer-state, printer-info, marker-levels...) are read like any
///   option but never saved nor sent with a job. An option with an empty
///   value is neither: lpoptions would read it back as "true".
class CupsPrintSettings final : public PrintSettings {
public:
    std::optional<PropertyValue> Get(std::string_view key) const override;
    void Set(std::string_view key, PropertyValue value) override;
    void Remove(std::string_view key) override;
    PropertyDictionary CopyAsDictionary() const override;

    /// The keywords (with "*") of the queue's PPD controls, and of those the
    /// job notes among them.
    void DescribeControls(std::set<std::string, std::less<>> controls, std::set<std::string, std::less<>> notes);

    /// Replaces the options with these (as the queue's destination has them).
    void LoadOptions(const std::vector<CupsOption>& options);
    /// The options to save with the queue: every text-able entry but the
    /// job-only ones (job notes, the injection-file path).
    std::vector<CupsOption> SavedOptions() const;
    /// The options to send with a job: the saved ones and the injection-file
    /// path; never a job note's text.
    std::vector<CupsOption> JobOptions() const;

private:
    std::vector<CupsOption>::const_iterator FindOption(std::string_view name) const;
    std::string OptionName(std::string_view key) const;
    /// The settings key of an option: "*NAME" for a control, else NAME.
    std::string KeyFor(std::string_view optionName) const;
    /// A job note or the injection-file path: never saved.
    bool IsJobOnlyOption(std::string_view optionName) const;
    bool IsSessionOnlyKey(std::string_view key) const;
    void MoveNotesToSession();

    std::vector<CupsOption> mOptions;   ///< in the order they came or were set
    PropertyDictionary mSessionOnly;    ///< entries that are never options
    std::set<std::string, std::less<>> mControls;
    std::set<std::string, std::less<>> mNotes;
    std::set<std::string, std::less<>> mStarred; ///< options set through a "*" key
    std::set<std::string, std::less<>> mLogged;  ///< keys already said to be run-only
};

/// One queue of the CUPS server libcups is pointed at ($CUPS_SERVER,
/// client.conf, else the local server).
class CupsHost final : public Host {
public:
    /// Opens `queue` (a name `cupsGetDests` lists, an instance as
    /// "NAME/INSTANCE"): its device URI, host name, PPD and the user's saved
    /// options; the page format from "orientation-requested" (or
    /// "landscape") and "media" (or "PageSize"). Null with `error` set
    /// ("no queue NAME on SERVER", "cannot reach the print server SERVER:
    /// ...", "cannot fetch the PPD of NAME: ...") on failure.
    static std::unique_ptr<CupsHost> Open(std::string_view queue, std::string& error);
    ~CupsHost() override;
    CupsHost(const CupsHost&) = delete;
    CupsHost& operator=(const CupsHost&) = delete;

    CupsPrintSettings& Settings() override { return mSettings; }
    PageFormat& Page() override { return mPage; }
    /// ppdPath is a private copy of the queue's PPD fetched from the server
    /// (for a server on this machine libcups may make it a link to the
    /// server's own file); the host removes the name when it goes.
    /// hostName is the server's host ("localhost" for a local socket).
    const PrinterInfo& Printer() const override { return mPrinter; }
    std::string ApplicationID() const override { return mApplicationID; }
    std::string ProcessName() const override { return mProcessName; }
    std::string LoginName() const override { return CurrentLoginName(); }
    void SetApplicationID(std::string id) { mApplicationID = std::move(id); }
    void SetProcessName(std::string name) { mProcessName = std::move(name); }

    /// Writes the settings back as the user's saved options of the queue
    /// (cupsSetDests2: ~/.cups/lpoptions, root's too; lpoptions in the
    /// server root only when no home folder is known), with the page
    /// orientation as "orientation-requested". The other queues' saved
    /// options stay. False with `error` set when the file cannot be written
    /// or the server cannot be asked.
    bool Save(std::string& error);

    /// What a job for this queue carries: JobOptions() of the settings, and
    /// the orientation when it is not portrait.
    std::vector<CupsOption> JobOptions() const;

private:
    CupsHost() = default;

    CupsPrintSettings mSettings;
    PageFormat mPage;
    PrinterInfo mPrinter;
    std::string mInstance;
    std::string mApplicationID;
    std::string mProcessName;
};

/// The queues of the server in cupsGetDests order ("NAME" or
/// "NAME/INSTANCE"), the default one marked. Empty when the server cannot
/// be reached (`error` set).
struct QueueEntry {
    std::string name;
    bool isDefault = false;
};
std::vector<QueueEntry> ListQueues(std::string& error);

/// The orientation code of the page format (1 portrait, 2 landscape,
/// 3 reverse portrait, 4 reverse landscape) for a CUPS
/// "orientation-requested" value (3, 4, 6, 5), and back. Anything unknown
/// is portrait (1, and 3 back).
int OrientationFromRequested(int requested);
int RequestedFromOrientation(int orientation);

} // namespace kelvo::platform

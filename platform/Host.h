// What the panel and the print-time output ask of the program that hosts them.
//
// The host is the print dialog the panel sits in: it owns the print
// settings, the page format and the print session, knows the printer, and
// says which application and user it runs for. The core talks to it only
// through these interfaces; an in-memory host (platform/memory) serves
// tests, the command-line tool and scripts, and the printing-system host
// comes with its own implementation.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "store/PropertyValue.h"

namespace kelvo::platform {

using store::PropertyDictionary;
using store::PropertyValue;

/// The job's settings as one dictionary of property values. Entries set
/// here are never locked: the dialog may change them afterwards.
class PrintSettings {
public:
    virtual ~PrintSettings() = default;
    /// The value under `key`, or nullopt when there is none.
    virtual std::optional<PropertyValue> Get(std::string_view key) const = 0;
    virtual void Set(std::string_view key, PropertyValue value) = 0;
    virtual void Remove(std::string_view key) = 0;
    /// Every entry.
    virtual PropertyDictionary CopyAsDictionary() const = 0;
};

/// A rectangle in points: top, left, bottom, right, as page setup gives it.
struct PaperRect {
    double top = 0;
    double left = 0;
    double bottom = 0;
    double right = 0;
    bool operator==(const PaperRect&) const = default;
};

/// Page setup: the orientation code (1 portrait, 2 landscape, 3 reverse
/// portrait, 4 reverse landscape), the paper's name and its whole sheet.
struct PageFormat {
    int orientation = 1;
    std::string paperName;
    PaperRect unadjustedPaper;
    bool operator==(const PageFormat&) const = default;
};

/// The printer the dialog prints to.
struct PrinterInfo {
    std::string name;       ///< the queue name
    std::string hostName;   ///< the host the queue lives on
    std::string deviceURI;  ///< where the printing system sends jobs
    std::string ppdPath;    ///< the queue's PPD file
    /// Named sets of settings the user saved for this printer.
    std::map<std::string, PropertyDictionary> presets;
    bool operator==(const PrinterInfo&) const = default;
};

/// One print dialog's view of its host.
class Host {
public:
    virtual ~Host() = default;
    virtual PrintSettings& Settings() = 0;
    virtual PageFormat& Page() = 0;
    virtual const PrinterInfo& Printer() const = 0;
    /// The hosting application's identifier (some applications get special
    /// output; matched by substring).
    virtual std::string ApplicationID() const = 0;
    /// The hosting process's name, as the job's source application.
    virtual std::string ProcessName() const = 0;
    /// The login name of the user printing.
    virtual std::string LoginName() const = 0;
};

/// A whole number from a print-settings value: an integer, a whole real,
/// or a decimal text (the printing system keeps its saved options as
/// text). nullopt when absent or anything else.
std::optional<long long> NumberSetting(const PrintSettings& settings, std::string_view key);

/// The login name of the effective user (from the password database), or
/// $USER, or "" when neither is known.
std::string CurrentLoginName();

} // namespace kelvo::platform

// Setting up a CUPS queue for a Kelvo printer: its PPD routes PostScript
// through our filter.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kelvo::platform {

/// The PPD line that sends a job, once `pstops` has made it DSC PostScript,
/// through the filter that puts the job ticket's pieces in place.
inline constexpr std::string_view kKelvoFilterLine =
    "*cupsFilter2: \"application/vnd.cups-postscript application/postscript 100 kelvo-inject\"";
/// The filter program CUPS looks up in its filter folder.
inline constexpr std::string_view kKelvoFilterName = "kelvo-inject";

/// The queue's default renderer for PDF jobs ("pdftops-renderer-default"):
/// Poppler, whose pages end with a plain showpage, so the watermark shows.
inline constexpr std::string_view kPdfRenderer = "pdftops";

/// What AddFilterLine did.
enum class FilterLineChange {
    kAdded,          ///< the line was put in after the first line
    kAlreadyThere,   ///< a *cupsFilter2 line already names the filter: unchanged
    kAddedOverOld,   ///< added; the PPD's *cupsFilter lines no longer count
};

/// `ppd` with kKelvoFilterLine after its first line, in the line ending the
/// first line uses. Nothing else changes.
std::string AddFilterLine(std::string_view ppd, FilterLineChange* change = nullptr);

/// Whether `name` may name a queue: 1 to 127 bytes, none of them a blank,
/// a control character, DEL, '/', '\\', '?', '\'', '"' or '#'.
bool IsValidQueueName(std::string_view name);

/// Adds or replaces queue `name` on the server libcups is pointed at: the
/// PPD of `ppdPath` (plain or gzip-compressed) with the filter line, the
/// device `deviceURI`, kPdfRenderer for PDF jobs, enabled and accepting
/// jobs (an IPP
/// CUPS-Add-Modify-Printer request carrying the PPD, as lpadmin sends it;
/// no program is started). False with `error` set ("the server refused
/// the queue: ...", the file and the reason).
bool AddKelvoQueue(std::string_view name, const std::filesystem::path& ppdPath, std::string_view deviceURI,
                   std::string& error, FilterLineChange* change = nullptr);

/// Deletes queue `name` (CUPS-Delete-Printer). False with `error` set.
bool RemoveQueue(std::string_view name, std::string& error);

} // namespace kelvo::platform

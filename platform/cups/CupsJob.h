// What every program that prints on a Kelvo queue shares: the queue opened
// with its controls told apart from its other options, and files submitted
// to it as one job.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/cups/CupsHost.h"

class QJVPPD;

namespace kelvo::platform {

/// Tells `settings` which of the queue's options are controls of `doc`
/// and which of those are job notes (whose texts are never saved).
void DescribeQueueControls(QJVPPD& doc, CupsPrintSettings& settings);

/// Opens CUPS queue `name` (CupsHost::Open) and describes its controls from
/// the queue's PPD, read as the panel reads it. Null with `error` set when
/// the queue cannot be opened or its PPD is no usable PPD ("NAME: the
/// printer's PPD cannot be read: ...").
std::unique_ptr<CupsHost> OpenKelvoQueue(std::string_view name, std::string& error);

/// Submits `files` as one job named `title` to `queue` (an instance,
/// "NAME/INSTANCE", prints on NAME: its options are already in `options`).
/// Returns the job id, or 0 with `error` set ("QUEUE: the job was not
/// accepted: ..."). No file at all is refused the same way.
int SubmitFiles(std::string_view queue, std::span<const std::string> files, std::string_view title,
                const std::vector<CupsOption>& options, std::string& error);

} // namespace kelvo::platform

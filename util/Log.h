// One logging entry point for the whole library: plain diagnostic lines on stderr.
#pragma once

#include <functional>
#include <string_view>

namespace kelvo {

/// Writes one diagnostic line (no trailing newline needed) to the current sink.
/// The default sink is standard error; tests install their own to capture lines.
void Log(std::string_view line);

/// Replaces the sink; pass an empty function to go back to standard error.
/// Returns the previous sink so a caller can restore it.
using LogSink = std::function<void(std::string_view)>;
LogSink SetLogSink(LogSink sink);

} // namespace kelvo

// One logging entry point for the whole library: plain diagnostic lines to a sink the host sets.
#pragma once

#include <functional>
#include <string_view>

namespace kelvo {

/// Writes one diagnostic line (no trailing newline needed) to the current
/// sink. The library is silent by default: until a host installs a sink the
/// line goes nowhere, so a program using the library never finds our text
/// on its standard error. The tools install a sink for `--verbose`; tests
/// install their own to capture lines.
void Log(std::string_view line);

/// Replaces the sink; pass an empty function to silence the library again.
/// Returns the previous sink so a caller can restore it.
using LogSink = std::function<void(std::string_view)>;
LogSink SetLogSink(LogSink sink);

/// A sink that writes each line to standard error, ending it with a newline.
void LogToStandardError(std::string_view line);

} // namespace kelvo

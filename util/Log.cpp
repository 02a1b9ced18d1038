// Diagnostic line sink: silent unless the host installs one.
#include "util/Log.h"

#include <cstdio>
#include <utility>

namespace kelvo {

namespace {
LogSink& Sink() {
    static LogSink sink;
    return sink;
}
} // namespace

void Log(std::string_view line) {
    if (Sink())
        Sink()(line);
}

void LogToStandardError(std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), stderr);
    if (line.empty() || line.back() != '\n')
        std::fputc('\n', stderr);
}

LogSink SetLogSink(LogSink sink) {
    return std::exchange(Sink(), std::move(sink));
}

} // namespace kelvo

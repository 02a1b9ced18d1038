// The recording and terminal alerts.
#include "platform/Alerts.h"

#include <unistd.h>

#include <cerrno>

#include "util/FileDescriptor.h"

namespace kelvo::platform {

void RecordingAlerts::ShowAlert(std::string_view title, std::string_view button, std::string_view text) {
    mShown.push_back({std::string(title), std::string(button), std::string(text)});
}

namespace {

void AppendPrintable(std::string& out, std::string_view text) {
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        out += (byte < 0x20 && c != '\n' && c != '\t') || byte == 0x7F ? '?' : c;
    }
}

} // namespace

void TerminalAlerts::ShowAlert(std::string_view title, std::string_view button, std::string_view text) {
    const bool interactive = isatty(mInput) == 1;
    std::string message;
    AppendPrintable(message, title);
    message += '\n';
    AppendPrintable(message, text);
    message += "\n[";
    AppendPrintable(message, button);
    message += interactive ? "] (press Enter) " : "]\n";
    WriteAll(mOutput, message);
    if (!interactive)
        return;
    // The answer's content does not matter: there is one button.
    char c = 0;
    while (true) {
        const ssize_t got = read(mInput, &c, 1);
        if (got == 1 && c != '\n')
            continue;
        if (got < 0 && errno == EINTR)
            continue;
        break;
    }
}

} // namespace kelvo::platform

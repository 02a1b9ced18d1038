// kelvo-jp-helper: the job-properties helper. It serves the panel's
// requests over the shared segment and the message port. Built with Qt and
// given no script, it shows each request in the job-properties window;
// otherwise it answers without a window, changing the settings as a script
// says, so the whole exchange can be driven and checked from the command
// line and from tests.
//
//   kelvo-jp-helper SEGMENT_ID MINOR [--script FILE] [--timeout SECONDS] [--once] [--verbose]
//
// Exit status: 0 when it ends normally (the panel is gone, the time-out
// passed, or --once was served); 1 when the port cannot be opened or read;
// 2 for a bad command line, a bad script or a segment it cannot use.
// docs/jp-helper.md has the details.
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "HelperScript.h"
#include "WindowMode.h"
#include "WindowScript.h"
#include "panel/SharedMemoryList.h"
#include "platform/MessagePort.h"
#include "platform/sysv/SysVSharedSegments.h"
#include "platform/unix/UnixMessagePort.h"
#include "util/FileDescriptor.h"
#include "util/Log.h"

namespace {

using namespace kelvo;
using Clock = std::chrono::steady_clock;

constexpr int kExitOK = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

/// The requests the panel sends, one per kind of window.
constexpr std::string_view kActions[] = {"jpOpenMainUI", "jpOpenChromaquaUI", "jpOpenMixedMediaUI"};

/// How often, between requests, the helper looks whether the panel is still
/// attached to the segment.
constexpr std::chrono::milliseconds kPanelCheckInterval{250};
/// How long an answer waits for the panel's "-1" (window open) mark; see
/// AwaitOpenMark.
constexpr std::chrono::milliseconds kOpenMarkWait{2000};
constexpr std::chrono::milliseconds kOpenMarkPoll{2};
/// Longest --timeout: a year, far beyond any use and well inside the clock.
constexpr double kMaxTimeoutSeconds = 365.0 * 24 * 3600;

constexpr std::string_view kUsage =
    "Usage: kelvo-jp-helper SEGMENT_ID MINOR [--script FILE] [--timeout SECONDS] [--once] [--verbose]\n"
    "\n"
    "Serves the print panel's job-properties requests: attaches the shared segment\n"
    "SEGMENT_ID, listens on its message port, and answers each request by writing\n"
    "the settings back.\n"
    "\n"
    "Without a script, when built with the desktop window and run at a display,\n"
    "each request opens the job-properties window: OK answers the edited settings\n"
    "with status 0, Cancel status 1. $KELVO_JP_HELPER_WINDOW_SCRIPT may name a file\n"
    "driving that window (also under QT_QPA_PLATFORM=offscreen), one command a\n"
    "line: \"set KEYWORD VALUE\" (through the control's editor), \"screenshot\n"
    "FILE.png\", and last \"ok\" or \"cancel\".\n"
    "\n"
    "  --script FILE      answer without a window: lines \"set KEY VALUE\" and \"status N\"\n"
    "                     (default: $KELVO_JP_HELPER_SCRIPT when set; with neither and no\n"
    "                     window: no change, status 0)\n"
    "  --timeout SECONDS  end after this long without a request (default: when the panel detaches)\n"
    "  --once             end after the first request served\n"
    "  --verbose          show each request's settings and the library's log on standard error\n"
    "  --help             this text\n";

/// `text` with control bytes and the backslash written as \xNN, so a
/// request or a setting cannot forge lines or send terminal controls.
/// Bytes from 0x80 up pass: they are the locale's multibyte text.
std::string Printable(std::string_view text) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (const char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if (c >= 0x20 && c != 0x7F && c != '\\') {
            out += ch;
        } else {
            out += "\\x";
            out += kHex[c >> 4];
            out += kHex[c & 0xF];
        }
    }
    return out;
}

/// One line on standard error, in a single write.
void Say(std::string_view text) {
    std::string line = "kelvo-jp-helper: ";
    line += Printable(text);
    line += '\n';
    [[maybe_unused]] const int ignored = WriteAll(STDERR_FILENO, line);
}

/// Wide text as the locale's multibyte text, for showing.
std::string Narrow(std::wstring_view wide) {
    std::vector<std::uint8_t> bytes(panel::MultibyteLength(wide) + 1);
    const std::size_t used = panel::EncodeMultibyte(wide, bytes);
    return std::string(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(used > 0 ? used - 1 : 0));
}

struct Options {
    int segmentId = -1;
    int minor = 0;
    std::optional<std::string> script;
    std::optional<std::chrono::milliseconds> timeout;
    bool once = false;
    bool verbose = false;
    bool help = false;
};

/// A whole decimal number from 0 to INT_MAX.
std::optional<int> ParseCount(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || value < 0)
        return std::nullopt;
    return value;
}

std::optional<std::chrono::milliseconds> ParseSeconds(std::string_view text) {
    double seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || !(seconds > 0) ||
        seconds > kMaxTimeoutSeconds)
        return std::nullopt;
    return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000.0 + 0.5));
}

/// The command line; false with `error` set when it is not one we take.
bool ParseOptions(int argc, char** argv, Options& options, std::string& error) {
    std::vector<std::string_view> positional;
    for (int i = 1; i < argc; ++i) {
        std::string_view arg = argv[i];
        std::optional<std::string_view> attached;
        if (arg.starts_with("--") && arg.find('=') != std::string_view::npos) {
            attached = arg.substr(arg.find('=') + 1);
            arg = arg.substr(0, arg.find('='));
        }
        const bool takesValue = arg == "--script" || arg == "--timeout";
        if (attached && !takesValue) {
            error = "option " + std::string(arg) + " takes no value";
            return false;
        }
        std::string_view value;
        if (takesValue) {
            if (attached) {
                value = *attached;
            } else if (i + 1 < argc) {
                value = argv[++i];
            } else {
                error = "option " + std::string(arg) + " needs a value";
                return false;
            }
        }
        if (arg == "--help" || arg == "-h") {
            options.help = true;
        } else if (arg == "--once") {
            options.once = true;
        } else if (arg == "--verbose") {
            options.verbose = true;
        } else if (arg == "--script") {
            if (value.empty()) {
                error = "--script needs a file name";
                return false;
            }
            options.script = std::string(value);
        } else if (arg == "--timeout") {
            options.timeout = ParseSeconds(value);
            if (!options.timeout) {
                error = "--timeout needs a number of seconds above 0, not \"" + std::string(value) + "\"";
                return false;
            }
        } else if (arg.size() > 1 && arg[0] == '-' && !(arg[1] >= '0' && arg[1] <= '9')) {
            // "-3" is a (bad) number, refused below as such.
            error = "unknown option " + std::string(arg);
            return false;
        } else {
            positional.push_back(arg);
        }
    }
    if (options.help)
        return true;
    if (positional.size() != 2) {
        error = "expected SEGMENT_ID and MINOR, got " + std::to_string(positional.size()) + " argument(s)";
        return false;
    }
    const std::optional<int> id = ParseCount(positional[0]);
    const std::optional<int> minor = ParseCount(positional[1]);
    if (!id) {
        error = "SEGMENT_ID must be a whole number from 0 up, not \"" + std::string(positional[0]) + "\"";
        return false;
    }
    if (!minor) {
        error = "MINOR must be a whole number from 0 up, not \"" + std::string(positional[1]) + "\"";
        return false;
    }
    options.segmentId = *id;
    options.minor = *minor;
    return true;
}

/// Whether the panel has left: the segment is gone, or nobody but this
/// helper is attached to it. The panel stays attached for as long as its
/// dialog lives, so an attach count of one means its process ended.
bool PanelGone(int segmentId) {
    shmid_ds status{};
    if (shmctl(segmentId, IPC_STAT, &status) != 0)
        return true;
    return status.shm_nattch <= 1;
}

bool IsAction(std::string_view text) {
    for (const std::string_view action : kActions)
        if (text == action)
            return true;
    return false;
}

/// Waits (boundedly) until the status field reads -1. The panel writes that
/// mark around the time it sends its request, possibly just after; an
/// answer written before it would be overwritten and the panel would wait
/// for ever. A mark that never comes (a caller that does not use it) only
/// delays the answer by kOpenMarkWait.
void AwaitOpenMark(const panel::SharedMemoryList& view) {
    const Clock::time_point deadline = Clock::now() + kOpenMarkWait;
    while (view.Status() != -1L && Clock::now() < deadline)
        std::this_thread::sleep_for(kOpenMarkPoll);
}

/// One request: read the settings, show them, apply the script, write them
/// back and answer. The status goes last: it is what the panel polls for.
/// One request in the window: the user (or the window script) edits the
/// settings and presses OK or Cancel.
void ServeInWindow(std::string_view action, panel::SharedMemoryList& view, platform::SharedSegments& segments,
                   int segmentId, const jphelper::WindowScript* script, bool verbose) {
    AwaitOpenMark(view);
    if (verbose)
        Say("request " + std::string(action) + ": opening the window over " + std::to_string(view.SettingsCount()) +
            " setting(s) in slots");
    const long status = jphelper::ServeWithWindow(view, segments, segmentId, script,
                                                  [](std::string_view text) { Say(text); });
    if (verbose)
        Say("answered " + std::to_string(status) + " from the window");
}

void Serve(std::string_view action, panel::SharedMemoryList& view, platform::SharedSegments& segments,
           int segmentId, const jphelper::HelperScript& script, bool verbose) {
    AwaitOpenMark(view);
    std::unique_ptr<panel::SDMKeyValueList> list = panel::Create_SDMList_From_SharedMemoryList(view, segments);
    if (verbose) {
        Say("request " + std::string(action) + ": " + std::to_string(list->count()) + " setting(s)");
        for (const panel::SDMKeyValue& entry : list->entries)
            Say("  " + Narrow(entry.key) + "=" + Narrow(entry.value));
    }
    jphelper::ApplyHelperScript(script, *list);
    const panel::SegmentWriteResult written =
        panel::Create_SharedMemoryList_From_SDMList(view, *list, segments, segmentId);
    if (written.overflowError != 0)
        Say("the settings beyond the segment's slots were dropped: overflow segment: " +
            std::string(std::strerror(written.overflowError)));
    // The settings must be in the segment before the panel can see the
    // answer; the fence keeps the compiler (and a weaker processor) from
    // moving the status write ahead of them.
    std::atomic_thread_fence(std::memory_order_release);
    view.SetStatus(script.status);
    if (verbose)
        Say("answered " + std::to_string(script.status) + " with " + std::to_string(list->count()) + " setting(s)");
}

} // namespace

int main(int argc, char** argv) {
    // Texts in the segment are multibyte in the locale's character set.
    std::setlocale(LC_CTYPE, "");

    Options options;
    std::string error;
    if (!ParseOptions(argc, argv, options, error)) {
        Say(error);
        Say("try --help");
        return kExitUsage;
    }
    if (options.help) {
        [[maybe_unused]] const int ignored = WriteAll(STDOUT_FILENO, kUsage);
        return kExitOK;
    }
    if (options.verbose)
        SetLogSink(LogToStandardError);

    // The script first: a mistake in it shows before anything is touched.
    jphelper::HelperScript script;
    // The panel starts the helper with the segment id and minor number
    // only, so a script for a driven exchange comes through the environment.
    if (!options.script)
        if (const char* fromEnvironment = std::getenv("KELVO_JP_HELPER_SCRIPT"); fromEnvironment && *fromEnvironment)
            options.script = std::string(fromEnvironment);
    if (options.script) {
        std::optional<jphelper::HelperScript> read = jphelper::ReadHelperScript(*options.script, error);
        if (!read) {
            Say(error);
            return kExitUsage;
        }
        script = std::move(*read);
    }
    // The window serves when nothing scripts the headless answer and
    // somebody can answer it: a user at a display, or the window's own
    // script (for tests and screenshots), read now so that a mistake in it
    // also shows before anything is touched.
    bool window = false;
    std::optional<jphelper::WindowScript> windowScript;
    if (!options.script && jphelper::WindowBuilt()) {
        if (const char* path = std::getenv("KELVO_JP_HELPER_WINDOW_SCRIPT"); path && *path) {
            windowScript = jphelper::ReadWindowScript(path, error);
            if (!windowScript) {
                Say(error);
                return kExitUsage;
            }
            window = jphelper::WindowPossible();
        } else {
            window = jphelper::WindowAnswerable();
        }
        if (!window && options.verbose)
            Say("nobody can answer a window here: answering without one");
    }

    // Whichever way main returns, a window's application ends first.
    struct WindowsEnd {
        ~WindowsEnd() { jphelper::EndWindows(); }
    } windowsEnd;

    platform::SysVSharedSegments segments;
    int attachError = 0;
    std::unique_ptr<platform::SharedSegment> segment = segments.Attach(options.segmentId, attachError);
    if (!segment) {
        Say("cannot attach shared segment " + std::to_string(options.segmentId) + ": " +
            std::strerror(attachError));
        return kExitUsage;
    }
    std::optional<panel::SharedMemoryList> view = panel::SharedMemoryList::Over(segment->Bytes());
    if (!view) {
        Say("shared segment " + std::to_string(options.segmentId) + " has " + std::to_string(segment->Bytes().size()) +
            " bytes, not " + std::to_string(panel::kSharedMemoryListSize));
        return kExitUsage;
    }

    // The port opens only once the segment is attached: a panel that sees
    // the port may mark the segment for removal without losing it.
    platform::UnixMessagePorts ports;
    const std::string portName = platform::MessagePortName(options.segmentId);
    int listenError = 0;
    std::unique_ptr<platform::MessagePortListener> listener = ports.Listen(portName, listenError);
    if (!listener) {
        Say("cannot listen on port " + portName + ": " + std::strerror(listenError));
        return kExitFailed;
    }
    if (options.verbose)
        Say("serving segment " + std::to_string(options.segmentId) + " (minor " + std::to_string(options.minor) +
            ") on port " + portName);

    Clock::time_point idleSince = Clock::now();
    for (;;) {
        std::chrono::milliseconds wait = kPanelCheckInterval;
        if (options.timeout) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(idleSince + *options.timeout - Clock::now());
            if (left.count() <= 0) {
                if (options.verbose)
                    Say("no request for the time-out; ending");
                return kExitOK;
            }
            wait = std::min(wait, left);
        }
        std::string request;
        const int received = listener->Receive(wait, request);
        if (received == ETIMEDOUT) {
            if (PanelGone(options.segmentId)) {
                if (options.verbose)
                    Say("the panel has detached from the segment; ending");
                return kExitOK;
            }
            continue;
        }
        if (received != 0) {
            Say("cannot receive on port " + portName + ": " + std::strerror(received));
            return kExitFailed;
        }
        if (!IsAction(request)) {
            Say("ignoring unknown request \"" + request + "\"");
            continue;
        }
        if (window)
            ServeInWindow(request, *view, segments, options.segmentId, windowScript ? &*windowScript : nullptr,
                          options.verbose);
        else
            Serve(request, *view, segments, options.segmentId, script, options.verbose);
        if (options.once)
            return kExitOK;
        idleSince = Clock::now();
    }
}

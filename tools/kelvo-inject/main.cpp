// kelvo-inject: the printing system's filter that puts the pieces of a job's
// injection file into its PostScript, and otherwise passes the job unchanged.
//
//   kelvo-inject job-id user title copies options [file]
//
// argv[0] is the queue's name. The job comes from `file` or standard input
// and goes to standard output; log lines go to standard error with the
// printing system's "DEBUG: ", "INFO: " and "ERROR: " prefixes. A job the
// filter cannot improve still prints: only failing to read the job or to
// write the result ends the run with status 1. docs/kelvo-inject.md has the
// outcomes.
#include <cups/cups.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <istream>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "TicketCheck.h"
#include "util/DescriptorStream.h"
#include "output/JobTicket.h"
#include "output/TicketApplier.h"
#include "util/Log.h"

namespace {

using namespace kelvo;
using namespace kelvo::inject;

constexpr int kExitOK = 0;
constexpr int kExitFailed = 1;

/// Longest text on one log line; the printing system keeps its lines short
/// and a hostile ticket or job must not flood its log.
constexpr std::size_t kMaxLogText = 900;
/// Longest path shown in a line.
constexpr std::size_t kMaxShownPath = 160;
/// The applier's read buffer, and so the most it reads of a job before it
/// can tell that the job is not PostScript: the reader keeps that much.
constexpr std::size_t kReadBufferBytes = output::kDefaultApplyBufferBytes;

/// `text` with every byte outside printable ASCII, and the backslash, written
/// as \xNN: nothing from a job, a ticket or an option can end the line, forge
/// another prefix or send terminal controls to whoever reads the log.
std::string Printable(std::string_view text, std::size_t limit) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (out.size() >= limit) {
            out += "...";
            break;
        }
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c < 0x7F && c != '\\') {
            out += static_cast<char>(c);
        } else {
            out += "\\x";
            out += kHex[c >> 4];
            out += kHex[c & 0xF];
        }
    }
    return out;
}

/// A path for a log line: quoted and cut short; LogLine makes it printable.
std::string Shown(std::string_view path) {
    return "\"" + std::string(path.substr(0, kMaxShownPath)) + (path.size() > kMaxShownPath ? "...\"" : "\"");
}

/// One log line, written with a single write so that lines from the
/// library's sink and ours never interleave inside a line.
void LogLine(std::string_view level, std::string_view text) {
    std::string line(level);
    line += ": kelvo-inject: ";
    line += Printable(text, kMaxLogText);
    line += '\n';
    std::string_view rest = line;
    while (!rest.empty()) {
        const ssize_t put = ::write(STDERR_FILENO, rest.data(), rest.size());
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return; // nowhere left to say anything
        rest.remove_prefix(static_cast<std::size_t>(put));
    }
}

void Debug(std::string_view text) { LogLine("DEBUG", text); }
void Info(std::string_view text) { LogLine("INFO", text); }
void Error(std::string_view text) { LogLine("ERROR", text); }

int Usage() {
    static constexpr std::string_view kUsage = "Usage: kelvo-inject job-id user title copies options [file]\n";
    [[maybe_unused]] const ssize_t put = ::write(STDERR_FILENO, kUsage.data(), kUsage.size());
    return kExitFailed;
}

/// The value of the injection-file option in `options` (argv[5]), or
/// nothing when the job has none.
std::optional<std::string> InjectionFileOption(const char* options) {
    cups_option_t* parsed = nullptr;
    const int count = cupsParseOptions(options, 0, &parsed);
    const std::string key(output::kInjectionFileKey);
    const char* value = cupsGetOption(key.c_str(), count, parsed);
    std::optional<std::string> result;
    if (value)
        result = value;
    cupsFreeOptions(count, parsed);
    return result;
}

/// The rest of the job, unchanged; the exit status.
int PassThrough(DescriptorReader& reader, DescriptorWriter& writer, const std::string& jobName) {
    if (CopyRest(reader, writer))
        return kExitOK;
    if (reader.Error() != 0)
        Error("cannot read the job " + jobName + ": " + std::strerror(reader.Error()));
    else
        Error(std::string("cannot write the job: ") + std::strerror(writer.Error() ? writer.Error() : EIO));
    return kExitFailed;
}

/// Puts `pieces` into the job; the exit status.
int Apply(const std::vector<output::InjectionPiece>& pieces, DescriptorReader& reader, DescriptorWriter& writer,
          const std::string& jobName) {
    std::istream in(&reader);
    std::ostream out(&writer);
    const output::ApplyResult result =
        output::ApplyTicket(pieces, in, out, {kReadBufferBytes});
    if (reader.Error() != 0) {
        Error("cannot read the job " + jobName + ": " + std::strerror(reader.Error()));
        return kExitFailed;
    }
    switch (result.status) {
    case output::ApplyStatus::kApplied: break;
    case output::ApplyStatus::kWriteFailed:
        Error(std::string("cannot write the job: ") + std::strerror(writer.Error() ? writer.Error() : EIO));
        return kExitFailed;
    case output::ApplyStatus::kReadFailed:
        Error("cannot read the job " + jobName);
        return kExitFailed;
    case output::ApplyStatus::kNotPostScript:
        // The applier wrote nothing and read no further than its first
        // buffer, all of which the reader kept: send that, then the rest.
        if (!reader.HeadComplete()) {
            Error("the job is not PostScript and was read too far to pass it on unchanged");
            return kExitFailed;
        }
        if (reader.Delivered() == 0) {
            Info("the job is empty; nothing to print");
            return kExitOK;
        }
        Error("the job is not PostScript (it does not start with %!); it passes unchanged, without the "
              "injection file's pieces");
        writer.Put(reader.Head()); // a failure is reported by the pass-through
        return PassThrough(reader, writer, jobName);
    }
    if (!writer.Flush()) {
        Error(std::string("cannot write the job: ") + std::strerror(writer.Error()));
        return kExitFailed;
    }
    for (const std::string& path : result.mailboxPaths)
        Debug("mailbox path " + Shown(path) + " left alone: the filter writes no files");
    if (!result.structured)
        Debug("the job has no document structure comments; the pieces follow its first line");
    if (result.setupCreated)
        Debug("the job had no setup section; one was added for the pieces");
    Info("placed " + std::to_string(result.piecesPlaced) + " pieces, skipped " +
         std::to_string(result.piecesSkipped) + ", removed " + std::to_string(result.featuresRemoved) +
         " feature blocks of the job");
    return kExitOK;
}

int Run(int argc, char** argv) {
    // CUPS filters take five or six arguments after the queue name; anything
    // else (--help included) is a person at a terminal.
    if (argc < 6 || argc > 7)
        return Usage();

    // A reader that went away shows up as EPIPE from write, reported like
    // any other write failure, instead of a silent death by signal.
    std::signal(SIGPIPE, SIG_IGN);
    SetLogSink([](std::string_view line) { Debug(line); });

    int jobFd = STDIN_FILENO;
    std::string jobName = "(standard input)";
    if (argc == 7) {
        jobName = Shown(argv[6]);
        jobFd = ::open(argv[6], O_RDONLY | O_CLOEXEC | O_NOCTTY);
        struct stat st {};
        if (jobFd < 0 || ::fstat(jobFd, &st) != 0) {
            Error("cannot read the job " + jobName + ": " + std::strerror(errno));
            return kExitFailed;
        }
        if (S_ISDIR(st.st_mode)) {
            Error("cannot read the job " + jobName + ": " + std::strerror(EISDIR));
            return kExitFailed;
        }
    }
    DescriptorReader reader(jobFd, kReadBufferBytes);
    DescriptorWriter writer(STDOUT_FILENO);

    const std::optional<std::string> ticketPath = InjectionFileOption(argv[5]);
    if (!ticketPath) {
        Info("no injection file for this job; the job passes unchanged");
        return PassThrough(reader, writer, jobName);
    }
    TicketCheck ticket = TicketForJob(*ticketPath, argv[2]);
    if (!ticket.ok) {
        Error("injection file " + Shown(*ticketPath) + " refused: " + ticket.reason +
              "; the job passes unchanged, without its pieces");
        return PassThrough(reader, writer, jobName);
    }
    Debug("injection file " + Shown(*ticketPath) + ": " + std::to_string(ticket.pieces.size()) + " pieces");
    return Apply(ticket.pieces, reader, writer, jobName);
}

} // namespace

int main(int argc, char** argv) {
    const int status = Run(argc, argv);
    SetLogSink({});
    return status;
}

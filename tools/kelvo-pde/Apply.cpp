// kelvo-pde apply: put the pieces of an injection file into a PostScript job.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

#include "CommandRegistry.h"
#include "Commands.h"
#include "output/InjectionFile.h"
#include "output/TicketApplier.h"
#include "util/DescriptorStream.h"

namespace kelvo::tool {

namespace {

using namespace kelvo::output;

struct ApplyRequest {
    std::string ticket;
    std::string job{kStdinPath};
    std::string output{"-"};
};

/// The file the job goes to: a new file beside the target, renamed over it
/// once the whole job is written, so that a failed run leaves the target as
/// it was. A replaced file keeps its permission bits; a new one is the
/// user's alone (0600), since the job carries notes and credentials.
class OutputFile {
public:
    ~OutputFile() {
        if (mFd >= 0)
            ::close(mFd);
        if (!mTemp.empty())
            ::unlink(mTemp.c_str());
    }
    int Fd() const { return mFd; }

    /// 0 or the errno value.
    int Create(const std::string& target) {
        const std::filesystem::path path(target);
        mTarget = target;
        mTemp = (path.parent_path() / ("." + path.filename().string() + ".XXXXXX")).string();
        mFd = ::mkstemp(mTemp.data());
        if (mFd < 0) {
            mTemp.clear();
            return errno;
        }
        mode_t mode = S_IRUSR | S_IWUSR;
        struct stat st {};
        if (::stat(target.c_str(), &st) == 0 && S_ISREG(st.st_mode))
            mode = st.st_mode & 07777;
        ::fchmod(mFd, mode);
        return 0;
    }
    /// 0 or the errno value; the temporary name is gone either way.
    int Commit() {
        int error = ::close(mFd) == 0 ? 0 : errno;
        mFd = -1;
        if (error == 0 && ::rename(mTemp.c_str(), mTarget.c_str()) != 0)
            error = errno;
        if (error == 0)
            mTemp.clear();
        return error;
    }

private:
    int mFd = -1;
    std::string mTarget;
    std::string mTemp;
};

std::string ShownOutput(const std::string& path) { return path == "-" ? "(standard output)" : ShownPath(path); }

int Fail(std::ostream& err, const std::string& shown, const std::string& reason) {
    err << "kelvo-pde: " << shown << ": " << ForTerminal(reason) << "\n";
    return kExitBadPPD;
}

int RunApply(const ApplyRequest& request, std::ostream& err) {
    const InjectionReadResult ticket = ReadInjectionFile(request.ticket);
    if (!ticket.ok())
        return Fail(err, ShownPath(request.ticket), ticket.status.Text());

    int jobFd = STDIN_FILENO;
    if (request.job != kStdinPath) {
        jobFd = ::open(request.job.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat st {};
        if (jobFd < 0 || ::fstat(jobFd, &st) != 0)
            return Fail(err, ShownPath(request.job), std::strerror(errno));
        if (S_ISDIR(st.st_mode)) {
            ::close(jobFd);
            return Fail(err, ShownPath(request.job), std::strerror(EISDIR));
        }
    }
    // Closes the job's descriptor on every way out.
    const std::unique_ptr<int, void (*)(int*)> closeJob(&jobFd, [](int* fd) {
        if (*fd != STDIN_FILENO)
            ::close(*fd);
    });

    OutputFile file;
    int outFd = STDOUT_FILENO;
    if (request.output != "-") {
        if (const int error = file.Create(request.output))
            return Fail(err, ShownOutput(request.output), std::strerror(error));
        outFd = file.Fd();
    }

    DescriptorReader reader(jobFd);
    DescriptorWriter writer(outFd);
    std::istream in(&reader);
    std::ostream out(&writer);
    const ApplyResult result = ApplyTicket(ticket.pieces, in, out);
    if (reader.Error() != 0)
        return Fail(err, ShownPath(request.job), std::strerror(reader.Error()));
    switch (result.status) {
    case ApplyStatus::kApplied: break;
    case ApplyStatus::kNotPostScript:
    case ApplyStatus::kReadFailed: return Fail(err, ShownPath(request.job), ApplyStatusText(result.status));
    case ApplyStatus::kWriteFailed:
        return Fail(err, ShownOutput(request.output),
                    writer.Error() ? std::strerror(writer.Error()) : ApplyStatusText(result.status));
    }
    if (request.output != "-")
        if (const int error = file.Commit())
            return Fail(err, ShownOutput(request.output), std::strerror(error));
    return kExitOK;
}

} // namespace

void AddApplyCommands(CLI::App& app, std::vector<Command>& out) {
    auto request = std::make_shared<ApplyRequest>();
    CLI::App* apply = app.add_subcommand("apply", "put an injection file's pieces into a PostScript job, as the "
                                                  "printing side's filter does");
    apply->add_option("TICKET", request->ticket, "injection file the job ticket wrote")->required();
    apply->add_option("JOB", request->job, "PostScript job to read, or - for standard input (the default)");
    apply->add_option("-o,--output", request->output,
                      "FILE to write (replaced once complete), or - for standard output (the default)");
    out.push_back({apply, [request] { return RunApply(*request, std::cerr); }});
}

} // namespace kelvo::tool

// The kelvo-inject filter run as the printing system runs it: jobs without an
// injection file, good tickets, hostile options and files, broken outputs.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "output/InjectionFile.h"
#include "output/JobTicket.h"
#include "output/TicketApplier.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using namespace kelvo::output;
using kelvotest::TempFile;

std::vector<std::uint8_t> Bytes(std::string_view text) { return {text.begin(), text.end()}; }

std::string CurrentUser() {
    const passwd* pw = getpwuid(geteuid());
    return pw ? pw->pw_name : "";
}

enum class Input { kFile, kPipe, kArgument }; // standard input from a file or a pipe, or argv[6]

struct Call {
    std::string options;
    std::string job;
    Input input = Input::kFile;
    std::string user = CurrentUser();
    int stdoutFd = -1;                            ///< where standard output goes instead of a file
    std::optional<std::vector<std::string>> args; ///< replaces the five standard arguments
};

Call Job(std::string options, std::string job, Input input = Input::kFile) {
    Call call;
    call.options = std::move(options);
    call.job = std::move(job);
    call.input = input;
    return call;
}

struct Outcome {
    int status = -1; ///< exit status; -1 for a signal, -2 when it hung and was killed
    std::string out, err;
};

/// Runs the built filter with `call` and at most 10 seconds to finish.
Outcome RunFilter(const Call& call) {
    std::signal(SIGPIPE, SIG_IGN); // a pipe the filter closed early must not end the test
    TempFile job(call.job, "job"), out("", "out"), err("", "err");
    std::vector<std::string> argv{"test-queue"};
    if (call.args)
        argv.insert(argv.end(), call.args->begin(), call.args->end());
    else
        argv.insert(argv.end(), {"7", call.user, "title", "1", call.options});
    if (call.input == Input::kArgument)
        argv.push_back(job.PathString());
    std::vector<char*> cargv;
    for (std::string& a : argv)
        cargv.push_back(a.data());
    cargv.push_back(nullptr);

    int pipeFds[2] = {-1, -1};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (call.input == Input::kPipe) {
        EXPECT_EQ(pipe(pipeFds), 0);
        posix_spawn_file_actions_adddup2(&actions, pipeFds[0], STDIN_FILENO);
        posix_spawn_file_actions_addclose(&actions, pipeFds[1]);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, job.Path().c_str(), O_RDONLY, 0);
    }
    if (call.stdoutFd >= 0)
        posix_spawn_file_actions_adddup2(&actions, call.stdoutFd, STDOUT_FILENO);
    else
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.Path().c_str(), O_WRONLY | O_TRUNC, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.Path().c_str(), O_WRONLY | O_TRUNC, 0);
    // The printing system starts filters with default signal handling;
    // the test's own SIG_IGN for SIGPIPE must not be inherited.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t pid = 0;
    Outcome outcome;
    const int spawned = posix_spawn(&pid, KELVO_INJECT_BIN, &actions, &attributes, cargv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    EXPECT_EQ(spawned, 0);
    if (spawned != 0)
        return outcome;
    std::thread feeder;
    if (call.input == Input::kPipe) {
        close(pipeFds[0]);
        // Small writes, so the filter sees the job in many short reads.
        feeder = std::thread([fd = pipeFds[1], &data = call.job] {
            for (std::size_t at = 0; at < data.size(); at += 1000)
                if (write(fd, data.data() + at, std::min<std::size_t>(1000, data.size() - at)) < 0)
                    break;
            close(fd);
        });
    }
    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            outcome.status = -2;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (feeder.joinable())
        feeder.join();
    if (outcome.status != -2)
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.out = kelvotest::ReadFile(out.Path());
    outcome.err = kelvotest::ReadFile(err.Path());
    return outcome;
}

/// Every line of the log has a level prefix and only printable ASCII.
void ExpectCleanLog(const std::string& err) {
    std::istringstream lines(err);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_TRUE(line.starts_with("DEBUG: ") || line.starts_with("INFO: ") || line.starts_with("ERROR: ")) << line;
        for (unsigned char c : line)
            ASSERT_TRUE(c >= 0x20 && c < 0x7F) << "raw byte " << int(c) << " in: " << line;
    }
    EXPECT_TRUE(err.empty() || err.back() == '\n');
}

/// The lines of `err` at `level` ("ERROR: ").
std::vector<std::string> Lines(const std::string& err, std::string_view level) {
    std::vector<std::string> found;
    std::istringstream lines(err);
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(level))
            found.push_back(line);
    return found;
}

/// An injection file the test owns under the filter's prefix, removed after.
class Ticket {
public:
    Ticket() : mPath(CreateRandomFileName("/tmp/Kelvo.temp")) {}
    explicit Ticket(std::string_view bytes) : Ticket() {
        const int fd = open(mPath.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
        EXPECT_GE(fd, 0);
        EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        close(fd);
    }
    explicit Ticket(const std::vector<InjectionPiece>& pieces) : Ticket(Xml(pieces)) {}
    ~Ticket() {
        std::error_code ec;
        fs::remove(mPath, ec);
    }
    const std::string& Path() const { return mPath; }
    std::string Option() const { return std::string(kInjectionFileKey) + "=" + mPath; }
    static std::string Xml(const std::vector<InjectionPiece>& pieces) {
        std::string xml;
        EXPECT_EQ(SerializeInjectionList(pieces, xml), 0);
        return xml;
    }

private:
    std::string mPath;
};

const std::vector<InjectionPiece> kEverySite = {
    {-9, Bytes("*Duplex")},
    {81, Bytes("%%BeginFeature: *QJStaple One\nstaple\n%%EndFeature\n")},
    {70, Bytes("%%BeginFeature: *PageSize A4\na4\n%%EndFeature")},
    {71, Bytes("%%EndKelvoPreparse1: True\n")},
    {501, Bytes("%%QJVDriver\n")},
    {30, Bytes("%%QJVCustom1: Room\x1b[2J 4\n")},
    {900, Bytes("/home/ann/box\n.ps")},
    {12345, Bytes("% never written\n")},
};

const std::string kPstopsJob = "%!PS-Adobe-3.0\n%%Title: t\n%%EndComments\n%%BeginProlog\n%%EndProlog\n"
                               "%%BeginSetup\n[{\n%%BeginFeature: *Duplex DuplexNoTumble\n<</Duplex true>> "
                               "setpagedevice\n%%EndFeature\n} stopped cleartomark\n%%EndSetup\n%%Page: 1 1\n"
                               "showpage\n%%EOF\n";

/// What ApplyTicket makes of `job` in this process, and its counts line.
std::pair<std::string, std::string> InProcess(const std::vector<InjectionPiece>& pieces, const std::string& job) {
    std::istringstream in(job);
    std::ostringstream out;
    const ApplyResult r = ApplyTicket(pieces, in, out);
    EXPECT_TRUE(r.ok());
    return {out.str(), "INFO: kelvo-inject: placed " + std::to_string(r.piecesPlaced) + " pieces, skipped " +
                           std::to_string(r.piecesSkipped) + ", removed " + std::to_string(r.featuresRemoved) +
                           " feature blocks of the job"};
}

TEST(KelvoInject, AnythingButFiveOrSixArgumentsIsAUsageError) {
    const std::vector<std::vector<std::string>> rows = {
        {}, {"--help"}, {"7", "u", "t", "1"}, {"7", "u", "t", "1", "", "f", "extra"}};
    for (const auto& args : rows) {
        Call call;
        call.args = args;
        const Outcome o = RunFilter(call);
        EXPECT_EQ(o.status, 1) << args.size();
        EXPECT_EQ(o.err, "Usage: kelvo-inject job-id user title copies options [file]\n");
        EXPECT_EQ(o.out, "");
    }
}

TEST(KelvoInject, WithoutTheOptionEveryJobPassesByteForByte) {
    std::string binary(300000, '\0');
    for (std::size_t i = 0; i < binary.size(); ++i)
        binary[i] = static_cast<char>(i * 7 % 251);
    const std::string jobs[] = {kPstopsJob, binary, "", "%!PS-Adobe-3.0\nno line end at the end"};
    for (const std::string& job : jobs)
        for (Input input : {Input::kFile, Input::kPipe, Input::kArgument})
            for (const char* options : {"", "copies=2 job-uuid=urn:x Kelvo=/tmp/Kelvo.temp"}) {
                const Outcome o = RunFilter(Job(options, job, input));
                EXPECT_EQ(o.status, 0);
                EXPECT_TRUE(o.out == job) << job.size() << " bytes, input " << int(input);
                EXPECT_EQ(o.err, "INFO: kelvo-inject: no injection file for this job; the job passes unchanged\n");
            }
}

TEST(KelvoInject, PutsTheTicketsPiecesWhereTheApplierDoes) {
    std::vector<InjectionPiece> hostilePieces = {
        {81, Bytes(std::string("nul\0inside\n%%EOF\n%%EndSetup\n", 28))},
        {501, Bytes("%%EOF")},
        {30, std::vector<std::uint8_t>(1 << 20, 'x')},
        {-9, Bytes(std::string(300, '\x01'))}};
    struct Row {
        const std::vector<InjectionPiece>* pieces;
        std::string job;
        Input input;
    };
    const Row rows[] = {
        {&kEverySite, kPstopsJob, Input::kFile},
        {&kEverySite, kPstopsJob, Input::kPipe},
        {&kEverySite, kPstopsJob, Input::kArgument},
        {&kEverySite, "%!\nshowpage\n", Input::kFile},                                  // no structure
        {&kEverySite, "%!PS-Adobe-3.0\n%%EndComments\nshowpage", Input::kPipe},         // ends in a line
        {&kEverySite, kelvotest::ReadFile(kelvotest::DataPath("jobs/crlf.ps")), Input::kFile},
        {&kEverySite, kelvotest::ReadFile(kelvotest::DataPath("jobs/no-setup.ps")), Input::kArgument},
        {&hostilePieces, kPstopsJob, Input::kFile},
    };
    for (const Row& row : rows) {
        const Ticket ticket(*row.pieces);
        const Outcome o = RunFilter(Job("copies=1 " + ticket.Option() + " number-up=1", row.job, row.input));
        const auto [expected, counts] = InProcess(*row.pieces, row.job);
        EXPECT_EQ(o.status, 0);
        EXPECT_TRUE(o.out == expected) << o.out.substr(0, 2000);
        EXPECT_EQ(Lines(o.err, "INFO: "), std::vector<std::string>{counts});
        EXPECT_EQ(Lines(o.err, "ERROR: "), std::vector<std::string>{});
        ExpectCleanLog(o.err);
        if (row.pieces == &kEverySite) { // the path's line end is shown, not written
            EXPECT_NE(o.err.find("DEBUG: kelvo-inject: mailbox path \"/home/ann/box\\x0A.ps\" left alone"),
                      std::string::npos);
        }
    }
}

TEST(KelvoInject, JobsThatAreNotPostScriptPassUnchangedDespiteATicket) {
    std::string binary(200000, '\x1b'); // longer than any read buffer, no line end
    binary[100] = '\0';
    const std::string jobs[] = {binary, "PK\x03\x04\nzip\n", std::string("\n%!PS\n"), "%"};
    const Ticket ticket(kEverySite);
    for (const std::string& job : jobs)
        for (Input input : {Input::kFile, Input::kPipe}) {
            const Outcome o = RunFilter(Job(ticket.Option(), job, input));
            EXPECT_EQ(o.status, 0);
            EXPECT_TRUE(o.out == job) << job.size() << " bytes";
            ASSERT_EQ(Lines(o.err, "ERROR: ").size(), 1u) << o.err;
            EXPECT_NE(o.err.find("is not PostScript"), std::string::npos);
            ExpectCleanLog(o.err);
        }
    const Outcome empty = RunFilter(Job(ticket.Option(), ""));
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(empty.out, "");
    EXPECT_EQ(Lines(empty.err, "INFO: "),
              std::vector<std::string>{"INFO: kelvo-inject: the job is empty; nothing to print"});
}

/// Whether the file the inotify descriptor `fd` watches was opened or read.
bool Opened(int fd) {
    char events[4096];
    return read(fd, events, sizeof events) > 0;
}

/// Runs the filter on a job whose injection-file option is `value`, sent by
/// `user`, and expects the refusal: one ERROR line naming the value and
/// `reason`, the job unchanged, exit 0, all at once.
void ExpectRefused(const std::string& name, const std::string& value, const std::string& user,
                   const std::string& reason) {
    const auto start = std::chrono::steady_clock::now();
    Call call = Job(std::string(kInjectionFileKey) + "='" + value + "'", kPstopsJob);
    call.user = user;
    const Outcome o = RunFilter(call);
    EXPECT_EQ(o.status, 0) << name;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << name;
    EXPECT_TRUE(o.out == kPstopsJob) << name;
    const std::vector<std::string> errors = Lines(o.err, "ERROR: ");
    ASSERT_EQ(errors.size(), 1u) << name << ": " << o.err;
    EXPECT_NE(errors[0].find(reason), std::string::npos) << name << ": " << errors[0];
    const bool printable = value.find_first_of("\n\x1b") == std::string::npos;
    EXPECT_NE(errors[0].find(printable ? "\"" + value + "\"" : "\\x0A\\x1B[31mERROR: forged"), std::string::npos)
        << name << ": " << errors[0];
    ExpectCleanLog(o.err);
}

TEST(KelvoInject, RefusesHostileInjectionFilesAndPrintsTheJobUnchanged) {
    const std::string good = Ticket::Xml(kEverySite);
    const Ticket real(good);
    const std::string uuid = real.Path().substr(std::string("/tmp/Kelvo.temp").size());
    // A real ticket outside the prefix: the filter must not even open it.
    const TempFile elsewhere(good, "Kelvo.temp" + uuid);
    const std::string elsewherePath = elsewhere.PathString();
    const bool root = geteuid() == 0;
    struct Row {
        std::string name;
        std::function<std::string(const std::string& path)> make; ///< makes the file at `path`, returns the value
        std::string reason;
        std::string user = CurrentUser();
    };
    const auto file = [](std::string bytes) {
        return [bytes](const std::string& path) {
            std::ofstream(path, std::ios::binary) << bytes;
            return path;
        };
    };
    const auto fixed = [](std::string value) { return [value](const std::string&) { return value; }; };
    std::vector<Row> rows = {
        {"shadow", fixed("/etc/shadow"), "the path is not /tmp/Kelvo.temp followed by a UUID"},
        {"dotdot", fixed("/tmp/Kelvo.temp" + uuid + "/../.." + elsewherePath), "the path is not"},
        {"through dotdot", fixed("/tmp/../tmp/Kelvo.temp" + uuid), "the path is not"},
        {"other folder", fixed(elsewherePath), "the path is not"},
        {"trailing byte", fixed(real.Path() + "x"), "the path is not"},
        {"lower case", fixed("/tmp/Kelvo.temp1b4e28ba-2fa1-11d2-883f-0016d3cca427"), "the path is not"},
        {"control bytes", fixed("/tmp/Kelvo.temp\n\x1b[31mERROR: forged"), "the path is not"},
        {"empty", fixed(""), "the path is not"},
        {"missing", [](const std::string& p) { return p; }, "No such file or directory"},
        {"symbolic link", [&](const std::string& p) { fs::create_symlink(real.Path(), p); return p; },
         "a symbolic link, which is not followed"},
        {"fifo", [](const std::string& p) { mkfifo(p.c_str(), 0600); return p; }, "not a regular file"},
        {"folder", [](const std::string& p) { fs::create_directory(p); return p; }, "not a regular file"},
        {"1 GiB", [&](const std::string& p) { EXPECT_EQ(truncate(file("")(p).c_str(), 1 << 30), 0); return p; },
         "larger than 16 MiB"},
        {"truncated", file(good.substr(0, good.size() / 2)), "property list"},
        {"garbage", file("\x89PNG\r\n\x1a\n garbage"), "property list"},
        {"odd count", file(R"(<plist><array><integer>81</integer></array></plist>)"), "sites and pieces"},
        {"another user's job", file(good), "not to the job's user", root ? "nobody" : "root"},
        {"unknown user", file(good), "the job's user is not known", "no-such-user-kelvo"},
    };
    const int watch = inotify_init1(IN_NONBLOCK);
    ASSERT_GE(watch, 0);
    ASSERT_GE(inotify_add_watch(watch, elsewherePath.c_str(), IN_OPEN | IN_ACCESS), 0);
    for (const Row& row : rows) {
        const std::string path = CreateRandomFileName("/tmp/Kelvo.temp");
        ExpectRefused(row.name, row.make(path), row.user, row.reason);
        std::error_code ec;
        fs::remove(path, ec);
    }
    EXPECT_FALSE(Opened(watch)) << "a file outside the prefix was opened";
    close(watch);
}

TEST(KelvoInject, RefusesAFileOwnedByAnotherUser) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give a file to another user";
    const passwd* nobody = getpwnam("nobody");
    if (!nobody)
        GTEST_SKIP() << "there is no user \"nobody\" to give the file to";
    const Ticket ticket(kEverySite);
    ASSERT_EQ(chown(ticket.Path().c_str(), nobody->pw_uid, static_cast<gid_t>(-1)), 0);
    ExpectRefused("owned by nobody", ticket.Path(), CurrentUser(),
                  "belongs to user id " + std::to_string(nobody->pw_uid) + ", not to the job's user");
}

TEST(KelvoInject, FailsOnlyWhenTheJobCannotBeReadOrWritten) {
    const Ticket ticket(kEverySite);
    int closed[2];
    ASSERT_EQ(pipe(closed), 0);
    close(closed[0]);
    const int full = open("/dev/full", O_WRONLY);
    ASSERT_GE(full, 0);
    const std::string bigJob = kPstopsJob + std::string(1 << 20, '\n');
    struct Row {
        std::string options;
        int stdoutFd;
        std::string error;
    };
    const Row rows[] = {{ticket.Option(), closed[1], "cannot write the job: Broken pipe"},
                        {"", closed[1], "cannot write the job: Broken pipe"},
                        {ticket.Option(), full, "cannot write the job: No space left on device"},
                        {"", full, "cannot write the job: No space left on device"}};
    for (const Row& row : rows) {
        Call call = Job(row.options, bigJob);
        call.stdoutFd = row.stdoutFd;
        const Outcome o = RunFilter(call);
        EXPECT_EQ(o.status, 1) << row.error;
        EXPECT_NE(o.err.find("ERROR: kelvo-inject: " + row.error), std::string::npos) << o.err;
    }
    close(closed[1]);
    close(full);
    for (const char* job : {"/nonexistent/job.ps", "/tmp"}) {
        Call call;
        call.args = {"7", CurrentUser(), "t", "1", ticket.Option(), job};
        const Outcome o = RunFilter(call);
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(Lines(o.err, "ERROR: ").size(), 1u) << o.err;
    }
}

} // namespace

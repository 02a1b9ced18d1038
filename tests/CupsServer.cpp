// A private cupsd for tests: configuration, start, client set-up and stop.
#include "CupsServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cups/cups.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace kelvotest {

namespace fs = std::filesystem;

namespace {

/// Where the system keeps what cupsd runs: its filters, backends and the
/// helper that starts them.
constexpr const char* kSystemServerBin = "/usr/lib/cups";
constexpr const char* kCupsd = "/usr/sbin/cupsd";
/// Marks an environment variable that was unset before UseAsClient.
constexpr const char* kUnset = "\x01";

std::string ReadWhole(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

bool WriteWhole(const fs::path& path, const std::string& text, mode_t mode) {
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << text;
        if (!out.flush())
            return false;
    }
    return chmod(path.c_str(), mode) == 0;
}

std::string Tail(const std::string& text, std::size_t lines) {
    std::size_t pos = text.size();
    if (pos > 0 && text[pos - 1] == '\n')
        --pos;
    while (pos > 0 && lines > 0) {
        pos = text.rfind('\n', pos - 1);
        if (pos == std::string::npos) {
            pos = 0;
            break;
        }
        --lines;
    }
    return text.substr(pos == 0 ? 0 : pos + 1);
}

/// A free TCP port on the loopback interface, or 0. The kernel hands out
/// a port nobody holds; it stays free long enough for cupsd to take it.
int FreePort() {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return 0;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof address;
    int port = 0;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    close(fd);
    return port;
}

bool Answers(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(fd);
    return ok;
}

/// Starts `argv` (no shell) with standard input from /dev/null and both
/// output streams into `output`, in a session of its own so a terminal's
/// signals do not reach it. The process id, or -1 with `error` set.
pid_t Spawn(const std::vector<std::string>& argv, const fs::path& output, std::string& error) {
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);

    pid_t pid = -1;
    const int rc = posix_spawnp(&pid, args[0], &actions, &attributes, args.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) {
        error = "cannot start " + argv[0] + ": " + std::strerror(rc);
        return -1;
    }
    return pid;
}

/// Runs `argv` to its end; its exit status (-1 when it did not exit
/// normally or could not start) and its output.
int Run(const std::vector<std::string>& argv, const fs::path& outputFile, std::string& output) {
    std::string error;
    const pid_t pid = Spawn(argv, outputFile, error);
    if (pid < 0) {
        output = error;
        return -1;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    output = ReadWhole(outputFile);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// ServerBin: filter/ is a folder of our own (cupsd refuses a filter whose
/// file or folder others may write, which a build tree need not satisfy),
/// with a link to each system filter and a copy of our filter.
bool MakeServerBin(const fs::path& bin, std::string& error) {
    std::error_code ec;
    const fs::path filters = bin / "filter";
    fs::create_directories(filters, ec);
    if (ec || chmod(bin.c_str(), 0755) != 0 || chmod(filters.c_str(), 0755) != 0) {
        error = "cannot create " + filters.string();
        return false;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(fs::path(kSystemServerBin) / "filter", ec))
        fs::create_symlink(entry.path(), filters / entry.path().filename(), ec);
    for (const char* name : {"backend", "daemon"})
        fs::create_symlink(fs::path(kSystemServerBin) / name, bin / name, ec);
    if (ec) {
        error = "cannot link the system's filters into " + bin.string() + ": " + ec.message();
        return false;
    }
    const fs::path inject(KELVO_INJECT_BIN);
    const fs::path copy = filters / inject.filename();
    fs::copy_file(inject, copy, fs::copy_options::overwrite_existing, ec);
    if (ec || chmod(copy.c_str(), 0755) != 0) {
        error = "cannot copy the filter " + inject.string() + ": " + ec.message();
        return false;
    }
    return true;
}

} // namespace

std::unique_ptr<CupsServer> CupsServer::Start(std::string& reason) {
    if (access(kCupsd, X_OK) != 0) {
        reason = std::string("no cupsd at ") + kCupsd;
        return nullptr;
    }
    const int port = FreePort();
    if (port == 0) {
        reason = "no free port on the loopback interface";
        return nullptr;
    }

    std::string pattern = (fs::temp_directory_path() / "kelvo-cupsd-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        reason = "cannot create a temporary folder: " + std::string(std::strerror(errno));
        return nullptr;
    }
    std::unique_ptr<CupsServer> server(new CupsServer());
    server->mRoot = pattern;
    server->mAddress = "localhost:" + std::to_string(port);
    const fs::path& root = server->mRoot;

    // 0755 all the way: when we are root the filters run as the printing
    // system's own user, which must reach the files under here; cupsd also
    // refuses configuration that others may write.
    std::error_code ec;
    for (const char* sub : {"etc", "spool", "spool/tmp", "cache", "state", "log", "client", "home"}) {
        fs::create_directories(root / sub, ec);
        chmod((root / sub).c_str(), 0755);
    }
    chmod(root.c_str(), 0755);
    if (ec) {
        reason = "cannot create folders under " + root.string() + ": " + ec.message();
        return nullptr;
    }
    if (!MakeServerBin(root / "bin", reason))
        return nullptr;

    const std::string r = root.string();
    const std::string cupsdConf = "Listen localhost:" + std::to_string(port) +
                                  "\n"
                                  "Browsing Off\n"
                                  "LogLevel debug\n"
                                  "MaxLogSize 0\n"
                                  "WebInterface No\n"
                                  // A failed job is dropped rather than stopping the
                                  // queue, so one bad job does not hold up the next test.
                                  "ErrorPolicy abort-job\n"
                                  "DefaultAuthType None\n"
                                  "<Location />\n  Order allow,deny\n  Allow all\n</Location>\n"
                                  "<Policy default>\n"
                                  "  JobPrivateAccess all\n  JobPrivateValues none\n"
                                  "  SubscriptionPrivateAccess all\n  SubscriptionPrivateValues none\n"
                                  "  <Limit All>\n    Order deny,allow\n  </Limit>\n</Policy>\n";
    const std::string filesConf = "FileDevice Yes\n"
                                  "ServerRoot " + r + "/etc\n"
                                  "StateDir " + r + "/state\n"
                                  "CacheDir " + r + "/cache\n"
                                  "RequestRoot " + r + "/spool\n"
                                  "TempDir " + r + "/spool/tmp\n"
                                  "AccessLog " + r + "/log/access_log\n"
                                  "ErrorLog " + r + "/log/error_log\n"
                                  "PageLog " + r + "/log/page_log\n"
                                  "DataDir /usr/share/cups\n"
                                  "ServerBin " + r + "/bin\n";
    if (!WriteWhole(root / "etc/cupsd.conf", cupsdConf, 0644) ||
        !WriteWhole(root / "etc/cups-files.conf", filesConf, 0644) ||
        !WriteWhole(root / "client/client.conf", "", 0644)) {
        reason = "cannot write the configuration under " + r;
        return nullptr;
    }

    const fs::path daemonOutput = root / "log/cupsd.out";
    server->mPid = static_cast<int>(Spawn({kCupsd, "-f", "-c", r + "/etc/cupsd.conf", "-s", r + "/etc/cups-files.conf"},
                                          daemonOutput, reason));
    if (server->mPid < 0)
        return nullptr;

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (!Answers(port)) {
        int status = 0;
        const bool exited = waitpid(server->mPid, &status, WNOHANG) == server->mPid;
        if (exited || std::chrono::steady_clock::now() > deadline) {
            std::string check;
            if (exited) {
                server->mPid = -1;
                // A daemon that stops at start-up says why only when asked to
                // check its configuration: it does not write to its output.
                Run({kCupsd, "-t", "-c", r + "/etc/cupsd.conf", "-s", r + "/etc/cups-files.conf"},
                    root / "log/check.out", check);
            }
            reason = std::string(exited ? "cupsd exited" : "cupsd did not answer within 15 s") + "; " +
                     Tail(ReadWhole(daemonOutput) + check, 10) + "\nits error log ends:\n" + Tail(server->ErrorLog(), 20);
            return nullptr; // the destructor stops it and removes the folder
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return server;
}

CupsServer::~CupsServer() {
    if (mPid > 0) {
        kill(mPid, SIGTERM);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        int status = 0;
        while (waitpid(mPid, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                kill(mPid, SIGKILL);
                waitpid(mPid, &status, 0);
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    if (!mRoot.empty()) {
        std::error_code ec;
        fs::remove_all(mRoot, ec);
    }
    // Put the environment back in the reverse order it was changed.
    for (auto it = mSavedEnvironment.rbegin(); it != mSavedEnvironment.rend(); ++it) {
        if (it->second == kUnset)
            unsetenv(it->first.c_str());
        else
            setenv(it->first.c_str(), it->second.c_str(), 1);
    }
    if (!mSavedEnvironment.empty())
        cupsSetServer(nullptr);
}

void CupsServer::UseAsClient() {
    const std::pair<const char*, std::string> settings[] = {
        {"CUPS_SERVER", mAddress},
        {"CUPS_SERVERROOT", (mRoot / "client").string()},
        {"HOME", (mRoot / "home").string()},
    };
    for (const auto& [name, value] : settings) {
        const char* old = std::getenv(name);
        mSavedEnvironment.emplace_back(name, old ? old : kUnset);
        setenv(name, value.c_str(), 1);
    }
    // libcups keeps the server name it read per thread: make it read again.
    cupsSetServer(nullptr);
}

bool CupsServer::AddQueue(const std::string& name, const fs::path& ppd, const fs::path& output,
                          std::string& error) {
    std::string text;
    const int status = Run({"lpadmin", "-h", mAddress, "-p", name, "-E", "-v", "file://" + fs::absolute(output).string(),
                            "-P", fs::absolute(ppd).string()},
                           mRoot / "log/lpadmin.out", text);
    if (status != 0) {
        error = "lpadmin -p " + name + " failed (" + std::to_string(status) + "): " + text;
        return false;
    }
    return true;
}

bool CupsServer::WaitForJobs(std::chrono::seconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        std::string text;
        if (Run({"lpstat", "-h", mAddress, "-o"}, mRoot / "log/lpstat.out", text) == 0 && text.empty())
            return true;
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

std::string CupsServer::ErrorLog() const {
    return ReadWhole(mRoot / "log/error_log");
}

bool CupsServer::Required() { return std::getenv("KELVO_REQUIRE_CUPSD") != nullptr; }

} // namespace kelvotest

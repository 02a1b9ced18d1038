// A private CUPS server for tests: its own configuration, spool and logs
// under a temporary folder, listening on a free localhost port, with the
// system's filters and backends and our kelvo-inject filter in its ServerBin.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace kelvotest {

class CupsServer {
public:
    /// Starts cupsd and waits until it answers. Null when it cannot start
    /// (no cupsd installed, no port, it exits early): `reason` then says why,
    /// for GTEST_SKIP, with the tail of its error log.
    static std::unique_ptr<CupsServer> Start(std::string& reason);
    /// Stops cupsd (SIGTERM, then SIGKILL) and removes the folder, and puts
    /// back the environment UseAsClient changed.
    ~CupsServer();
    CupsServer(const CupsServer&) = delete;
    CupsServer& operator=(const CupsServer&) = delete;

    /// Whether a server that does not start fails the test instead of
    /// skipping it: set KELVO_REQUIRE_CUPSD (CI does), where a skip would
    /// hide that nothing was printed.
    static bool Required();

    /// "localhost:PORT".
    const std::string& Address() const { return mAddress; }
    /// The temporary folder everything lives under.
    const std::filesystem::path& Root() const { return mRoot; }

    /// Points this process and the programs it starts at the server:
    /// CUPS_SERVER, and CUPS_SERVERROOT and HOME at folders of the server's
    /// own (so saved options, lpoptions, never touch the machine's or the
    /// user's). Undone by the destructor.
    void UseAsClient();

    /// Adds an enabled queue `name` for `ppd` whose device writes to
    /// `output` (a file: URI), with lpadmin. False with `error` set.
    bool AddQueue(const std::string& name, const std::filesystem::path& ppd, const std::filesystem::path& output,
                  std::string& error);

    /// Waits until the server holds no pending or processing job (polls
    /// lpstat). False on time-out.
    bool WaitForJobs(std::chrono::seconds timeout = std::chrono::seconds(60));

    /// The server's error log (debug level: every filter's argv,
    /// environment and log lines).
    std::string ErrorLog() const;

private:
    CupsServer() = default;

    std::filesystem::path mRoot;
    std::string mAddress;
    int mPid = -1;
    std::vector<std::pair<std::string, std::string>> mSavedEnvironment; ///< name, old value ("\x01" unset)
};

} // namespace kelvotest

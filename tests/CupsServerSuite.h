// A GoogleTest suite sharing one private CUPS server between its tests, with
// queues set up the way a user sets them up (kelvo-pde queue add).
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "CupsServer.h"
#include "TestSupport.h"

namespace kelvotest {

/// The server starts once per suite and is stopped after its last test. A
/// server that cannot start skips the tests, or fails them where
/// CupsServer::Required() says a skip would hide that nothing was printed.
class CupsServerSuite : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        server = CupsServer::Start(reason);
        if (server)
            server->UseAsClient();
    }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override {
        if (!server) {
            if (CupsServer::Required())
                FAIL() << "cupsd did not start: " << reason;
            GTEST_SKIP() << "cupsd did not start: " << reason;
        }
    }

    /// A queue for `ppd` added by kelvo-pde, its device writing to a file of
    /// its own under the server's folder; returns that file.
    static std::filesystem::path AddKelvoQueue(const std::string& name, const std::filesystem::path& ppd) {
        const std::filesystem::path out = server->Root() / (name + ".prn");
        const FullRun added =
            RunToolFull({"queue", "add", name, "--ppd", ppd.string(), "--device", "file://" + out.string()});
        EXPECT_EQ(added.status, 0) << added.err;
        return out;
    }

    /// The last 4000 bytes of a log, for failure messages.
    static std::string Tail(const std::string& log) { return log.size() > 4000 ? log.substr(log.size() - 4000) : log; }

    static inline std::unique_ptr<CupsServer> server;
    static inline std::string reason;
};

} // namespace kelvotest

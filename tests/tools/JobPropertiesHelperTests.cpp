// The job-properties helper program, run as a process of its own over a real shared segment and message port.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "panel/SharedMemoryList.h"
#include "platform/MessagePort.h"
#include "platform/sysv/SysVSharedSegments.h"
#include "platform/unix/UnixMessagePort.h"

extern char** environ;

namespace {

using namespace kelvo;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// The helper as the panel finds it: inside the build tree's bundle.
std::string HelperBinary() {
#ifdef KELVO_JP_HELPER_BIN
    return KELVO_JP_HELPER_BIN;
#else
    return (std::filesystem::path(KELVO_PDE_BIN).parent_path() /
            "QJVKelvoPDE.plugin/Contents/QJV KD4.4toJP.app/Contents/MacOS/QJV KD4.4toJP")
        .string();
#endif
}

/// Polls `done` every few milliseconds until it holds or `timeout` passes.
template <typename Condition>
bool WaitFor(Condition done, std::chrono::milliseconds timeout) {
    const Clock::time_point deadline = Clock::now() + timeout;
    while (!done()) {
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

/// One run of the helper: started with posix_spawn (no shell: the path has
/// blanks), its outputs in files, killed and reaped if still running at the
/// end. Runs under LC_ALL=C.UTF-8 so that the texts are UTF-8.
class HelperRun {
public:
    explicit HelperRun(const std::vector<std::string>& args)
        : mOut("", "stdout.txt"), mErr("", "stderr.txt") {
        std::vector<std::string> argStrings{HelperBinary()};
        argStrings.insert(argStrings.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (std::string& arg : argStrings)
            argv.push_back(arg.data());
        argv.push_back(nullptr);

        std::vector<std::string> envStrings;
        for (char** e = environ; *e; ++e) {
            const std::string_view entry(*e);
            if (!entry.starts_with("LC_") && !entry.starts_with("LANG="))
                envStrings.emplace_back(entry);
        }
        envStrings.emplace_back("LC_ALL=C.UTF-8");
        std::vector<char*> envp;
        for (std::string& entry : envStrings)
            envp.push_back(entry.data());
        envp.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, mOut.Path().c_str(), O_WRONLY | O_TRUNC, 0);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, mErr.Path().c_str(), O_WRONLY | O_TRUNC, 0);
        mSpawnError = posix_spawn(&mPid, argv[0], &actions, nullptr, argv.data(), envp.data());
        posix_spawn_file_actions_destroy(&actions);
        if (mSpawnError != 0)
            mPid = -1;
    }
    ~HelperRun() {
        if (mPid > 0 && !mStatus) {
            kill(mPid, SIGKILL);
            int status = 0;
            waitpid(mPid, &status, 0);
        }
    }
    HelperRun(const HelperRun&) = delete;
    HelperRun& operator=(const HelperRun&) = delete;

    int SpawnError() const { return mSpawnError; }
    /// The exit status once the helper has ended within `timeout`; -1 for a
    /// signal; nothing while it still runs.
    std::optional<int> Wait(std::chrono::milliseconds timeout) {
        WaitFor([&] { return Ended(); }, timeout);
        return mStatus;
    }
    bool Ended() {
        if (mStatus || mPid <= 0)
            return true;
        int status = 0;
        if (waitpid(mPid, &status, WNOHANG) != mPid)
            return false;
        mStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return true;
    }
    std::string Out() const { return kelvotest::ReadFile(mOut.Path()); }
    std::string Err() const { return kelvotest::ReadFile(mErr.Path()); }

private:
    kelvotest::TempFile mOut;
    kelvotest::TempFile mErr;
    pid_t mPid = -1;
    int mSpawnError = 0;
    std::optional<int> mStatus;
};

/// The panel's side: a real segment of the layout's size, marked for removal
/// at once so that a failed test leaves nothing behind (Linux still lets
/// the helper attach it by id).
class PanelSegment {
public:
    PanelSegment() {
        int error = 0;
        mSegment = mSegments.Create(panel::kSharedMemoryListSize, error);
        if (!mSegment)
            return;
        mId = mSegment->Id();
        mSegments.Remove(mId);
        mView = panel::SharedMemoryList::Over(mSegment->Bytes());
    }
    ~PanelSegment() {
        if (mView)
            panel::RemoveOverflowSegment(*mView, mSegments, mId);
    }
    bool Ok() const { return mView.has_value(); }
    int Id() const { return mId; }
    std::string IdText() const { return std::to_string(mId); }
    panel::SharedMemoryList& View() { return *mView; }
    platform::SharedSegments& Segments() { return mSegments; }
    /// Detaches, as a panel's process does when it ends.
    void Detach() {
        if (mView)
            panel::RemoveOverflowSegment(*mView, mSegments, mId);
        mView.reset();
        mSegment.reset();
    }

    void Write(const panel::SDMKeyValueList& list) {
        panel::Create_SharedMemoryList_From_SDMList(*mView, list, mSegments, mId);
    }
    panel::SDMKeyValueList Read() { return *panel::Create_SDMList_From_SharedMemoryList(*mView, mSegments); }

    bool WaitForPort() {
        return WaitFor([&] { return mPorts.PortExists(platform::MessagePortName(mId)); }, 10s);
    }
    int Send(std::string_view action) { return mPorts.SendToPort(platform::MessagePortName(mId), action); }
    /// Polls the status field until it no longer reads -1.
    std::optional<long> AwaitAnswer() {
        if (!WaitFor([&] { return mView->Status() != -1L; }, 10s))
            return std::nullopt;
        return mView->Status();
    }

private:
    platform::SysVSharedSegments mSegments;
    platform::UnixMessagePorts mPorts;
    std::unique_ptr<platform::SharedSegment> mSegment;
    std::optional<panel::SharedMemoryList> mView;
    int mId = -1;
};

/// 301 settings, so the last one travels in the overflow segment. That
/// segment is sized from the list's first entries, so entry 0 is long
/// enough to leave room for the settings the scripts change there.
panel::SDMKeyValueList PanelSettings() {
    panel::SDMKeyValueList list;
    for (int i = 0; i < 301; ++i) {
        wchar_t key[16];
        std::swprintf(key, 16, L"Key%03d", i);
        list.entries.push_back({key, i == 0 ? std::wstring(200, L'x') : L"Value " + std::to_wstring(i)});
    }
    return list;
}

std::wstring& ValueOf(panel::SDMKeyValueList& list, std::wstring_view key) {
    for (panel::SDMKeyValue& entry : list.entries)
        if (entry.key == key)
            return entry.value;
    list.entries.push_back({std::wstring(key), L""});
    return list.entries.back().value;
}

struct Exchange {
    std::optional<int> exit;
    std::optional<long> status;
    panel::SDMKeyValueList list;
    std::string err;
};

/// The whole exchange once: the settings into a fresh segment, a helper
/// started with `script` and `--once`, one request, the answer awaited and
/// the settings read back.
Exchange RunExchange(std::string_view action, const std::optional<std::string>& script,
                     std::vector<std::string> extraArgs = {}) {
    Exchange result;
    PanelSegment panel;
    if (!panel.Ok()) {
        ADD_FAILURE() << "no shared segment";
        return result;
    }
    panel.Write(PanelSettings());
    std::optional<kelvotest::TempFile> scriptFile;
    std::vector<std::string> args{panel.IdText(), "4", "--once"};
    if (script) {
        scriptFile.emplace(*script, "script.txt");
        args.push_back("--script");
        args.push_back(scriptFile->PathString());
    }
    args.insert(args.end(), extraArgs.begin(), extraArgs.end());
    HelperRun helper(args);
    EXPECT_EQ(helper.SpawnError(), 0);
    if (!panel.WaitForPort()) {
        ADD_FAILURE() << "the helper's port never appeared: " << helper.Err();
        return result;
    }
    panel.View().SetStatus(-1);
    EXPECT_EQ(panel.Send(action), 0);
    result.status = panel.AwaitAnswer();
    result.exit = helper.Wait(10s);
    result.list = panel.Read();
    result.err = helper.Err();
    return result;
}

// ---- the exchange ----

TEST(JobPropertiesHelper, ScriptChangesASlotTheOverflowAndAppends) {
    const Exchange run = RunExchange("jpOpenMainUI",
                                     "# three changes\n"
                                     "set Key005  two  blanks \n"
                                     "\n"
                                     "   # an indented comment\n"
                                     "set Key300 overflow changed\r\n"
                                     "set NewKey\n",
                                     {"--verbose"});
    ASSERT_EQ(run.status, 0L) << run.err;
    EXPECT_EQ(run.exit, 0) << run.err;

    panel::SDMKeyValueList expected = PanelSettings();
    ValueOf(expected, L"Key005") = L" two  blanks "; // one blank ends the key; the rest is the value
    ValueOf(expected, L"Key300") = L"overflow changed";
    ValueOf(expected, L"NewKey") = L"";
    EXPECT_EQ(run.list, expected);
    // The helper read the overflow entry before changing it, and said so.
    EXPECT_NE(run.err.find("  Key300=Value 300\n"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("301 setting(s)"), std::string::npos) << run.err;
}

TEST(JobPropertiesHelper, AnswersTheScriptsStatusAndChangesOnlyWhatItIsTold) {
    struct Row {
        const char* action;
        std::optional<std::string> script;
        long status;
        const wchar_t* key; // the one setting changed, or null
        const wchar_t* value;
    };
    const Row rows[] = {
        {"jpOpenChromaquaUI", "status 1\nset Key010 ten\n", 1, L"Key010", L"ten"},
        {"jpOpenMixedMediaUI", std::nullopt, 0, nullptr, nullptr},
        {"jpOpenMainUI", "status 7\n", 7, nullptr, nullptr},
        {"jpOpenMainUI", "set Key150 short\nstatus -99\n", -99, L"Key150", L"short"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.action) + " / " + row.script.value_or("(no script)"));
        const Exchange run = RunExchange(row.action, row.script);
        EXPECT_EQ(run.status, row.status) << run.err;
        EXPECT_EQ(run.exit, 0) << run.err;
        panel::SDMKeyValueList expected = PanelSettings();
        if (row.key)
            ValueOf(expected, row.key) = row.value;
        EXPECT_EQ(run.list, expected);
    }
}

TEST(JobPropertiesHelper, KeepsMultibyteTextOfTheLocale) {
    PanelSegment panel;
    ASSERT_TRUE(panel.Ok());
    panel.Write(PanelSettings());
    // Raw UTF-8 in a slot the script does not touch: a helper left in the C
    // locale would turn each byte into "?" on the way back.
    const std::string kept = "B\xC3\xA4" "ckerei";
    std::memcpy(panel.View().Bytes().data() + panel::segment_layout::kValues.offset + 2 * panel::kValueSlotSize,
                kept.c_str(), kept.size() + 1);
    kelvotest::TempFile script("set Key003 Gr\xC3\xB6\xC3\x9F" "e\n", "script.txt");
    HelperRun helper({panel.IdText(), "0", "--once", "--script", script.PathString()});
    ASSERT_TRUE(panel.WaitForPort()) << helper.Err();
    panel.View().SetStatus(-1);
    ASSERT_EQ(panel.Send("jpOpenMainUI"), 0);
    ASSERT_EQ(panel.AwaitAnswer(), 0L) << helper.Err();

    const auto slot = [&](std::size_t index) {
        return std::string(reinterpret_cast<const char*>(panel.View().Bytes().data() +
                                                         panel::segment_layout::kValues.offset +
                                                         index * panel::kValueSlotSize));
    };
    EXPECT_EQ(slot(2), kept);
    EXPECT_EQ(slot(3), "Gr\xC3\xB6\xC3\x9F" "e");
}

TEST(JobPropertiesHelper, IgnoresUnknownRequestsAndServesUntilIdle) {
    PanelSegment panel;
    ASSERT_TRUE(panel.Ok());
    panel.Write(PanelSettings());
    kelvotest::TempFile script("status 1\n", "script.txt");
    HelperRun helper({panel.IdText(), "2", "--timeout", "1.5", "--script", script.PathString()});
    ASSERT_TRUE(panel.WaitForPort()) << helper.Err();

    panel.View().SetStatus(-1);
    ASSERT_EQ(panel.Send("jpOpenEverything"), 0);
    ASSERT_TRUE(WaitFor([&] { return helper.Err().find("ignoring") != std::string::npos; }, 5s));
    EXPECT_NE(helper.Err().find("\"jpOpenEverything\""), std::string::npos) << helper.Err();
    EXPECT_EQ(panel.View().Status(), -1L);
    // Each later request is served in turn.
    for (const char* action : {"jpOpenMainUI", "jpOpenMixedMediaUI"}) {
        SCOPED_TRACE(action);
        panel.View().SetStatus(-1);
        ASSERT_EQ(panel.Send(action), 0);
        EXPECT_EQ(panel.AwaitAnswer(), 1L) << helper.Err();
    }
    // Then, with no more requests, it ends by itself.
    EXPECT_EQ(helper.Wait(10s), 0) << helper.Err();
}

TEST(JobPropertiesHelper, WaitsForTheOpenMarkWrittenAfterTheRequest) {
    // A panel may send first and mark the window open just after; an answer
    // written in between would be overwritten by the mark and never seen.
    PanelSegment panel;
    ASSERT_TRUE(panel.Ok());
    panel.Write(PanelSettings());
    panel.View().SetStatus(0); // the previous exchange's answer
    kelvotest::TempFile script("status 1\n", "script.txt");
    HelperRun helper({panel.IdText(), "4", "--once", "--script", script.PathString()});
    ASSERT_TRUE(panel.WaitForPort()) << helper.Err();
    ASSERT_EQ(panel.Send("jpOpenMainUI"), 0);
    std::this_thread::sleep_for(300ms);
    panel.View().SetStatus(-1);
    EXPECT_EQ(panel.AwaitAnswer(), 1L) << helper.Err();
    EXPECT_EQ(helper.Wait(10s), 0) << helper.Err();
}

// ---- how it ends ----

TEST(JobPropertiesHelper, EndsWhenIdleForTheTimeOutOrWhenThePanelDetaches) {
    {
        SCOPED_TRACE("time-out");
        PanelSegment panel;
        ASSERT_TRUE(panel.Ok());
        const Clock::time_point start = Clock::now();
        HelperRun helper({panel.IdText(), "0", "--timeout", "0.5"});
        EXPECT_EQ(helper.Wait(10s), 0) << helper.Err();
        EXPECT_GE(Clock::now() - start, 450ms);
    }
    {
        SCOPED_TRACE("panel detaches");
        PanelSegment panel;
        ASSERT_TRUE(panel.Ok());
        HelperRun helper({panel.IdText(), "0"});
        ASSERT_TRUE(panel.WaitForPort()) << helper.Err();
        EXPECT_FALSE(helper.Wait(700ms)) << "ended while the panel was still attached: " << helper.Err();
        panel.Detach();
        EXPECT_EQ(helper.Wait(10s), 0) << helper.Err();
    }
}

// ---- refusals ----

TEST(JobPropertiesHelper, BadScriptLineExitsTwoNamingFileAndLine) {
    struct Row {
        std::string script;
        int line;
        const char* why;
    };
    const Row rows[] = {
        {"set A 1\nfrobnicate now\n", 2, "unknown command \"frobnicate\""},
        {"# c\n\nset\n", 3, "needs a key"},
        {"status one\n", 1, "whole number"},
        {"status 1 2\n", 1, "whole number"},
        {"status -1\n", 1, "still open"},
        {"status 1000\n", 1, "outside"},
        {"status 1\nset A b\nstatus 2\n", 3, "second"},
        {"set K \xFF\n", 1, "not valid text"},
        {std::string("set K a\0b\n", 10), 1, "NUL"},
    };
    // The script is read before the segment is attached: with no segment
    // at all, the script's fault is still the one reported.
    for (const Row& row : rows) {
        SCOPED_TRACE(row.script);
        kelvotest::TempFile script(row.script, "script.txt");
        HelperRun helper({"2147483647", "0", "--script", script.PathString()});
        EXPECT_EQ(helper.Wait(10s), 2);
        const std::string err = helper.Err();
        EXPECT_NE(err.find(script.PathString() + ":" + std::to_string(row.line) + ": "), std::string::npos) << err;
        EXPECT_NE(err.find(row.why), std::string::npos) << err;
    }
}

TEST(JobPropertiesHelper, RefusesBadArgumentsAndUnusableSegments) {
    PanelSegment live;
    ASSERT_TRUE(live.Ok());
    platform::SysVSharedSegments segments;
    int error = 0;
    std::unique_ptr<platform::SharedSegment> small = segments.Create(1000, error);
    ASSERT_TRUE(small);
    segments.Remove(small->Id());
    int goneId = -1;
    {
        std::unique_ptr<platform::SharedSegment> gone = segments.Create(panel::kSharedMemoryListSize, error);
        ASSERT_TRUE(gone);
        goneId = gone->Id();
        segments.Remove(goneId);
    }
    HelperRun listening({live.IdText(), "0"});
    ASSERT_TRUE(live.WaitForPort()) << listening.Err();

    struct Row {
        std::vector<std::string> args;
        int exit;
        std::string says;
    };
    const Row rows[] = {
        {{std::to_string(small->Id()), "0"}, 2, "has 1000 bytes, not 235610"},
        {{std::to_string(goneId), "0"}, 2, "cannot attach shared segment " + std::to_string(goneId)},
        {{"abc", "4"}, 2, "SEGMENT_ID"},
        {{"-3", "4"}, 2, "SEGMENT_ID"},
        {{live.IdText(), "4x"}, 2, "MINOR"},
        {{live.IdText()}, 2, "expected SEGMENT_ID and MINOR"},
        {{live.IdText(), "0", "--timeout", "0"}, 2, "--timeout"},
        {{live.IdText(), "0", "--timeout"}, 2, "needs a value"},
        {{live.IdText(), "0", "--once=yes"}, 2, "takes no value"},
        {{live.IdText(), "0", "--bogus"}, 2, "unknown option --bogus"},
        {{live.IdText(), "0", "--script", "/nonexistent/script"}, 2, "/nonexistent/script: "},
        // Somebody already serves this segment.
        {{live.IdText(), "0"}, 1, "cannot listen on port kelvo-pde-jp." + live.IdText()},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.args));
        HelperRun helper(row.args);
        EXPECT_EQ(helper.Wait(10s), row.exit);
        EXPECT_NE(helper.Err().find(row.says), std::string::npos) << helper.Err();
    }

    HelperRun help({"--help"});
    EXPECT_EQ(help.Wait(10s), 0);
    EXPECT_TRUE(help.Out().starts_with("Usage: kelvo-jp-helper SEGMENT_ID MINOR")) << help.Out();
}

} // namespace

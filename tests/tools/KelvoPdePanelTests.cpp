// kelvo-pde panel run as a separate process: the real exchange with the job-properties helper on a PPD past the
// segment's first 300 settings, printing with popup job notes, the segment dump, and the state file.
#include <gtest/gtest.h>

#include <fstream>

#include <nlohmann/json.hpp>

#include "CupsServer.h"
#include "TestSupport.h"
#include "PanelScratch.h"
#include "store/PlistTestSupport.h"

namespace fs = std::filesystem;
using kelvotest::FullRun;
using kelvotest::RunToolFull;

namespace {

const char* kHeader = "*PPD-Adobe: \"4.3\"\n*FormatVersion: \"4.3\"\n*FileVersion: \"1.2\"\n"
                      "*LanguageVersion: English\n*LanguageEncoding: ISOLatin1\n*PCFileName: \"KELVOT.PPD\"\n"
                      "*ModelName: \"Kelvo Test\"\n*%QJVersion: \"4.2\"\n*%QJVPropPage QJPage/Page: \"True\"\n"
                      "*%QJVGroupName QJGroup/Options: \"True\"\n";

/// A popup whose choices emit "%%KEY=CHOICE".
std::string Popup(const std::string& key, const std::vector<std::string>& choices, const std::string& def) {
    std::string text = "*%QJVFlags " + key + ": \"Dynamic\"\n*%QJVGroup " + key + ": QJGroup\n*OpenUI " + key +
                       "/Title: PickOne\n*Default" + key.substr(1) + ": " + def + "\n";
    for (const std::string& choice : choices)
        text += key + " " + choice + "/" + choice + ": \"%%" + key + "=" + choice + "\"\n";
    return text + "*CloseUI: " + key + "\n";
}

std::string Boolean(const std::string& key, bool on) {
    const std::string bare = key.substr(1);
    return "*%QJVFlags " + key + ": \"\"\n*%QJVGroup " + key + ": QJGroup\n*OpenUI " + key + "/" + bare +
           ": Boolean\n*Default" + bare + ": " + (on ? "True" : "False") + "\n" + key + " True/On: \"\"\n" + key +
           " False/Off: \"\"\n*CloseUI: " + key + "\n";
}

/// "*QJDuplex" and 310 more controls: the settings list passes the
/// segment's 300 slots and goes on in the overflow segment.
std::string BigPPD() {
    std::string text = kHeader + Popup("*QJDuplex", {"None", "Long"}, "None");
    for (int i = 0; i < 310; ++i) {
        char key[16];
        std::snprintf(key, sizeof key, "*QJOpt%03d", i);
        text += Popup(key, {"A", "B"}, "A");
    }
    return text + "*%QJShortcut: *QJDuplex\n";
}

std::string PopupNotesPPD() {
    return kHeader + Popup("*QJDuplex", {"None", "Long"}, "None") + Boolean("*QJDisplayJobTracking", true) +
           Popup("*QJAccountSetting", {"Allow", "Last"}, "Allow") + Boolean("*QJAccountShowLast", false) +
           "*%QJVFlags *QJAcct: \"\"\n*%QJVGroup *QJAcct: QJGroup\n*%QJVJobNote *QJAcct/Account: 40|PopupJN\n\n"
           "*%QJShortcut: *QJDuplex\n";
}

using Scratch = kelvotest::PanelScratch;

nlohmann::json RunJSON(const std::vector<std::string>& args, int expectedStatus = 0) {
    const FullRun run = RunToolFull(args);
    EXPECT_EQ(run.status, expectedStatus) << run.err;
    nlohmann::json out = nlohmann::json::parse(run.out, nullptr, false);
    EXPECT_TRUE(out.is_object()) << run.out;
    return out.is_object() ? out : nlohmann::json::object();
}

/// Every piece's text of the injection file, one after the other.
std::string PiecesText(const nlohmann::json& out) {
    std::string all;
    if (out.contains("injectionFile") && out["injectionFile"].is_object())
        for (const nlohmann::json& piece : out["injectionFile"]["pieces"])
            all += piece["text"].get<std::string>();
    return all;
}

void RemoveInjectionFile(const nlohmann::json& out) {
    if (out.contains("injectionFile") && out["injectionFile"].is_object())
        fs::remove(out["injectionFile"]["path"].get<std::string>());
}

} // namespace

TEST(KelvoPdePanel, TheRealHelperChangesSettingsPastTheThreeHundredthSlot) {
    Scratch scratch;
    const fs::path ppd = scratch.Write("big.ppd", BigPPD());
    const fs::path script = scratch.Write("script.txt", "set QJDuplex Long\nset QJOpt000 B\nset QJOpt305 B\nstatus 0\n");
    const fs::path dump = scratch.dir.Path() / "segment.bin";
    const nlohmann::json out = RunJSON({"panel", ppd.string(), "--helper", "main", "--helper-script", script.string(),
                                        "--dump-segment", dump.string(), "--json"});
    EXPECT_EQ(out["created"], true);
    EXPECT_TRUE(out["shouldPrint"].is_null());
    const nlohmann::json& settings = out["printSettings"];
    EXPECT_EQ(settings["*QJDuplex"], "Long");
    EXPECT_EQ(settings["*QJOpt000"], "B");
    EXPECT_EQ(settings["*QJOpt305"], "B");
    EXPECT_EQ(settings["*QJOpt304"], "A");
    EXPECT_EQ(settings["*QJOpt306"], "A");
    const std::string pieces = PiecesText(out);
    for (const char* emitted : {"%%*QJDuplex=Long", "%%*QJOpt000=B", "%%*QJOpt305=B", "%%*QJOpt306=A"})
        EXPECT_NE(pieces.find(emitted), std::string::npos) << emitted;
    EXPECT_EQ(pieces.find("%%*QJOpt305=A"), std::string::npos);
    // The segment as the helper got it: the request's values, before the script.
    ASSERT_TRUE(fs::exists(dump));
    EXPECT_EQ(fs::file_size(dump), 235610u);
    const std::string bytes = kelvotest::ReadFile(dump);
    EXPECT_NE(bytes.find("QJDuplex"), std::string::npos);
    RemoveInjectionFile(out);
}

TEST(KelvoPdePanel, PrintWithPopupNotesFollowsTheScriptedAnswers) {
    struct Row {
        const char* answers;
        bool print;
        const char* account;
        const char* accountSetting;
    };
    const Row rows[] = {
        {R"({"button": "ok", "fields": ["ACC-77"]})", true, "ACC-77", "Allow"},
        {R"({"button": "cancel"})", false, "", "Allow"},
        {R"({"button": "always", "then": {"button": "ok", "fields": ["ALW"]}})", true, "ALW", "Last"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.answers);
        Scratch scratch;
        const fs::path ppd = scratch.Write("notes.ppd", PopupNotesPPD());
        const fs::path answers = scratch.Write("answers.json", row.answers);
        const nlohmann::json out = RunJSON({"panel", ppd.string(), "--print", "--answers", answers.string(), "--json"});
        EXPECT_EQ(out["shouldPrint"], row.print);
        EXPECT_EQ(out["printSettings"]["*QJAcct"], row.account);
        EXPECT_EQ(out["printSettings"]["*QJAccountSetting"], row.accountSetting);
        RemoveInjectionFile(out);
    }
}

TEST(KelvoPdePanel, StateDefaultsDumpAndRefusals) {
    Scratch scratch;
    const fs::path ppd = scratch.Write("notes.ppd", PopupNotesPPD());
    const fs::path state = scratch.dir.Path() / "state.json";

    // --set is kept in the state file and restored by the next run; --defaults undoes it.
    nlohmann::json out = RunJSON({"panel", ppd.string(), "--state", state.string(), "--set", "QJDuplex=Long", "--json"});
    EXPECT_EQ(out["printSettings"]["*QJDuplex"], "Long");
    RemoveInjectionFile(out);
    out = RunJSON({"panel", ppd.string(), "--state", state.string(), "--json"});
    EXPECT_EQ(out["printSettings"]["*QJDuplex"], "Long");
    EXPECT_NE(PiecesText(out).find("%%*QJDuplex=Long"), std::string::npos);
    RemoveInjectionFile(out);
    const fs::path dump = scratch.dir.Path() / "segment.bin";
    out = RunJSON({"panel", ppd.string(), "--state", state.string(), "--defaults", "--dump-segment", dump.string(),
                   "--json"});
    EXPECT_EQ(out["printSettings"]["*QJDuplex"], "None");
    EXPECT_EQ(fs::file_size(dump), 235610u);
    RemoveInjectionFile(out);

    // Without a version string there is no panel, and nothing is written.
    std::string text = PopupNotesPPD();
    text.erase(text.find("*%QJVersion"), text.find('\n', text.find("*%QJVersion")) - text.find("*%QJVersion") + 1);
    out = RunJSON({"panel", scratch.Write("old.ppd", text).string(), "--json"});
    EXPECT_EQ(out["created"], false);
    EXPECT_TRUE(out["injectionFile"].is_null());
    EXPECT_NE(out["log"].dump().find("no version string"), std::string::npos);

    const std::vector<std::vector<std::string>> usage = {
        {"panel"},
        {"panel", ppd.string(), "--helper", "settings"},
        {"panel", ppd.string(), "--helper-script", "x"},
        {"panel", ppd.string(), "--answers", "x"},
        {"panel", ppd.string(), "--set", "=Long"},
        {"panel", ppd.string(), "--queue", "q"},
    };
    for (const auto& args : usage) {
        SCOPED_TRACE(args.back());
        const FullRun run = RunToolFull(args);
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.err.find("kelvo-pde"), std::string::npos);
    }
}

TEST(KelvoPdePanel, AQueueKeepsWhatThePanelSaved) {
    std::string reason;
    std::unique_ptr<kelvotest::CupsServer> server = kelvotest::CupsServer::Start(reason);
    if (!server) {
        if (kelvotest::CupsServer::Required())
            FAIL() << reason;
        GTEST_SKIP() << reason;
    }
    server->UseAsClient();
    Scratch scratch;
    const fs::path ppd = scratch.Write("notes.ppd", PopupNotesPPD());
    std::string error;
    ASSERT_TRUE(server->AddQueue("panelq", ppd, scratch.dir.Path() / "out.ps", error)) << error;
    nlohmann::json out = RunJSON({"panel", "--queue", "panelq", "--set", "QJDuplex=Long", "--json"});
    EXPECT_EQ(out["created"], true);
    EXPECT_EQ(out["printSettings"]["*QJDuplex"], "Long");
    RemoveInjectionFile(out);
    out = RunJSON({"panel", "--queue", "panelq", "--json"});
    EXPECT_EQ(out["printSettings"]["*QJDuplex"], "Long");
    EXPECT_NE(PiecesText(out).find("%%*QJDuplex=Long"), std::string::npos);
    RemoveInjectionFile(out);
}

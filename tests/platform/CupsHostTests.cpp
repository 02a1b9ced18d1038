// The CUPS host: keys to options and back, what is never saved or sent, and a queue of a private server.
#include <gtest/gtest.h>

#include <cups/cups.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <thread>

#include "CupsServer.h"
#include "TestSupport.h"
#include "output/JobNotesOutput.h"
#include "output/JobTicket.h"
#include "platform/cups/CupsHost.h"
#include "util/Log.h"

using kelvo::platform::CupsHost;
using kelvo::platform::CupsOption;
using kelvo::platform::CupsPrintSettings;
using kelvo::platform::PropertyValue;
namespace output = kelvo::output;
namespace store = kelvo::store;

namespace {

using Names = std::set<std::string, std::less<>>;

const std::string kInjectionKey(output::kInjectionFileKey);

bool HasOption(const std::vector<CupsOption>& options, const std::string& name, const std::string& value) {
    return std::find(options.begin(), options.end(), CupsOption{name, value}) != options.end();
}

bool NamesOption(const std::vector<CupsOption>& options, const std::string& name) {
    return std::any_of(options.begin(), options.end(), [&](const CupsOption& o) { return o.first == name; });
}

/// Every name and value of `options` in one text, to look for leaks.
std::string Flatten(const std::vector<CupsOption>& options) {
    std::string all;
    for (const auto& [name, value] : options)
        all += name + "=" + value + "\n";
    return all;
}

} // namespace

// --- Settings as options ---

TEST(CupsPrintSettings, ControlsAreOptionsWithoutTheStar) {
    CupsPrintSettings settings;
    settings.LoadOptions({{"QJHalftone", "Fine"}, {"copies", "2"}, {"WatermarkFirstPageInfo", "Draft"}});
    // Before the PPD is known a control is found under either spelling.
    EXPECT_EQ(settings.Get("*QJHalftone"), PropertyValue("Fine"));
    EXPECT_EQ(settings.Get("QJHalftone"), PropertyValue("Fine"));
    EXPECT_EQ(settings.CopyAsDictionary().count("QJHalftone"), 1u);

    settings.DescribeControls({"*QJHalftone", "*QJTonerSave"}, {});
    const store::PropertyDictionary expected = {{"*QJHalftone", PropertyValue("Fine")},
                                                {"copies", PropertyValue("2")},
                                                {"WatermarkFirstPageInfo", PropertyValue("Draft")}};
    EXPECT_EQ(settings.CopyAsDictionary(), expected);

    settings.Set("*QJTonerSave", PropertyValue(true));
    settings.Set("*QJHalftone", PropertyValue("Coarse"));
    settings.Set("*QJStaple", PropertyValue("Corner")); // a "*" key is a control even when the PPD did not say
    const std::vector<CupsOption> saved = {{"QJHalftone", "Coarse"},
                                           {"copies", "2"},
                                           {"WatermarkFirstPageInfo", "Draft"},
                                           {"QJTonerSave", "true"},
                                           {"QJStaple", "Corner"}};
    EXPECT_EQ(settings.SavedOptions(), saved);
    EXPECT_EQ(settings.CopyAsDictionary().count("*QJStaple"), 1u);

    settings.Remove("*QJHalftone");
    EXPECT_FALSE(settings.Get("QJHalftone"));
    EXPECT_FALSE(NamesOption(settings.SavedOptions(), "QJHalftone"));
}

TEST(CupsPrintSettings, ValuesBecomeTextOrStayForThisRun) {
    struct Row {
        const char* what;
        PropertyValue value;
        const char* text; ///< null: kept for this run only
    };
    const Row rows[] = {
        {"integer", PropertyValue(std::int64_t{-9}), "-9"},
        {"real", PropertyValue(0.1), "0.1"},
        {"real sum", PropertyValue(0.1 + 0.2), "0.30000000000000004"},
        {"large real", PropertyValue(1e21), "1e+21"},
        {"true", PropertyValue(true), "true"},
        {"false", PropertyValue(false), "false"},
        {"text", PropertyValue("A4"), "A4"},
        {"text with blanks and quotes", PropertyValue("say \"hi\" it's"), "say \"hi\" it's"},
        {"newline", PropertyValue("one\nDest other x=1"), nullptr},
        {"delete", PropertyValue("a\x7f"), nullptr},
        {"infinity", PropertyValue(std::numeric_limits<double>::infinity()), nullptr},
        {"data", PropertyValue(store::PropertyData{1, 2}), nullptr},
        {"array", PropertyValue(store::PropertyArray{PropertyValue(1)}), nullptr},
        {"dictionary", PropertyValue(store::PropertyDictionary{{"k", PropertyValue(1)}}), nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        CupsPrintSettings settings;
        settings.Set("value", row.value);
        const std::vector<CupsOption> saved = settings.SavedOptions();
        if (row.text) {
            EXPECT_EQ(saved, (std::vector<CupsOption>{{"value", row.text}}));
            EXPECT_EQ(settings.Get("value"), PropertyValue(row.text));
        } else {
            EXPECT_TRUE(saved.empty()) << Flatten(saved);
            EXPECT_TRUE(settings.JobOptions().empty());
            EXPECT_EQ(settings.Get("value"), row.value); // unchanged, kind and all
        }
    }
    // The shortest text of a real reads back as the same real.
    for (double real : {1.0 / 3.0, -2.5e-300}) {
        CupsPrintSettings settings;
        settings.Set("r", PropertyValue(real));
        EXPECT_EQ(std::strtod(settings.SavedOptions().at(0).second.c_str(), nullptr), real);
    }
}

TEST(CupsPrintSettings, KeysThatCannotNameAnOptionStayForThisRunAndAreLoggedOnce) {
    std::vector<std::string> lines;
    const kelvo::LogSink previous = kelvo::SetLogSink([&lines](std::string_view line) { lines.emplace_back(line); });
    CupsPrintSettings settings;
    for (const char* key : {"two words", "a=b", "quote\"d", "back\\slash", "*", ""})
        settings.Set(key, PropertyValue("x"));
    settings.Set("blob", PropertyValue(store::PropertyData{1}));
    settings.Set("blob", PropertyValue(store::PropertyData{2}));
    kelvo::SetLogSink(previous);

    EXPECT_TRUE(settings.SavedOptions().empty()) << Flatten(settings.SavedOptions());
    EXPECT_EQ(settings.Get("two words"), PropertyValue("x"));
    EXPECT_EQ(settings.Get("blob"), PropertyValue(store::PropertyData{2}));
    EXPECT_EQ(lines.size(), 7u); // six keys, and the data value once
}

TEST(CupsPrintSettings, NotesAndTheInjectionPathAreNeverSavedAndNotesNeverSent) {
    CupsPrintSettings settings;
    // A note's text an older file holds is taken in, but not written
    // again; an injection path found there belongs to some past job.
    settings.LoadOptions({{"Notes1", "old note"}, {"QJHalftone", "Fine"}, {kInjectionKey, "/tmp/Kelvo.tempSTALE"}});
    EXPECT_FALSE(settings.Get(kInjectionKey));
    settings.DescribeControls({"*QJHalftone", "*Notes1", "*QJAccount"}, {"*Notes1", "*QJAccount"});
    settings.Set("*QJAccount", PropertyValue("4711-secret"));
    settings.Set("*QJUserAuthPwd", PropertyValue("pw-secret")); // a well-known note, even unnamed by the PPD
    settings.Set("*Resume", PropertyValue("resume-secret"));
    settings.Set(kInjectionKey, PropertyValue("/tmp/Kelvo.tempABC"));

    EXPECT_EQ(settings.Get("*Notes1"), PropertyValue("old note"));
    EXPECT_EQ(settings.Get("*QJAccount"), PropertyValue("4711-secret"));
    EXPECT_EQ(settings.Get(kInjectionKey), PropertyValue("/tmp/Kelvo.tempABC"));

    const std::vector<CupsOption> saved = settings.SavedOptions();
    EXPECT_EQ(saved, (std::vector<CupsOption>{{"QJHalftone", "Fine"}}));
    const std::vector<CupsOption> job = settings.JobOptions();
    EXPECT_EQ(job, (std::vector<CupsOption>{{"QJHalftone", "Fine"}, {kInjectionKey, "/tmp/Kelvo.tempABC"}}));
    for (const char* secret : {"old note", "secret"})
        EXPECT_EQ(Flatten(job).find(secret), std::string::npos) << secret;
}

TEST(CupsPrintSettings, ServerFactsAndEmptyValuesAreReadButNeitherSavedNorSent) {
    CupsPrintSettings settings;
    settings.LoadOptions({{"device-uri", "file:///dev/null"},
                          {"printer-state", "3"},
                          {"printer-info", "Hall"},
                          {"marker-levels", "40"},
                          {"printer-uri-supported", "ipp://localhost/printers/q"},
                          {"copies", "1"},
                          {"printer-resolution", "600dpi"},
                          {"Empty", ""}});
    EXPECT_EQ(settings.Get("device-uri"), PropertyValue("file:///dev/null"));
    const std::vector<CupsOption> expected = {{"copies", "1"}, {"printer-resolution", "600dpi"}};
    EXPECT_EQ(settings.SavedOptions(), expected);
    EXPECT_EQ(settings.JobOptions(), expected);
}

TEST(CupsPrintSettings, LayoutFollowsNumberUp) {
    struct Row {
        const char* numberUp; ///< null: no such option
        int rows;             ///< 0: no layout
        int columns;
    };
    const Row table[] = {
        {"2", 1, 2}, {"4", 2, 2}, {"6", 2, 3}, {"9", 3, 3}, {"16", 4, 4},
        {"1", 0, 0}, {"3", 0, 0}, {"8", 0, 0}, {"2x", 0, 0}, {"", 0, 0}, {nullptr, 0, 0},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(row.numberUp ? row.numberUp : "(none)");
        CupsPrintSettings settings;
        if (row.numberUp)
            settings.Set("number-up", PropertyValue(row.numberUp));
        // Set and Remove cannot make the layout disagree with number-up.
        settings.Set(output::kLayoutRowsKey, PropertyValue(7));
        settings.Remove(output::kLayoutColumnsKey);
        const store::PropertyDictionary all = settings.CopyAsDictionary();
        if (row.rows == 0) {
            EXPECT_FALSE(settings.Get(output::kLayoutRowsKey));
            EXPECT_FALSE(settings.Get(output::kLayoutNUpKey));
            EXPECT_EQ(all.count(std::string(output::kLayoutRowsKey)), 0u);
        } else {
            EXPECT_EQ(settings.Get(output::kLayoutRowsKey), PropertyValue(row.rows));
            EXPECT_EQ(settings.Get(output::kLayoutColumnsKey), PropertyValue(row.columns));
            EXPECT_EQ(settings.Get(output::kLayoutNUpKey), PropertyValue(true));
            EXPECT_EQ(all.at(std::string(output::kLayoutColumnsKey)), PropertyValue(row.columns));
        }
        // Derived, so never stored.
        EXPECT_FALSE(NamesOption(settings.SavedOptions(), std::string(output::kLayoutRowsKey)));
    }
}

TEST(CupsPrintSettings, OrientationCodes) {
    const std::pair<int, int> requestedToCode[] = {{3, 1}, {4, 2}, {5, 4}, {6, 3}, {0, 1}, {7, 1}, {-4, 1}};
    for (const auto& [requested, code] : requestedToCode)
        EXPECT_EQ(kelvo::platform::OrientationFromRequested(requested), code) << requested;
    const std::pair<int, int> codeToRequested[] = {{1, 3}, {2, 4}, {3, 6}, {4, 5}, {0, 3}, {9, 3}};
    for (const auto& [code, requested] : codeToRequested)
        EXPECT_EQ(kelvo::platform::RequestedFromOrientation(code), requested) << code;
}

// --- A queue of a private server ---

namespace {

/// libcups reads HOME and CUPS_SERVERROOT once per thread, when the thread
/// first calls it: work that must see the private server's folders runs on
/// a thread of its own, started after the environment points at them.
template <class F>
void OnFreshThread(F&& work) {
    std::thread thread(std::forward<F>(work));
    thread.join();
}

} // namespace

class CupsHostOnServer : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        sServer = kelvotest::CupsServer::Start(sWhyNot);
        if (!sServer)
            return;
        sServer->UseAsClient();
        if (!sServer->AddQueue("kelvo", kelvotest::SamplePath("kelvo-sample.ppd"), Output(), sWhyNot))
            sServer.reset();
    }
    static void TearDownTestSuite() { sServer.reset(); }

    void SetUp() override {
        if (!sServer && kelvotest::CupsServer::Required())
            FAIL() << "no private print server: " << sWhyNot;
        if (!sServer)
            GTEST_SKIP() << "no private print server: " << sWhyNot;
    }

    static std::filesystem::path Output() { return sServer->Root() / "kelvo-output.prn"; }

    static std::unique_ptr<kelvotest::CupsServer> sServer;
    static std::string sWhyNot;
};

std::unique_ptr<kelvotest::CupsServer> CupsHostOnServer::sServer;
std::string CupsHostOnServer::sWhyNot;

TEST_F(CupsHostOnServer, FailuresSayWhichQueueAndServer) {
    OnFreshThread([&] {
        std::string error;
        EXPECT_FALSE(CupsHost::Open("nosuch", error));
        EXPECT_EQ(error, "no queue nosuch on " + sServer->Address());
        EXPECT_FALSE(CupsHost::Open("kelvo/nosuch", error));
        EXPECT_EQ(error, "no queue kelvo/nosuch on " + sServer->Address());
        EXPECT_FALSE(CupsHost::Open("", error));
        EXPECT_NE(error.find("not a queue name"), std::string::npos) << error;
    });
    OnFreshThread([&] {
        cupsSetServer("localhost:1"); // this thread only: nobody listens there
        std::string error;
        EXPECT_FALSE(CupsHost::Open("kelvo", error));
        EXPECT_EQ(error.rfind("cannot reach the print server localhost:1: ", 0), 0u) << error;
        error.clear();
        EXPECT_TRUE(kelvo::platform::ListQueues(error).empty());
        EXPECT_FALSE(error.empty());
    });
}

TEST_F(CupsHostOnServer, OpenGivesTheDeviceTheHostAndAPrivatePPDCopy) {
    OnFreshThread([&] {
        std::string error;
        std::string ppdPath;
        {
            std::unique_ptr<CupsHost> host = CupsHost::Open("kelvo", error);
            ASSERT_TRUE(host) << error;
            EXPECT_EQ(host->Printer().name, "kelvo");
            EXPECT_EQ(host->Printer().deviceURI, "file://" + Output().string());
            EXPECT_EQ(host->Printer().hostName, "localhost");
            ppdPath = host->Printer().ppdPath;
            const std::string ppd = kelvotest::ReadFile(ppdPath);
            EXPECT_NE(ppd.find("*ModelName: \"Kelvo ProLine 9200\""), std::string::npos) << ppdPath;
            EXPECT_EQ(host->Page().orientation, 1);

            // A second host has a file of its own: closing one leaves the other's.
            std::unique_ptr<CupsHost> second = CupsHost::Open("kelvo", error);
            ASSERT_TRUE(second) << error;
            EXPECT_NE(second->Printer().ppdPath, ppdPath);
            second.reset();
            EXPECT_TRUE(std::filesystem::exists(ppdPath));
        }
        EXPECT_FALSE(std::filesystem::exists(ppdPath)) << "the copy outlives its host";

        std::vector<kelvo::platform::QueueEntry> queues = kelvo::platform::ListQueues(error);
        EXPECT_TRUE(std::any_of(queues.begin(), queues.end(),
                                [](const kelvo::platform::QueueEntry& q) { return q.name == "kelvo"; }));
    });
}

TEST_F(CupsHostOnServer, SavedChoicesComeBackAndSecretsNeverReachTheFile) {
    const std::filesystem::path lpoptions = sServer->Root() / "home/.cups/lpoptions";
    OnFreshThread([&] {
        std::string error;
        std::unique_ptr<CupsHost> first = CupsHost::Open("kelvo", error);
        ASSERT_TRUE(first) << error;
        CupsPrintSettings& settings = first->Settings();
        settings.DescribeControls({"*QJHalftone", "*Notes1", "*QJTonerSave"}, {"*Notes1"});
        settings.Set("*QJHalftone", PropertyValue("Fine"));
        settings.Set("*QJTonerSave", PropertyValue(true));
        settings.Set("WatermarkFirstPageInfo", PropertyValue("Draft copy"));
        settings.Set("number-up", PropertyValue(4));
        settings.Set("*Notes1", PropertyValue("note-secret"));
        settings.Set(kInjectionKey, PropertyValue("/tmp/Kelvo.tempINJECTED"));
        first->Page().orientation = 2;

        const std::vector<CupsOption> job = first->JobOptions();
        EXPECT_TRUE(HasOption(job, "orientation-requested", "4"));
        EXPECT_TRUE(HasOption(job, kInjectionKey, "/tmp/Kelvo.tempINJECTED"));
        EXPECT_EQ(Flatten(job).find("note-secret"), std::string::npos);
        EXPECT_FALSE(NamesOption(job, "device-uri"));

        ASSERT_TRUE(first->Save(error)) << error;
    });

    const std::string file = kelvotest::ReadFile(lpoptions);
    EXPECT_NE(file.find("Dest kelvo "), std::string::npos) << file;
    EXPECT_NE(file.find("QJHalftone=Fine"), std::string::npos) << file;
    EXPECT_NE(file.find("orientation-requested=4"), std::string::npos) << file;
    for (const char* never : {"note-secret", "Kelvo.temp", "QJV.PSData", "device-uri", "printer-state"})
        EXPECT_EQ(file.find(never), std::string::npos) << never << " in\n" << file;

    // A second run sees the first one's choices, changes one, keeps the rest.
    OnFreshThread([&] {
        std::string error;
        std::unique_ptr<CupsHost> second = CupsHost::Open("kelvo", error);
        ASSERT_TRUE(second) << error;
        CupsPrintSettings& settings = second->Settings();
        settings.DescribeControls({"*QJHalftone", "*Notes1", "*QJTonerSave"}, {"*Notes1"});
        EXPECT_EQ(settings.Get("*QJHalftone"), PropertyValue("Fine"));
        EXPECT_EQ(settings.Get("*QJTonerSave"), PropertyValue("true"));
        EXPECT_EQ(settings.Get("WatermarkFirstPageInfo"), PropertyValue("Draft copy"));
        EXPECT_EQ(settings.Get(output::kLayoutColumnsKey), PropertyValue(2));
        EXPECT_EQ(second->Page().orientation, 2);
        EXPECT_FALSE(settings.Get("*Notes1"));
        EXPECT_FALSE(settings.Get(kInjectionKey));

        settings.Set("*QJHalftone", PropertyValue("Coarse"));
        second->Page().orientation = 1;
        EXPECT_FALSE(NamesOption(second->JobOptions(), "orientation-requested"));
        ASSERT_TRUE(second->Save(error)) << error;
    });
    OnFreshThread([&] {
        std::string error;
        std::unique_ptr<CupsHost> third = CupsHost::Open("kelvo", error);
        ASSERT_TRUE(third) << error;
        EXPECT_EQ(third->Settings().Get("*QJHalftone"), PropertyValue("Coarse"));
        EXPECT_EQ(third->Settings().Get("WatermarkFirstPageInfo"), PropertyValue("Draft copy"));
        EXPECT_EQ(third->Page().orientation, 1);
    });
}

// The job-properties window over an in-memory segment, and the real helper
// window answering a real panel in another process.
#include <gtest/gtest.h>

#include "Screenshots.h"

#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QApplication>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

#include <nlohmann/json.hpp>

#include "TestSupport.h"
#include "panel/SharedMemoryList.h"
#include "panel/qt/ControlEditor.h"
#include "panel/qt/JobPropertiesWindow.h"
#include "platform/StringsTable.h"
#include "platform/MessagePort.h"
#include "platform/memory/InMemorySharedSegments.h"
#include "platform/sysv/SysVSharedSegments.h"
#include "platform/unix/UnixMessagePort.h"
#include "PanelScratch.h"
#include "store/PlistTestSupport.h"

namespace fs = std::filesystem;
using namespace kelvo::panel;
using kelvo::panel::qt::ControlEditor;
using kelvo::panel::qt::JobPropertiesAnswer;
using kelvo::panel::qt::JobPropertiesWindow;
using kelvo::panel::qt::ServeJobPropertiesRequest;
using kelvo::platform::InMemorySharedSegments;
using kelvo::platform::StringsTable;

namespace {

const char* kPPD = "*PPD-Adobe: \"4.3\"\n*FormatVersion: \"4.3\"\n*FileVersion: \"1.0\"\n"
                   "*LanguageVersion: English\n*LanguageEncoding: ISOLatin1\n*PCFileName: \"KELVOJP.PPD\"\n"
                   "*ModelName: \"Kelvo JP Test\"\n*%QJVersion: \"4.4\"\n"
                   "*%QJVGroupName QJGroup/Finishing: \"True\"\n"
                   "*%QJVFlags *QJDuplex: \"\"\n*%QJVGroup *QJDuplex: QJGroup\n"
                   "*OpenUI *QJDuplex/Two-Sided: PickOne\n*DefaultQJDuplex: None\n"
                   "*QJDuplex None/Off: \"\"\n*QJDuplex Long/Long Edge: \"\"\n*QJDuplex Short/Short Edge: \"\"\n"
                   "*CloseUI: *QJDuplex\n"
                   "*%QJVFlags *QJStaple: \"\"\n*%QJVGroup *QJStaple: QJGroup\n"
                   "*OpenUI *QJStaple/Staple: Boolean\n*DefaultQJStaple: False\n"
                   "*QJStaple True/On: \"\"\n*QJStaple False/Off: \"\"\n*CloseUI: *QJStaple\n";

/// A panel's segment in the in-memory table: the settings, the PPD copy's
/// path and the "window open" mark.
struct Segment {
    explicit Segment(const std::vector<SDMKeyValue>& settings, const fs::path& ppd) {
        int error = 0;
        segment = segments.Create(kSharedMemoryListSize, error);
        view.emplace(*SharedMemoryList::Over(segment->Bytes()));
        view->Clear();
        view->SetPPDCopyPath(ppd.string());
        SDMKeyValueList list{settings};
        Create_SharedMemoryList_From_SDMList(*view, list, segments, segment->Id());
        view->SetStatus(-1);
    }
    std::vector<SDMKeyValue> Settings() {
        return Create_SDMList_From_SharedMemoryList(*view, segments)->entries;
    }
    std::string Bytes() const {
        return std::string(segment->Bytes().begin(), segment->Bytes().end());
    }
    InMemorySharedSegments segments;
    std::unique_ptr<kelvo::platform::SharedSegment> segment;
    std::optional<SharedMemoryList> view;
};

/// Settings as the panel lists them: control keys without "*", pseudo-keys
/// with it, and one key no control has.
const std::vector<SDMKeyValue> kSettings = {
    {L"QJDuplex", L"Short"},
    {L"QJStaple", L"False"},
    {L"*QJ_WATERMARK", L"0"},
    {L"num copies", L"3"},
};

QPushButton* Button(JobPropertiesWindow& w, QDialogButtonBox::StandardButton which) {
    return w.Buttons()->button(which);
}

} // namespace

TEST(JobPropertiesWindow, ShowsThePanelsValuesAndListsTheOtherSettings) {
    kelvotest::TempFile ppd(kPPD);
    const StringsTable strings;
    JobPropertiesWindow window(SDMKeyValueList{kSettings}, ppd.Path(), strings);
    ASSERT_TRUE(window.HasDocument());
    EXPECT_EQ(window.EditorCount(), 2u);
    ControlEditor* duplex = window.Editor("*QJDuplex");
    ASSERT_NE(duplex, nullptr);
    auto* combo = qobject_cast<QComboBox*>(duplex->Field());
    ASSERT_NE(combo, nullptr);
    // The segment's value, not the PPD's default.
    EXPECT_EQ(combo->currentIndex(), 2);
    ASSERT_EQ(window.Tabs()->count(), 2);
    EXPECT_EQ(window.Tabs()->tabText(1), QStringLiteral("Other settings"));
    const QStringList pseudoKeys = {QStringLiteral("*QJ_WATERMARK"), QStringLiteral("num copies")};
    for (const QString& key : pseudoKeys) {
        auto* row = window.findChild<QLineEdit*>(QStringLiteral("other:") + key);
        ASSERT_NE(row, nullptr) << key.toStdString();
        EXPECT_TRUE(row->isReadOnly());
    }
    EXPECT_EQ(window.findChild<QLineEdit*>(QStringLiteral("other:QJDuplex")), nullptr);
    // Nothing touched: the list goes back as it came.
    EXPECT_EQ(window.UpdatedSettings().entries, kSettings);
}

TEST(JobPropertiesWindow, AForbiddenChoiceIsAppliedWithTheSolversChangesOnlyWhenAccepted) {
    // Stapling rules out long-edge binding: picking it asks to unstaple.
    kelvotest::TempFile ppd(std::string(kPPD) + "*UIConstraints: *QJStaple True *QJDuplex Long\n"
                                                "*UIConstraints: *QJDuplex Long *QJStaple True\n");
    const StringsTable strings;
    const std::vector<SDMKeyValue> stapled = {{L"QJDuplex", L"None"}, {L"QJStaple", L"True"}};
    for (const bool apply : {false, true}) {
        SCOPED_TRACE(apply);
        JobPropertiesWindow window(SDMKeyValueList{stapled}, ppd.Path(), strings);
        window.show();
        QString question;
        QTimer::singleShot(0, &window, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            ASSERT_NE(box, nullptr);
            question = box->text();
            QTest::mouseClick(box->button(apply ? QMessageBox::Apply : QMessageBox::Cancel), Qt::LeftButton);
        });
        auto* combo = qobject_cast<QComboBox*>(window.Editor("*QJDuplex")->Field());
        QTest::keyClick(combo, Qt::Key_Down);
        EXPECT_TRUE(question.contains(QStringLiteral("*QJStaple: False"))) << question.toStdString();
        const std::vector<SDMKeyValue> expected =
            apply ? std::vector<SDMKeyValue>{{L"QJDuplex", L"Long"}, {L"QJStaple", L"False"}} : stapled;
        EXPECT_EQ(window.UpdatedSettings().entries, expected);
        EXPECT_EQ(combo->currentIndex(), apply ? 1 : 0);
    }
}

TEST(JobPropertiesWindow, WithoutAReadablePPDEverySettingIsReadOnly) {
    const StringsTable strings;
    for (const fs::path& ppd : {fs::path(), fs::path("/nonexistent/kelvo.ppd"), fs::path("/tmp")}) {
        SCOPED_TRACE(ppd.string());
        JobPropertiesWindow window(SDMKeyValueList{kSettings}, ppd, strings);
        EXPECT_FALSE(window.HasDocument());
        EXPECT_EQ(window.EditorCount(), 0u);
        EXPECT_EQ(window.findChildren<QLineEdit*>().size(), kSettings.size());
        EXPECT_EQ(window.UpdatedSettings().entries, kSettings);
    }
}

TEST(JobPropertiesWindow, OkWritesTheEditedSettingsThenStatusZero) {
    kelvotest::TempFile ppd(kPPD);
    Segment segment(kSettings, ppd.Path());
    const StringsTable strings;
    const JobPropertiesAnswer answer = ServeJobPropertiesRequest(
        *segment.view, segment.segments, segment.segment->Id(), strings, [](JobPropertiesWindow& w) {
            QTimer::singleShot(0, &w, [&w] {
                // Short -> Off by keyboard on the combo box, the staple box by mouse.
                auto* combo = qobject_cast<QComboBox*>(w.Editor("*QJDuplex")->Field());
                QTest::keyClick(combo, Qt::Key_Home);
                auto* staple = qobject_cast<QCheckBox*>(w.Editor("*QJStaple")->Field());
                QTest::mouseClick(staple, Qt::LeftButton, Qt::NoModifier, QPoint(8, staple->height() / 2));
                QTest::mouseClick(Button(w, QDialogButtonBox::Ok), Qt::LeftButton);
            });
        });
    EXPECT_EQ(answer, JobPropertiesAnswer::kAccepted);
    EXPECT_EQ(segment.view->Status(), 0L);
    const std::vector<SDMKeyValue> expected = {
        {L"QJDuplex", L"None"},
        {L"QJStaple", L"True"},
        {L"*QJ_WATERMARK", L"0"},
        {L"num copies", L"3"},
    };
    EXPECT_EQ(segment.Settings(), expected);
}

TEST(JobPropertiesWindow, CancelAndClosingAnswerOneAndLeaveTheSettingsAlone) {
    kelvotest::TempFile ppd(kPPD);
    const StringsTable strings;
    const std::vector<std::function<void(JobPropertiesWindow&)>> ways = {
        [](JobPropertiesWindow& w) { QTest::mouseClick(Button(w, QDialogButtonBox::Cancel), Qt::LeftButton); },
        [](JobPropertiesWindow& w) { w.close(); },
        [](JobPropertiesWindow& w) { QTest::keyClick(&w, Qt::Key_Escape); },
    };
    for (std::size_t i = 0; i < ways.size(); ++i) {
        SCOPED_TRACE(i);
        Segment segment(kSettings, ppd.Path());
        std::string before = segment.Bytes();
        const auto& way = ways[i];
        const JobPropertiesAnswer answer = ServeJobPropertiesRequest(
            *segment.view, segment.segments, segment.segment->Id(), strings, [&way](JobPropertiesWindow& w) {
                QTimer::singleShot(0, &w, [&w, &way] {
                    // An edit that Cancel must throw away.
                    w.Editor("*QJDuplex")->ApplyValue("Long");
                    way(w);
                });
            });
        EXPECT_EQ(answer, JobPropertiesAnswer::kCanceled);
        EXPECT_EQ(segment.view->Status(), 1L);
        // Only the status field differs from what the panel wrote.
        SharedMemoryList::Over({reinterpret_cast<std::uint8_t*>(before.data()), before.size()})->SetStatus(1);
        EXPECT_EQ(segment.Bytes(), before);
    }
}

namespace {

/// The panel's folders, and the helper in its window on the offscreen platform.
struct Scratch : kelvotest::PanelScratch {
    kelvotest::ScopedEnv noHeadlessScript{"KELVO_JP_HELPER_SCRIPT", std::nullopt};
    kelvotest::ScopedEnv platform{"QT_QPA_PLATFORM", std::string("offscreen")};
};

} // namespace

TEST(JobPropertiesWindow, TheHelperWindowAnswersARealPanelInAnotherProcess) {
    Scratch scratch;
    const fs::path shot = scratch.dir.Path() / "window.png";
    const fs::path script =
        scratch.Write("window.txt", "set QJDuplex DuplexNoTumble\nscreenshot " + shot.string() + "\nok\n");
    kelvotest::ScopedEnv windowScript{"KELVO_JP_HELPER_WINDOW_SCRIPT", script.string()};
    const kelvotest::FullRun run =
        kelvotest::RunToolFull({"panel", kelvotest::SamplePath("kelvo-sample.ppd").string(), "--helper", "main",
                                "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    const nlohmann::json out = nlohmann::json::parse(run.out, nullptr, false);
    ASSERT_TRUE(out.is_object()) << run.out;
    EXPECT_EQ(out["printSettings"]["*QJDuplex"], "DuplexNoTumble") << run.err;
    std::string pieces;
    if (out.contains("injectionFile") && out["injectionFile"].is_object()) {
        for (const nlohmann::json& piece : out["injectionFile"]["pieces"])
            pieces += piece["text"].get<std::string>();
        fs::remove(out["injectionFile"]["path"].get<std::string>());
    }
    EXPECT_NE(pieces.find("/Duplex true /Tumble false"), std::string::npos) << pieces;
    // The window was really up: its picture was taken before OK.
    EXPECT_TRUE(fs::exists(shot));
    EXPECT_GT(fs::exists(shot) ? fs::file_size(shot) : 0u, 1000u);
    kelvotest::KeepScreenshot(shot, "job-properties.png");
}

TEST(JobPropertiesWindow, ABadWindowScriptEndsTheHelperBeforeItTouchesASegment) {
    struct Row {
        const char* script;
        const char* why; ///< what standard error must say
    };
    const Row rows[] = {
        {"set QJDuplex Long\n", ":1: the script must end with \"ok\" or \"cancel\""},
        {"ok\nset QJDuplex Long\n", ":2: nothing may follow \"ok\" or \"cancel\""},
        {"set\nok\n", ":1: \"set\" needs a keyword"},
        {"screenshot\nok\n", ":1: \"screenshot\" needs a file name"},
        {"press ok\n", ":1: unknown command \"press ok\""},
        {"ok now\n", ":1: unknown command \"ok now\""},
    };
    Scratch scratch;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.script);
        const fs::path script = scratch.Write("bad.txt", row.script);
        std::string out;
        // Segment 0 is never ours: were the script accepted, the attach
        // would fail with another message.
        const int status = kelvotest::RunShell("KELVO_JP_HELPER_WINDOW_SCRIPT=" + kelvotest::ShellQuote(script.string()) +
                                                   " " + kelvotest::ShellQuote(KELVO_JP_HELPER_BIN) + " 0 4 2>&1",
                                               out);
        EXPECT_EQ(status, 2) << out;
        EXPECT_NE(out.find(script.string() + row.why), std::string::npos) << out;
    }
}

TEST(JobPropertiesWindow, TheHelperServesOneRequestInItsWindowAndEndsCleanly) {
    Scratch scratch;
    const fs::path ppd = scratch.Write("jp.ppd", kPPD);
    const fs::path script = scratch.Write("window.txt", "set QJStaple True\nok\n");
    kelvo::platform::SysVSharedSegments segments;
    int error = 0;
    std::unique_ptr<kelvo::platform::SharedSegment> segment = segments.Create(kSharedMemoryListSize, error);
    ASSERT_NE(segment, nullptr) << error;
    const int id = segment->Id();
    // Marked at once so a failed run leaves nothing; Linux still lets the
    // helper attach it by id.
    segments.Remove(id);
    SharedMemoryList view = *SharedMemoryList::Over(segment->Bytes());
    view.Clear();
    view.SetPPDCopyPath(ppd.string());
    Create_SharedMemoryList_From_SDMList(view, SDMKeyValueList{kSettings}, segments, id);
    view.SetStatus(-1);

    std::string out;
    int status = -1;
    std::thread helper([&] {
        status = kelvotest::RunShell("KELVO_JP_HELPER_WINDOW_SCRIPT=" + kelvotest::ShellQuote(script.string()) +
                                         " timeout 30 " + kelvotest::ShellQuote(KELVO_JP_HELPER_BIN) + " " +
                                         std::to_string(id) + " 4 --once --verbose 2>&1",
                                     out);
    });
    kelvo::platform::UnixMessagePorts ports;
    const std::string port = kelvo::platform::MessagePortName(id);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!ports.PortExists(port) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(ports.SendToPort(port, "jpOpenMainUI"), 0);
    helper.join();
    // The window answered, and Qt ended before the process did.
    EXPECT_EQ(status, 0) << out;
    EXPECT_NE(out.find("answered 0 from the window"), std::string::npos) << out;
    EXPECT_EQ(view.Status(), 0L);
    std::vector<SDMKeyValue> expected = kSettings;
    expected[1].value = L"True";
    EXPECT_EQ(Create_SDMList_From_SharedMemoryList(view, segments)->entries, expected);
}

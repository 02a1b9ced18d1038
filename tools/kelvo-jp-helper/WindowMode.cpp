// The helper's window mode over the job-properties window (Qt builds only).
#include "WindowMode.h"

#include <cstdlib>
#include <string_view>

#ifdef KELVO_HELPER_WINDOW
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include <QApplication>
#include <QDialogButtonBox>
#include <QPixmap>
#include <QPushButton>
#include <QTimer>

#include "panel/qt/ControlEditor.h"
#include "panel/qt/JobPropertiesWindow.h"
#include "platform/StringsTable.h"
#endif

namespace kelvo::jphelper {

namespace {

bool Set(const char* name) {
    const char* value = std::getenv(name);
    return value && *value;
}

} // namespace

bool WindowPossible() { return Set("QT_QPA_PLATFORM") || Set("DISPLAY") || Set("WAYLAND_DISPLAY"); }

bool WindowAnswerable() {
    if (const char* platform = std::getenv("QT_QPA_PLATFORM"); platform) {
        const std::string_view name = platform;
        if (name.starts_with("offscreen") || name.starts_with("minimal"))
            return false;
    }
    return Set("DISPLAY") || Set("WAYLAND_DISPLAY");
}

#ifndef KELVO_HELPER_WINDOW

bool WindowBuilt() { return false; }

void EndWindows() {}

long ServeWithWindow(panel::SharedMemoryList&, platform::SharedSegments&, int, const WindowScript*,
                     const std::function<void(std::string_view)>&) {
    return 1;
}

#else

bool WindowBuilt() { return true; }

namespace {

/// The bundle's resources, found from where this program lies:
/// <bundle>/Contents/<helper>.app/Contents/MacOS/<helper>. Empty when the
/// program runs from elsewhere (the build folder): the window then shows
/// its editors' words untranslated.
std::filesystem::path BundleResources() {
    std::error_code ec;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (ec)
        return {};
    std::filesystem::path at = self.parent_path();
    for (int up = 0; up < 3 && !at.empty(); ++up)
        at = at.parent_path();
    const std::filesystem::path resources = at / "Resources";
    return std::filesystem::is_directory(resources, ec) ? resources : std::filesystem::path{};
}

int gArgc = 1;
char gName[] = "kelvo-jp-helper";
char* gArgv[] = {gName, nullptr};
/// The application, made on first use and ended by EndWindows.
std::unique_ptr<QApplication> gApplication;

void MakeApplication() {
    if (!gApplication)
        gApplication = std::make_unique<QApplication>(gArgc, gArgv);
}

const platform::StringsTable& Strings() {
    static const platform::StringsTable table = [] {
        const std::filesystem::path resources = BundleResources();
        return resources.empty() ? platform::StringsTable{}
                                 : platform::StringsTable::Load(resources, "Localizable", platform::PreferredLanguages());
    }();
    return table;
}

void RunSteps(panel::qt::JobPropertiesWindow& window, const WindowScript& script,
              const std::function<void(std::string_view)>& say) {
    for (const WindowStep& step : script.steps) {
        switch (step.kind) {
        case WindowStep::Kind::kSet:
            if (panel::qt::ControlEditor* editor = window.Editor(step.keyword))
                editor->ApplyValue(step.value);
            else
                say("window script: no editor for " + step.keyword);
            break;
        case WindowStep::Kind::kScreenshot:
            if (!window.grab().save(QString::fromStdString(step.value), "PNG"))
                say("window script: cannot write the screenshot " + step.value);
            break;
        case WindowStep::Kind::kOK:
            window.Buttons()->button(QDialogButtonBox::Ok)->click();
            return;
        case WindowStep::Kind::kCancel:
            window.Buttons()->button(QDialogButtonBox::Cancel)->click();
            return;
        }
    }
}

} // namespace

void EndWindows() { gApplication.reset(); }

long ServeWithWindow(panel::SharedMemoryList& view, platform::SharedSegments& segments, int segmentId,
                     const WindowScript* script, const std::function<void(std::string_view)>& say) {
    MakeApplication();
    const auto answer = panel::qt::ServeJobPropertiesRequest(
        view, segments, segmentId, Strings(), [script, &say](panel::qt::JobPropertiesWindow& window) {
            if (!script)
                return;
            // From the modal session's loop, so the window is laid out and
            // the buttons end exec as a user's click would.
            QTimer::singleShot(0, &window, [&window, script, &say] { RunSteps(window, *script, say); });
        });
    return answer == panel::qt::JobPropertiesAnswer::kAccepted ? 0 : 1;
}

#endif

} // namespace kelvo::jphelper

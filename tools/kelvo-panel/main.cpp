// kelvo-panel: the panel of a Kelvo printer in a "printing preferences"
// window. OK keeps the choices as the queue's saved options (or in the
// state file beside a bare PPD); Cancel keeps nothing.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>
#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QPixmap>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "PPDX/QJVPPD.h"
#include "panel/KelvoFeaturesPDE.h"
#include "panel/qt/KelvoPanelWidget.h"
#include "panel/qt/PanelSession.h"
#include "platform/cups/CupsJob.h"
#include "platform/memory/InMemoryHost.h"
#include "platform/qt/QtDisplay.h"

namespace {

using kelvo::panel::qt::KelvoPanelWidget;
using kelvo::panel::qt::PanelSession;

constexpr int kExitOK = 0;
constexpr int kExitCancelled = 1;
constexpr int kExitUsage = 1;
constexpr int kExitFailed = 2;

// The window opens at a size that shows a page of the panel without
// scrolling on a laptop screen.
constexpr int kWindowWidth = 900;
constexpr int kWindowHeight = 700;

struct Request {
    std::string ppd;
    std::string queue;
    std::string state;
    std::string screenshot;
};

int Fail(const std::string& message) {
    std::cerr << "kelvo-panel: " << message << "\n";
    return kExitFailed;
}

/// Whether the PPD can be used at all and carries our options; otherwise
/// the message to give. The panel's own refusal is less telling for the
/// commonest mistake, a queue of another printer.
std::optional<std::string> CheckKelvoPPD(const std::string& path, const std::string& shown) {
    QJVPPDRef doc(new QJVPPD(path, kParseAll, {}, PPDHostInfo{}));
    if (!doc->IsValidPPD())
        return shown + ": not a usable PPD";
    if (!doc->HasMakerStatements())
        return shown + ": the printer's PPD has no Kelvo options";
    return std::nullopt;
}

/// Renders `window` once it has been laid out and shown, then ends the loop.
void ScreenshotWhenShown(QWidget& window, const std::string& path, int& status) {
    QTimer::singleShot(150, &window, [&window, path, &status] {
        const QPixmap shot = window.grab();
        if (shot.isNull() || !shot.save(QString::fromStdString(path), "PNG")) {
            std::cerr << "kelvo-panel: " << path << ": the screenshot could not be written\n";
            status = kExitFailed;
        } else {
            status = kExitOK;
        }
        QApplication::exit(status);
    });
}

int Run(const Request& request, int& argc, char** argv) {
    // The host: the queue's saved options, or the state file over the PPD.
    std::unique_ptr<kelvo::platform::CupsHost> cups;
    kelvo::platform::InMemoryHost memory;
    kelvo::platform::Host* host = &memory;
    std::string error;
    if (!request.queue.empty()) {
        cups = kelvo::platform::OpenKelvoQueue(request.queue, error);
        if (!cups)
            return Fail(error);
        cups->SetProcessName("kelvo-panel");
        if (const std::optional<std::string> why = CheckKelvoPPD(cups->Printer().ppdPath, request.queue))
            return Fail(*why);
        host = cups.get();
    } else {
        const int fd = ::open(request.ppd.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return Fail(request.ppd + ": " + std::strerror(errno));
        ::close(fd);
        if (const std::optional<std::string> why = CheckKelvoPPD(request.ppd, request.ppd))
            return Fail(*why);
        std::error_code ec;
        if (!request.state.empty() && std::filesystem::exists(request.state, ec) && !memory.Load(request.state, error))
            return Fail(error);
        const std::filesystem::path ppd = std::filesystem::absolute(request.ppd, ec);
        memory.MutablePrinter().ppdPath = ec ? request.ppd : ppd.string();
        if (memory.Printer().name.empty())
            memory.MutablePrinter().name = std::filesystem::path(request.ppd).stem().string();
        if (memory.ProcessName().empty())
            memory.SetProcessName("kelvo-panel");
    }

    if (const std::string why = kelvo::platform::MissingDisplayReason(); !why.empty())
        return Fail(why);
    QApplication app(argc, argv);
    QApplication::setApplicationName("kelvo-panel");
    QApplication::setApplicationVersion(KELVO_VERSION_STRING);

    QDialog window;
    window.setObjectName("preferences");
    window.setWindowTitle(QString::fromStdString(host->Printer().name) + QString::fromUtf8(" — Printing Preferences"));
    kelvo::panel::qt::PanelSessionOptions options;
    options.dialogParent = &window;
    std::unique_ptr<PanelSession> session = PanelSession::Create(*host, options, error);
    if (!session)
        return Fail(error);
    KelvoPanelWidget* panel = session->CreateWidget(&window);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &window);
    buttons->setObjectName("buttons");
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(panel, 1);
    layout->addWidget(buttons);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &window, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &window, &QDialog::reject);
    window.resize(kWindowWidth, kWindowHeight);

    int status = kExitOK;
    if (!request.screenshot.empty()) {
        window.show();
        ScreenshotWhenShown(window, request.screenshot, status);
        app.exec();
        return status;
    }
    if (window.exec() != QDialog::Accepted)
        return kExitCancelled;

    // Preferences only: the values go into the settings; no job ticket.
    session->Pde().saveValuesAndReturnError(error);
    // The panel writes into the host until it goes: save after it.
    delete panel;
    session.reset();
    error.clear();
    if (cups && !cups->Save(error))
        return Fail(error);
    if (!cups && !request.state.empty() && !memory.Save(request.state, error))
        return Fail(error);
    return kExitOK;
}

} // namespace

int main(int argc, char** argv) {
    Request request;
    CLI::App cli("The panel of a Kelvo printer in a printing-preferences window: OK keeps the choices "
                 "(the queue's saved options, or the --state file), Cancel keeps nothing",
                 "kelvo-panel");
    cli.set_version_flag("--version", std::string(KELVO_VERSION_STRING));
    CLI::Option* ppd = cli.add_option("--ppd", request.ppd, "PPD: the printer's PPD file (its choices kept in --state)");
    CLI::Option* queue = cli.add_option("--queue", request.queue, "NAME: a CUPS queue of a Kelvo printer (its "
                                                                  "choices kept as the queue's saved options; "
                                                                  "default: the default queue)");
    ppd->excludes(queue);
    cli.add_option("--state", request.state, "FILE.json: with --ppd, the choices loaded when the file exists and "
                                             "saved by OK")
        ->needs(ppd);
    cli.add_option("--screenshot", request.screenshot, "FILE.png: render the window as it first appears and exit");
    // CLI11 reports through exceptions; they end here, with one status and
    // one prefix for every usage error.
    try {
        cli.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0)
            return cli.exit(e); // --help, --version
        std::cerr << "kelvo-panel: " << e.what() << "\nRun 'kelvo-panel --help' for more information.\n";
        return kExitUsage;
    }
    if (request.ppd.empty() && request.queue.empty()) {
        // From a menu: the printer the user prints on by default.
        std::string error;
        for (const kelvo::platform::QueueEntry& entry : kelvo::platform::ListQueues(error))
            if (entry.isDefault)
                request.queue = entry.name;
        if (!error.empty())
            return Fail(error);
        if (request.queue.empty())
            return Fail("there is no default printer: give --queue NAME or --ppd PPD");
    }
    return Run(request, argc, argv);
}

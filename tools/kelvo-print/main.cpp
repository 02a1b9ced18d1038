// kelvo-print: files printed through a Qt print dialog. For a Kelvo queue
// the panel is one of the dialog's option tabs, and the job carries what
// the panel writes (its saved options and the injection file); any other
// printer gets the files as they are. The files go to CUPS unchanged:
// nothing is rendered here.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <QApplication>
#include <QPixmap>
#include <QPrintDialog>
#include <QPrinter>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>

#include "PPDX/QJVPPD.h"
#include "panel/KelvoFeaturesPDE.h"
#include "panel/qt/KelvoPanelWidget.h"
#include "panel/qt/PanelSession.h"
#include "platform/cups/CupsJob.h"
#include "platform/qt/QtDisplay.h"

namespace {

using kelvo::panel::qt::KelvoPanelWidget;
using kelvo::panel::qt::PanelSession;
using kelvo::platform::CupsOption;

constexpr int kExitOK = 0;
constexpr int kExitNotPrinted = 1;
constexpr int kExitUsage = 1;
constexpr int kExitFailed = 2;

// The dialog's size in a screenshot with the panel's tab: a page of the
// panel shows without scrolling.
constexpr int kScreenshotWidth = 820;
constexpr int kScreenshotHeight = 860;

struct Request {
    std::optional<std::string> queue;
    std::optional<std::string> title;
    std::string screenshot;
    bool accept = false;
    std::vector<std::string> files;
};

int Fail(const std::string& message) {
    std::cerr << "kelvo-print: " << message << "\n";
    return kExitFailed;
}

/// The queue and everything the panel needs over it, when the queue is a
/// Kelvo printer's.
struct KelvoQueue {
    std::string name;
    std::unique_ptr<kelvo::platform::CupsHost> host;
    std::unique_ptr<PanelSession> session;
    KelvoPanelWidget* widget = nullptr; // owned by the dialog
};

/// Whether the queue's PPD carries our options. Checked before the panel
/// is made so that another printer's queue gets no tab and no log noise.
bool IsKelvoPPD(const std::string& path) {
    QJVPPDRef doc(new QJVPPD(path, kParseAll, {}, PPDHostInfo{}));
    return doc->IsValidPPD() && doc->HasMakerStatements();
}

/// The "Options >>" button of Qt's dialog: the option tabs live in the part
/// it unfolds. It has no object name; its text is all there is.
QPushButton* OptionsButton(QPrintDialog& dialog) {
    for (QPushButton* button : dialog.findChildren<QPushButton*>())
        if (button->text().contains("Options") && button->text().contains(">>"))
            return button;
    return nullptr;
}

/// Unfolds the options and brings our tab to the front, so that the dialog
/// shows the panel (a tab that is not current is not laid out).
void ShowPanelTab(QPrintDialog& dialog, QWidget* panel) {
    if (QPushButton* more = OptionsButton(dialog))
        more->click();
    if (!panel)
        return;
    for (QWidget* parent = panel->parentWidget(); parent; parent = parent->parentWidget())
        if (auto* tabs = qobject_cast<QTabWidget*>(parent)) {
            tabs->setCurrentWidget(panel);
            break;
        }
}

/// `options` with "copies" set to the dialog's count (the dialog's answer
/// wins over a saved one).
void SetCopies(std::vector<CupsOption>& options, int copies) {
    std::erase_if(options, [](const CupsOption& option) { return option.first == "copies"; });
    options.emplace_back("copies", std::to_string(std::max(copies, 1)));
}

/// The print on a Kelvo queue: the panel may refuse (popup job notes
/// cancelled), then writes the ticket and the settings, which are kept for
/// the next job before the files go.
int PrintOnKelvoQueue(KelvoQueue& kelvo, const Request& request, const std::string& title, int copies) {
    kelvo::panel::KelvoFeaturesPDE& pde = kelvo.session->Pde();
    std::string error;
    pde.saveValuesAndReturnError(error);
    if (!pde.shouldPrint()) {
        std::cerr << "kelvo-print: the job notes were not given: nothing printed\n";
        return kExitNotPrinted;
    }
    const std::optional<std::filesystem::path> written = pde.Sync();
    if (!written)
        return Fail(kelvo.name + ": the job ticket could not be written (see the log)");
    std::vector<CupsOption> options = kelvo.host->JobOptions();
    SetCopies(options, copies);
    error.clear();
    if (!kelvo.host->Save(error))
        std::cerr << "kelvo-print: warning: the choices are not kept for the next job: " << error << "\n";
    const int id = kelvo::platform::SubmitFiles(kelvo.name, request.files, title, options, error);
    if (id <= 0) {
        // The ticket will never be read: leave nothing with job notes behind.
        std::error_code ec;
        std::filesystem::remove(*written, ec);
        return Fail(error);
    }
    std::cout << id << "\n";
    return kExitOK;
}

int PrintPlainly(const std::string& printer, const Request& request, const std::string& title, int copies) {
    std::vector<CupsOption> options;
    SetCopies(options, copies);
    std::string error;
    const int id = kelvo::platform::SubmitFiles(printer, request.files, title, options, error);
    if (id <= 0)
        return Fail(error);
    std::cout << id << "\n";
    return kExitOK;
}

int Run(Request& request, int& argc, char** argv) {
    // Every file must be readable before anything is asked or submitted.
    for (std::string& file : request.files) {
        const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return Fail(file + ": " + std::strerror(errno));
        ::close(fd);
        // The server is handed the path: make it absolute.
        std::error_code ec;
        const std::filesystem::path absolute = std::filesystem::absolute(file, ec);
        if (!ec)
            file = absolute.string();
    }

    // Which queue: the one asked for, else the server's default. Listing
    // also tells at once whether a print server answers.
    std::string error;
    const std::vector<kelvo::platform::QueueEntry> queues = kelvo::platform::ListQueues(error);
    if (!error.empty())
        return Fail(error);
    KelvoQueue kelvo;
    if (request.queue) {
        kelvo.name = *request.queue;
    } else {
        for (const kelvo::platform::QueueEntry& entry : queues)
            if (entry.isDefault)
                kelvo.name = entry.name;
    }
    if (kelvo.name.empty() && queues.empty())
        return Fail("the print server has no printers");

    if (const std::string why = kelvo::platform::MissingDisplayReason(); !why.empty())
        return Fail(why);
    QApplication app(argc, argv);
    QApplication::setApplicationName("kelvo-print");
    QApplication::setApplicationVersion(KELVO_VERSION_STRING);

    const std::string title =
        request.title.value_or(std::filesystem::path(request.files.front()).filename().string());
    QPrinter printer;
    printer.setDocName(QString::fromStdString(title));
    if (!kelvo.name.empty())
        printer.setPrinterName(QString::fromStdString(kelvo.name));
    QPrintDialog dialog(&printer);
    dialog.setObjectName("printDialog");
    dialog.setWindowTitle(QString::fromStdString("Print " + title));
    // The files go to the server as they are: no pages to pick, no file to
    // print into.
    dialog.setOption(QAbstractPrintDialog::PrintToFile, false);
    dialog.setOption(QAbstractPrintDialog::PrintSelection, false);
    dialog.setOption(QAbstractPrintDialog::PrintPageRange, false);
    dialog.setOption(QAbstractPrintDialog::PrintCurrentPage, false);

    if (!kelvo.name.empty()) {
        kelvo.host = kelvo::platform::OpenKelvoQueue(kelvo.name, error);
        if (!kelvo.host && request.queue)
            return Fail(error);
        if (kelvo.host && IsKelvoPPD(kelvo.host->Printer().ppdPath)) {
            kelvo.host->SetProcessName("kelvo-print");
            kelvo::panel::qt::PanelSessionOptions options;
            options.dialogParent = &dialog;
            kelvo.session = PanelSession::Create(*kelvo.host, options, error);
            if (kelvo.session) {
                kelvo.widget = kelvo.session->CreateWidget();
                dialog.setOptionTabs({kelvo.widget});
            } else {
                std::cerr << "kelvo-print: " << error << "\n";
            }
        }
    }

    int status = kExitNotPrinted;
    if (!request.screenshot.empty()) {
        dialog.open();
        QTimer::singleShot(100, &dialog, [&dialog, &kelvo] {
            ShowPanelTab(dialog, kelvo.widget);
            // Room for a page of the panel without scrolling.
            if (kelvo.widget)
                dialog.resize(std::max(dialog.width(), kScreenshotWidth), std::max(dialog.height(), kScreenshotHeight));
        });
        QTimer::singleShot(400, &dialog, [&dialog, &request, &status] {
            const QPixmap shot = dialog.grab();
            if (shot.isNull() || !shot.save(QString::fromStdString(request.screenshot), "PNG")) {
                std::cerr << "kelvo-print: " << request.screenshot << ": the screenshot could not be written\n";
                status = kExitFailed;
            } else {
                status = kExitOK;
            }
            dialog.reject();
            QApplication::exit(status);
        });
        app.exec();
        return status;
    }

    if (request.accept) {
        // A script's Print comes at once: the panel's guard against a print
        // within seconds of its creation is for the dialog's own early
        // print, not for this.
        if (kelvo.session)
            kelvo.session->Pde().SetCreationTime(kelvo.session->Pde().CreationTime() -
                                                 kelvo::panel::kPrintGuardSeconds);
        QTimer::singleShot(0, &dialog, [&dialog] { dialog.accept(); });
    }
    if (dialog.exec() != QDialog::Accepted) {
        std::cerr << "kelvo-print: cancelled: nothing printed\n";
        return kExitNotPrinted;
    }
    if (printer.outputFormat() != QPrinter::NativeFormat || !printer.outputFileName().isEmpty())
        return Fail("printing into a file is not offered: choose a printer");
    const std::string chosen = printer.printerName().toStdString();
    if (chosen.empty())
        return Fail("no printer was chosen");
    const int copies = printer.copyCount();
    if (kelvo.session && chosen == kelvo.name)
        return PrintOnKelvoQueue(kelvo, request, title, copies);
    return PrintPlainly(chosen, request, title, copies);
}

} // namespace

int main(int argc, char** argv) {
    Request request;
    CLI::App cli("Print files through a print dialog; a Kelvo printer's queue shows the panel as an option tab and "
                 "its jobs carry the panel's choices. The files go to CUPS as they are (PostScript, PDF, or "
                 "anything the queue takes); the job id is printed",
                 "kelvo-print");
    cli.set_version_flag("--version", std::string(KELVO_VERSION_STRING));
    cli.add_option("--queue", request.queue, "NAME: the CUPS queue chosen when the dialog opens (default: the "
                                             "server's default queue)");
    cli.add_option("--title", request.title, "the job's title (default: the first file's name)");
    cli.add_option("--screenshot", request.screenshot, "FILE.png: render the dialog with the panel's tab shown and "
                                                       "exit without printing");
    cli.add_flag("--accept", request.accept, "press Print as soon as the dialog shows (for scripts)");
    cli.add_option("FILE", request.files, "files to print")->required();
    // CLI11 reports through exceptions; they end here, with one status and
    // one prefix for every usage error.
    try {
        cli.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0)
            return cli.exit(e); // --help, --version
        std::cerr << "kelvo-print: " << e.what() << "\nRun 'kelvo-print --help' for more information.\n";
        return kExitUsage;
    }
    return Run(request, argc, argv);
}

// How fast the Qt panel comes up and re-greys, against a plain Qt form of
// the same controls measured in the same run.
//
// Cases, each for the sample PPD and for a generated PPD of 1,000 controls:
//   PanelShow   the whole panel as a program makes it: session (the PPD read,
//               the panel's creation and restore), the widget, shown and
//               laid out on the offscreen platform;
//   PlainForm   the reference: one QComboBox per control, with the same
//               choices, in a scrolling form, shown the same way;
//   Regrey      one choice changed through its editor: the value, every
//               editor re-greyed, the settingsChanged signal.
// Run: scripts/bench.sh panel (QT_QPA_PLATFORM=offscreen is set here).
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <QApplication>
#include <QComboBox>
#include <QFormLayout>
#include <QScrollArea>
#include <benchmark/benchmark.h>

#include "GenerateExtendedPPD.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "panel/KelvoFeaturesPDE.h"
#include "panel/PanelLayout.h"
#include "panel/qt/ControlEditor.h"
#include "panel/qt/KelvoPanelWidget.h"
#include "panel/qt/PanelSession.h"
#include "platform/memory/InMemoryHost.h"
#include "util/Log.h"

namespace {

using namespace kelvo::panel;
using namespace kelvo::panel::qt;

std::filesystem::path gSample;
std::filesystem::path gGenerated;

/// A generated PPD with at least 1,000 controls, written once.
std::filesystem::path GeneratedThousand() {
    const std::filesystem::path path = std::filesystem::temp_directory_path() / "kelvo-panel-bench-1000.ppd";
    std::size_t bytes = 640 * 1024;
    for (;;) {
        kelvobench::GeneratedPPD generated = kelvobench::GenerateExtendedPPD(bytes);
        if (generated.controls.Total() >= 1000) {
            std::ofstream(path, std::ios::binary) << generated.text;
            return path;
        }
        bytes += 16 * 1024;
    }
}

struct Panel {
    kelvo::platform::InMemoryHost host;
    std::unique_ptr<PanelSession> session;
    KelvoPanelWidget* widget = nullptr;

    explicit Panel(const std::filesystem::path& ppd) {
        host.MutablePrinter().ppdPath = ppd.string();
        host.MutablePrinter().name = "bench";
        std::string error;
        PanelSessionOptions options;
        options.withHelper = false;
        session = PanelSession::Create(host, options, error);
        if (!session) {
            std::fprintf(stderr, "no panel: %s\n", error.c_str());
            std::exit(1);
        }
        widget = session->CreateWidget();
        widget->resize(900, 700);
        widget->show();
        QApplication::processEvents();
    }
    ~Panel() { delete widget; }
};

void PanelShow(benchmark::State& state, const std::filesystem::path* ppd) {
    std::size_t editors = 0;
    for (auto _ : state) {
        Panel panel(*ppd);
        editors = panel.widget->Editors().size();
    }
    state.counters["editors"] = static_cast<double>(editors);
}

/// The reference: what a generic options dialog shows for the same PPD.
void PlainForm(benchmark::State& state, const std::filesystem::path* ppd) {
    kelvo::platform::InMemoryHost host;
    host.MutablePrinter().ppdPath = ppd->string();
    PanelSessionOptions options;
    options.withHelper = false;
    std::string error;
    std::unique_ptr<PanelSession> session = PanelSession::Create(host, options, error);
    const PanelLayout layout = BuildPanelLayout(*session->Pde().Document());
    for (auto _ : state) {
        QScrollArea area;
        auto* inner = new QWidget;
        auto* form = new QFormLayout(inner);
        for (const LayoutPage& page : layout.pages)
            for (const LayoutSection& section : page.sections)
                for (PPDXControl* control : section.controls) {
                    auto* combo = new QComboBox;
                    if (auto* popup = dynamic_cast<PPDXPopupControl*>(control))
                        for (std::size_t i = 0; i < popup->ItemCount(); ++i)
                            combo->addItem(QString::fromUtf8(popup->ItemAt(i)->Keyword()));
                    form->addRow(QString::fromStdString(control->CFStringUserName()), combo);
                }
        area.setWidget(inner);
        area.setWidgetResizable(true);
        area.resize(900, 700);
        area.show();
        QApplication::processEvents();
    }
}

void Regrey(benchmark::State& state, const std::filesystem::path* ppd) {
    Panel panel(*ppd);
    // The first popup with two choices, flipped between them.
    ControlEditor* editor = nullptr;
    std::string first, second;
    for (ControlEditor* candidate : panel.widget->Editors())
        if (auto* popup = dynamic_cast<PPDXPopupControl*>(&candidate->Control()); popup && popup->ItemCount() >= 2) {
            editor = candidate;
            first = popup->ItemAt(0)->Keyword();
            second = popup->ItemAt(1)->Keyword();
            break;
        }
    if (!editor) {
        state.SkipWithError("no popup");
        return;
    }
    bool flip = false;
    for (auto _ : state) {
        editor->ApplyValue(flip ? first : second);
        flip = !flip;
    }
}

} // namespace

int main(int argc, char** argv) {
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    // The offscreen platform warns at every first show; the table is what
    // this program is for.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type != QtDebugMsg && type != QtInfoMsg && !text.contains(QStringLiteral("propagateSizeHints")))
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
    QApplication app(argc, argv);
    kelvo::SetLogSink({});
    gSample = KELVO_SAMPLES "/kelvo-sample.ppd";
    gGenerated = GeneratedThousand();
    benchmark::RegisterBenchmark("PanelShow/sample", PanelShow, &gSample)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("PlainForm/sample", PlainForm, &gSample)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("PanelShow/1000controls", PanelShow, &gGenerated)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("PlainForm/1000controls", PlainForm, &gGenerated)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("Regrey/sample", Regrey, &gSample)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("Regrey/1000controls", Regrey, &gGenerated)->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::filesystem::remove(gGenerated);
    return 0;
}

// The system around one panel in a Qt program: the same pieces the
// command-line panel uses, with Qt's event loop, alerts and windows.
#include "panel/qt/PanelSession.h"

#include <algorithm>
#include <optional>
#include <vector>

#include <QLocale>
#include <QStringList>

#include "panel/KelvoFeaturesPDE.h"
#include "panel/qt/KelvoPanelWidget.h"
#include "panel/qt/QtPanelViews.h"
#include "panel/qt/QtPopupJobNotesWindow.h"
#include "platform/Bundle.h"
#include "platform/Host.h"
#include "platform/StringsTable.h"
#include "platform/qt/QtAlerts.h"
#include "platform/qt/QtEventLoop.h"
#include "platform/sysv/SysVSharedSegments.h"
#include "platform/unix/PosixProcessLauncher.h"
#include "platform/unix/UnixMessagePort.h"
#include "util/Log.h"

namespace kelvo::panel::qt {

namespace {

/// The user's interface languages as the bundle's folders name them ("de"
/// for "de-CH"), most wanted first; the table falls back to English itself.
std::vector<std::string> BundleLanguages() {
    std::vector<std::string> out;
    // The default locale is the user's own unless the program chose another.
    for (const QString& name : QLocale().uiLanguages()) {
        const std::string full = name.toStdString();
        const std::string base = full.substr(0, full.find_first_of("-_"));
        for (const std::string& candidate : {full, base})
            if (!candidate.empty() && std::find(out.begin(), out.end(), candidate) == out.end())
                out.push_back(candidate);
    }
    return out;
}

} // namespace

struct PanelSession::Impl {
    explicit Impl(platform::Host& h) : host(h) {}

    platform::Host& host;
    // Everything the panel borrows is declared before it, so it goes after.
    std::optional<platform::Bundle> bundle;
    platform::StringsTable localizable;
    platform::StringsTable bidiStrings;
    platform::SysVSharedSegments segments;
    platform::UnixMessagePorts ports;
    platform::PosixProcessLauncher launcher;
    platform::QtEventLoop loop;
    std::unique_ptr<platform::QtAlerts> ownAlerts;
    std::unique_ptr<QtPopupJobNotesWindow> ownPopup;
    QtPanelViews views;
    std::unique_ptr<UI_PanelPlatform> platform;
    std::unique_ptr<PDEHostCallback> callback;
    std::unique_ptr<KelvoFeaturesPDEPlugIn> plugIn;
    std::unique_ptr<KelvoFeaturesPDE> pde;
};

PanelSession::PanelSession() = default;

PanelSession::~PanelSession() {
    if (!d)
        return;
    // The panel (and its controller's segment and timers) before the
    // platform it borrows.
    d->pde.reset();
}

std::unique_ptr<PanelSession> PanelSession::Create(platform::Host& host, const PanelSessionOptions& options,
                                                   std::string& error) {
    std::unique_ptr<PanelSession> session(new PanelSession());
    session->d = std::make_unique<Impl>(host);
    Impl& d = *session->d;

    // Without the bundle the panel still works: no printer list, its own
    // words in English and no job-properties helper.
    std::string bundleError;
    d.bundle = platform::Bundle::Find(bundleError);
    if (d.bundle) {
        const std::vector<std::string> languages = BundleLanguages();
        d.localizable = platform::StringsTable::Load(d.bundle->ResourcesPath(), "Localizable", languages);
        d.bidiStrings = platform::StringsTable::Load(d.bundle->ResourcesPath(), "BidiStrings", languages);
    } else {
        Log("panel: " + bundleError + "; going on without the bundle");
    }

    platform::Alerts* alerts = options.alerts;
    if (!alerts) {
        d.ownAlerts = std::make_unique<platform::QtAlerts>(options.dialogParent);
        alerts = d.ownAlerts.get();
    }
    PopupJobNotesWindow* popup = options.popupWindow;
    if (!popup) {
        d.ownPopup = std::make_unique<QtPopupJobNotesWindow>(options.dialogParent);
        popup = d.ownPopup.get();
    }
    const platform::Bundle* helperBundle = options.withHelper && d.bundle ? &*d.bundle : nullptr;
    d.platform.reset(new UI_PanelPlatform{d.segments, d.ports, d.launcher, d.loop, *alerts, d.localizable,
                                          d.bidiStrings, helperBundle});
    UseSystemDefaults(*d.platform);
    d.callback.reset(new PDEHostCallback{host, *d.platform, *popup});
    d.callback->views = UI_PanelViews{&d.views, &d.views};
    d.callback->addressDialog = &d.views;
    d.callback->sideWindows = &d.views;

    // The factory says only yes or no; its log line says why not.
    std::string lastLine;
    LogSink previous = SetLogSink([&lastLine, &previous](std::string_view line) {
        lastLine.assign(line);
        if (previous)
            previous(line);
    });
    d.plugIn = KelvoFeaturesPDEPlugIn::initWithBundle(d.bundle ? &*d.bundle : nullptr);
    std::vector<std::unique_ptr<KelvoFeaturesPDE>> panels = d.plugIn->PDEPanelsForType(kPDEPanelType, *d.callback);
    SetLogSink(previous);
    if (panels.empty()) {
        const std::string& ppd = host.Printer().ppdPath;
        error = (ppd.empty() ? std::string("the printer has no PPD") : ppd + ": no Kelvo panel for this printer") +
                (lastLine.empty() ? std::string() : " (" + lastLine + ")");
        return nullptr;
    }
    d.pde = std::move(panels.front());
    return session;
}

KelvoFeaturesPDE& PanelSession::Pde() const { return *d->pde; }
platform::Host& PanelSession::Host() const { return d->host; }
QtPanelViews& PanelSession::Views() const { return d->views; }
const platform::StringsTable& PanelSession::Strings() const { return d->localizable; }

KelvoPanelWidget* PanelSession::CreateWidget(QWidget* parent) {
    auto* widget = new KelvoPanelWidget(*d->pde, d->localizable, parent);
    d->views.Attach(widget);
    // The controller fills the address field and switch through the views.
    d->pde->willShow();
    return widget;
}

} // namespace kelvo::panel::qt

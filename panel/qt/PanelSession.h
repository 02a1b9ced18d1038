// Everything a Qt program needs around one panel: the system pieces, the
// bundle and its strings, the host callback, the panel and its views.
#pragma once

#include <memory>
#include <string>

class QWidget;

namespace kelvo::platform {
class Alerts;
class Host;
class StringsTable;
} // namespace kelvo::platform

namespace kelvo::panel {
class KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58;
using KelvoFeaturesPDE = KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58;
class PopupJobNotesWindow;
} // namespace kelvo::panel

namespace kelvo::panel::qt {

class KelvoPanelWidget;
class QtPanelViews;

struct PanelSessionOptions {
    /// Windows open over this one (the print dialog); may be null.
    QWidget* dialogParent = nullptr;
    /// The popup job-notes window; null: a QtPopupJobNotesWindow.
    PopupJobNotesWindow* popupWindow = nullptr;
    /// The alerts; null: QtAlerts.
    platform::Alerts* alerts = nullptr;
    /// The job-properties helper is started when the bundle is found.
    bool withHelper = true;
};

/// Owns the platform (System V segments, Unix message ports, the process
/// launcher, the Qt event loop), the bundle and its strings tables, the
/// views, and the panel made through the factory for `host`'s printer.
/// Needs a QApplication.
class PanelSession {
public:
    /// Null, with `error` saying why, when the printer gets no panel (its
    /// PPD is not a Kelvo one, cannot be read, or is ruled out).
    static std::unique_ptr<PanelSession> Create(platform::Host& host, const PanelSessionOptions& options,
                                                std::string& error);
    ~PanelSession();
    PanelSession(const PanelSession&) = delete;
    PanelSession& operator=(const PanelSession&) = delete;

    KelvoFeaturesPDE& Pde() const;
    platform::Host& Host() const;
    QtPanelViews& Views() const;
    /// The bundle's "Localizable" table (empty without a bundle).
    const platform::StringsTable& Strings() const;
    /// Makes the widget over the panel and attaches the views to it. The
    /// caller (or the Qt parent) owns it; it must not outlive the session.
    KelvoPanelWidget* CreateWidget(QWidget* parent = nullptr);

private:
    PanelSession();
    struct Impl;
    std::unique_ptr<Impl> d;
};

} // namespace kelvo::panel::qt

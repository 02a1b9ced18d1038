// Alerts as Qt message boxes.
#pragma once

#include <QPointer>
#include <QWidget>

#include "platform/Alerts.h"

namespace kelvo::platform {

/// A modal QMessageBox (warning icon, one button with the given text) over
/// `parent` (may be null). Texts are UTF-8.
class QtAlerts final : public Alerts {
public:
    explicit QtAlerts(QWidget* parent = nullptr) : mParent(parent) {}
    void ShowAlert(std::string_view title, std::string_view button, std::string_view text) override;
    void SetParent(QWidget* parent) { mParent = parent; }

private:
    QPointer<QWidget> mParent;
};

} // namespace kelvo::platform

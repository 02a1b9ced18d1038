// Alerts as modal Qt message boxes.
#include "platform/qt/QtAlerts.h"

#include <QMessageBox>
#include <QPushButton>
#include <QString>

namespace kelvo::platform {

namespace {

QString FromUtf8(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

void QtAlerts::ShowAlert(std::string_view title, std::string_view button, std::string_view text) {
    QMessageBox box(QMessageBox::Warning, FromUtf8(title), FromUtf8(text), QMessageBox::NoButton, mParent.data());
    box.setObjectName(QStringLiteral("alert"));
    // The panel hands over the button's localised text; a message box's
    // standard buttons would carry Qt's own words instead.
    QPushButton* only = box.addButton(button.empty() ? QStringLiteral("OK") : FromUtf8(button),
                                      QMessageBox::AcceptRole);
    only->setObjectName(QStringLiteral("alertButton"));
    box.setDefaultButton(only);
    box.setEscapeButton(only);
    box.exec();
}

} // namespace kelvo::platform

// A roll-down section: a flat arrow button that shows or hides its body.
#pragma once

#include <QString>
#include <QWidget>

class QToolButton;

namespace kelvo::panel::qt {

/// A titled block whose body folds away under its header. The header is a
/// QToolButton (checkable, so Space and Enter fold it too and it is reached
/// by Tab); the body is any widget handed to SetBody, shown while expanded.
/// Expanded when made, as the panel opens with every roll-down open.
class CollapsibleSection : public QWidget {
    Q_OBJECT
public:
    explicit CollapsibleSection(const QString& title, QWidget* parent = nullptr);

    /// Takes `body` (reparented to the section) as the folding part.
    void SetBody(QWidget* body);
    QWidget* Body() const { return mBody; }
    QToolButton* Header() const { return mHeader; }

    bool IsExpanded() const;
    void SetExpanded(bool expanded);

signals:
    void expandedChanged(bool expanded);

private:
    QToolButton* mHeader = nullptr;
    QWidget* mBody = nullptr;
};

} // namespace kelvo::panel::qt

// One editor per control, in Qt widgets: the same editors serve the panel
// and the job-properties window.
#pragma once

#include <memory>
#include <string>

#include <QObject>
#include <QString>

class PPDXControl;
class QJVPPD;
class QLabel;
class QWidget;

namespace kelvo::platform {
class StringsTable;
}

namespace kelvo::panel::qt {

/// An editor shows one control's current value and writes the user's
/// changes into the control (through the document, so the constraint table
/// hears of them). Kinds:
///   popup            QComboBox (items: the choices' translations)
///   popup, PickMany  a column of QCheckBox, one per choice
///   Boolean          QCheckBox
///   range            QSpinBox, snapping to the increment
///   float range      QDoubleSpinBox, snapping to the increment
///   job note         QLineEdit: masked for password notes, the maximum
///                    length enforced, the minimum length and character
///                    classes checked with a message under the field
///
/// A choice the constraints forbid stays selectable but is shown greyed,
/// with a tooltip naming what it conflicts with. Picking one does not
/// change the control: the editor emits conflictingChoice and shows the
/// old value again; the owner asks the solver and, when the user agrees,
/// applies the choice (ApplyValue) with the solver's changes.
class ControlEditor : public QObject {
    Q_OBJECT
public:
    /// The editor for `control`, or null when it has none (see
    /// HasEditor). `strings` gives the editor's own words (may be empty).
    static std::unique_ptr<ControlEditor> Create(PPDXControl& control, QJVPPD& doc,
                                                 const platform::StringsTable& strings, QWidget* parent);
    ~ControlEditor() override;

    PPDXControl& Control() const { return mControl; }
    /// The control's keyword, with its asterisk.
    std::string Keyword() const;
    /// The field. Owned by the Qt parent given to Create.
    QWidget* Field() const { return mField; }
    /// The label in front of the field, with the field as its buddy; null
    /// for a check box, which carries its own text.
    QLabel* Label() const { return mLabel; }

    /// Shows the control's current value again (no signal is emitted).
    void Refresh();
    /// Greys the choices that the constraints forbid now and sets their
    /// tooltips; ungreys the others. Cheap when nothing changed.
    void Regrey();
    /// Sets the control to `value` (its value text, e.g. a choice keyword)
    /// through the document and shows it; emits valueChanged.
    void ApplyValue(const std::string& value);
    /// A job note's text breaks its rules (too short, wrong characters):
    /// the message shown under it, else empty.
    QString Problem() const;

signals:
    /// The control took a new value from the user.
    void valueChanged(ControlEditor* editor);
    /// The user picked `choice`, which the constraints forbid; the control
    /// is unchanged.
    void conflictingChoice(ControlEditor* editor, QString choice);

protected:
    ControlEditor(PPDXControl& control, QJVPPD& doc, QWidget* field, QLabel* label);

    PPDXControl& mControl;
    QJVPPD& mDoc;
    QWidget* mField;
    QLabel* mLabel;
};

} // namespace kelvo::panel::qt

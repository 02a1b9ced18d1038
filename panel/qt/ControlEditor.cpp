// The Qt editor of each control kind: combo boxes, check boxes, spin boxes
// and line edits that write through the document and grey forbidden choices.
#include "panel/qt/ControlEditor.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <vector>

#include <QCheckBox>
#include <QComboBox>
#include <QAbstractItemView>
#include <QDoubleSpinBox>
#include <QEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPalette>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>

#include "PPDX/ChoiceQuestion.h"
#include "PPDX/Constraints/UIConstraints.h"
#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/QJVPPD.h"
#include "panel/PanelLayout.h"
#include "platform/StringsTable.h"

namespace kelvo::panel::qt {

namespace {

/// The table's text for `key`, or the English fallback when the table
/// lacks it (so a missing strings file still gives readable words).
QString Text(const platform::StringsTable& strings, const char* key, const char* fallback) {
    const std::string* found = strings.Find(key);
    return QString::fromStdString(found ? *found : std::string(fallback));
}

/// A display name without the trailing blanks PPDs tend to leave; the
/// keyword when it is empty.
QString TitleOf(const std::string& name, const char* keyword) {
    QString title = QString::fromStdString(name);
    while (!title.isEmpty() && title.back().isSpace())
        title.chop(1);
    if (title.isEmpty() && keyword)
        title = QString::fromUtf8(keyword);
    return title;
}

QString ControlTitle(const PPDXControl& control) { return TitleOf(control.CFStringUserName(), control.Keyword()); }

/// The keyword as an object name: without its asterisk.
QString ObjectNameFor(const char* keyword) {
    QString name = QString::fromUtf8(keyword ? keyword : "");
    if (name.startsWith(QLatin1Char('*')))
        name.remove(0, 1);
    return name;
}

/// The title of a choice of `keyword` as the user knows it.
QString ChoiceTitle(QJVPPD& doc, const std::string& keyword, const std::string& choice) {
    if (auto* popup = dynamic_cast<PPDXPopupControl*>(doc.GetPPDXControlForKey(keyword))) {
        if (const std::string* name = popup->GetKeywordCFLocalName(choice.c_str()))
            return TitleOf(*name, choice.c_str());
    }
    return QString::fromStdString(choice);
}

/// The editor's own words, copied once so the editor never depends on the
/// table outliving it.
struct Words {
    QString conflictsWith; // "Conflicts with %1: %2"
    QString atLeast;       // "at least %1 characters"
    QString required;      // "required"
    QString onlyPrefix;    // "only "
    QString letters, digits, decimalPoint, spaces, commas, hyphens, leadingMinus, noCommas, noDoubleSpaces;

    explicit Words(const platform::StringsTable& s)
        : conflictsWith(Text(s, "Conflicts with %1: %2", "Conflicts with %1: %2")),
          atLeast(Text(s, "at least %1 characters", "at least %1 characters")),
          required(Text(s, "required", "required")),
          onlyPrefix(Text(s, "only ", "only ")),
          letters(Text(s, "letters", "letters")),
          digits(Text(s, "digits", "digits")),
          decimalPoint(Text(s, "a decimal point", "a decimal point")),
          spaces(Text(s, "spaces", "spaces")),
          commas(Text(s, "commas", "commas")),
          hyphens(Text(s, "hyphens", "hyphens")),
          leadingMinus(Text(s, "a leading minus", "a leading minus")),
          noCommas(Text(s, "no commas", "no commas")),
          noDoubleSpaces(Text(s, "no double spaces", "no double spaces")) {}
};

/// What the editors have in common beyond the public class: the per-kind
/// work behind Refresh, Regrey and Problem, and the conflict tooltip.
class EditorBase : public ControlEditor {
public:
    EditorBase(PPDXControl& control, QJVPPD& doc, QWidget* field, QLabel* label, const Words& words)
        : ControlEditor(control, doc, field, label), mWords(words) {}

    virtual void DoRefresh() = 0;
    virtual void DoRegrey() {}
    virtual QString DoProblem() const { return {}; }

protected:
    /// "Conflicts with <control>: <choice>" lines for choosing `choice`.
    QString ConflictTip(const std::string& choice) {
        const std::string keyword = Keyword();
        const ChoiceAnswer answer = AskChoice(mDoc, keyword, choice);
        QStringList lines;
        for (const auto& [otherKey, otherChoice] : answer.conflicts) {
            PPDXControl* other = mDoc.GetPPDXControlForKey(otherKey);
            const QString otherTitle = other ? ControlTitle(*other) : QString::fromStdString(otherKey);
            lines << mWords.conflictsWith.arg(otherTitle, ChoiceTitle(mDoc, otherKey, otherChoice));
        }
        return lines.join(QLatin1Char('\n'));
    }

    bool Constrained(const std::string& choice) {
        const std::string keyword = Keyword();
        return mDoc.IsKVConstrained(keyword.c_str(), choice.c_str());
    }

    /// Whether any constraint names this control's keyword. One that none
    /// names is never forbidden, so a re-grey can skip it outright: most
    /// controls of a large PPD are such, and asking the table per choice
    /// would cost the whole panel a frame.
    bool MayBeConstrained() const {
        UIConstraints* table = mDoc.GetUIConstraints();
        return table && mControl.Keyword() && table->GetConstraintStrings().Find(mControl.Keyword()) >= 0;
    }

    /// Which of `choices` the constraints forbid now. One print-size stand-in
    /// serves every question (the document would set one up per question),
    /// and the answers are those IsKVConstrained gives.
    std::vector<bool> ForbiddenChoices(const std::vector<const char*>& choices) {
        std::vector<bool> forbidden(choices.size(), false);
        if (!MayBeConstrained())
            return forbidden;
        QJVPPD::PrintSizeStandIn standIn(mDoc);
        UIConstraints& table = *mDoc.GetUIConstraints();
        for (std::size_t i = 0; i < choices.size(); ++i)
            forbidden[i] = choices[i] && table.IsKVConstrained(mControl.Keyword(), choices[i]);
        return forbidden;
    }

    /// Check boxes and their text get the disabled text colour without
    /// being disabled: a forbidden choice stays clickable.
    static void SetGreyLook(QWidget* widget, bool grey) {
        if (!grey) {
            widget->setPalette(QPalette());
            return;
        }
        QPalette palette = widget->palette();
        const QColor disabled = palette.color(QPalette::Disabled, QPalette::WindowText);
        palette.setColor(QPalette::Active, QPalette::WindowText, disabled);
        palette.setColor(QPalette::Inactive, QPalette::WindowText, disabled);
        palette.setColor(QPalette::Active, QPalette::ButtonText, disabled);
        palette.setColor(QPalette::Inactive, QPalette::ButtonText, disabled);
        widget->setPalette(palette);
    }

    Words mWords;
};

// ---------------------------------------------------------------- popup

class PopupEditor final : public EditorBase {
public:
    PopupEditor(PPDXPopupControl& popup, QJVPPD& doc, QComboBox* combo, QLabel* label, const Words& words)
        : EditorBase(popup, doc, combo, label, words), mPopup(popup), mCombo(combo) {
        for (std::size_t i = 0; i < popup.ItemCount(); ++i) {
            const _PopupItem* item = popup.ItemAt(i);
            const char* choice = item->Keyword() ? item->Keyword() : "";
            const QString title = item->localName ? TitleOf(*item->localName, choice) : QString::fromUtf8(choice);
            combo->addItem(title, QString::fromUtf8(choice));
        }
        QObject::connect(combo, &QComboBox::activated, this, [this](int index) { Picked(index); });
        combo->view()->installEventFilter(this);
        DoRefresh();
    }

    /// A choice that stays forbidden may be so for another reason after a
    /// change elsewhere; its tooltip is asked again when the list opens,
    /// the only time anyone reads it, rather than at every re-grey.
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Show && watched == mCombo->view())
            for (std::size_t i = 0; i < mGreyed.size() && i < static_cast<std::size_t>(mCombo->count()); ++i)
                if (mGreyed[i])
                    mCombo->setItemData(static_cast<int>(i), ConflictTip(mPopup.ItemAt(i)->Keyword()),
                                        Qt::ToolTipRole);
        return false;
    }

    void DoRefresh() override {
        const QSignalBlocker block(mCombo);
        const QString current = QString::fromStdString(mPopup.CopyCurrentControlValueString());
        mCombo->setCurrentIndex(mCombo->findData(current));
    }

    void DoRegrey() override {
        std::vector<const char*> choices(mPopup.ItemCount(), nullptr);
        for (std::size_t i = 0; i < choices.size(); ++i)
            choices[i] = mPopup.ItemAt(i)->Keyword();
        std::vector<bool> greyed = ForbiddenChoices(choices);
        if (greyed == mGreyed && mCombo->count() == static_cast<int>(greyed.size()))
            return;
        const QBrush grey(mCombo->palette().color(QPalette::Disabled, QPalette::Text));
        const bool first = mGreyed.size() != greyed.size();
        for (std::size_t i = 0; i < greyed.size() && i < static_cast<std::size_t>(mCombo->count()); ++i) {
            // Only items whose state flipped are reworked: asking the solver
            // for a tooltip is the expensive part of a re-grey.
            if (first ? !greyed[i] : greyed[i] == mGreyed[i])
                continue;
            const int row = static_cast<int>(i);
            if (greyed[i]) {
                mCombo->setItemData(row, grey, Qt::ForegroundRole);
                mCombo->setItemData(row, ConflictTip(mPopup.ItemAt(i)->Keyword()), Qt::ToolTipRole);
            } else {
                mCombo->setItemData(row, QVariant(), Qt::ForegroundRole);
                mCombo->setItemData(row, QVariant(), Qt::ToolTipRole);
            }
        }
        mGreyed = std::move(greyed);
    }

private:
    void Picked(int index) {
        const std::string choice = mCombo->itemData(index).toString().toStdString();
        if (choice == mPopup.CopyCurrentControlValueString())
            return;
        if (Constrained(choice)) {
            // The owner decides (with the solver) whether it may be applied.
            DoRefresh();
            emit conflictingChoice(this, QString::fromStdString(choice));
            return;
        }
        mDoc.SetValueForKey(Keyword(), choice);
        DoRefresh();
        emit valueChanged(this);
    }

    PPDXPopupControl& mPopup;
    QComboBox* mCombo;
    std::vector<bool> mGreyed;
};

// ---------------------------------------------------------------- pick many

class PickManyEditor final : public EditorBase {
public:
    PickManyEditor(PPDXPopupControl& popup, QJVPPD& doc, QWidget* box, QLabel* label, const Words& words)
        : EditorBase(popup, doc, box, label, words), mPopup(popup) {
        auto* column = new QVBoxLayout(box);
        column->setContentsMargins(0, 0, 0, 0);
        for (std::size_t i = 0; i < popup.ItemCount(); ++i) {
            const _PopupItem* item = popup.ItemAt(i);
            const char* choice = item->Keyword() ? item->Keyword() : "";
            auto* check = new QCheckBox(item->localName ? TitleOf(*item->localName, choice) : QString::fromUtf8(choice),
                                        box);
            check->setObjectName(QString::fromUtf8(choice));
            column->addWidget(check);
            mBoxes.push_back(check);
            check->installEventFilter(this);
            QObject::connect(check, &QCheckBox::clicked, this, [this, i](bool on) { Toggled(i, on); });
        }
        // The label's buddy is the column: focus goes to its first box.
        if (!mBoxes.empty())
            box->setFocusProxy(mBoxes.front());
        DoRefresh();
    }

    void DoRefresh() override {
        for (std::size_t i = 0; i < mBoxes.size(); ++i) {
            const QSignalBlocker block(mBoxes[i]);
            const _PopupItem* item = mPopup.ItemAt(i);
            mBoxes[i]->setChecked(item && item->selected != 0);
        }
    }

    void DoRegrey() override {
        // Only adding a choice can break a constraint; ticked ones stay plain.
        std::vector<const char*> choices(mBoxes.size(), nullptr);
        for (std::size_t i = 0; i < choices.size(); ++i) {
            const _PopupItem* item = mPopup.ItemAt(i);
            choices[i] = item && !item->selected ? item->Keyword() : nullptr;
        }
        std::vector<bool> greyed = ForbiddenChoices(choices);
        if (greyed == mGreyed)
            return;
        const bool first = mGreyed.size() != greyed.size();
        for (std::size_t i = 0; i < greyed.size(); ++i) {
            if (first ? !greyed[i] : greyed[i] == mGreyed[i])
                continue;
            SetGreyLook(mBoxes[i], greyed[i]);
            mBoxes[i]->setToolTip(greyed[i] ? ConflictTip(mPopup.ItemAt(i)->Keyword()) : QString());
        }
        mGreyed = std::move(greyed);
    }

    /// The reason a box is forbidden is asked again when its tooltip is
    /// about to show (it may have changed since the box was greyed).
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::ToolTip)
            for (std::size_t i = 0; i < mBoxes.size() && i < mGreyed.size(); ++i)
                if (mBoxes[i] == watched && mGreyed[i])
                    mBoxes[i]->setToolTip(ConflictTip(mPopup.ItemAt(i)->Keyword()));
        return false;
    }

private:
    void Toggled(std::size_t index, bool on) {
        const _PopupItem* item = mPopup.ItemAt(index);
        if (!item || !item->Keyword())
            return;
        const std::string choice = item->Keyword();
        if (on && Constrained(choice)) {
            DoRefresh();
            emit conflictingChoice(this, QString::fromStdString(choice));
            return;
        }
        mPopup.SetKeywordSelect(choice.c_str(), on);
        if (!on) {
            // Deselecting tells the constraint cache about the choice just
            // dropped; name a choice still ticked again so the cache (and the
            // value text) follow what is actually selected.
            for (std::size_t i = mPopup.ItemCount(); i-- > 0;) {
                const _PopupItem* other = mPopup.ItemAt(i);
                if (other && other->selected && other->Keyword()) {
                    mPopup.SetKeywordSelect(other->Keyword(), true);
                    break;
                }
            }
        }
        DoRefresh();
        emit valueChanged(this);
    }

    PPDXPopupControl& mPopup;
    std::vector<QCheckBox*> mBoxes;
    std::vector<bool> mGreyed;
};

// ---------------------------------------------------------------- Boolean

class BooleanEditor final : public EditorBase {
public:
    BooleanEditor(PPDXBooleanControl& control, QJVPPD& doc, QCheckBox* check, const Words& words)
        : EditorBase(control, doc, check, nullptr, words), mBoolean(control), mCheck(check) {
        QObject::connect(check, &QCheckBox::clicked, this, [this](bool on) { Toggled(on); });
        check->installEventFilter(this);
        DoRefresh();
    }

    /// As for a pick-many box: the reason is asked again on hover.
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::ToolTip && watched == mCheck && mState > 0)
            mCheck->setToolTip(ConflictTip(mBoolean.IsTrue() ? "False" : "True"));
        return false;
    }

    void DoRefresh() override {
        const QSignalBlocker block(mCheck);
        mCheck->setChecked(mBoolean.IsTrue());
    }

    void DoRegrey() override {
        // What the user could switch to is the side that may be forbidden.
        const std::string other = mBoolean.IsTrue() ? "False" : "True";
        const int state = ForbiddenChoices({other.c_str()})[0] ? (mBoolean.IsTrue() ? 2 : 1) : 0;
        if (state == mState)
            return;
        mState = state;
        SetGreyLook(mCheck, state != 0);
        mCheck->setToolTip(state != 0 ? ConflictTip(other) : QString());
    }

private:
    void Toggled(bool on) {
        const std::string value = on ? "True" : "False";
        if (Constrained(value)) {
            DoRefresh();
            emit conflictingChoice(this, QString::fromStdString(value));
            return;
        }
        mDoc.SetValueForKey(Keyword(), value);
        DoRefresh();
        emit valueChanged(this);
    }

    PPDXBooleanControl& mBoolean;
    QCheckBox* mCheck;
    int mState = -1; // 0 free, 1/2 greyed while False/True; -1 never looked
};

// ---------------------------------------------------------------- ranges

int ToInt(long value) {
    if (value > INT_MAX)
        return INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

class RangeEditor final : public EditorBase {
public:
    RangeEditor(PPDXRangeControl& range, QJVPPD& doc, QSpinBox* spin, QLabel* label, const Words& words)
        : EditorBase(range, doc, spin, label, words), mRange(range), mSpin(spin) {
        spin->setRange(ToInt(range.MinVal()), ToInt(range.MaxVal()));
        spin->setSingleStep(range.Increment() > 0 ? ToInt(range.Increment()) : 1);
        // One change per finished entry, not one per keystroke: a half-typed
        // number must not be snapped under the user's fingers.
        spin->setKeyboardTracking(false);
        QObject::connect(spin, &QSpinBox::valueChanged, this, [this](int value) { Changed(value); });
        DoRefresh();
    }

    void DoRefresh() override {
        const QSignalBlocker block(mSpin);
        mSpin->setValue(ToInt(mRange.GetValue()));
    }

private:
    void Changed(int value) {
        const long before = mRange.GetValue();
        mDoc.SetValueForKey(Keyword(), std::to_string(value));
        // The control snaps to its increment; show what it kept.
        DoRefresh();
        if (mRange.GetValue() != before)
            emit valueChanged(this);
    }

    PPDXRangeControl& mRange;
    QSpinBox* mSpin;
};

/// Enough decimals to show every multiple of `increment` (at most 6).
int DecimalsFor(float increment) {
    const double step = std::fabs(static_cast<double>(increment));
    for (int decimals = 0; decimals < 6; ++decimals) {
        const double scaled = step * std::pow(10.0, decimals);
        if (std::fabs(scaled - std::round(scaled)) < 1e-4)
            return decimals;
    }
    return 6;
}

class FloatRangeEditor final : public EditorBase {
public:
    FloatRangeEditor(PPDXFloatRangeControl& range, QJVPPD& doc, QDoubleSpinBox* spin, QLabel* label,
                     const Words& words)
        : EditorBase(range, doc, spin, label, words), mRange(range), mSpin(spin) {
        spin->setDecimals(DecimalsFor(range.Increment()));
        spin->setRange(range.MinVal(), range.MaxVal());
        spin->setSingleStep(range.Increment() > 0 ? range.Increment() : 1.0);
        spin->setKeyboardTracking(false);
        QObject::connect(spin, &QDoubleSpinBox::valueChanged, this, [this](double value) { Changed(value); });
        DoRefresh();
    }

    void DoRefresh() override {
        const QSignalBlocker block(mSpin);
        mSpin->setValue(mRange.GetValue());
    }

private:
    void Changed(double value) {
        const float before = mRange.GetValue();
        // Snap to the increment, counted from zero as the whole-number range
        // does; the control itself only clamps.
        const double step = mRange.Increment();
        if (step > 0)
            value = std::round(value / step) * step;
        char text[64];
        std::snprintf(text, sizeof text, "%.*f", mSpin->decimals(), value);
        mDoc.SetValueForKey(Keyword(), text);
        DoRefresh();
        if (mRange.GetValue() != before)
            emit valueChanged(this);
    }

    PPDXFloatRangeControl& mRange;
    QDoubleSpinBox* mSpin;
};

// ---------------------------------------------------------------- job note

class JobNoteEditor final : public EditorBase {
public:
    JobNoteEditor(PPDXJobNote& note, QJVPPD& doc, QWidget* box, QLineEdit* edit, QLabel* message, QLabel* label,
                  const Words& words)
        : EditorBase(note, doc, box, label, words), mNote(note), mEdit(edit), mMessage(message) {
        if (note.IsPassword())
            edit->setEchoMode(QLineEdit::Password);
        if (note.MaxLength() > 0)
            edit->setMaxLength(ToInt(note.MaxLength()));
        QObject::connect(edit, &QLineEdit::textEdited, this, [this](const QString& text) { Edited(text); });
        DoRefresh();
    }

    void DoRefresh() override {
        const QSignalBlocker block(mEdit);
        mEdit->setText(QString::fromStdString(mNote.CopyNotes()));
        ShowProblem();
    }

    QString DoProblem() const override {
        const QString text = mEdit->text();
        if (text.isEmpty())
            return mNote.IsRequired() ? mWords.required : QString();
        if (QString classes = CharacterProblem(text); !classes.isEmpty())
            return classes;
        if (mNote.MinLength() > 0 && text.size() < mNote.MinLength())
            return mWords.atLeast.arg(mNote.MinLength());
        return {};
    }

private:
    /// The characters the note's flags admit, as a message when `text`
    /// holds others; empty when it is fine.
    QString CharacterProblem(const QString& text) const {
        const bool anyText = mNote.IsAnyText();
        const bool commas = !mNote.IsNoComma() && (anyText || mNote.IsMultiComma());
        const bool spaces = anyText || mNote.IsSpace() || mNote.IsMultiSpace();
        const bool doubleSpaces = anyText || mNote.IsMultiSpace();
        const bool digits = mNote.IsNumeric() || mNote.IsDecimal();
        bool bad = false;
        int points = 0;
        for (qsizetype i = 0; i < text.size() && !bad; ++i) {
            const QChar c = text.at(i);
            if (c == QLatin1Char(','))
                bad = !commas;
            else if (c == QLatin1Char(' '))
                bad = !spaces || (!doubleSpaces && i > 0 && text.at(i - 1) == QLatin1Char(' '));
            else if (anyText)
                continue;
            else if (c.isDigit())
                bad = !digits;
            else if (c.isLetter())
                bad = !mNote.IsAlpha();
            else if (c == QLatin1Char('.'))
                bad = !mNote.IsDecimal() || ++points > 1;
            else if (c == QLatin1Char('-'))
                bad = !(mNote.IsHyphen() || (mNote.IsNegative() && i == 0));
            else
                bad = true;
        }
        if (!bad)
            return {};
        if (anyText) {
            if (!commas && text.contains(QLatin1Char(',')))
                return mWords.noCommas;
            return mWords.noDoubleSpaces;
        }
        QStringList allowed;
        if (mNote.IsAlpha())
            allowed << mWords.letters;
        if (digits)
            allowed << mWords.digits;
        if (mNote.IsDecimal())
            allowed << mWords.decimalPoint;
        if (spaces)
            allowed << mWords.spaces;
        if (commas)
            allowed << mWords.commas;
        if (mNote.IsHyphen())
            allowed << mWords.hyphens;
        else if (mNote.IsNegative())
            allowed << mWords.leadingMinus;
        return mWords.onlyPrefix + allowed.join(QStringLiteral(", "));
    }

    void ShowProblem() {
        const QString problem = DoProblem();
        mMessage->setText(problem);
        mMessage->setVisible(!problem.isEmpty());
        mEdit->setToolTip(problem);
    }

    void Edited(const QString& text) {
        mDoc.SetValueForKey(Keyword(), text.toStdString());
        ShowProblem();
        emit valueChanged(this);
    }

    PPDXJobNote& mNote;
    QLineEdit* mEdit;
    QLabel* mMessage;
};

QLabel* MakeLabel(PPDXControl& control, QWidget* parent, QWidget* buddy) {
    auto* label = new QLabel(ControlTitle(control) + QLatin1Char(':'), parent);
    label->setBuddy(buddy);
    return label;
}

} // namespace

ControlEditor::ControlEditor(PPDXControl& control, QJVPPD& doc, QWidget* field, QLabel* label)
    : mControl(control), mDoc(doc), mField(field), mLabel(label) {}

ControlEditor::~ControlEditor() = default;

std::string ControlEditor::Keyword() const { return mControl.Keyword() ? mControl.Keyword() : std::string(); }

void ControlEditor::Refresh() {
    if (auto* base = dynamic_cast<EditorBase*>(this))
        base->DoRefresh();
}

void ControlEditor::Regrey() {
    if (auto* base = dynamic_cast<EditorBase*>(this))
        base->DoRegrey();
}

void ControlEditor::ApplyValue(const std::string& value) {
    if (auto* popup = dynamic_cast<PPDXPopupControl*>(&mControl); popup && popup->CanSelectMultipleItems()) {
        // A PickMany value names one choice to add to the selection.
        popup->SetKeywordSelect(value.c_str(), true);
    } else {
        mDoc.SetValueForKey(Keyword(), value);
    }
    Refresh();
    emit valueChanged(this);
}

QString ControlEditor::Problem() const {
    if (auto* base = dynamic_cast<const EditorBase*>(this))
        return base->DoProblem();
    return {};
}

std::unique_ptr<ControlEditor> ControlEditor::Create(PPDXControl& control, QJVPPD& doc,
                                                     const platform::StringsTable& strings, QWidget* parent) {
    if (!HasEditor(control))
        return nullptr;
    const Words words(strings);
    const QString name = ObjectNameFor(control.Keyword());
    const QString title = ControlTitle(control);
    std::unique_ptr<ControlEditor> editor;

    if (auto* popup = dynamic_cast<PPDXPopupControl*>(&control)) {
        if (popup->CanSelectMultipleItems()) {
            auto* box = new QWidget(parent);
            editor = std::make_unique<PickManyEditor>(*popup, doc, box, MakeLabel(control, parent, box), words);
        } else {
            auto* combo = new QComboBox(parent);
            editor = std::make_unique<PopupEditor>(*popup, doc, combo, MakeLabel(control, parent, combo), words);
        }
    } else if (auto* boolean = dynamic_cast<PPDXBooleanControl*>(&control)) {
        auto* check = new QCheckBox(title, parent);
        editor = std::make_unique<BooleanEditor>(*boolean, doc, check, words);
    } else if (auto* range = dynamic_cast<PPDXRangeControl*>(&control)) {
        auto* spin = new QSpinBox(parent);
        editor = std::make_unique<RangeEditor>(*range, doc, spin, MakeLabel(control, parent, spin), words);
    } else if (auto* floatRange = dynamic_cast<PPDXFloatRangeControl*>(&control)) {
        auto* spin = new QDoubleSpinBox(parent);
        editor =
            std::make_unique<FloatRangeEditor>(*floatRange, doc, spin, MakeLabel(control, parent, spin), words);
    } else if (auto* note = dynamic_cast<PPDXJobNote*>(&control)) {
        auto* box = new QWidget(parent);
        auto* column = new QVBoxLayout(box);
        column->setContentsMargins(0, 0, 0, 0);
        column->setSpacing(2);
        auto* edit = new QLineEdit(box);
        edit->setObjectName(name + QStringLiteral("Text"));
        edit->setAccessibleName(title);
        auto* message = new QLabel(box);
        message->setObjectName(name + QStringLiteral("Problem"));
        message->setWordWrap(true);
        QPalette palette = message->palette();
        palette.setColor(QPalette::WindowText, QColor(0xb0, 0x20, 0x20));
        message->setPalette(palette);
        column->addWidget(edit);
        column->addWidget(message);
        box->setFocusProxy(edit);
        editor = std::make_unique<JobNoteEditor>(*note, doc, box, edit, message, MakeLabel(control, parent, edit),
                                                 words);
    } else {
        return nullptr;
    }

    editor->Field()->setObjectName(name);
    editor->Field()->setAccessibleName(title);
    editor->Regrey();
    return editor;
}

} // namespace kelvo::panel::qt

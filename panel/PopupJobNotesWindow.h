// The small modal window that asks for popup job-note values at print time.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "util/Log.h"

namespace kelvo::panel {

/// The window offers one to five label/field pairs.
inline constexpr std::size_t kPopupJobNoteMaxFields = 5;

/// One row of the window. Texts are UTF-8.
struct PopupJobNoteField {
    std::string label; ///< the note's display name
    std::string text;  ///< what the field shows when the window opens
    bool secure = false; ///< a password: the field hides what is typed

    friend bool operator==(const PopupJobNoteField&, const PopupJobNoteField&) = default;
};

/// The buttons of the window. Always is the "always use these values"
/// check box: clicking it changes the account setting and leaves the
/// window open.
enum class PopupJobNoteButton { kOK, kCancel, kAlways };

/// What one run of the modal session ended with.
struct PopupJobNoteAnswer {
    PopupJobNoteButton button = PopupJobNoteButton::kCancel;
    /// With kOK: the text of each field, in field order (UTF-8). Empty for
    /// the other buttons.
    std::vector<std::string> fields;
};

/// A window with a title, one to five fields, an always check box and OK
/// and Cancel. The desktop host shows a real window; the command line and
/// the tests answer from a script (ScriptedPopupWindow).
///
/// Use: Open once, RunModal until it answers kOK or kCancel (each kAlways
/// answer is handled by the caller and the session goes on), then Close.
class PopupJobNotesWindow {
public:
    virtual ~PopupJobNotesWindow() = default;

    /// Sets the window up with `fields` (one to five) and the state of the
    /// always box. Any other field count is refused: the line
    /// "getPopupJobNoteWindow bad numFields N " is logged and false returned,
    /// and nothing is shown.
    bool Open(std::string_view title, std::span<const PopupJobNoteField> fields, bool alwaysTicked) {
        if (fields.empty() || fields.size() > kPopupJobNoteMaxFields) {
            kelvo::Log("getPopupJobNoteWindow bad numFields " + std::to_string(fields.size()) + " ");
            return false;
        }
        DoOpen(title, fields, alwaysTicked);
        return true;
    }

    /// Runs the modal session until a button is clicked.
    virtual PopupJobNoteAnswer RunModal() = 0;

    /// Ends the modal session, clears the fields and closes the window.
    virtual void Close() = 0;

protected:
    /// Open after the field count has been checked.
    virtual void DoOpen(std::string_view title, std::span<const PopupJobNoteField> fields, bool alwaysTicked) = 0;
};

} // namespace kelvo::panel

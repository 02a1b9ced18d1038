// A popup job-notes window that answers from a script: the command line's and the tests' window.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "panel/PopupJobNotesWindow.h"

namespace kelvo::panel {

/// Answers the modal session from a list of scripted answers and records
/// what it was shown.
///
/// The script is JSON, one answer per object:
///   {"button": "ok" | "cancel" | "always", "fields": ["text", ...], "then": {...}}
/// "fields" (strings, UTF-8) go with "ok"; a field without an entry keeps
/// the text the window showed. "then" is the next answer, allowed only after
/// "always" (the window stays open after it). When the answers run out the
/// window answers Cancel, so a script can never keep a print waiting.
class ScriptedPopupWindow : public PopupJobNotesWindow {
public:
    struct Answer {
        PopupJobNoteButton button = PopupJobNoteButton::kCancel;
        /// For kOK; nullopt keeps every field as shown.
        std::optional<std::vector<std::string>> fields;
    };

    /// What one Open showed.
    struct Shown {
        std::string title;
        std::vector<PopupJobNoteField> fields;
        bool alwaysTicked = false;
    };

    explicit ScriptedPopupWindow(std::vector<Answer> answers = {});

    /// Reads a script; null with the reason in `error` when it is no JSON
    /// object of the form above.
    static std::unique_ptr<ScriptedPopupWindow> FromJSON(std::string_view json, std::string& error);
    /// FromJSON over a file of at most 64 KiB.
    static std::unique_ptr<ScriptedPopupWindow> FromFile(const std::filesystem::path& file, std::string& error);

    PopupJobNoteAnswer RunModal() override;
    void Close() override;

    const std::vector<Shown>& Opened() const { return mOpened; }
    /// The always box as it stands (toggled by each Always answer).
    bool AlwaysTicked() const { return mAlwaysTicked; }
    int ModalRuns() const { return mModalRuns; }
    int Closes() const { return mCloses; }
    bool IsOpen() const { return mOpen; }

protected:
    void DoOpen(std::string_view title, std::span<const PopupJobNoteField> fields, bool alwaysTicked) override;

private:
    std::vector<Answer> mAnswers;
    std::size_t mNext = 0;
    std::vector<Shown> mOpened;
    bool mAlwaysTicked = false;
    bool mOpen = false;
    int mModalRuns = 0;
    int mCloses = 0;
};

} // namespace kelvo::panel

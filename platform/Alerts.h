// Modal alerts: the interface the panel shows them through, a recording one for tests and a terminal one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelvo::platform {

/// Shows a message the user must acknowledge before the panel goes on. The
/// texts arrive already localised (see StringsTable).
class Alerts {
public:
    virtual ~Alerts() = default;
    /// Shows `text` under `title` with one button labelled `button`, and
    /// returns once the user has pressed it (or at once where nobody can).
    virtual void ShowAlert(std::string_view title, std::string_view button, std::string_view text) = 0;
};

/// One alert as it was shown.
struct ShownAlert {
    std::string title;
    std::string button;
    std::string text;

    friend bool operator==(const ShownAlert&, const ShownAlert&) = default;
};

/// Keeps every alert instead of showing it, for tests and scripted runs.
class RecordingAlerts final : public Alerts {
public:
    void ShowAlert(std::string_view title, std::string_view button, std::string_view text) override;
    const std::vector<ShownAlert>& Shown() const { return mShown; }
    void Clear() { mShown.clear(); }

private:
    std::vector<ShownAlert> mShown;
};

/// Writes the alert to a terminal: title, text and the button in brackets
/// on `outputFd` (standard error by default). When `inputFd` is a terminal
/// it then waits for a line (the user pressing Enter); otherwise, with
/// nobody to answer, it returns at once. Control characters of the texts
/// other than line ends are written as "?", so a text cannot drive the
/// terminal. The descriptors are borrowed, never closed.
class TerminalAlerts final : public Alerts {
public:
    explicit TerminalAlerts(int inputFd = 0, int outputFd = 2) : mInput(inputFd), mOutput(outputFd) {}
    void ShowAlert(std::string_view title, std::string_view button, std::string_view text) override;

private:
    int mInput;
    int mOutput;
};

} // namespace kelvo::platform

// The scripted popup job-notes window: answers read from JSON.
#include "panel/ScriptedPopupWindow.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include <nlohmann/json.hpp>

#include "util/FileDescriptor.h"

namespace kelvo::panel {

namespace {

constexpr std::size_t kScriptLimit = 64 * 1024;

/// Reads one answer object; false with `error` set when it is malformed.
bool ReadAnswer(const nlohmann::json& object, ScriptedPopupWindow::Answer& answer, std::string& error) {
    if (!object.is_object()) {
        error = "an answer must be a JSON object";
        return false;
    }
    const auto button = object.find("button");
    if (button == object.end() || !button->is_string()) {
        error = "an answer needs \"button\": \"ok\", \"cancel\" or \"always\"";
        return false;
    }
    const std::string& name = button->get_ref<const std::string&>();
    if (name == "ok")
        answer.button = PopupJobNoteButton::kOK;
    else if (name == "cancel")
        answer.button = PopupJobNoteButton::kCancel;
    else if (name == "always")
        answer.button = PopupJobNoteButton::kAlways;
    else {
        error = "unknown button \"" + name + "\"";
        return false;
    }
    if (const auto fields = object.find("fields"); fields != object.end()) {
        if (!fields->is_array()) {
            error = "\"fields\" must be an array of strings";
            return false;
        }
        std::vector<std::string> texts;
        for (const nlohmann::json& field : *fields) {
            if (!field.is_string()) {
                error = "\"fields\" must be an array of strings";
                return false;
            }
            texts.push_back(field.get<std::string>());
        }
        answer.fields = std::move(texts);
    }
    return true;
}

} // namespace

ScriptedPopupWindow::ScriptedPopupWindow(std::vector<Answer> answers) : mAnswers(std::move(answers)) {}

std::unique_ptr<ScriptedPopupWindow> ScriptedPopupWindow::FromJSON(std::string_view json, std::string& error) {
    const nlohmann::json root = nlohmann::json::parse(json.begin(), json.end(), nullptr, false);
    if (root.is_discarded()) {
        error = "the answers are not valid JSON";
        return nullptr;
    }
    std::vector<Answer> answers;
    for (const nlohmann::json* at = &root; at;) {
        Answer answer;
        if (!ReadAnswer(*at, answer, error))
            return nullptr;
        const auto then = at->find("then");
        if (then != at->end() && answer.button != PopupJobNoteButton::kAlways) {
            error = "\"then\" may only follow an \"always\" answer";
            return nullptr;
        }
        answers.push_back(std::move(answer));
        at = then != at->end() ? &*then : nullptr;
    }
    return std::make_unique<ScriptedPopupWindow>(std::move(answers));
}

std::unique_ptr<ScriptedPopupWindow> ScriptedPopupWindow::FromFile(const std::filesystem::path& file,
                                                                   std::string& error) {
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = "cannot open " + file.string();
        return nullptr;
    }
    std::string bytes;
    const int status = kelvo::ReadAllUpTo(fd, kScriptLimit, bytes);
    close(fd);
    if (status != 0) {
        error = "cannot read " + file.string() + (status == EFBIG ? " (over 64 KiB)" : "");
        return nullptr;
    }
    return FromJSON(bytes, error);
}

void ScriptedPopupWindow::DoOpen(std::string_view title, std::span<const PopupJobNoteField> fields,
                                 bool alwaysTicked) {
    mOpened.push_back({std::string(title), {fields.begin(), fields.end()}, alwaysTicked});
    mAlwaysTicked = alwaysTicked;
    mOpen = true;
}

PopupJobNoteAnswer ScriptedPopupWindow::RunModal() {
    ++mModalRuns;
    PopupJobNoteAnswer result;
    if (!mOpen || mNext >= mAnswers.size())
        return result; // Cancel
    const Answer& answer = mAnswers[mNext++];
    result.button = answer.button;
    if (answer.button == PopupJobNoteButton::kAlways)
        mAlwaysTicked = !mAlwaysTicked;
    if (answer.button != PopupJobNoteButton::kOK)
        return result;
    const std::vector<PopupJobNoteField>& shown = mOpened.back().fields;
    for (std::size_t i = 0; i < shown.size(); ++i)
        result.fields.push_back(answer.fields && i < answer.fields->size() ? (*answer.fields)[i] : shown[i].text);
    return result;
}

void ScriptedPopupWindow::Close() {
    ++mCloses;
    mOpen = false;
}

} // namespace kelvo::panel

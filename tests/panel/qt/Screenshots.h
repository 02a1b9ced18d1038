// Where the Qt tests put the pictures README and docs/ show: beside the test
// binary always, and in docs/screenshots/ when KELVO_UPDATE_SCREENSHOTS=1
// asks for new ones (look at them before committing).
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <QPixmap>
#include <QString>
#include <QWidget>

namespace kelvotest {

inline std::vector<std::filesystem::path> ScreenshotPlaces(const std::string& name) {
    std::vector<std::filesystem::path> places;
    std::error_code ec;
    const std::filesystem::path here =
        std::filesystem::read_symlink("/proc/self/exe", ec).parent_path() / "screenshots";
    std::filesystem::create_directories(here, ec);
    places.push_back(here / name);
    const char* update = std::getenv("KELVO_UPDATE_SCREENSHOTS");
    if (update && std::string(update) == "1") {
        const std::filesystem::path docs = std::filesystem::path(KELVO_SOURCE_DIR) / "docs" / "screenshots";
        std::filesystem::create_directories(docs, ec);
        places.push_back(docs / name);
    }
    return places;
}

/// Grabs `widget` (laid out, shown or not) into every place; the first
/// path, or empty when a picture could not be written.
inline std::filesystem::path SaveScreenshot(QWidget& widget, const std::string& name) {
    const QPixmap picture = widget.grab();
    std::filesystem::path first;
    for (const std::filesystem::path& place : ScreenshotPlaces(name)) {
        if (picture.isNull() || !picture.save(QString::fromStdString(place.string()), "PNG"))
            return {};
        if (first.empty())
            first = place;
    }
    return first;
}

/// Copies a picture a program wrote into every place.
inline void KeepScreenshot(const std::filesystem::path& png, const std::string& name) {
    std::error_code ec;
    for (const std::filesystem::path& place : ScreenshotPlaces(name))
        std::filesystem::copy_file(png, place, std::filesystem::copy_options::overwrite_existing, ec);
}

} // namespace kelvotest

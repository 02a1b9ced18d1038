// A private folder for a test that runs the panel: it is also the
// configuration folder (popup job-note answers), the home folder and the
// temporary folder, so the panel's PPD copy and tickets are the test's own
// and a test running beside it cannot replace or remove them.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "TestSupport.h"
#include "store/PlistTestSupport.h"

namespace kelvotest {

struct PanelScratch {
    std::filesystem::path Write(const std::string& name, const std::string& text) const {
        std::ofstream(dir.Path() / name, std::ios::binary) << text;
        return dir.Path() / name;
    }
    TempDir dir;
    ScopedEnv config{"XDG_CONFIG_HOME", dir.Path().string()};
    ScopedEnv home{"HOME", dir.Path().string()};
    ScopedEnv tmp{"KELVO_TMPDIR", dir.Path().string()};
};

} // namespace kelvotest

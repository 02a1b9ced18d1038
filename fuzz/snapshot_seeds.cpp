// Writes model snapshots of PPD files as seeds for settings_fuzzer.
//
//   kelvo-snapshot-seeds OUT_DIR NAME=PPD...
//
// Each PPD is read from its bytes (so no file record, which would tie the
// seed to this machine's paths), saved and flattened into OUT_DIR/NAME. A
// seed is written only when its snapshot rebuilds into a valid document:
// a seed that the fuzzer rejects at once starts it nowhere. fuzz/make_seeds.py
// runs this tool; the exit status is 1 when any file gave no seed.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "PPDX/QJVPPD.h"
#include "store/Settings.h"

namespace {

// The flattened snapshot of the PPD at `path`, or a reason it has none.
std::string Snapshot(const std::filesystem::path& path, std::vector<std::uint8_t>& block) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return "cannot open the file";
    const std::string text(std::istreambuf_iterator<char>(in), {});
    QJVPPDRef doc = QJVPPD::FromBytes(text, kParseAll);
    if (!doc || !doc->IsValidPPD())
        return "not a valid PPD";
    Settings settings;
    if (!doc->Save(settings))
        return "save failed with status " + std::to_string(doc->SaveStatus());
    if (settings.GetSettingsHandle(block) != kSettingsNoErr)
        return "flattening failed";
    Settings reread(block);
    QJVPPDRef rebuilt = QJVPPD::FromSettings(reread);
    if (!rebuilt || !rebuilt->IsValidPPD())
        return "the snapshot does not rebuild";
    return {};
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s OUT_DIR NAME=PPD...\n", argv[0]);
        return 2;
    }
    const std::filesystem::path out = argv[1];
    int status = 0;
    for (int i = 2; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const std::size_t equals = arg.find('=');
        if (equals == 0 || equals == std::string_view::npos) {
            std::fprintf(stderr, "%s: expected NAME=PPD, got %s\n", argv[0], argv[i]);
            return 2;
        }
        const std::filesystem::path ppd(arg.substr(equals + 1));
        std::vector<std::uint8_t> block;
        if (const std::string problem = Snapshot(ppd, block); !problem.empty()) {
            std::fprintf(stderr, "%s: %s: %s\n", argv[0], ppd.c_str(), problem.c_str());
            status = 1;
            continue;
        }
        std::ofstream file(out / std::string(arg.substr(0, equals)), std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(block.size()));
        if (!file.flush()) {
            std::fprintf(stderr, "%s: cannot write into %s\n", argv[0], out.c_str());
            return 2;
        }
    }
    return status;
}

// Whether a PPD is one the panel serves (its "*PCFileName"), and whether two
// documents come from the same file.
#include <cstring>

#include "PPDX/QJVPPD.h"
#include "TextConverter/TextConverter.h"
#include "util/BoyerMoore.h"
#include "util/Log.h"

namespace {

constexpr std::size_t kHeadBytes = 4096;
constexpr std::size_t kValueWindow = 32;
constexpr std::size_t kNameLimit = 255;

} // namespace

bool PPDX::ValidateAgainstPCFilename(const std::vector<std::string>& names, PPDFile& file) {
    if (!file.IsOpen() && !file.Open())
        return false;
    // A zeroed block: whatever the file does not fill reads as NUL.
    std::string head(kHeadBytes, '\0');
    const long got = file.Read(head.data(), kHeadBytes);
    file.Close();
    if (got < 0)
        return false;

    static const BoyerMoore keyword("*PCFileName");
    std::size_t at = keyword.Find(head);
    if (at == std::string::npos)
        return false;
    // The keyword and its colon, then blanks, never past the last byte.
    at = std::min(at + 12, kHeadBytes - 1);
    while (at < kHeadBytes - 1 && (head[at] == ' ' || head[at] == '\t'))
        ++at;
    const std::string_view window(head.data() + at, std::min(kValueWindow, kHeadBytes - at));

    for (const std::string& name : names) {
        // The file is Mac Roman as far as this test goes; a name that does
        // not convert is looked for as it is.
        bool ok = false;
        std::string roman = TextConverter::ConvertBytes(name, kTextEncodingUTF8, kTextEncodingMacRoman, &ok);
        if (!ok)
            roman = name;
        if (roman.size() > kNameLimit)
            roman.resize(kNameLimit);
        if (BoyerMoore(roman).Find(window) != std::string::npos)
            return true;
    }
    return false;
}

bool PPDX::ValidateFileName(const std::filesystem::path& path, const std::optional<std::vector<std::string>>& names,
                            PPDFile* file) {
    if (!names)
        return true;
    if (file)
        return ValidateAgainstPCFilename(*names, *file);
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        kelvo::Log("It is a directory");
        return false;
    }
    PPDFile temporary(path);
    return ValidateAgainstPCFilename(*names, temporary);
}

bool QJVPPD::operator==(const QJVPPD& other) const {
    const std::optional<PPDFileRef>& mine = FileRef();
    const std::optional<PPDFileRef>& theirs = other.FileRef();
    if (!mine || !theirs)
        return false;
    if (mine->IsDirectory() || theirs->IsDirectory())
        kelvo::Log("It is a directory ");
    if (!mine->SameFile(*theirs))
        return false;
    const char* a = PCFileName();
    const char* b = other.PCFileName();
    return (a == nullptr) == (b == nullptr) && (!a || std::strcmp(a, b) == 0);
}

// What libcups's PPD reader reports for a file, for comparison with ours.
#pragma once

#include <optional>
#include <string>

namespace kelvo::corpus {

/// The values both readers report: the header statements and the number of
/// constraint statements.
struct HeaderFacts {
    bool opened = false;
    std::string error; ///< why the file was refused, when !opened
    std::optional<std::string> modelName, pcFileName, languageVersion, languageEncoding, formatVersion,
        fileVersion;
    std::size_t constraints = 0;
};

/// Opens `path` with libcups's ppdOpenFile and copies the facts out.
HeaderFacts ReadWithCups(const char* path);

} // namespace kelvo::corpus

// Confirms that a generated PPD reads as intended, with our reader and with libcups.
#pragma once

#include <filesystem>
#include <string>

#include "GenerateExtendedPPD.h"

namespace kelvobench {

/// Empty when our reader builds the file with no error, exactly the expected
/// controls of each type, and answers every query of `expected` as listed;
/// otherwise a sentence saying what differs.
std::string CheckOurReader(const std::filesystem::path& file, const GeneratedPPD& expected);

/// Empty when libcups opens the file, holds one constraint per
/// "*UIConstraints" line, finds the defaults free of conflicts and answers
/// every query as listed (marking the choice, then the default again).
std::string CheckLibcups(const std::filesystem::path& file, const GeneratedPPD& expected);

} // namespace kelvobench

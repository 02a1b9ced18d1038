// Builds large, realistic extended PPD texts for the parse and constraint benchmarks.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kelvobench {

/// What the reader must build from a generated file, by control type.
struct ExpectedControls {
    std::size_t popups = 0;
    std::size_t booleans = 0;
    std::size_t ranges = 0;
    std::size_t floatRanges = 0;
    std::size_t jobNotes = 0;
    std::size_t customPageSizes = 0;
    std::size_t specialOptions = 0;

    std::size_t Total() const {
        return popups + booleans + ranges + floatRanges + jobNotes + customPageSizes + specialOptions;
    }
};

/// One constraint question asked with every other option at its default:
/// would choosing `choice` for `key` conflict?
struct ConstraintQuery {
    std::string key;     ///< main keyword with its asterisk, e.g. "*QJFeed0042"
    std::string choice;  ///< a choice that is not the key's default
    std::string restore; ///< the key's default choice, to mark again afterwards
    bool conflicts = false;
};

struct GeneratedPPD {
    std::string text;
    ExpectedControls controls;
    /// Number of "*UIConstraints" lines (every one is declared in both directions).
    std::size_t constraintLines = 0;
    /// Questions that conflict and questions that do not, alternating.
    std::vector<ConstraintQuery> queries;
};

/// Generates an extended PPD of exactly `targetBytes` bytes (at least the
/// fixed preamble, about 8.5 KB): about 1,450 controls of every type and
/// 7,400 constraint lines per MiB, popups with long multi-line PostScript,
/// hex-coded translations. Every physical line stays under 255 bytes and every
/// PostScript value under 4 KB, so nothing is cut. The same target always
/// gives the same bytes.
GeneratedPPD GenerateExtendedPPD(std::size_t targetBytes);

/// The name the tools and the benchmark use for the file of a size.
std::string GeneratedFileName(std::size_t targetBytes);

} // namespace kelvobench

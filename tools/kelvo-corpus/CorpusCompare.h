// Compares our reader with libcups's file by file and keeps the tallies.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "CupsReference.h"

namespace kelvo::corpus {

/// What our reader reports for a file, in the reference's terms.
struct OurFacts {
    HeaderFacts header;
    std::size_t resolvedPairs = 0; ///< constraint pairs after whole-key expansion
    std::vector<int> errorCodes;
};

/// Reads `path` with our reader the way the panel does.
OurFacts ReadWithOurs(const std::filesystem::path& path);

/// Tallies of a corpus run. Each difference between the readers falls into
/// a kind; kinds listed in ExplainedKinds() have a known, documented cause.
class CorpusReport {
public:
    explicit CorpusReport(std::size_t showPerKind) : mShow(showPerKind) {}

    void Compare(const std::filesystem::path& path, std::string_view bytes, bool withCups);
    void CountCopy() { ++mCopies; }
    void CountUnreadable() { ++mUnreadable; }
    void Print(std::ostream& out, bool withCups) const;
    /// Differences of a kind nobody has explained yet.
    std::size_t Unexplained() const;

private:
    void Note(const std::string& kind, const std::filesystem::path& path, const std::string& detail);

    std::size_t mShow;
    std::size_t mFiles = 0, mCopies = 0, mUnreadable = 0, mOursInvalid = 0, mCupsRefused = 0;
    std::uintmax_t mBytes = 0;
    double mOurSeconds = 0, mCupsSeconds = 0;
    std::size_t mOurConstraints = 0, mCupsConstraints = 0, mResolvedPairs = 0;
    std::map<int, std::size_t> mErrorCodes;
    std::map<std::string, std::vector<std::string>> mKinds; ///< kind -> examples (first mShow)
    std::map<std::string, std::size_t> mKindCounts;
};

} // namespace kelvo::corpus

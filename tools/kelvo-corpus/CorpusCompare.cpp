#include "CorpusCompare.h"

#include <chrono>
#include <cstdio>
#include <iomanip>
#include <ostream>
#include <set>

#include "PPDX/QJVPPD.h"

namespace kelvo::corpus {
namespace {

using Clock = std::chrono::steady_clock;

std::optional<std::string> Copy(const char* text) {
    if (!text)
        return std::nullopt;
    return std::string(text);
}

std::string Show(const std::optional<std::string>& value) {
    return value ? "\"" + *value + "\"" : "(none)";
}

double MBs(std::uintmax_t bytes, double seconds) {
    return seconds > 0 ? bytes / 1e6 / seconds : 0;
}

double Seconds(Clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

/// Statements of `keyword` in a PPD text: lines that begin with it.
std::size_t CountStatements(std::string_view text, std::string_view keyword) {
    std::size_t n = 0;
    for (std::size_t pos = 0; pos < text.size();) {
        if (text.compare(pos, keyword.size(), keyword) == 0)
            ++n;
        pos = text.find_first_of("\r\n", pos);
        if (pos == std::string_view::npos)
            break;
        ++pos;
    }
    return n;
}

/// The last line that begins with `keyword` (statements repeat; the last wins).
std::string_view LastStatement(std::string_view text, std::string_view keyword) {
    std::string_view found;
    for (std::size_t pos = 0; pos < text.size();) {
        std::size_t end = text.find_first_of("\r\n", pos);
        if (end == std::string_view::npos)
            end = text.size();
        if (text.compare(pos, keyword.size(), keyword) == 0)
            found = text.substr(pos, end - pos);
        pos = end + 1;
    }
    return found;
}

/// Kinds of difference whose cause is known and written down in the README.
const std::set<std::string>& ExplainedKinds() {
    static const std::set<std::string> kinds = {
        "*NonUIConstraints not read",
        "FileVersion unquoted",
        "FormatVersion unquoted",
        "PCFileName unquoted",
        "ModelName unquoted",
    };
    return kinds;
}

} // namespace

OurFacts ReadWithOurs(const std::filesystem::path& path) {
    OurFacts facts;
    QJVPPDRef doc(new QJVPPD(path, kParseAll));
    HeaderFacts& h = facts.header;
    h.opened = doc->IsValidPPD();
    h.modelName = Copy(doc->ModelName());
    h.pcFileName = Copy(doc->PCFileName());
    h.languageVersion = Copy(doc->LanguageVersion());
    h.languageEncoding = Copy(doc->LanguageEncoding());
    h.formatVersion = Copy(doc->FormatVersion());
    h.fileVersion = Copy(doc->FileVersion());
    h.constraints = doc->GetUIConstraints()->ExcludesDeclared();
    facts.resolvedPairs = doc->GetUIConstraints()->GetConstraintForest().Count();
    for (std::size_t i = 0; const PPDXErrorObj* e = doc->GetErrors()->At(i); ++i)
        facts.errorCodes.push_back(e->Code());
    return facts;
}

void CorpusReport::Note(const std::string& kind, const std::filesystem::path& path, const std::string& detail) {
    if (mKindCounts[kind]++ < mShow)
        mKinds[kind].push_back(path.string() + ": " + detail);
}

void CorpusReport::Compare(const std::filesystem::path& path, std::string_view bytes, bool withCups) {
    ++mFiles;
    mBytes += bytes.size();

    const Clock::time_point t0 = Clock::now();
    const OurFacts ours = ReadWithOurs(path);
    mOurSeconds += Seconds(Clock::now() - t0);
    mOurConstraints += ours.header.constraints;
    mResolvedPairs += ours.resolvedPairs;
    for (int code : ours.errorCodes)
        ++mErrorCodes[code];
    if (!ours.header.opened)
        ++mOursInvalid;
    if (!withCups)
        return;

    const Clock::time_point t1 = Clock::now();
    const HeaderFacts cups = ReadWithCups(path.c_str());
    mCupsSeconds += Seconds(Clock::now() - t1);
    if (!cups.opened) {
        ++mCupsRefused;
        if (ours.header.opened)
            Note("libcups refuses, we read", path, cups.error);
        return;
    }
    mCupsConstraints += cups.constraints;
    if (!ours.header.opened)
        Note("we refuse, libcups reads", path, "");

    const std::pair<const char*, std::pair<const std::optional<std::string>*, const std::optional<std::string>*>>
        fields[] = {
            {"ModelName", {&ours.header.modelName, &cups.modelName}},
            {"PCFileName", {&ours.header.pcFileName, &cups.pcFileName}},
            {"LanguageVersion", {&ours.header.languageVersion, &cups.languageVersion}},
            {"LanguageEncoding", {&ours.header.languageEncoding, &cups.languageEncoding}},
            {"FormatVersion", {&ours.header.formatVersion, &cups.formatVersion}},
            {"FileVersion", {&ours.header.fileVersion, &cups.fileVersion}},
        };
    for (const auto& [name, values] : fields) {
        if (*values.first == *values.second)
            continue;
        // We read header values as quoted strings; an unquoted one makes the
        // reader take the following lines as the value's continuation, and
        // the value proper comes out empty.
        const bool unquoted = *values.first == "" &&
                              LastStatement(bytes, "*" + std::string(name) + ":").find('"') == std::string_view::npos;
        Note(std::string(name) + (unquoted ? " unquoted" : " differs"), path,
             "ours " + Show(*values.first) + ", libcups " + Show(*values.second));
    }
    // libcups counts "*NonUIConstraints" with the others; we do not read them.
    const std::size_t nonUI = CountStatements(bytes, "*NonUIConstraints");
    if (ours.header.constraints + nonUI != cups.constraints)
        Note("constraint count differs", path,
             "ours " + std::to_string(ours.header.constraints) + " + " + std::to_string(nonUI) +
                 " *NonUIConstraints, libcups " + std::to_string(cups.constraints));
    else if (nonUI)
        Note("*NonUIConstraints not read", path, std::to_string(nonUI) + " statements");
}

std::size_t CorpusReport::Unexplained() const {
    std::size_t n = 0;
    for (const auto& [kind, count] : mKindCounts)
        if (!ExplainedKinds().count(kind))
            n += count;
    return n;
}

void CorpusReport::Print(std::ostream& out, bool withCups) const {
    out << "files read: " << mFiles << " (" << std::fixed << std::setprecision(1) << mBytes / 1e6 << " MB)";
    if (mCopies)
        out << ", identical copies skipped: " << mCopies;
    if (mUnreadable)
        out << ", unreadable: " << mUnreadable;
    out << "\n";
    out << "ours: " << mOurSeconds << " s, " << MBs(mBytes, mOurSeconds) << " MB/s; " << mOursInvalid
        << " not usable; constraint statements " << mOurConstraints << ", resolved pairs " << mResolvedPairs
        << "\n";
    if (withCups) {
        out << "libcups: " << mCupsSeconds << " s, " << MBs(mBytes, mCupsSeconds) << " MB/s; " << mCupsRefused
            << " refused; constraint statements " << mCupsConstraints << "\n";
        if (mOurSeconds > 0)
            out << "speed ratio (libcups time / our time): " << std::setprecision(2) << mCupsSeconds / mOurSeconds
                << "x\n";
    }
    out << "our error codes:";
    for (const auto& [code, count] : mErrorCodes)
        out << " " << (PPDErrName(code) ? PPDErrName(code) : "?") << "=" << count;
    out << "\n";
    for (const auto& [kind, count] : mKindCounts) {
        out << "\n" << kind << ": " << count << (ExplainedKinds().count(kind) ? " (explained)" : " (UNEXPLAINED)")
            << "\n";
        if (auto examples = mKinds.find(kind); examples != mKinds.end())
            for (const std::string& example : examples->second)
                out << "  " << example << "\n";
    }
}

} // namespace kelvo::corpus

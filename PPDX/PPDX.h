// Generic PPD document: file, header values, error list and the tokenizer.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "PPDX/PPDObjects/PPDXElement.h"
#include "PPDX/PPDFileRef.h"
#include "PPDX/PPDObjects/PPDXErrors.h"
#include "PPDX/PPDStream.h"
#include "store/SettingsStatus.h"
#include "TextConverter/TextConverter.h"
#include "util/CString.h"

/// Parse options: bit 0 builds orphan groups and accepts controls without a
/// group, bit 1 keeps declarations marked invisible.
using _PARSE_OPTIONS_ = std::uint32_t;
enum : _PARSE_OPTIONS_ {
    kParseNone = 0,
    kParseOrphans = 1,
    kParseHidden = 2,
    kParseAll = 3,
};

/// Extension-support level: decides which job-note flag words are accepted.
using _EXTENSIONS_SUPPORT_ = std::int32_t;

/// What the caller tells a document about the process it is opened in.
struct PPDHostInfo {
    /// The host application's identifier. Some hosts append annotation data
    /// after an "APLANNOTATE END" line, which ends the parse for them.
    std::string applicationID;
    /// Any error, fatal or not, ends the parse.
    bool allErrorsFatal = false;
};

/// The document base: owns the file, the error list, the header strings and
/// the text converter, and offers the tokenizer every parse routine uses.
///
/// Reference counted: a new document has a count of 1; Release() at zero
/// destroys it. Hold documents in a PPDXRef to have that done for you.
class Settings;

class PPDX {
public:
    PPDX(const std::optional<std::filesystem::path>& path, _PARSE_OPTIONS_ options,
         std::vector<std::string> printerNames, PPDHostInfo host);
    virtual ~PPDX();
    PPDX(const PPDX&) = delete;
    PPDX& operator=(const PPDX&) = delete;

    void Retain() { ++mRefCount; }
    void Release();
    std::int64_t RetainCount() const { return mRefCount; }

    // Tokenizer.
    /// Reads one token up to a delimiter or the line end into out (256
    /// bytes); false when nothing was stored. The delimiter is consumed.
    bool NextToken(PPDStream& stream, char* out, const char* delimiters, bool strip);
    /// A double-quoted value, possibly over several lines (continuation lines
    /// are stored behind NUL separators). Returns 0 when absent, else the
    /// bytes stored plus one.
    long GetQuotedString(PPDStream& stream, char* out, unsigned& limit);
    /// Quoted PostScript code, possibly over several lines, ending in LF
    /// (never NUL-terminated). Returns 0 when absent, else the byte count.
    long GetPostscriptString(PPDStream& stream, char* out, unsigned& limit);
    /// Copies what follows the first slash of text (the translation).
    long ParseMainKeyword(const char* text, char* out);
    static void StripLeadingWhiteSpace(char* text);
    static void StripTrailingWhiteSpace(char* text);

    // Identity and validation.
    /// True when `names` is null (the printer list restricts nothing), or
    /// when the file's "*PCFileName" value holds one of the names:
    /// ValidateAgainstPCFilename on `file`, or on the file at `path` when no
    /// file is given. A directory is never valid (and logged as one).
    static bool ValidateFileName(const std::filesystem::path& path,
                                 const std::optional<std::vector<std::string>>& names, PPDFile* file = nullptr);
    /// Looks for "*PCFileName" in the first 4096 bytes of `file` (gzip data
    /// inflated), skips the keyword, its colon and following blanks, and
    /// searches the next 32 bytes for each name (as Mac Roman, at most 255
    /// bytes) in order: substrings, case-sensitive, so quotes do not matter
    /// and a name without its extension matches. The file is closed after.
    static bool ValidateAgainstPCFilename(const std::vector<std::string>& names, PPDFile& file);
    /// Which file the document was read from, or nothing for a document
    /// from memory or an unreachable path.
    const std::optional<PPDFileRef>& FileRef() const { return mFileRef; }

    // Snapshot.
    /// Writes the header items (tag 1000): the allocation mark, the file
    /// record when the document has a file, then each header text that is
    /// present. True when every item was added.
    virtual bool Save(Settings& settings);

    // Header values (null when absent).
    const char* FormatVersion() const { return Text(mFormatVersion); }
    const char* FileVersion() const { return Text(mFileVersion); }
    const char* PCFileName() const { return Text(mPCFileName); }
    const char* LanguageVersion() const { return Text(mLanguageVersion); }
    const char* LanguageEncoding() const { return Text(mLanguageEncoding); }
    const char* ModelName() const { return Text(mModelName); }
    const char* QJVersion() const { return Text(mBaseQJVersion); }
    const char* PathToPDE() const { return Text(mPathToPDE); }

    /// Why the file could not be read, in the system's words ("No such file
    /// or directory", "Is a directory", "Permission denied", "not a regular
    /// file"...), or empty when it was read. Goes with PPDErr_FileError.
    const std::string& FileErrorText() const { return mFileErrorText; }

    PPDXErrors* GetErrors() { return mErrors.get(); }
    const PPDXErrors* GetErrors() const { return mErrors.get(); }
    TextConverter* GetTextConverter() const { return mTextConverter.get(); }
    unsigned GetStringTextEncoding() const {
        return mTextConverter ? mTextConverter->GetPPDEncoding() : kTextEncodingUnknown;
    }
    /// Converts a translation string for display (UTF-8); without a text
    /// converter the bytes are taken as they stand.
    std::string ConvertTranslation(const char* text) const;

    /// False unless the first statement was right; then true unless an error
    /// counts as fatal (any error, when all errors are fatal).
    bool IsValidPPD() const;
    bool IsValidPrinterName() const { return mValidPrinterName; }
    void AllErrorsFatal(const bool& all) { mAllErrorsFatal = all; }
    bool AllErrorsAreFatal() const { return mAllErrorsFatal; }
    _PARSE_OPTIONS_ ParseOptions() const { return mParseOptions; }
    const std::optional<std::filesystem::path>& FilePath() const { return mPath; }
    const PPDHostInfo& HostInfo() const { return mHost; }

    // Document-wide display option for walks over controls.
    static _DISPLAY_OPTIONS_ Options() { return sDisplayOptions; }
    static void Options(_DISPLAY_OPTIONS_ options) { sDisplayOptions = options; }
    static void IncludeOrphans() { sDisplayOptions |= kDisplayIncludeOrphans; }
    static void IncludeHidden() { sDisplayOptions |= kDisplayIncludeHidden; }
    /// Both exclusions clear the whole word: a deliberate simplification.
    static void ExcludeOrphans() { sDisplayOptions = 0; }
    static void ExcludeHidden() { sDisplayOptions = 0; }

protected:
    // NextToken's slow path (delimiter sets over four bytes) and its common end.
    static bool NextTokenAnySet(PPDStream& stream, char* out, const char* delimiters, bool strip);
    static bool FinishToken(char* out, long stored, bool endedByLF, bool strip);

    /// The fallback of the statement dispatch: header keywords.
    virtual PPDXErrorPtr ParsePSKeywords(PPDStream& stream, const char* keyword);
    /// Reads the next physical line of the file being parsed into buf
    /// (kJoinedLineSize bytes); false when there is none. Counts lines, and
    /// notes the first line that a 255-byte limit or a 0xFF byte cut short.
    bool ReadLine(char* buf);
    /// The 1-based number of the last physical line ReadLine handed out.
    std::uint32_t LineNumber() const { return mLineNumber; }
    static const char* Text(const std::optional<CString>& s) { return s ? s->c_str() : nullptr; }
    void RebuildTextConverter();
    /// Takes the header texts and the file record back from a snapshot's
    /// tag-1000 items. False when the allocation mark is missing: then the
    /// store holds no document.
    bool RestoreHeader(Settings& settings);
    /// Reads the rest of a line as one stripped value.
    std::optional<CString> RestOfLine(PPDStream& stream);
    /// Reads a quoted header value (limit 256).
    std::optional<CString> QuotedValue(PPDStream& stream);

    bool mValid = false;
    bool mValidPrinterName = false;
    std::unique_ptr<PPDFile> mFile;
    std::unique_ptr<PPDXErrors> mErrors;
    bool mAllErrorsFatal = false;
    std::optional<CString> mFormatVersion;
    std::optional<CString> mFileVersion;
    std::optional<CString> mPCFileName;
    std::optional<CString> mLanguageVersion;
    std::optional<CString> mLanguageEncoding;
    std::optional<CString> mModelName;
    std::optional<CString> mBaseQJVersion;
    std::optional<CString> mBasePlatformVersion;
    std::optional<CString> mPathToPDE;
    std::unique_ptr<TextConverter> mTextConverter;
    PPDFileStream* mFileStream = nullptr;
    std::vector<std::string> mPrinterNames;
    std::atomic<std::int64_t> mRefCount{1};
    _PARSE_OPTIONS_ mParseOptions;
    std::optional<std::filesystem::path> mPath;
    PPDHostInfo mHost;
    std::string mFileErrorText;
    std::optional<PPDFileRef> mFileRef;
    std::uint32_t mLineNumber = 0;
    /// The line ReadLine last stopped inside (its rest comes next), or 0.
    bool mInCutLine = false;
    /// The first line cut short, 0 when none was.
    std::uint32_t mFirstCutLine = 0;
    /// A read error (not the end of the file) stopped ReadLine.
    bool mReadFailed = false;

    static inline _DISPLAY_OPTIONS_ sDisplayOptions = kDisplayVisibleParented;
};

/// Sets the document-wide display option for its lifetime and puts the
/// previous one back however the scope is left.
class DisplayOptionsScope {
public:
    explicit DisplayOptionsScope(_DISPLAY_OPTIONS_ options) : mSaved(PPDX::Options()) { PPDX::Options(options); }
    ~DisplayOptionsScope() { PPDX::Options(mSaved); }
    DisplayOptionsScope(const DisplayOptionsScope&) = delete;
    DisplayOptionsScope& operator=(const DisplayOptionsScope&) = delete;

private:
    _DISPLAY_OPTIONS_ mSaved;
};

/// Releases (rather than deletes) a document when the owner lets go.
struct PPDXReleaser {
    void operator()(PPDX* doc) const {
        if (doc)
            doc->Release();
    }
};

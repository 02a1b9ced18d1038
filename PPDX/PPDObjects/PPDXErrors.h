// Parse error codes, the error record with its keyword, and the document's error list.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "util/CError.h"

enum PPDErr : std::int16_t {
    PPDErr_OutOfMemory = 1,
    PPDErr_PropPageParsing = 4,
    PPDErr_GroupParsing = 5,
    PPDErr_JobNoteParsing = 6,
    PPDErr_RangeParsing = 7,
    PPDErr_OpenUIParsing = 8,
    PPDErr_BooleanParsing = 9,
    PPDErr_OpenUIQJVParsing1 = 10,
    PPDErr_PopupParsing = 11,
    PPDErr_GroupNameParsing = 12,
    PPDErr_ParentParsingNoParent = 14,
    PPDErr_ParentParsing = 15,
    PPDErr_ControlParsing = 16,
    PPDErr_FileError = 18,
    PPDErr_BadShortcut = 19,
    PPDErr_NoParent = 21,
    PPDErr_Duplicate = 23,
    PPDErr_NoPropertyPages = 25,
    PPDErr_NoGroups = 26,
    PPDErr_NoControls = 27,
    PPDErr_NotPPDFile = 28,
    PPDErr_InvalidParent = 29,
    PPDErr_InvalidOpenUIType = 31,
    PPDErr_UnsupportedJobNoteFlag = 32,
    PPDErr_NoDefaultValueFlag = 33,
    PPDErr_OpenUIQJVParsing2 = 34,
    PPDErr_NoPostscript = 35,
    PPDErr_BadConstraint = 36,
    PPDErr_SubGroupNameParsing = 37,
    /// A warning: a physical line of 255 bytes or more, or a 0xFF byte,
    /// ended the reading of statements before the end of the file.
    PPDErr_ReadEndedEarly = 38,
    /// Fatal, for a document rebuilt from a snapshot: the PPD given is not
    /// the file the snapshot was made from, or is no longer one the printer
    /// list serves. The caller parses the PPD instead.
    PPDErr_StaleSnapshot = 39,
    /// Fatal, for a document rebuilt from a snapshot: the store holds no
    /// document (no allocation mark), or a member's item cannot be read.
    PPDErr_NotSnapshot = 40,
};

/// The constant's name for a code ("PPDErr_Duplicate"), or null when unknown.
const char* PPDErrName(std::int16_t code);
/// A short English sentence saying what the code means ("the same keyword
/// is declared twice"), or null when the code is unknown.
const char* PPDErrMessage(std::int16_t code);

/// A parse error: code, fatality and the key or name of the statement.
class PPDXErrorObj : public CError {
public:
    PPDXErrorObj(std::int16_t code, bool fatal, const char* keyword = nullptr) : CError(code, fatal) {
        if (keyword && *keyword)
            mKeyword.emplace(keyword);
    }
    /// The keyword text, or null when none was recorded.
    const char* Keyword() const { return mKeyword ? mKeyword->c_str() : nullptr; }
    /// The 1-based number of the physical line where the error was found, or
    /// 0 when it belongs to the document as a whole (no pages, no controls...).
    std::uint32_t Line() const { return mLine; }
    void SetLine(std::uint32_t line) { mLine = line; }

private:
    std::optional<CString> mKeyword;
    std::uint32_t mLine = 0;
};

/// What a parse routine hands back: nothing, or a new error for the list.
using PPDXErrorPtr = std::unique_ptr<PPDXErrorObj>;

inline PPDXErrorPtr MakePPDError(std::int16_t code, bool fatal, const char* keyword = nullptr) {
    return std::make_unique<PPDXErrorObj>(code, fatal, keyword);
}

/// Ordered list of errors; owns them. First/Next share one cursor.
class PPDXErrors {
public:
    void Add(PPDXErrorPtr error) {
        if (error)
            mErrors.push_back(std::move(error));
    }
    std::size_t Count() const { return mErrors.size(); }
    bool Empty() const { return mErrors.empty(); }
    const PPDXErrorObj* First() {
        mCursor = 0;
        return Next();
    }
    const PPDXErrorObj* Next() { return mCursor < mErrors.size() ? mErrors[mCursor++].get() : nullptr; }
    const PPDXErrorObj* At(std::size_t index) const { return index < mErrors.size() ? mErrors[index].get() : nullptr; }
    bool HasFatal() const {
        for (const auto& e : mErrors)
            if (e->IsFatal())
                return true;
        return false;
    }

private:
    std::vector<PPDXErrorPtr> mErrors;
    std::size_t mCursor = 0;
};

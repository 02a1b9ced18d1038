// Document construction, the statement loop and its dispatch, value access by key.
#include "PPDX/QJVPPD.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstring>

#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"

namespace {

bool IsOpenUIKeyword(const char* k) { return TextEquals(k, "*OpenUI") || TextEquals(k, "*QJOpenUI") || TextEquals(k, "*BeginUI"); }

// Hosts known to append annotation data after an "APLANNOTATE END" line.
bool HostStopsAtAnnotations(const std::string& applicationID) {
    std::string id = applicationID;
    std::transform(id.begin(), id.end(), id.begin(), [](unsigned char c) { return std::tolower(c); });
    return id.find("vectorworks") != std::string::npos || id.find("preview") != std::string::npos ||
           id.find("indesign") != std::string::npos;
}

} // namespace

QJVPPD::QJVPPD(_PARSE_OPTIONS_ options) : PPDX(std::nullopt, options, {}, {}) { Build(); }

QJVPPD::QJVPPD(const std::filesystem::path& path, _PARSE_OPTIONS_ options, std::vector<std::string> printerNames,
               PPDHostInfo host)
    : PPDX(path, options, std::move(printerNames), std::move(host)) {
    Build();
}

QJVPPD::QJVPPD(std::unique_ptr<PPDFile> source, _PARSE_OPTIONS_ options, PPDHostInfo host)
    : PPDX(std::nullopt, options, {}, std::move(host)) {
    mFile = std::move(source);
    Build();
}

QJVPPDRef QJVPPD::FromBytes(std::string_view bytes, _PARSE_OPTIONS_ options, PPDHostInfo host) {
    return QJVPPDRef(new QJVPPD(PPDFile::FromBytes(bytes), options, std::move(host)));
}

QJVPPD::~QJVPPD() {
    // Controls point at groups and at the constraint table: drop them first.
    mShortcuts.reset();
    mControls.reset();
    mGroups.reset();
    mProperties.reset();
}

void QJVPPD::AddError(PPDXErrorPtr error) {
    if (!mErrors || !error)
        return;
    // While a statement is read, its errors carry the statement's line.
    if (error->Line() == 0)
        error->SetLine(mStatementLine);
    mErrors->Add(std::move(error));
}

void QJVPPD::Build() {
    mConstraints = std::make_unique<UIConstraints>();
    mProperties = std::make_unique<PPDXProperties>();
    mGroups = std::make_unique<PPDXGroups>();
    mControls = std::make_unique<PPDXControls>();
    if (mFile)
        Parse();
    if (!mShortcuts)
        mShortcuts = std::make_unique<PPDXShortcuts>(std::vector<PPDXControl*>{});
    if (mProperties->Empty())
        AddError(MakePPDError(PPDErr_NoPropertyPages, false));
    if (mGroups->Empty())
        AddError(MakePPDError(PPDErr_NoGroups, false));
    if (mControls->Empty())
        AddError(MakePPDError(PPDErr_NoControls, false));
}

void QJVPPD::Parse() {
    if (!mProperties || !mGroups || !mControls) {
        AddError(MakePPDError(PPDErr_OutOfMemory, true));
        return;
    }
    if (!mFile)
        return;
    PPDFileStream fileStream(mFile.get(), true);
    if (fileStream.Bad()) {
        // A file that opened and read without error but gave no bytes is empty.
        mFileErrorText = mFile->ErrorText().empty() ? std::string("empty file") : mFile->ErrorText();
        AddError(MakePPDError(PPDErr_FileError, true));
        return;
    }
    mFileStream = &fileStream;

    // The first token and its value come straight from the file stream; the
    // statement loop then starts with the rest of the first line.
    PPDXErrorPtr notPPD;
    char token[kLineSizeLimit];
    if (NextToken(fileStream, token, kMainKeywordDelimiters, true)) {
        char value[kLineSizeLimit];
        unsigned limit = kLineSizeLimit;
        long count = 0;
        if (std::strcmp(token, "*PPD-Adobe") == 0)
            count = GetQuotedString(fileStream, value, limit);
        if (count > 0 && std::strcmp(value, "4.3") == 0)
            mValid = true;
        else
            notPPD = MakePPDError(PPDErr_NotPPDFile, true);
        if (notPPD)
            notPPD->SetLine(1);
    }

    const bool stopsAtAnnotations = HostStopsAtAnnotations(mHost.applicationID);
    char line[kJoinedLineSize];
    while (!notPPD && ReadLine(line)) {
        PPDStream stream(line, static_cast<long>(std::strlen(line)));
        char keyword[kLineSizeLimit];
        if (NextToken(stream, keyword, kMainKeywordDelimiters, true)) {
            mStatementLine = LineNumber();
            if (std::strncmp(keyword, "*%QJ", 4) == 0)
                mMakerStatements = true;
            PPDXErrorPtr error = ParseStatement(stream, keyword);
            if (error) {
                const bool stop = error->IsFatal() || mAllErrorsFatal;
                AddError(std::move(error));
                if (stop)
                    break;
            }
        }
        if (stopsAtAnnotations && std::strstr(line, "APLANNOTATE END"))
            break;
    }
    mStatementLine = 0;
    // A line cut short is never silent: what followed it may be missing.
    if (mFirstCutLine) {
        PPDXErrorPtr cut = MakePPDError(PPDErr_ReadEndedEarly, false);
        cut->SetLine(mFirstCutLine);
        AddError(std::move(cut));
    }
    if (mReadFailed) {
        mFileErrorText = mFile->ErrorText();
        PPDXErrorPtr failed = MakePPDError(PPDErr_FileError, true);
        failed->SetLine(LineNumber() + 1);
        AddError(std::move(failed));
    }

    ResolveShortcuts();
    mStringList.clear();
    if (AcceptsOrphans())
        CollectOrphanGroups();
    ClearGroupNameList();
    mConstraints->Resolve();
    mFileStream = nullptr;
    if (notPPD)
        AddError(std::move(notPPD));
    mFile->Close();
}

PPDXErrorPtr QJVPPD::ParseStatement(PPDStream& stream, const char* keyword) {
    if (TextEquals(keyword, "*UIConstraints") || TextEquals(keyword, "*%QJVUIConstraints"))
        return ParseUIConstraint(stream, false);
    if (TextEquals(keyword, "*%QJVUIRequires"))
        return ParseUIConstraint(stream, true);
    if (TextEquals(keyword, "*%QJVPropPage"))
        return ParsePropertyPage(stream);
    if (TextEquals(keyword, "*%QJVGroupName"))
        return ParseGroupName(stream);
    if (TextEquals(keyword, "*%QJVSubGroupName"))
        return ParseSubGroupName(stream);
    if (TextEquals(keyword, "*%QJVParent"))
        return ParseParent(stream);
    if (TextEquals(keyword, "*%QJVFlags"))
        return ParseControl(stream);
    if (TextEquals(keyword, "*%ParamCustomPrintSize"))
        return ParseCustomPageSize(stream, keyword);
    if (TextEquals(keyword, "*%QJShortcut"))
        return ParseShortcut(stream);
    if (TextEquals(keyword, "*%QJVSpecialOption"))
        return ParseSpecialOption(stream);
    if (TextEquals(keyword, "*%QJVJobNote"))
        return ParseJobNote(stream);
    return ParsePSKeywords(stream, keyword);
}

FlagList QJVPPD::ReadFlags(PPDStream& stream) {
    FlagList flags;
    char word[kLineSizeLimit];
    // An empty field between two delimiters yields no token; keep going to
    // the end of the line rather than stopping there.
    while (stream.Remaining() > 0) {
        if (NextToken(stream, word, kFlagKeywordDelimiters, true) && word[0])
            flags.emplace_back(word);
    }
    return flags;
}

bool QJVPPD::ReadOptionAndTranslation(PPDStream& stream, char* option, char* translation, bool* hasSlash) {
    translation[0] = '\0';
    if (hasSlash)
        *hasSlash = false;
    stream.SkipWhiteSpace();
    if (!NextToken(stream, option, kOptionKeywordDelimiters, true))
        return false;
    if (stream.PrevChar() == '/') {
        if (hasSlash)
            *hasSlash = true;
        NextToken(stream, translation, kTranslationStringDelimiters, false);
    }
    return true;
}

PPDXErrorPtr QJVPPD::ParseControl(PPDStream& stream) {
    char key[kLineSizeLimit];
    stream.SkipWhiteSpace();
    if (!NextToken(stream, key, kMainKeywordDelimiters, true))
        return MakePPDError(PPDErr_ControlParsing, false, key);
    if (mControls->FindAny(key))
        return MakePPDError(PPDErr_Duplicate, false, key);
    FlagList flags = ReadFlags(stream);

    char line[kJoinedLineSize];
    if (!ReadLine(line))
        return nullptr;
    PPDStream next(line, static_cast<long>(std::strlen(line)));
    char keyword[kLineSizeLimit];
    if (!NextToken(next, keyword, kMainKeywordDelimiters, true))
        return MakePPDError(PPDErr_ControlParsing, false, key);
    if (TextEquals(keyword, "*%QJVGroup"))
        return ParseGroup(next, key, flags);
    if (IsOpenUIKeyword(keyword))
        return ParseOpenUI(next, key, flags, nullptr);
    if (TextEquals(keyword, "*OpenUIQJV"))
        return ParseOpenUIQJV(next, key, flags);
    return MakePPDError(PPDErr_ControlParsing, false, key);
}

PPDXErrorPtr QJVPPD::ParseGroup(PPDStream& stream, const char* key, FlagList& flags) {
    char lineKey[kLineSizeLimit];
    stream.SkipWhiteSpace();
    if (!NextToken(stream, lineKey, kMainKeywordDelimiters, true))
        return MakePPDError(PPDErr_GroupParsing, false, key);
    if (std::strcmp(lineKey, key) != 0)
        return nullptr;
    char groupName[kLineSizeLimit];
    PPDXGroup* group = nullptr;
    stream.SkipWhiteSpace();
    if (NextToken(stream, groupName, kOptionKeywordDelimiters, true)) {
        group = mGroups->Find(groupName, true);
        if (!group)
            group = FindAndCreateParent(groupName);
    }

    char line[kJoinedLineSize];
    if (!ReadLine(line))
        return nullptr;
    PPDStream next(line, static_cast<long>(std::strlen(line)));
    char keyword[kLineSizeLimit];
    if (!NextToken(next, keyword, kMainKeywordDelimiters, true))
        return nullptr;
    if (TextEquals(keyword, "*%QJVJobNote"))
        return ParseJobNote(next, key, flags, dynamic_cast<PPDXRollDown*>(group));
    if (TextEquals(keyword, "*%QJVRange") || TextEquals(keyword, "*%QJVUnitRange"))
        return ParseRange(next, key, flags, group, false);
    if (TextEquals(keyword, "*%QJVFloatRange"))
        return ParseRange(next, key, flags, group, true);
    if (IsOpenUIKeyword(keyword))
        return ParseOpenUI(next, key, flags, group);
    if (TextEquals(keyword, "*OpenUIQJV"))
        return ParseOpenUIQJV(next, key, flags);
    return MakePPDError(PPDErr_GroupParsing, false, key);
}

PPDXErrorPtr QJVPPD::ParseOpenUI(PPDStream& stream, const char* key, FlagList& flags, PPDXGroup* group) {
    char option[kLineSizeLimit];
    char translation[kLineSizeLimit];
    if (!ReadOptionAndTranslation(stream, option, translation))
        return MakePPDError(PPDErr_OpenUIParsing, false, key);
    // An option without a translation has an empty name: displays show the
    // keyword in its place, but the model keeps what the file said.
    std::string localName = translation[0] ? ConvertTranslation(translation) : std::string();
    char type[kLineSizeLimit];
    stream.SkipWhiteSpace();
    if (!NextToken(stream, type, kRangeStringDelimiters, true))
        return MakePPDError(PPDErr_InvalidOpenUIType, false, key);
    if (!group && mInInstallableOptions)
        group = mInstallableRollDown;
    if (std::strcmp(type, "Boolean") == 0)
        return ParseBooleanControl(key, std::move(localName), flags, group);
    if (std::strcmp(type, "PickOne") == 0)
        return ParsePopupControl(key, std::move(localName), flags, group, false);
    if (std::strcmp(type, "PickMany") == 0)
        return ParsePopupControl(key, std::move(localName), flags, group, true);
    return MakePPDError(PPDErr_InvalidOpenUIType, false, key);
}

PPDXErrorPtr QJVPPD::ParseOpenUIQJV(PPDStream&, const char* key, FlagList& flags) {
    // Blocks meant for other drivers: noted, then read past.
    AddError(MakePPDError(PPDErr_OpenUIQJVParsing2, false, key));
    flags.clear();
    char line[kJoinedLineSize];
    while (ReadLine(line)) {
        PPDStream stream(line, static_cast<long>(std::strlen(line)));
        char keyword[kLineSizeLimit];
        if (NextToken(stream, keyword, kMainKeywordDelimiters, true) && std::strcmp(keyword, "*CloseUIQJV") == 0)
            return nullptr;
    }
    return MakePPDError(PPDErr_OpenUIQJVParsing1, true, key);
}

PPDXErrorPtr QJVPPD::ParsePSKeywords(PPDStream& stream, const char* keyword) {
    if (TextEquals(keyword, "*%QJFileVersion")) {
        mQJFileVersion = RestOfLine(stream);
        return nullptr;
    }
    if (TextEquals(keyword, "*%QJVersion")) {
        std::optional<CString> value = RestOfLine(stream);
        if (!mQJVersionMac)
            mQJVersion = std::move(value);
        return nullptr;
    }
    if (TextEquals(keyword, "*%QJVersionMac")) {
        mQJVersionMac = RestOfLine(stream);
        mQJVersion = mQJVersionMac;
        return nullptr;
    }
    if (TextEquals(keyword, "*OpenGroup")) {
        char name[kLineSizeLimit];
        stream.SkipWhiteSpace();
        if (NextToken(stream, name, kOptionKeywordDelimiters, true) && std::strcmp(name, "InstallableOptions") == 0) {
            mInInstallableOptions = true;
            char translation[kLineSizeLimit];
            std::string title = NextToken(stream, translation, kOptionKeywordDelimiters, true)
                                    ? ConvertTranslation(translation)
                                    : std::string(name);
            if (!mInstallableRollDown) {
                auto rollDown = std::make_unique<PPDXRollDown>(name, std::move(title), true);
                mInstallableRollDown = rollDown.get();
                mGroups->Add(std::move(rollDown));
            }
        }
        return nullptr;
    }
    if (TextEquals(keyword, "*CloseGroup")) {
        char name[kLineSizeLimit];
        stream.SkipWhiteSpace();
        if (NextToken(stream, name, kOptionKeywordDelimiters, true) && std::strcmp(name, "InstallableOptions") == 0)
            mInInstallableOptions = false;
        return nullptr;
    }
    return PPDX::ParsePSKeywords(stream, keyword);
}

PPDXControl* QJVPPD::GetPPDXControlForKey(std::string_view key) const {
    if (key.empty())
        return nullptr;
    std::string keyword;
    keyword.reserve(key.size() + 1);
    if (key.front() != '*')
        keyword += '*';
    keyword += key;
    return mControls->FindAny(keyword.c_str());
}

std::optional<std::string> QJVPPD::CopyValueForKey(std::string_view key) const {
    PPDXControl* control = GetPPDXControlForKey(key);
    if (!control || !control->HasCurrentValue())
        return std::nullopt;
    return control->CopyCurrentControlValueString();
}

bool QJVPPD::SetValueForKey(std::string_view key, std::string_view value) {
    PPDXControl* control = GetPPDXControlForKey(key);
    // A special option's value is fixed by the PPD.
    if (!control || control->Type() == kControlTypeSpecialOption)
        return false;
    control->SetCurrentControlWithCFString(value);
    return true;
}

std::map<std::string, std::string> QJVPPD::CopyAllValues() const {
    std::map<std::string, std::string> values;
    for (PPDXControl* control : mControls->All())
        if (control->Keyword() && control->HasCurrentValue())
            values[control->Keyword()] = control->CopyPresetValueString();
    return values;
}

void QJVPPD::SetAllValues(const std::map<std::string, std::string>& values) {
    for (PPDXControl* control : mControls->All()) {
        if (!control->Keyword() || control->Type() == kControlTypeSpecialOption)
            continue;
        auto it = values.find(control->Keyword());
        if (it != values.end())
            control->SetPresetValueString(it->second);
    }
}

QJVPPD::PrintSizeStandIn::PrintSizeStandIn(QJVPPD& doc) {
    auto* printSize = dynamic_cast<PPDXPopupControl*>(doc.mControls->FindAny("*QJPrintSize"));
    if (!printSize || !printSize->IsKeywordSelected("SameAsPageSize"))
        return;
    mFollowed = "CustomPrintSize";
    if (!doc.mCustomPageSizeChosen) {
        auto* page = dynamic_cast<PPDXPopupControl*>(doc.mControls->FindAny("*PageSize"));
        mFollowed = page ? page->CopyCurrentControlValueString() : std::string();
    }
    mPrintSize = printSize;
    mPrintSize->SetCurrentControlWithCFString(mFollowed);
}

QJVPPD::PrintSizeStandIn::~PrintSizeStandIn() {
    if (mPrintSize)
        mPrintSize->SetCurrentControlWithCFString("SameAsPageSize");
}

bool QJVPPD::IsKVConstrained(const char* key, const char* choice) {
    // A print size that follows the page size is tested as that size.
    PrintSizeStandIn standIn(*this);
    return mConstraints->IsKVConstrained(key, choice);
}

PPDXPopupControl* QJVPPD::PPDCreatePopupMenu(const char* groupName, const char* keyword, const char* userName,
                                             PopupItemList items, std::optional<CString> defaultKeyword) {
    if (!groupName || !userName || !mTextConverter)
        return nullptr;
    AddGroupNameToList(GroupName{CString(groupName), std::string(groupName) + " ", true});
    PPDXGroup* group = mGroups->Find(groupName, true);
    if (!group)
        group = FindAndCreateParent(groupName);
    auto popup = std::make_unique<PPDXPopupControl>(keyword, std::string(userName), FlagList{}, true, false, false,
                                                    std::move(items), std::move(defaultKeyword), mConstraints.get());
    return static_cast<PPDXPopupControl*>(SetupControl(std::move(popup), group, true));
}

bool QJVPPD::PPDReconcilePopupMenu(const char* keyword, const char* userName, PopupItemList items,
                                   std::optional<CString> defaultKeyword) {
    auto* popup = dynamic_cast<PPDXPopupControl*>(mControls->FindAny(keyword));
    return popup && popup->Rebuild(userName, std::move(items), std::move(defaultKeyword));
}

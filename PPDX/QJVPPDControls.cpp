// Statement readers that build controls, shortcuts, special options and constraints.
#include <cstdlib>
#include <cstring>

#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"
#include "PPDX/QJVPPD.h"
#include "util/Numbers.h"

namespace {

bool IsBlockEnd(const char* k) {
    return TextEquals(k, "*CloseUI") || TextEquals(k, "*QJCloseUI") || TextEquals(k, "*CloseUIQJV") || TextEquals(k, kEndUIString);
}

PSBytes ToBytes(const char* data, long length) {
    return length > 0 ? PSBytes(data, data + length) : PSBytes{};
}

} // namespace

PPDXErrorPtr QJVPPD::ParsePopupControl(const char* keyword, std::string localName, FlagList& flags,
                                       PPDXGroup* parent, const bool& multiple) {
    PopupItemList items;
    std::optional<CString> defaultChoice;
    std::optional<CString> firstChoice;
    bool defaultFound = false;
    char line[kJoinedLineSize];
    while (true) {
        if (!ReadLine(line))
            return MakePPDError(PPDErr_PopupParsing, false, keyword);
        PPDStream stream(line, static_cast<long>(std::strlen(line)));
        char first[kLineSizeLimit];
        if (!NextToken(stream, first, kMainKeywordDelimiters, true))
            continue;
        if (IsBlockEnd(first))
            break;
        if (TextEquals(first, "*OrderDependency"))
            continue;
        if (TextStartsWith(first, "*Default")) {
            if (defaultChoice)
                return MakePPDError(PPDErr_PopupParsing, false, keyword);
            char token[kLineSizeLimit];
            stream.SkipWhiteSpace();
            if (TextEquals(first, "*Default")) {
                // "*Default key: choice" names its option explicitly.
                if (!NextToken(stream, token, kOptionKeywordDelimiters, true) || !TextEquals(token, keyword))
                    continue;
                stream.SkipWhiteSpace();
                if (!NextToken(stream, token, kFlagKeywordDelimiters, true) &&
                    !NextToken(stream, token, kFlagKeywordDelimiters, true))
                    continue;
                if (token[0])
                    defaultChoice.emplace(token);
            } else if (NextToken(stream, token, kOptionKeywordDelimiters, true) && token[0]) {
                defaultChoice.emplace(token);
            }
            continue;
        }
        if (!TextStartsWith(first, keyword))
            continue;
        // A choice: option keyword, translation, quoted code.
        PPDStream choice(line, static_cast<long>(std::strlen(line)));
        char mainKeyword[kLineSizeLimit];
        char option[kLineSizeLimit];
        char translation[kLineSizeLimit];
        NextToken(choice, mainKeyword, kMainKeywordDelimiters, true);
        bool hasSlash = false;
        if (!ReadOptionAndTranslation(choice, option, translation, &hasSlash))
            continue;
        // No translation: no local name (displays use the keyword); an empty
        // one ("X/:") stays empty.
        std::optional<std::string> title;
        if (hasSlash)
            title = translation[0] ? ConvertTranslation(translation) : std::string();
        char code[kQuotesStringSizeLimit];
        unsigned limit = kQuotesStringSizeLimit;
        long length = GetPostscriptString(choice, code, limit);
        if (!firstChoice)
            firstChoice.emplace(option);
        items.push_back(std::make_unique<_PopupItem>(option, std::move(title), ToBytes(code, length)));
    }

    if (defaultChoice) {
        for (const auto& item : items)
            if (item->keyword && *item->keyword == *defaultChoice)
                defaultFound = true;
        // A default that names no choice falls back to the first one, silently.
        if (!defaultFound && firstChoice)
            defaultChoice = firstChoice;
    } else {
        AddError(MakePPDError(PPDErr_NoDefaultValueFlag, false, keyword));
    }
    if (!parent)
        parent = DefaultGroup();
    if (!parent && !AcceptsOrphans())
        return MakePPDError(PPDErr_NoParent, false, keyword);

    const bool installable = parent && TextEquals(parent->Keyword(), PPDXPopupControl::kInstallableGroupName);
    std::vector<std::string> choices;
    for (const auto& item : items)
        choices.emplace_back(item->Keyword() ? item->Keyword() : "");
    auto popup = std::make_unique<PPDXPopupControl>(keyword, std::move(localName), std::move(flags), true, multiple,
                                                    installable, std::move(items), std::move(defaultChoice),
                                                    mConstraints.get());
    if (SetupControl(std::move(popup), parent, true))
        for (const std::string& choice : choices)
            mConstraints->KVSInsert(keyword, choice.c_str());
    return nullptr;
}

PPDXErrorPtr QJVPPD::ParseBooleanControl(const char* keyword, std::string localName, FlagList& flags,
                                         PPDXGroup* parent) {
    std::optional<CString> trueText, falseText;
    PSBytes truePS, falsePS;
    bool haveDefault = false;
    bool defaultValue = false;
    char line[kJoinedLineSize];
    while (true) {
        if (!ReadLine(line))
            return MakePPDError(PPDErr_BooleanParsing, false, keyword);
        PPDStream stream(line, static_cast<long>(std::strlen(line)));
        char first[kLineSizeLimit];
        if (!NextToken(stream, first, kMainKeywordDelimiters, true))
            continue;
        if (IsBlockEnd(first))
            break;
        if (TextEquals(first, "*OrderDependency"))
            continue;
        if (TextStartsWith(first, "*Default")) {
            char token[kLineSizeLimit] = "";
            stream.SkipWhiteSpace();
            if (TextEquals(first, "*Default")) {
                NextToken(stream, token, kOptionKeywordDelimiters, true);
                stream.SkipWhiteSpace();
                if (!NextToken(stream, token, kFlagKeywordDelimiters, true))
                    NextToken(stream, token, kFlagKeywordDelimiters, true);
            } else {
                NextToken(stream, token, kOptionKeywordDelimiters, true);
            }
            haveDefault = true;
            defaultValue = std::strcmp(token, "True") == 0;
            continue;
        }
        if (!TextStartsWith(first, keyword))
            continue;
        PPDStream choice(line, static_cast<long>(std::strlen(line)));
        char mainKeyword[kLineSizeLimit];
        char option[kLineSizeLimit] = "";
        char translation[kLineSizeLimit];
        NextToken(choice, mainKeyword, kMainKeywordDelimiters, true);
        ReadOptionAndTranslation(choice, option, translation);
        const bool isTrue = TextEquals(option, "True");
        if (!isTrue && !TextEquals(option, "False"))
            return MakePPDError(PPDErr_BooleanParsing, false, keyword);
        char code[kQuotesStringSizeLimit];
        unsigned limit = kQuotesStringSizeLimit;
        long length = GetPostscriptString(choice, code, limit);
        // The display text is the translation as written, empty when there is none.
        CString text(translation[0] ? ConvertTranslation(translation) : std::string());
        (isTrue ? trueText : falseText) = std::move(text);
        (isTrue ? truePS : falsePS) = ToBytes(code, length);
    }
    if (!haveDefault)
        AddError(MakePPDError(PPDErr_NoDefaultValueFlag, false, keyword));
    if (!parent)
        parent = DefaultGroup();
    if (!parent && !AcceptsOrphans())
        return MakePPDError(PPDErr_NoParent, false, keyword);
    auto control = std::make_unique<PPDXBooleanControl>(keyword, std::move(localName), std::move(flags), true,
                                                        std::move(trueText), std::move(truePS), std::move(falseText),
                                                        std::move(falsePS), defaultValue, mConstraints.get());
    if (SetupControl(std::move(control), parent, true)) {
        mConstraints->KVSInsert(keyword, "True");
        mConstraints->KVSInsert(keyword, "False");
    }
    return nullptr;
}

PPDXErrorPtr QJVPPD::ParseRange(PPDStream& stream, const char* keyword, FlagList& flags, PPDXGroup* parent,
                                bool isFloat) {
    char option[kLineSizeLimit];
    char translation[kLineSizeLimit];
    if (!ReadOptionAndTranslation(stream, option, translation) || !TextEquals(option, keyword))
        return MakePPDError(PPDErr_RangeParsing, false, keyword);
    if (!translation[0])
        return nullptr;
    std::string title = ConvertTranslation(translation);
    stream.SkipWhiteSpace();
    char c;
    if (stream.PeekChar() != '(' || !stream.GetChar(c))
        return MakePPDError(PPDErr_RangeParsing, false, keyword);
    char numbers[4][kLineSizeLimit];
    for (int i = 0; i < 4; ++i) {
        stream.SkipWhiteSpace();
        // The closing parenthesis may only follow the fourth number.
        if (!NextToken(stream, numbers[i], kRangeStringDelimiters, true) || (i < 3 && stream.PrevChar() == ')'))
            return MakePPDError(PPDErr_RangeParsing, false, keyword);
    }
    char code[kQuotesStringSizeLimit];
    unsigned limit = kQuotesStringSizeLimit;
    long length = GetPostscriptString(stream, code, limit);
    if (length <= 0)
        AddError(MakePPDError(PPDErr_NoPostscript, false, keyword));
    if (!parent)
        parent = DefaultGroup();
    if (!parent && !AcceptsOrphans())
        return MakePPDError(PPDErr_NoParent, false, keyword);

    std::unique_ptr<PPDXControl> control;
    if (isFloat) {
        // NaN or infinite bounds would leave every value unclamped and print
        // "nan" into the job: such a range is refused.
        std::optional<float> v[4];
        for (int i = 0; i < 4; ++i)
            if (!(v[i] = kelvo::LeadingFiniteFloat(numbers[i])))
                return MakePPDError(PPDErr_RangeParsing, false, keyword);
        control = std::make_unique<PPDXFloatRangeControl>(keyword, std::move(title), std::move(flags),
                                                          ToBytes(code, length), *v[0], *v[1], *v[2], *v[3], true,
                                                          mConstraints.get());
    } else {
        // The value is written into the job as a 32-bit integer: numbers
        // beyond that are refused rather than printed wrapped.
        std::optional<std::int32_t> v[4];
        for (int i = 0; i < 4; ++i)
            if (!(v[i] = kelvo::LeadingInt32(numbers[i])))
                return MakePPDError(PPDErr_RangeParsing, false, keyword);
        // A zero step would make every value a division by zero later on.
        if (*v[2] == 0)
            return MakePPDError(PPDErr_RangeParsing, false, keyword);
        control = std::make_unique<PPDXRangeControl>(keyword, std::move(title), std::move(flags),
                                                     ToBytes(code, length), *v[0], *v[1], *v[2], *v[3], true,
                                                     mConstraints.get());
    }
    SetupControl(std::move(control), parent, true);
    return nullptr;
}

PPDXErrorPtr QJVPPD::ParseCustomPageSize(PPDStream& stream, const char* keyword) {
    if (!TextEquals(keyword, "*%ParamCustomPrintSize"))
        return nullptr;
    PPDXControl* existing = mControls->FindAny("*CustomPrintSize");
    auto* control = dynamic_cast<PPDXCustomPageSizeControl*>(existing);
    // The keyword already belongs to a control of another type: one control
    // per keyword, so the size bounds have nowhere to go.
    if (existing && !control)
        return MakePPDError(PPDErr_Duplicate, false, "*CustomPrintSize");
    if (!control) {
        auto created = std::make_unique<PPDXCustomPageSizeControl>("*CustomPrintSize", FlagList{}, mConstraints.get());
        control = static_cast<PPDXCustomPageSizeControl*>(
            SetupControl(std::move(created), FindOrCreateGroup("FPPaperSource"), false));
        if (!control)
            return nullptr;
    }
    // Four fields (empty ones count: "Width: 1 points" holds one) lead to the
    // minimum and the maximum.
    bool width = false, height = false;
    char token[kLineSizeLimit];
    for (int i = 0; i < 4; ++i) {
        if (NextToken(stream, token, " \t:", true)) {
            width = width || TextEquals(token, "Width");
            height = height || TextEquals(token, "Height");
        }
    }
    char minimum[kLineSizeLimit], maximum[kLineSizeLimit];
    const bool haveMin = NextToken(stream, minimum, " \t:", true);
    const bool haveMax = NextToken(stream, maximum, " \t:", true);
    if (width) {
        if (haveMin)
            control->SetMinWidth(kelvo::SaturatingFloat(std::atof(minimum)));
        if (haveMax)
            control->SetMaxWidth(kelvo::SaturatingFloat(std::atof(maximum)));
    } else if (height) {
        if (haveMin)
            control->SetMinHeight(kelvo::SaturatingFloat(std::atof(minimum)));
        if (haveMax)
            control->SetMaxHeight(kelvo::SaturatingFloat(std::atof(maximum)));
    }
    return nullptr;
}

PPDXErrorPtr QJVPPD::ParseJobNote(PPDStream& stream, const char* keyword, FlagList& flags, PPDXGroup* parent) {
    char option[kLineSizeLimit];
    char translation[kLineSizeLimit];
    const bool standAlone = keyword == nullptr;
    if (!ReadOptionAndTranslation(stream, option, translation) || (!standAlone && !TextEquals(option, keyword)))
        return MakePPDError(PPDErr_JobNoteParsing, false, keyword);
    keyword = option;
    if (!translation[0])
        return nullptr;
    std::string title = ConvertTranslation(translation);

    char token[kLineSizeLimit];
    stream.SkipWhiteSpace();
    long maxLength = NextToken(stream, token, kFlagKeywordDelimiters, true) ? std::atol(token) : 0;
    long minLength = 0;
    std::uint32_t flagWord = 0;
    const _EXTENSIONS_SUPPORT_ level = sExtensionsSupport;
    const int accepted = level == kExtensionsLevel0 ? 9
                       : level == kExtensionsLevel1 ? 12
                       : level == kExtensionsLevel2 ? 15
                                                    : kJobNoteFlagWordCount;
    while (stream.Remaining() > 0) {
        if (!NextToken(stream, token, kFlagKeywordDelimiters, true) || !token[0])
            continue;
        int index = -1;
        for (int i = 0; i < kJobNoteFlagWordCount; ++i)
            if (std::strcmp(token, kJobNoteFlagWords[i]) == 0)
                index = i;
        const bool minLengthWord = TextStartsWith(token, "MinLength");
        if (minLengthWord)
            index = 22;
        if (index < 0)
            continue;
        // Only exact table words are subject to the extension level: a word
        // such as "MinLength8" (or a malformed "MinLengthX") is not in the
        // table, so it always gives the note its minimum length.
        const bool exactWord = !minLengthWord || token[9] == '\0';
        if (exactWord && index >= accepted)
            return MakePPDError(PPDErr_UnsupportedJobNoteFlag, false, keyword);
        if (minLengthWord) {
            // MinLength<n>: n is one or two digits; malformed suffixes get
            // negative codes the panel reports. Only the bare word sets the bit.
            const char* n = token + 9;
            const std::size_t len = std::strlen(n);
            const auto digit = [](char ch) { return ch >= '0' && ch <= '9'; };
            if (len == 0)
                minLength = 0;
            else if (len > 2)
                minLength = -2;
            else if (!digit(n[0]))
                minLength = -1;
            else if (len == 2 && !digit(n[1]))
                minLength = -3;
            else
                minLength = len == 1 ? n[0] - '0' : (n[0] - '0') * 10 + (n[1] - '0');
            if (len == 0)
                flagWord |= kJNMinLength;
            continue;
        }
        flagWord |= 1u << index;
    }
    if (standAlone)
        minLength = 0;

    // The following line holds either the default text or the template.
    std::optional<CString> defaultNotes;
    PSBytes templ;
    char line[kJoinedLineSize];
    if (ReadLine(line)) {
        PPDStream next(line, static_cast<long>(std::strlen(line)));
        char first[kLineSizeLimit];
        if (NextToken(next, first, " \t:", true)) {
            if (TextStartsWith(first, "*%Default")) {
                char value[kQuotesStringSizeLimit];
                unsigned limit = kQuotesStringSizeLimit;
                if (GetQuotedString(next, value, limit) > 0)
                    defaultNotes.emplace(value);
            } else if (std::strlen(first) >= 2 && keyword[0] && std::strcmp(first + 2, keyword + 1) == 0) {
                char code[kQuotesStringSizeLimit];
                unsigned limit = kQuotesStringSizeLimit;
                long length = GetPostscriptString(next, code, limit);
                templ = ToBytes(code, length);
            }
        }
    }
    auto note = std::make_unique<PPDXJobNote>(keyword, std::move(title), std::move(flags), std::move(templ),
                                              std::move(defaultNotes), true, maxLength, flagWord, minLength,
                                              mConstraints.get());
    if (parent)
        SetupControl(std::move(note), parent, true);
    else
        SetupControl(std::move(note), FindOrCreateGroup("FPQJNotes"), false);
    return nullptr;
}

PPDXErrorPtr QJVPPD::ParseJobNote(PPDStream& stream) {
    FlagList none;
    return ParseJobNote(stream, nullptr, none, nullptr);
}

PPDXErrorPtr QJVPPD::ParseShortcut(PPDStream& stream) {
    std::optional<CString> keyword = RestOfLine(stream);
    if (!keyword || keyword->Empty())
        return nullptr;
    if (!PPDXControl::ValidKeyword(keyword->c_str()))
        return MakePPDError(PPDErr_BadShortcut, false, keyword->c_str());
    mStringList.push_back(std::move(*keyword));
    return nullptr;
}

void QJVPPD::ResolveShortcuts() {
    std::vector<PPDXControl*> found;
    for (const CString& keyword : mStringList) {
        if (PPDXControl* control = mControls->FindAny(keyword.c_str()))
            found.push_back(control);
        else
            AddError(MakePPDError(PPDErr_BadShortcut, false, keyword.c_str()));
    }
    mShortcuts = std::make_unique<PPDXShortcuts>(std::move(found));
}

PPDXErrorPtr QJVPPD::ParseSpecialOption(PPDStream& stream) {
    char keyword[kLineSizeLimit];
    stream.SkipWhiteSpace();
    if (!NextToken(stream, keyword, kSpecialOptionKeywordDelimiter, true) || stream.PrevChar() != ':')
        return nullptr;
    std::optional<CString> value = RestOfLine(stream);
    if (!value || value->Empty())
        return nullptr;
    auto option = std::make_unique<PPDXSpecialOption>(keyword, ConvertTranslation(keyword), FlagList{},
                                                      value->c_str(), PSBytes{}, false, mConstraints.get());
    SetupControl(std::move(option), nullptr, false);
    return nullptr;
}

PPDXErrorPtr QJVPPD::ParseUIConstraint(PPDStream& stream, bool isRequires) {
    // The fields are runs of non-blank bytes, viewed in place instead of
    // copied out token by token: a PPD can hold tens of thousands of these
    // statements. The line holds no line end or NUL, so a field is exactly
    // what the tokenizer with blank delimiters would return, including its
    // split of a run longer than a token buffer.
    const char* p = stream.Cursor();
    const char* const end = stream.End();
    auto next = [&](std::string_view& out) {
        while (p < end && (*p == ' ' || *p == '\t'))
            ++p;
        const char* const start = p;
        const char* const limit = end - p > kLineSizeLimit - 1 ? p + (kLineSizeLimit - 1) : end;
        while (p < limit && *p != ' ' && *p != '\t')
            ++p;
        out = std::string_view(start, static_cast<std::size_t>(p - start));
        return !out.empty();
    };
    std::string_view key1, choice1, key2, choice2, token;
    if (!next(key1))
        return MakePPDError(PPDErr_BadConstraint, false);
    if (next(token)) {
        if (token[0] == '*') {
            key2 = token;
        } else {
            choice1 = token;
            next(key2);
        }
    }
    if (key2.empty())
        return MakePPDError(PPDErr_BadConstraint, false, std::string(key1).c_str());
    next(choice2);
    mConstraints->Add(key1, choice1, key2, choice2, isRequires);
    return nullptr;
}

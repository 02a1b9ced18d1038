// Control base: flags, feature framing, placeholder injection, keyword filter.
#include "PPDX/PPDObjects/Controls/PPDXControl.h"

#include <array>
#include <cstring>

#include "PPDX/Constraints/UIConstraints.h"
#include "PPDX/PPDObjects/SnapshotItems.h"
#include "TextConverter/TextConverter.h"
#include "util/BoyerMoore.h"
#include "util/CommentText.h"

namespace {

// Colour-management, first/back page and watermark properties: the panel
// draws these itself, so they never become ordinary controls.
constexpr std::array<const char*, 30> kInvalidKeywords = {
    "*QJChromaQua",
    "*QJ_PROP_COLORMODE",
    "*QJ_PROP_CQ_PURE_BLACK",
    "*QJ_PROP_CQ_OVER_PRINT",
    "*QJ_PROP_CQ_RGB_SEPARATION",
    "*QJ_PROP_CQ_SOURCE_PROFILES",
    "*QJ_PROP_CQ_SIMULATION",
    "*QJ_PROP_CQ_SPOTCOLORS",
    "*QJ_PROP_CQ_OUTPUT_PROFILE",
    "*QJ_PROP_CQ_SIM_SPEED",
    "*QJ_PROP_CQ_COLOR_SMART",
    "*QJ_PROP_CQ_GAMMA",
    "*QJ_PROP_CQ_WHITEPOINT",
    "*QJ_PROP_CQ_PHOSPHORS",
    "*QJ_PROP_CQ_CRD",
    "*QJ_PROP_CQ_CRD_IMAGES",
    "*QJ_PROP_CQ_CRD_GRAPHICS",
    "*QJ_PROP_CQ_CRD_TEXT",
    "*QJ_PROP_CQ_CRD_IMAGES_HT",
    "*QJ_PROP_CQ_CRD_GRAPHICS_HT",
    "*QJ_PROP_CQ_CRD_TEXT_HT",
    "*QJ_LOCAL_PROP_FIRSTPAGESOURCE",
    "*QJ_LOCAL_PROP_FIRSTPAGEMEDIA",
    "*QJ_LOCAL_PROP_BACKPAGESOURCE",
    "*QJ_LOCAL_PROP_BACKPAGEMEDIA",
    "*QJ_PROP_WATERMARK_FIRSTPAGEONLY",
    "*QJ_PROP_WATERMARK_FOREGROUND",
    "*QJ_PROP_WATERMARK_OUTLINE",
    "*QJ_PROP_WATERMARK",
    "*QJ_PROP_LOCAL_QJLANDSCAPE",
};

constexpr char kBeginFeature[] = "%%BeginFeature: ";
constexpr char kEndFeature[] = "%%EndFeature\n";

} // namespace

PPDXControl::PPDXControl(const char* keyword, std::string localName, FlagList flags, PSBytes psData,
                         bool visible, UIConstraints* constraints)
    : PPDXElement(keyword, std::move(localName), visible),
      mFlags(std::move(flags)),
      mPSData(std::move(psData)),
      mConstraints(constraints) {}

PPDXControl::PPDXControl(Settings& settings, int index, UIConstraints* constraints)
    : PPDXElement(settings, index), mConstraints(constraints) {
    namespace snap = kelvo::snapshot;
    std::int16_t order = 0;
    if (snap::ReadNumber(settings, tagCNTL_Order, index, order))
        mOrder = order;
    mPSData = snap::ReadBytes(settings, tagCNTL_PSData, index);
    if (auto flags = snap::ReadText(settings, tagCNTL_CntlFlags, index)) {
        std::string_view rest = *flags;
        while (!rest.empty()) {
            const std::size_t bar = rest.find('|');
            const std::string_view word = rest.substr(0, bar);
            if (!word.empty())
                mFlags.emplace_back(word);
            if (bar == std::string_view::npos)
                break;
            rest.remove_prefix(bar + 1);
        }
    }
}

SettingsStatus PPDXControl::Save(Settings& settings, const int& index) const {
    namespace snap = kelvo::snapshot;
    SettingsStatus status = PPDXElement::Save(settings, index);
    if (status != kSettingsNoErr)
        return status;
    if ((status = settings.AddValue(tagCNTL_Order, index, mOrder)) != kSettingsNoErr)
        return status;
    if (!mPSData.empty() && (status = snap::AddBytes(settings, tagCNTL_PSData, index, mPSData)) != kSettingsNoErr)
        return status;
    if (!mFlags.empty()) {
        // Every word is followed by a bar, the last one too: readers split
        // at bars and skip empty words.
        std::string text;
        for (const CString& flag : mFlags) {
            text += flag.View();
            text += '|';
        }
        status = snap::AddText(settings, tagCNTL_CntlFlags, index, text);
    }
    return status;
}

PPDXControl::~PPDXControl() = default;

long PPDXControl::PostScript(unsigned char* buffer) {
    if (buffer && !mPSData.empty())
        std::memcpy(buffer, mPSData.data(), mPSData.size());
    return static_cast<long>(mPSData.size());
}

std::string PPDXControl::PostScriptText() {
    long length = PostScript(nullptr);
    if (length <= 0)
        return {};
    std::string out(static_cast<std::size_t>(length), '\0');
    long written = PostScript(reinterpret_cast<unsigned char*>(out.data()));
    out.resize(static_cast<std::size_t>(written > 0 && written <= length ? written : 0));
    return out;
}

const char* PPDXControl::FirstControlFlag() {
    mFlagCursor = 0;
    return NextControlFlag();
}

const char* PPDXControl::NextControlFlag() {
    return mFlagCursor < mFlags.size() ? mFlags[mFlagCursor++].c_str() : nullptr;
}

bool PPDXControl::FindControlFlag(const char* flag) {
    if (!flag)
        return false;
    for (const char* f = FirstControlFlag(); f; f = NextControlFlag())
        if (std::strcmp(f, flag) == 0)
            return true;
    return false;
}

long PPDXControl::GeneratePSOutputData(unsigned char* out, const unsigned char* ps, long psLength,
                                       const char* option, bool frame) const {
    const char* keyword = Keyword() ? Keyword() : "";
    option = option ? option : "";
    long total = 0;
    auto put = [&](const void* bytes, std::size_t n) {
        if (out && n)
            std::memcpy(out + total, bytes, n);
        total += static_cast<long>(n);
    };
    if (frame) {
        // The keyword and the value text share the comment line: neither
        // may end it early.
        std::string line(kBeginFeature);
        kelvo::AppendCommentSafe(line, keyword);
        line += ' ';
        kelvo::AppendCommentSafe(line, option);
        line += '\n';
        put(line.data(), line.size());
    }
    if (psLength > 0 && ps)
        put(ps, static_cast<std::size_t>(psLength));
    else
        put("\n", 1);
    if (frame)
        put(kEndFeature, sizeof(kEndFeature) - 1);
    return total;
}

long PPDXControl::Inject(const char* name, const unsigned char* ps, long psLength, const char* value,
                         std::string& result) const {
    result.clear();
    if (!ps || psLength <= 0)
        return 0;
    std::string_view templ(reinterpret_cast<const char*>(ps), static_cast<std::size_t>(psLength));
    std::string placeholder = std::string("<") + (name ? name : "") + ">";
    const bool comment = templ.size() >= 2 && templ[0] == '%' && templ[1] == '%';
    std::string val = value ? value : "";

    std::string replacement;
    const bool hexEncode = !val.empty() && mType == kControlTypeJobNote && !comment;
    if (hexEncode) {
        static constexpr char kDigits[] = "0123456789ABCDEF";
        replacement.reserve(val.size() * 2 + 2);
        replacement += '<';
        for (unsigned char c : val) {
            replacement += kDigits[c >> 4];
            replacement += kDigits[c & 0x0F];
        }
        replacement += '>';
    } else {
        // Plain text may land on a comment line of the template (and numbers
        // are unaffected): keep it on that line.
        replacement = kelvo::CommentSafe(val);
    }
    // A PostScript string literal would swallow single backslashes as escapes.
    if (!comment)
        replacement = ReplaceAll(replacement, "\\", "\\\\");

    std::string text = ReplaceAll(templ, placeholder, replacement);
    // A placeholder written inside parentheses must end up as a bare hex
    // literal, not a string literal that happens to contain one.
    if (hexEncode)
        text = ReplaceAll(text, "(" + replacement + ")", replacement);

    // The job stream is Mac Roman; plain ASCII needs no conversion, and text
    // that is not valid UTF-8 (template bytes in the PPD's own encoding) is
    // passed through unchanged rather than lost.
    bool ascii = true;
    for (unsigned char c : text)
        ascii = ascii && c < 0x80;
    if (!ascii) {
        bool ok = false;
        std::string roman = TextConverter::ConvertBytes(text, kTextEncodingUTF8, kTextEncodingMacRoman, &ok);
        if (ok)
            text = std::move(roman);
    }
    result = std::move(text);
    return static_cast<long>(result.size());
}

void PPDXControl::UpdateKVCache(const char* key, const char* value) {
    if (mConstraints && key && value)
        mConstraints->UpdateKVCache(key, value);
}

void PPDXControl::UpdateKVCache(long keyId, long valueId) {
    if (mConstraints)
        mConstraints->UpdateKVCache(static_cast<std::int64_t>(keyId), static_cast<std::int64_t>(valueId));
}

bool PPDXControl::ValidKeyword(const char* keyword) {
    if (!keyword)
        return false;
    for (const char* invalid : kInvalidKeywords)
        if (std::strcmp(invalid, keyword) == 0)
            return false;
    return true;
}

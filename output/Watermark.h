// One watermark: its definition string, the text in the printer's encoding, and its procedure set.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kelvo::output {

/// A watermark as the user defined it. The definition is one line of
/// comma-separated fields, the form in which watermarks are kept in the
/// printer address list:
///
///   clear, x, y, red, green, blue, (7), firstPage, (9), angle, (11), (12),
///   fontSize, fontName, text...
///
/// A run of commas is one separator, so an empty field takes no position.
/// Fields 7, 9, 11 and 12 are read past. The text is everything after the
/// comma that ends the font name, commas included. Numbers are read as
/// `atoi` reads them (no digits: 0; beyond 32 bits: 0).
class QJVWatermark {
public:
    /// Longest font name kept, in bytes.
    static constexpr std::size_t kMaxFontName = 63;
    /// Longest text kept, in bytes (cut back to whole UTF-8 characters).
    static constexpr std::size_t kMaxText = 255;
    /// Size of the hexadecimal text's buffer, terminator included.
    static constexpr std::size_t kHexCacheSize = 512;

    /// Parses a UTF-8 definition string. Never fails: missing fields are 0
    /// or empty.
    explicit QJVWatermark(std::string_view definition);

    /// First-page-only becomes whether `text` is exactly "True".
    void SetFirstPageOnly(std::string_view text) { mFirstPageOnly = text == "True"; }

    const std::string& Definition() const { return mDefinition; }
    bool ClearToner() const { return mClearToner; }
    int XOffset() const { return mXOffset; }
    int YOffset() const { return mYOffset; }
    int Red() const { return mRed; }
    int Green() const { return mGreen; }
    int Blue() const { return mBlue; }
    bool FirstPageOnly() const { return mFirstPageOnly; }
    /// Tenths of a degree.
    int Angle() const { return mAngle; }
    int FontSize() const { return mFontSize; }
    const std::string& FontName() const { return mFontName; }
    /// The text: UTF-8 until GetWMTextInHex converted it, the printer's
    /// bytes after.
    const std::string& Text() const { return mText; }

    /// The text in the printer's encoding as hexadecimal digits, computed
    /// once and cached. For `language` "Chinese" the text becomes GBK; for
    /// "Japanese" with a CJK font (`fontName` ends in "-H" or "-V") CP932;
    /// otherwise ISO Latin-9. After the GBK and Latin-9 conversions every
    /// byte 0xA4 becomes 0x80, where the procedure set puts the Euro glyph.
    /// A character the target encoding lacks becomes "?". The converted
    /// bytes replace the stored text. Each byte is written as "%X": upper
    /// case, and a byte below 0x10 as a single digit.
    const std::string& GetWMTextInHex(const char* language, const char* fontName);

private:
    std::string mDefinition;
    bool mClearToner = false;
    int mXOffset = 0;
    int mYOffset = 0;
    int mRed = 0;
    int mGreen = 0;
    int mBlue = 0;
    bool mFirstPageOnly = false;
    int mAngle = 0;
    int mFontSize = 0;
    std::string mFontName;
    std::string mText;
    std::string mHexCache;
};

/// A procedure set of this many bytes or more is left out of the job. The
/// field limits keep a real one near 3 KB; the bound stays as a guard.
inline constexpr std::size_t kWatermarkProcedureLimit = 5120;

/// Which of the five procedure sets a watermark uses.
enum class WatermarkTemplate { kJapaneseClear = 1, kJapaneseColor, kChinese, kLatinClear, kLatinColor };

/// The template for a document language and a watermark: Japanese with a
/// CJK font (clear toner or colour), Chinese, any other (clear or colour).
WatermarkTemplate ChooseWatermarkTemplate(const char* language, const QJVWatermark& watermark);

/// The font name as it may stand in PostScript code after a "/": bytes
/// that would end a name or start a comment or string (white space,
/// ()<>[]{}/%), control bytes and bytes above 0x7E are dropped, since the
/// name is typed by the user; an empty result is "Helvetica".
std::string PostScriptFontName(std::string_view fontName);

/// The watermark's procedure set for a page of orientation code
/// `orientation` (1 portrait, 2 landscape, 3 reverse portrait, 4 reverse
/// landscape) in a document of `language` (the PPD's language version, may
/// be null). Landscape turns the offsets (X, Y) to (-Y, X) and reverse
/// landscape to (Y, -X). Nothing when the text would be `limit` bytes or
/// longer.
std::optional<std::string> BuildWatermarkProcedure(QJVWatermark& watermark, int orientation, const char* language,
                                                   std::size_t limit = kWatermarkProcedureLimit);

} // namespace kelvo::output

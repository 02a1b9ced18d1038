// Strings tables: escapes and comments, bad entries skipped with a log line, language fallback, hostile files.
#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "TestSupport.h"
#include "platform/StringsTable.h"
#include "util/Log.h"

namespace fs = std::filesystem;
using kelvo::platform::StringsTable;

namespace {

/// Collects the library's log lines while it lives.
class CapturedLog {
public:
    CapturedLog() : mPrevious(kelvo::SetLogSink([this](std::string_view line) { lines.emplace_back(line); })) {}
    ~CapturedLog() { kelvo::SetLogSink(std::move(mPrevious)); }
    std::vector<std::string> lines;

private:
    kelvo::LogSink mPrevious;
};

void WriteText(const fs::path& path, std::string_view text) {
    fs::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

} // namespace

TEST(StringsTable, EscapesCommentsAndLayout) {
    const struct {
        std::string_view file;
        const char* expected; // the value of "k"
    } rows[] = {
        {R"("k" = "plain";)", "plain"},
        {R"("k" = "say \"hi\"";)", "say \"hi\""},
        {R"("k" = "back\\slash";)", "back\\slash"},
        {R"("k" = "a\nb\tc\rd";)", "a\nb\tc\rd"},
        {R"("k" = "caf\U00e9";)", "caf\xC3\xA9"},
        {R"("k" = "\u20AC";)", "\xE2\x82\xAC"},
        {R"("k" = "\UD83D\UDE00";)", "\xF0\x9F\x98\x80"},
        {"\"k\" = \"r\xC3\xA9sum\xC3\xA9\";", "r\xC3\xA9sum\xC3\xA9"},
        {"\xEF\xBB\xBF\"k\" = \"after BOM\";", "after BOM"},
        {"/* c */ \"k\" /* c */ = // to the end\n \"spread\" ;", "spread"},
        {"// \"k\" = \"commented\";\n\"k\" = \"real\";", "real"},
        {"\"k\" = \"first\";\n\"k\" = \"second\";", "second"},
        {R"("k";)", "k"},
        {"\t\"k\"=\"tight\";\r\n", "tight"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
        CapturedLog log;
        const StringsTable table = StringsTable::Parse(row.file, "t.strings");
        ASSERT_NE(table.Find("k"), nullptr);
        EXPECT_EQ(*table.Find("k"), row.expected);
        EXPECT_EQ(table.Size(), 1u);
        EXPECT_TRUE(log.lines.empty()) << log.lines.front();
    }
}

TEST(StringsTable, BadEntriesAreSkippedAndLogged) {
    // Each bad line stands between two good ones, on line 2.
    const std::string_view bad[] = {
        R"("k" = "never closed;)",
        R"("k" = "missing semicolon")",
        R"("k" "no equals";)",
        R"(k = "unquoted key";)",
        R"("k" = unquoted;)",
        R"("k" = "bad \q escape";)",
        R"("k" = "short \U12";)",
        R"("k" = "lone \UDC00";)",
        R"("k" = "high \UD800 alone";)",
        R"("k" = "nul \U0000";)",
        "\"k\" = \"raw \xFF byte\";",
        "\"k\" = \"overlong \xC0\xAF\";",
        "\"k\" = \"cut \xE2\x82\";",
        std::string_view("\"k\" = \"nul \0 inside\";", sizeof("\"k\" = \"nul \0 inside\";") - 1),
        "\"k\" = \"ends\\",
        "=;;;\"\"\"",
    };
    for (std::string_view line : bad) {
        SCOPED_TRACE(line);
        const std::string file = "\"before\" = \"1\";\n" + std::string(line) + "\n\"after\" = \"2\";\n";
        CapturedLog log;
        const StringsTable table = StringsTable::Parse(file, "t.strings");
        EXPECT_EQ(table.Lookup("before"), "1");
        EXPECT_EQ(table.Lookup("after"), "2");
        EXPECT_EQ(table.Find("k"), nullptr);
        ASSERT_FALSE(log.lines.empty());
        EXPECT_EQ(log.lines.front().rfind("t.strings:2: ", 0), 0u) << log.lines.front();
    }
}

TEST(StringsTable, UnreadableShapesKeepWhatCameBefore) {
    CapturedLog log;
    StringsTable table = StringsTable::Parse("\"a\" = \"1\";\n/* never closed\n\"b\" = \"2\";", "t.strings");
    EXPECT_EQ(table.Lookup("a"), "1");
    EXPECT_EQ(table.Find("b"), nullptr);
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_NE(log.lines[0].find("comment not closed"), std::string::npos);

    // UTF-16 files are refused whole rather than read as garbage.
    table = StringsTable::Parse(std::string_view("\xFF\xFE\"\0k\0\"\0", 8), "u16.strings");
    EXPECT_EQ(table.Size(), 0u);
}

TEST(StringsTable, MissingKeyAnswersTheKey) {
    const StringsTable table = StringsTable::Parse(R"("known" = "text";)", "t");
    EXPECT_EQ(table.Lookup("known"), "text");
    EXPECT_EQ(table.Lookup("PRESS_OKAY"), "PRESS_OKAY");
    EXPECT_EQ(table.Find("PRESS_OKAY"), nullptr);
    EXPECT_EQ(StringsTable().Lookup("Watermark3"), "Watermark3");
}

TEST(StringsTable, GarbageNeverCrashesAndLogsABoundedAmount) {
    std::mt19937 random(20240611);
    const std::string alphabet = "\"\\=;/*\nUu0123456789abcdefDC \t\r\xC3\xA9\xFF";
    for (int round = 0; round < 300; ++round) {
        std::string text(random() % 400, ' ');
        for (char& c : text)
            c = round % 2 ? alphabet[random() % alphabet.size()] : static_cast<char>(random());
        CapturedLog log;
        const StringsTable table = StringsTable::Parse(text, "g");
        EXPECT_LE(log.lines.size(), 21u);
        for (int i = 0; i < 5; ++i)
            (void)table.Lookup(std::string(1, static_cast<char>('a' + i)));
    }

    std::string many;
    for (int i = 0; i < 100; ++i)
        many += "bad line\n";
    CapturedLog log;
    (void)StringsTable::Parse(many, "many");
    ASSERT_EQ(log.lines.size(), 21u);
    EXPECT_EQ(log.lines.back(), "many: 80 more bad entries skipped");
}

TEST(StringsTable, LoadFindsTheLanguageThenFallsBackToEnglish) {
    kelvotest::TempFile scratch("", "unused");
    const fs::path resources = scratch.Path().parent_path() / "Resources";
    WriteText(resources / "en.lproj/Localizable.strings", R"("t" = "en";)");
    WriteText(resources / "de.lproj/Localizable.strings", R"("t" = "de";)");
    WriteText(resources / "de_AT.lproj/Localizable.strings", R"("t" = "de_AT";)");
    WriteText(resources / "fr.lproj/Localizable.strings", std::string(kelvo::platform::kMaxStringsFileBytes + 1, ' '));
    WriteText(resources / "x.strings", R"("t" = "escaped";)");
    fs::create_directories(resources / "it.lproj/Localizable.strings"); // a folder, not a file

    const struct {
        std::vector<std::string> languages;
        const char* expected;
    } rows[] = {
        {{"de_AT", "de"}, "de_AT"},
        {{"de_CH", "de"}, "de"},
        {{"ja"}, "en"},
        {{}, "en"},
        {{"fr"}, "en"}, // too large: not read
        {{"it"}, "en"},
        {{"..", "../..", "a/b"}, "en"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        CapturedLog log;
        const StringsTable table = StringsTable::Load(resources, "Localizable", row.languages);
        EXPECT_EQ(table.Lookup("t"), row.expected);
    }

    CapturedLog log;
    const StringsTable none = StringsTable::Load(resources, "NoSuchTable", {"de"});
    EXPECT_EQ(none.Size(), 0u);
    EXPECT_TRUE(none.Source().empty());
    EXPECT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(StringsTable::Load(resources / "en.lproj", "../x", {}).Size(), 0u);
}

TEST(StringsTable, PreferredLanguagesFromTheEnvironment) {
    const struct {
        const char* language;
        const char* lcAll;
        const char* lcMessages;
        const char* lang;
        std::vector<std::string> expected;
    } rows[] = {
        {nullptr, nullptr, nullptr, "de_AT.UTF-8@euro", {"de_AT", "de"}},
        {"fr:de_DE", nullptr, nullptr, "en_GB.UTF-8", {"fr", "de_DE", "de", "en_GB", "en"}},
        {"", "ja_JP.UTF-8", "de_DE", "fr_FR", {"ja_JP", "ja"}},
        {nullptr, "", "pt_BR", "fr_FR", {"pt_BR", "pt"}},
        {nullptr, nullptr, nullptr, "C.UTF-8", {}},
        {nullptr, nullptr, nullptr, "POSIX", {}},
        {"../../etc:de", nullptr, nullptr, nullptr, {"de"}},
        {nullptr, nullptr, nullptr, nullptr, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.lang ? row.lang : "(null)");
        EXPECT_EQ(kelvo::platform::PreferredLanguages(row.language, row.lcAll, row.lcMessages, row.lang),
                  row.expected);
    }
}

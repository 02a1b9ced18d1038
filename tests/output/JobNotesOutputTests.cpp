// Job notes at print time: layout comments, special lines, credentials, encryption.
#include <gtest/gtest.h>

#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/ParseHelpers.h"
#include "output/JobNotesOutput.h"
#include "output/NoteCrypt.h"
#include "output/UserAuth.h"
#include "platform/memory/InMemoryHost.h"

using namespace kelvo::output;
using kelvotest::Parsed;

namespace {

std::string Text(const InjectionPiece& piece) { return std::string(piece.bytes.begin(), piece.bytes.end()); }

/// "SITE|TEXT" per piece, for whole-list comparisons.
std::vector<std::string> Rendered(const std::vector<InjectionPiece>& pieces) {
    std::vector<std::string> out;
    for (const InjectionPiece& piece : pieces)
        out.push_back(std::to_string(piece.site) + "|" + Text(piece));
    return out;
}

std::vector<std::string> AtSite(const std::vector<InjectionPiece>& pieces, std::int32_t site) {
    std::vector<std::string> out;
    for (const InjectionPiece& piece : pieces)
        if (piece.site == site)
            out.push_back(Text(piece));
    return out;
}

/// Test keys made on the fly: a master key and note keys 2 to 7.
KeySet TestKeys() {
    KeySet keys;
    keys.master = Key256{};
    EXPECT_TRUE(RandomBytes(*keys.master));
    for (auto& note : keys.notes) {
        note = Key256{};
        EXPECT_TRUE(RandomBytes(*note));
    }
    return keys;
}

/// A job note without template; the comment line after it is the line the
/// note statement reads as its template line.
std::string Note(const std::string& key, const std::string& flags = "") {
    return "*%QJVJobNote " + key + "/" + key.substr(1) + ": 64" + flags + "\n*% no template\n";
}

/// The pieces the notes give with `keys` and the layout `settings`.
std::vector<InjectionPiece> RunNotes(QJVPPD& doc, const KeySet* keys, int orientation = 1,
                                     const kelvo::platform::PrintSettings* settings = nullptr) {
    kelvo::platform::InMemoryPrintSettings empty;
    PrintSettingsTicket base(nullptr, &empty);
    QJVJobTicket ticket(&base, &empty, CreatePostscriptDataFileKey());
    QJVJobNoteList list(&doc, true);
    list.SetOrientation(orientation);
    list.SetKeys(keys);
    list.SetLoginName("login");
    EXPECT_EQ(list.outInjectionData(&ticket, settings ? settings : &empty), 0);
    return ticket.Pieces();
}

void SetNote(QJVPPD& doc, const char* key, const char* text) {
    PPDXJobNote* note = doc.GetControls()->FindJobNote(key, true);
    ASSERT_NE(note, nullptr) << key;
    note->SetNotes(text);
}

} // namespace

TEST(JobNotesOutput, TwoOrSixPagesTurnTheSheet) {
    struct Row {
        int orientation;
        long long rows, columns;
        int expected;
    } rows[] = {
        {1, 1, 2, 4}, {3, 2, 1, 4}, {2, 1, 2, 1}, {4, 2, 3, 1}, {1, 3, 2, 4}, // 2 and 6 pages turn
        {1, 2, 2, 1}, {2, 1, 1, 2}, {4, 3, 3, 4}, {2, 1, 4, 2},              // others keep it
        {1, 0, 2, 1}, {2, -1, -2, 2}, {1, 1LL << 40, 1, 1},                  // nonsense keeps it
    };
    for (const Row& row : rows)
        EXPECT_EQ(TurnOrientationForLayout(row.orientation, row.rows, row.columns), row.expected)
            << row.orientation << " " << row.rows << "x" << row.columns;
}

TEST(JobNotesOutput, LayoutCommentsFromTheSettings) {
    Parsed p(Note("*Notes1"));
    struct Row {
        int orientation;
        kelvo::platform::PropertyValue rows, columns;
        const char* line;
    } rows[] = {
        {1, 1, 1, "%%Orientation: Portrait\n"},
        {3, 1, 1, "%%Orientation: Portrait\n"},
        {2, 1, 1, "%%Orientation: Landscape\n"},
        {1, 1, 2, "%%Orientation: Landscape\n"},     // turned to 4
        {2, "2", "3", "%%Orientation: Portrait\n"},  // text counts as the printing system saves it
        {2, 2.0, 1.0, "%%Orientation: Portrait\n"},
        {1, "two", "2x", "%%Orientation: Portrait\n"}, // unreadable: one page
    };
    for (const Row& row : rows) {
        kelvo::platform::InMemoryPrintSettings settings;
        settings.Set(kLayoutRowsKey, row.rows);
        settings.Set(kLayoutColumnsKey, row.columns);
        const std::vector<InjectionPiece> pieces = RunNotes(*p.doc, nullptr, row.orientation, &settings);
        EXPECT_EQ(AtSite(pieces, kInjectLayoutComment),
                  (std::vector<std::string>{"%%MacCoreNUp: true\n", row.line}))
            << row.orientation;
    }
}

TEST(JobNotesOutput, SpecialLinesAndOtherNotesInOrder) {
    Parsed p(Note("*Notes1") + Note("*Memo") + Note("*Resume") + Note("*Notes3") + Note("*QJVPrintTime") +
             Note("*DeptPassword"));
    SetNote(*p.doc, "*Notes1", "Hello\r\nWorld\x7F!");
    SetNote(*p.doc, "*Memo", "for\nyou");
    SetNote(*p.doc, "*Resume", "1234");
    SetNote(*p.doc, "*QJVPrintTime", "12:00");
    const std::vector<InjectionPiece> pieces = RunNotes(*p.doc, nullptr);
    EXPECT_EQ(Rendered(pieces), (std::vector<std::string>{
                                        "504|%%MacCoreNUp: true\n",
                                        "504|%%Orientation: Portrait\n",
                                        "30|%%QJVCustom1: Hello  World !\n",
                                        "81|%%BeginFeature: *Memo for you\n%%EmptyOption\n\n%%EndFeature\n",
                                        "30|%%PersPassword: 1234\n",
                                        "30|%%QJVCustom4: \n", // no text: the line still goes
                                        "30|%%QJVPrintTime: 12:00\n",
                                        "30|%%DeptPassword: \n",
                                    }));
}

TEST(JobNotesOutput, WithoutTicket) {
    Parsed p(Note("*Notes1"));
    QJVJobNoteList list(p.doc.get(), true);
    EXPECT_EQ(list.outInjectionData(nullptr, nullptr), -50);
    EXPECT_NE(list.find("*Notes1"), nullptr);
    EXPECT_EQ(list.find("*Notes2"), nullptr);
}

TEST(JobNotesOutput, EncryptedNotesUseTheChosenKeyOrStayOut) {
    const std::string notes = Note("*Notes2", "|Encrypt") + Note("*Memo", "|AESEncrypt") + Note("*Notes1") +
                              "*%QJVJobNote *QJAccount/Account: 16|Encrypt\n"
                              "*%QJAccount: \"(<*QJAccount>) /QJAccount exch def\"\n";
    const KeySet keys = TestKeys();
    struct Row {
        const char* specialKey; // value of *UseSpecialKey, or null for none
        int keyNumber;          // the key that must open the notes; 0: notes left out
        bool haveKeys;
    } rows[] = {{nullptr, 2, true}, {"3", 3, true}, {"7", 7, true}, {"9", 0, true}, {"1", 0, true},
                {"3", 0, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.specialKey ? row.specialKey : "(none)");
        const std::string option =
            row.specialKey ? std::string("*%QJVSpecialOption *UseSpecialKey: ") + row.specialKey + "\n" : "";
        Parsed p(notes + option);
        SetNote(*p.doc, "*Notes2", "secret plan");
        SetNote(*p.doc, "*Memo", "memo text");
        SetNote(*p.doc, "*Notes1", "plain");
        SetNote(*p.doc, "*QJAccount", "4711");
        const std::vector<InjectionPiece> pieces = RunNotes(*p.doc, row.haveKeys ? &keys : nullptr);
        const std::vector<std::string> lines = AtSite(pieces, kInjectJobNoteData);
        const std::vector<std::string> features = AtSite(pieces, kInjectFeatureCode);
        for (const InjectionPiece& piece : pieces)
            for (const char* typed : {"secret plan", "memo text", "4711"})
                EXPECT_EQ(Text(piece).find(typed), std::string::npos) << typed;
        if (row.keyNumber == 0) {
            EXPECT_EQ(lines, std::vector<std::string>{"%%QJVCustom1: plain\n"});
            EXPECT_TRUE(features.empty());
            continue;
        }
        ASSERT_EQ(lines.size(), 2u);
        ASSERT_EQ(lines[0].rfind("%%QJVCustom2: KN1:", 0), 0u) << lines[0];
        const std::string encrypted = lines[0].substr(14, lines[0].size() - 15);
        EXPECT_EQ(DecryptNote(encrypted, *keys.Note(row.keyNumber)), "secret plan");
        EXPECT_FALSE(DecryptNote(encrypted, *keys.Note(row.keyNumber == 2 ? 3 : 2)));
        ASSERT_EQ(features.size(), 2u);
        // The other notes' own output is made from the encrypted text, and
        // the typed text is given back afterwards.
        EXPECT_EQ(features[0].rfind("%%BeginFeature: *Memo KN1:", 0), 0u) << features[0];
        EXPECT_EQ(features[1].rfind("%%BeginFeature: *QJAccount KN1:", 0), 0u) << features[1];
        EXPECT_STREQ(p.doc->GetControls()->FindJobNote("*Memo", true)->GetNotes(), "memo text");
        EXPECT_STREQ(p.doc->GetControls()->FindJobNote("*QJAccount", true)->GetNotes(), "4711");
    }
}

TEST(JobNotesOutput, CredentialsTravelPackedOnce) {
    const KeySet keys = TestKeys();
    KeySet noMaster = keys;
    noMaster.master.reset();
    struct Row {
        const char* option;   // the special option that turns it on
        const char* name;     // null: no name note
        const char* password; // null: no password note
        const KeySet* keys;
        const char* expectedName; // null: no line
    } rows[] = {
        {"*QJVAuthenticateWithLDAP: True", "ann", "s3cret", &keys, "ann"},
        {"*CopierUserAuth: True", "dom/ann:x", "s3cret", &keys, "domannx"}, // path separators cleaned out
        {"*CopierUserAuth: True", "", "s3cret", &keys, "login"},            // empty: the login name
        {"*CopierUserAuth: True", nullptr, "s3cret", &keys, "login"},
        {"*CopierUserAuth: False", "ann", "s3cret", &keys, nullptr},
        {"*QJJobFormat: PDL", "ann", "s3cret", &keys, nullptr},
        {"*CopierUserAuth: True", "ann", "", &keys, nullptr},
        {"*CopierUserAuth: True", "ann", nullptr, &keys, nullptr},
        {"*CopierUserAuth: True", "ann", "s3cret", &noMaster, nullptr},
        {"*CopierUserAuth: True", "ann", "s3cret", nullptr, nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.option) + " " + (row.name ? row.name : "(no note)"));
        std::string body = Note("*Notes1");
        if (row.password)
            body += Note("*QJUserAuthPwd", "|Password|Encrypt"); // never encrypted as a note
        if (row.name)
            body += Note("*QJUserAuthName");
        body += std::string("*%QJVSpecialOption ") + row.option + "\n";
        Parsed p(body);
        if (row.name)
            SetNote(*p.doc, "*QJUserAuthName", row.name);
        if (row.password)
            SetNote(*p.doc, "*QJUserAuthPwd", row.password);
        const std::vector<InjectionPiece> pieces = RunNotes(*p.doc, row.keys);
        const std::vector<std::string> lines = AtSite(pieces, kInjectJobNoteData);
        for (const InjectionPiece& piece : pieces)
            EXPECT_EQ(Text(piece).find("s3cret"), std::string::npos);
        EXPECT_TRUE(AtSite(pieces, kInjectFeatureCode).empty());
        if (!row.expectedName) {
            EXPECT_EQ(lines, std::vector<std::string>{"%%QJVCustom1: \n"});
            continue;
        }
        ASSERT_EQ(lines.size(), 2u);
        // The pair stands where the first of its notes stands.
        EXPECT_EQ(lines[0], "%%QJVCustom1: \n");
        const std::string& tag = lines[1];
        ASSERT_EQ(tag.rfind("%%QJVUATag: ", 0), 0u) << tag;
        ASSERT_EQ(tag.back(), '\n');
        UnpackedCredentials credentials;
        ASSERT_EQ(UAL_UnpackAndDecrypt(tag.substr(12, tag.size() - 13), *keys.master, credentials), 0);
        EXPECT_EQ(credentials.name, row.expectedName);
        EXPECT_EQ(credentials.password, "s3cret");
        EXPECT_EQ(credentials.domainType, kUALDomainTypeDefault);
    }
}

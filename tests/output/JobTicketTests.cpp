// The job ticket: pieces and their sites, the 1024-byte cap, the page size's
// own site, print-settings entries, and the injection file it saves (name,
// content, permissions, ACL) plus the clean-up of stale files.
#include <gtest/gtest.h>

#include <sys/acl.h>
#include <sys/stat.h>
#include <acl/libacl.h>
#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "PPDX/ParseHelpers.h"
#include "TestSupport.h"
#include "output/InjectionFile.h"
#include "output/JobTicket.h"
#include "output/TempFiles.h"
#include "platform/memory/InMemoryHost.h"
#include "store/PlistTestSupport.h"
#include "util/Log.h"

using namespace kelvo::output;
using kelvo::platform::InMemoryPrintSettings;
using kelvo::platform::PropertyDictionary;
using kelvo::platform::PropertyValue;
using kelvotest::ScopedEnv;
using kelvotest::TempDir;

namespace {

const std::string kKey = CreatePostscriptDataFileKey();

/// Collects the library's log lines for the length of a test.
class LogCapture {
public:
    LogCapture() {
        mOld = kelvo::SetLogSink([this](std::string_view line) { lines.emplace_back(line); });
    }
    ~LogCapture() { kelvo::SetLogSink(std::move(mOld)); }
    std::vector<std::string> lines;

private:
    kelvo::LogSink mOld;
};

/// A control whose PostScript is exactly the given bytes.
class FixedControl final : public PPDXControl {
public:
    FixedControl(const char* keyword, std::string ps)
        : PPDXControl(keyword, "Fixed", FlagList{}, PSBytes(ps.begin(), ps.end()), true, nullptr) {}
    void Restore(Settings&, int) override {}
    void ResetToDefaultValue() override {}
    std::string CopyCurrentControlValueString() override { return "x"; }
    void SetCurrentControlWithCFString(std::string_view) override {}
};

std::vector<std::uint8_t> Bytes(std::string_view text) {
    return {text.begin(), text.end()};
}

/// A ticket over its own settings, as the panel makes one for a save.
struct Ticket {
    InMemoryPrintSettings settings;
    PrintSettingsTicket writer{nullptr, &settings};
    QJVJobTicket ticket{&writer, &settings, kKey};
};

std::optional<uid_t> UserId(const char* name) {
    const passwd* entry = getpwnam(name);
    return entry ? std::optional<uid_t>(entry->pw_uid) : std::nullopt;
}

std::string CurrentUserName() {
    const passwd* entry = getpwuid(geteuid());
    return entry ? entry->pw_name : "";
}

mode_t ModeOf(const std::filesystem::path& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

} // namespace

TEST(JobTicket, SitesKeepTheirWireValuesAndNames) {
    const struct {
        std::int32_t site;
        std::int32_t wire;
        const char* name;
    } rows[] = {
        {kInjectSuppressFeature, -9, "kInjectSuppressFeature"},
        {kInjectJobNoteData, 30, "kInjectJobNoteData"},
        {kInjectBeforeEndSetup, 70, "kInjectBeforeEndSetup"},
        {kInjectAfterEndSetup, 71, "kInjectAfterEndSetup"},
        {kInjectFeatureCode, 81, "kInjectFeatureCode"},
        {kInjectHeaderComment, 501, "kInjectHeaderComment"},
        {kInjectLayoutComment, 504, "kInjectLayoutComment"},
        {kInjectMailboxPath, 900, "kInjectMailboxPath"},
    };
    for (const auto& r : rows) {
        EXPECT_EQ(r.site, r.wire) << r.name;
        EXPECT_STREQ(InjectionSiteName(r.wire), r.name);
    }
    for (std::int32_t unknown : {0, -1, 80, 82, 505, 901, std::numeric_limits<std::int32_t>::min()})
        EXPECT_EQ(InjectionSiteName(unknown), nullptr) << unknown;
}

TEST(JobTicket, PiecesKeepOrderSitesAndExactBytes) {
    Ticket t;
    t.ticket.Add(kInjectHeaderComment, "%%QJVDriver\n");
    t.ticket.Add(kInjectFeatureCode, "a\0b", 3); // NUL bytes are data like any other
    t.ticket.Add(kInjectJobNoteData, "", 0);     // an empty piece still makes a pair
    t.ticket.Add(kInjectFeatureCode, nullptr, 0);
    t.ticket.Add(kInjectFeatureCode, nullptr, 5); // no bytes to copy: left out
    t.ticket.Add(kInjectHeaderComment, "%%QJVDriver\n"); // the same piece again is kept again
    const std::vector<InjectionPiece> expected = {
        {501, Bytes("%%QJVDriver\n")}, {81, Bytes(std::string_view("a\0b", 3))}, {30, {}}, {81, {}},
        {501, Bytes("%%QJVDriver\n")},
    };
    EXPECT_EQ(t.ticket.Pieces(), expected);
    t.ticket.Create();
    EXPECT_TRUE(t.ticket.Pieces().empty());
}

TEST(JobTicket, ControlPiecesUpTo1024BytesAndThePageSizeSite) {
    const std::string code1024(1024, 'x');
    const struct {
        const char* keyword;
        std::string ps;
        PostScriptInjectionSite asked;
        bool added;
        std::int32_t site;
        bool logged;
    } rows[] = {
        {"*QJStaple", code1024, kInjectFeatureCode, true, 81, false},
        {"*QJStaple", code1024 + "y", kInjectFeatureCode, false, 0, false},
        {"*QJStaple", std::string(100000, 'z'), kInjectFeatureCode, false, 0, false},
        {"*QJStaple", "", kInjectFeatureCode, true, 81, false}, // nothing to say is still a pair
        {"*QJStaple", "s", kInjectJobNoteData, true, 30, false},
        {"*PageSize", "p", kInjectFeatureCode, true, 70, true},
        {"*PageSize", code1024, kInjectHeaderComment, true, 70, true},
        {"*PageSize", code1024 + "y", kInjectFeatureCode, false, 0, false},
        {"*PageSizeX", "p", kInjectFeatureCode, true, 81, false}, // the whole keyword must match
        {"*pagesize", "p", kInjectFeatureCode, true, 81, false},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(std::string(r.keyword) + " " + std::to_string(r.ps.size()));
        Ticket t;
        LogCapture log;
        FixedControl control(r.keyword, r.ps);
        t.ticket.Add(r.asked, &control);
        if (!r.added) {
            EXPECT_TRUE(t.ticket.Pieces().empty());
        } else {
            ASSERT_EQ(t.ticket.Pieces().size(), 1u);
            EXPECT_EQ(t.ticket.Pieces()[0].site, r.site);
            EXPECT_EQ(t.ticket.Pieces()[0].bytes, Bytes(r.ps));
        }
        EXPECT_EQ(log.lines, r.logged ? std::vector<std::string>{"'*PageSize' kInjectBeforeEndSetup <------------"}
                                       : std::vector<std::string>{});
    }
    Ticket t;
    t.ticket.Add(kInjectFeatureCode, static_cast<PPDXControl*>(nullptr));
    EXPECT_TRUE(t.ticket.Pieces().empty());
}

TEST(JobTicket, ParsedPageSizeGoesBeforeTheEndOfSetupFramed) {
    kelvotest::Parsed p(kelvotest::Popup("*PageSize",
                                         "*PageSize A4/A4: \"<</PageSize[595 842]>>setpagedevice\"\n"
                                         "*PageSize Letter/Letter: \"<</PageSize[612 792]>>setpagedevice\"\n",
                                         "*DefaultPageSize: A4\n"));
    PPDXControl* page = p.Control("*PageSize");
    ASSERT_NE(page, nullptr);
    Ticket t;
    t.ticket.Add(kInjectFeatureCode, page);
    ASSERT_EQ(t.ticket.Pieces().size(), 1u);
    EXPECT_EQ(t.ticket.Pieces()[0].site, kInjectBeforeEndSetup);
    EXPECT_EQ(t.ticket.Pieces()[0].bytes,
              Bytes("%%BeginFeature: *PageSize A4\n<</PageSize[595 842]>>setpagedevice\n%%EndFeature\n"));
}

TEST(JobTicket, SavePPDForAllKeysWritesEachControlsValueUnderItsKeyword) {
    kelvotest::Parsed p(kelvotest::Popup("*PageSize",
                                         "*PageSize A4/A4: \"<</PageSize[595 842]>>setpagedevice\"\n"
                                         "*PageSize Letter/Letter: \"<</PageSize[612 792]>>setpagedevice\"\n",
                                         "*DefaultPageSize: A4\n") +
                        kelvotest::Popup("*QJDuplex",
                                         "*QJDuplex None/Off: \"<</Duplex false>> setpagedevice\"\n"
                                         "*QJDuplex DuplexNoTumble/Long: \"<</Duplex true>> setpagedevice\"\n",
                                         "*DefaultQJDuplex: None\n"));
    ASSERT_TRUE(p.doc->SetValueForKey("QJDuplex", "DuplexNoTumble"));
    Ticket t;
    t.settings.Set("*PageSize", "Letter"); // replaced by the document's value
    t.settings.Set("Other", 5);            // not the ticket's business: kept
    t.ticket.SavePPDForAllKeys(p.doc.get(), "com.qjv.print.pde");
    const PropertyDictionary expected = {
        {"*PageSize", PropertyValue("A4")}, {"*QJDuplex", PropertyValue("DuplexNoTumble")}, {"Other", PropertyValue(5)}};
    EXPECT_EQ(t.settings.CopyAsDictionary(), expected);

    // Without a document, or without a ticket to write through, nothing changes.
    t.ticket.SavePPDForAllKeys(nullptr, "k");
    InMemoryPrintSettings untouched;
    QJVJobTicket orphan(nullptr, &untouched, kKey);
    orphan.SavePPDForAllKeys(p.doc.get(), "k");
    EXPECT_TRUE(untouched.CopyAsDictionary().empty());
}

TEST(JobTicket, GetConvertsWholeNumbersWithin32Bits) {
    const struct {
        const char* name;
        std::optional<PropertyValue> value;
        int result;
        int out; // -1 when left alone
    } rows[] = {
        {"absent", std::nullopt, 0, -1},
        {"integer", PropertyValue(42), 1, 42},
        {"negative", PropertyValue(-9), 1, -9},
        {"largest", PropertyValue(std::int64_t{2147483647}), 1, 2147483647},
        {"smallest", PropertyValue(std::int64_t{-2147483648LL}), 1, std::numeric_limits<int>::min()},
        {"too large", PropertyValue(std::int64_t{2147483648LL}), 0, -1},
        {"too small", PropertyValue(std::int64_t{-2147483649LL}), 0, -1},
        {"whole real", PropertyValue(3.0), 1, 3},
        {"fraction", PropertyValue(2.5), 0, -1},
        {"real too large", PropertyValue(4e9), 0, -1},
        {"nan", PropertyValue(std::nan("")), 0, -1},
        {"string", PropertyValue("7"), 0, -1},
        {"boolean", PropertyValue(true), 0, -1},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        InMemoryPrintSettings settings;
        if (r.value)
            settings.Set("n", *r.value);
        JobTicket ticket(nullptr, &settings);
        int out = -1;
        EXPECT_EQ(ticket.Get("n", out), r.result);
        EXPECT_EQ(out, r.out);
    }
}

TEST(JobTicket, RandomNamesAndTheFileKey) {
    // 8-4-4-4-12 upper-case hexadecimal digits.
    const auto isUUID = [](std::string_view text) {
        if (text.size() != 36)
            return false;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
            const char c = text[i];
            if (dash ? c != '-' : !((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F')))
                return false;
        }
        return true;
    };
    const std::string a = CreateRandomFileName("/tmp/Kelvo.temp");
    const std::string b = CreateRandomFileName("/tmp/Kelvo.temp");
    ASSERT_TRUE(a.starts_with("/tmp/Kelvo.temp")) << a;
    EXPECT_TRUE(isUUID(a.substr(15))) << a;
    EXPECT_NE(a, b);
    EXPECT_TRUE(isUUID(CreateRandomFileName("")));
    EXPECT_EQ(CreatePostscriptDataFileKey(), "QJV.PSData.com.qjv.print.pde.5D660F68-4131-4BE6-AD6C-D05E4C176E58.PInf");
}

TEST(JobTicketSave, WritesTheListAsXMLAndStoresItsPath) {
    TempDir dir;
    ScopedEnv tmp("KELVO_TMPDIR", dir.Path().string());
    ScopedEnv user("KELVO_FILTER_USER", CurrentUserName());
    Ticket t;
    t.ticket.Add(kInjectSuppressFeature, "*Duplex");
    t.ticket.Add(kInjectFeatureCode, "%%BeginFeature: *QJStaple None\n%%EndFeature\n");
    t.ticket.Add(kInjectJobNoteData, "", 0);
    const std::optional<std::filesystem::path> path = t.ticket.Save();
    ASSERT_TRUE(path);
    EXPECT_EQ(path->parent_path(), dir.Path());
    EXPECT_TRUE(path->filename().string().starts_with("Kelvo.temp"));
    EXPECT_EQ(path->filename().string().size(), 10u + 36u);
    EXPECT_EQ(t.settings.Get(kKey), PropertyValue(path->string()));

    // libplist's layout; -9 goes through the unsigned integer and comes out signed.
    EXPECT_EQ(kelvotest::ReadFile(*path), R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<array>
	<integer>-9</integer>
	<data>
	KkR1cGxleA==
	</data>
	<integer>81</integer>
	<data>
	JSVCZWdpbkZlYXR1cmU6ICpRSlN0YXBsZSBOb25lCiUlRW5kRmVhdHVyZQo=
	</data>
	<integer>30</integer>
	<data>
	</data>
</array>
</plist>
)");
    const InjectionReadResult back = ReadInjectionFile(*path);
    ASSERT_TRUE(back.ok()) << back.status.Text();
    EXPECT_EQ(back.pieces, t.ticket.Pieces());

    // Every save is a new file; the key names the latest.
    const std::optional<std::filesystem::path> second = t.ticket.Save();
    ASSERT_TRUE(second);
    EXPECT_NE(*second, *path);
    EXPECT_EQ(t.settings.Get(kKey), PropertyValue(second->string()));
}

TEST(JobTicketSave, AnEmptyListStillWritesAnEmptyArray) {
    TempDir dir;
    ScopedEnv tmp("KELVO_TMPDIR", dir.Path().string());
    ScopedEnv user("KELVO_FILTER_USER", CurrentUserName());
    Ticket t;
    const auto path = t.ticket.Save();
    ASSERT_TRUE(path);
    EXPECT_EQ(t.settings.Get(kKey), PropertyValue(path->string()));
    const InjectionReadResult back = ReadInjectionFile(*path);
    ASSERT_TRUE(back.ok()) << back.status.Text();
    EXPECT_TRUE(back.pieces.empty());
    EXPECT_NE(kelvotest::ReadFile(*path).find("<array/>"), std::string::npos) << kelvotest::ReadFile(*path);
}

TEST(JobTicketSave, AFailedWriteRemovesTheKeyRatherThanPointAtAnOldTicket) {
    TempDir dir;
    ScopedEnv tmp("KELVO_TMPDIR", (dir.Path() / "missing").string());
    Ticket t;
    t.settings.Set(kKey, "/tmp/Kelvo.tempOLD");
    LogCapture log;
    EXPECT_FALSE(t.ticket.Save());
    EXPECT_FALSE(t.settings.Get(kKey));
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_TRUE(log.lines[0].starts_with("job ticket: cannot write " + (dir.Path() / "missing").string() +
                                         "/Kelvo.temp"))
        << log.lines[0];
    EXPECT_TRUE(log.lines[0].ends_with(": No such file or directory")) << log.lines[0];
}

TEST(JobTicketSave, XMLIsReadByPythonsPlistlib) {
    std::string out;
    if (kelvotest::RunShell("command -v python3", out) != 0)
        GTEST_SKIP() << "python3 is not installed";
    TempDir dir;
    ScopedEnv tmp("KELVO_TMPDIR", dir.Path().string());
    ScopedEnv user("KELVO_FILTER_USER", CurrentUserName());
    Ticket t;
    t.ticket.Add(kInjectSuppressFeature, "*Duplex");
    t.ticket.Add(kInjectMailboxPath, "/home/u/out\xff.ps");
    t.ticket.Add(kInjectJobNoteData, "", 0);
    const auto path = t.ticket.Save();
    ASSERT_TRUE(path);
    const int status = kelvotest::RunShell(
        "python3 -c 'import plistlib, sys; print(repr(plistlib.load(open(sys.argv[1], \"rb\"))))' " +
            kelvotest::ShellQuote(path->string()) + " 2>&1",
        out);
    EXPECT_EQ(status, 0) << out;
    EXPECT_EQ(out, "[-9, b'*Duplex', 900, b'/home/u/out\\xff.ps', 30, b'']\n");
}

TEST(InjectionFileAccess, OwnerWritesTheFilterUserReadsNobodyElse) {
    const std::optional<uid_t> lp = UserId("lp");
    if (!lp)
        GTEST_SKIP() << "no user lp on this machine";
    if (*lp == geteuid())
        GTEST_SKIP() << "running as lp itself";
    TempDir dir;
    ScopedEnv tmp("KELVO_TMPDIR", dir.Path().string());
    ScopedEnv user("KELVO_FILTER_USER", std::nullopt); // the default: lp
    Ticket t;
    LogCapture log;
    const auto path = t.ticket.Save();
    ASSERT_TRUE(path);
    EXPECT_TRUE(log.lines.empty());

    acl_t acl = acl_get_file(path->c_str(), ACL_TYPE_ACCESS);
    if (!acl && (errno == ENOTSUP || errno == EOPNOTSUPP))
        GTEST_SKIP() << "the temporary folder's file system has no ACLs";
    ASSERT_NE(acl, nullptr);
    struct Entry {
        acl_tag_t tag;
        bool read, write, execute;
        std::optional<uid_t> who;
        bool operator==(const Entry&) const = default;
    };
    std::vector<Entry> entries;
    acl_entry_t entry = nullptr;
    for (int which = ACL_FIRST_ENTRY; acl_get_entry(acl, which, &entry) == 1; which = ACL_NEXT_ENTRY) {
        Entry e{};
        acl_get_tag_type(entry, &e.tag);
        acl_permset_t perms = nullptr;
        acl_get_permset(entry, &perms);
        e.read = acl_get_perm(perms, ACL_READ) == 1;
        e.write = acl_get_perm(perms, ACL_WRITE) == 1;
        e.execute = acl_get_perm(perms, ACL_EXECUTE) == 1;
        if (e.tag == ACL_USER) {
            auto* id = static_cast<uid_t*>(acl_get_qualifier(entry));
            e.who = *id;
            acl_free(id);
        }
        entries.push_back(e);
    }
    acl_free(acl);
    const std::vector<Entry> expected = {
        {ACL_USER_OBJ, true, true, false, std::nullopt}, {ACL_USER, true, false, false, *lp},
        {ACL_GROUP_OBJ, false, false, false, std::nullopt}, {ACL_MASK, true, false, false, std::nullopt},
        {ACL_OTHER, false, false, false, std::nullopt},
    };
    EXPECT_EQ(entries, expected);
    // The mode's group bits show the mask: read, never write.
    EXPECT_EQ(ModeOf(*path), 0640u);

    // As the system sees it: lp reads, another user does not.
    std::string out;
    if (geteuid() != 0 || !UserId("nobody") || kelvotest::RunShell("command -v runuser", out) != 0)
        return;
    std::filesystem::permissions(dir.Path(), std::filesystem::perms::others_exec | std::filesystem::perms::group_exec,
                                 std::filesystem::perm_options::add);
    const std::string file = kelvotest::ShellQuote(path->string());
    EXPECT_EQ(kelvotest::RunShell("runuser -u lp -- head -c 5 " + file + " 2>&1", out), 0) << out;
    EXPECT_EQ(out, "<?xml");
    EXPECT_NE(kelvotest::RunShell("runuser -u nobody -- head -c 5 " + file + " 2>/dev/null", out), 0);
    EXPECT_EQ(out, "");
}

TEST(InjectionFileAccess, WithoutAnACLTheFileIsReadableNeverWritableByOthers) {
    const struct {
        const char* name;
        std::string user;
        FilterAccess access;
        mode_t mode;
        std::size_t warnings;
    } rows[] = {
        {"unknown user", "kelvo-no-such-user", FilterAccess::kWorldReadable, 0644, 1},
        {"the owner itself", CurrentUserName(), FilterAccess::kOwner, 0600, 0},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        TempDir dir;
        LogCapture log;
        const mode_t oldMask = umask(0); // a permissive umask must not widen anything
        FilterAccess access = FilterAccess::kACL;
        const int status = CreateFileForFilter(dir / "Kelvo.tempX", "data", r.user, &access);
        umask(oldMask);
        ASSERT_EQ(status, 0);
        EXPECT_EQ(access, r.access);
        EXPECT_EQ(ModeOf(dir / "Kelvo.tempX"), r.mode);
        EXPECT_EQ(acl_extended_file_nofollow((dir / "Kelvo.tempX").c_str()), 0);
        EXPECT_EQ(kelvotest::ReadFile(dir / "Kelvo.tempX"), "data");
        ASSERT_EQ(log.lines.size(), r.warnings);
        if (r.warnings) {
            EXPECT_EQ(log.lines[0], "warning: " + (dir / "Kelvo.tempX").string() +
                                        ": the printing system's user \"kelvo-no-such-user\" does not exist; "
                                        "the file is readable by every user (mode 0644)");
        }
    }
}

TEST(InjectionFileAccess, AnExistingNameIsNeverFollowedNorTruncated) {
    TempDir dir;
    const std::filesystem::path target = dir / "victim";
    const std::filesystem::path name = dir / "Kelvo.tempFIXED";
    const struct {
        const char* what;
        std::function<void()> plant;
        bool targetExists;
    } rows[] = {
        {"link to a file", [&] { std::filesystem::create_symlink(target, name); }, true},
        {"dangling link", [&] { std::filesystem::create_symlink(target, name); }, false},
        {"someone's file", [&] { std::ofstream(name) << "theirs"; }, true},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        std::filesystem::remove(name);
        std::filesystem::remove(target);
        if (r.targetExists)
            std::ofstream(target) << "precious";
        r.plant();
        for (const auto& create : {+[](const std::filesystem::path& p) { return CreatePrivateFile(p, "ours"); },
                                   +[](const std::filesystem::path& p) { return CreateFileForFilter(p, "ours", "lp"); }})
            EXPECT_EQ(create(name), EEXIST);
        EXPECT_EQ(std::filesystem::exists(target), r.targetExists); // a dangling link made nothing
        if (r.targetExists) {
            EXPECT_EQ(kelvotest::ReadFile(target), "precious");
        }
        if (std::filesystem::is_symlink(name)) {
            EXPECT_EQ(std::filesystem::read_symlink(name), target);
        } else {
            EXPECT_EQ(kelvotest::ReadFile(name), "theirs");
        }
    }
}

TEST(InjectionFileCleanup, RemovesOnlyOwnOldRegularInjectionFiles) {
    using namespace std::chrono_literals;
    TempDir dir;
    const auto now = std::chrono::system_clock::now();
    const bool root = geteuid() == 0;
    const std::optional<uid_t> other = UserId("nobody");
    struct Row {
        const char* name;
        char kind; // f file, l link (to an old file of ours), d folder
        std::chrono::hours age;
        bool foreign; // owned by another user (root only can make one)
        bool removed;
    };
    const Row rows[] = {
        {"Kelvo.tempOLD", 'f', 25h, false, true},
        {"Kelvo.tempNEW", 'f', 23h, false, false},
        {"Kelvo.temp", 'f', 48h, false, true}, // the prefix alone still matches
        {"Kelvo.tempLINK", 'l', 48h, false, false},
        {"Kelvo.tempDIR", 'd', 48h, false, false},
        {"KDArgs.txt", 'f', 48h, false, false},
        {"xKelvo.tempOLD", 'f', 48h, false, false},
        {"Kelvo.tempTHEIRS", 'f', 48h, true, false},
    };
    const std::filesystem::path linkTarget = dir / "old-target";
    std::ofstream(linkTarget) << "x";
    for (const Row& r : rows) {
        if (r.foreign && (!root || !other))
            continue;
        const std::filesystem::path p = dir / r.name;
        if (r.kind == 'f')
            std::ofstream(p) << "x";
        else if (r.kind == 'd')
            std::filesystem::create_directory(p);
        else
            std::filesystem::create_symlink(linkTarget, p);
        const auto when = std::chrono::duration_cast<std::chrono::seconds>((now - r.age).time_since_epoch());
        const timespec times[2] = {{when.count(), 0}, {when.count(), 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, p.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << r.name;
        if (r.foreign) {
            ASSERT_EQ(lchown(p.c_str(), *other, static_cast<gid_t>(-1)), 0);
        }
    }
    ASSERT_EQ(utimensat(AT_FDCWD, linkTarget.c_str(), nullptr, 0), 0);
    LogCapture log;
    std::size_t expected = 0;
    for (const Row& r : rows)
        expected += r.removed;
    EXPECT_EQ(RemoveOwnStaleFiles(dir.Path(), kInjectionFilePrefix, 24h, now), expected);
    for (const Row& r : rows) {
        if (r.foreign && (!root || !other))
            continue;
        EXPECT_EQ(std::filesystem::symlink_status(dir / r.name).type() == std::filesystem::file_type::not_found,
                  r.removed)
            << r.name;
    }
    EXPECT_TRUE(std::filesystem::exists(linkTarget));

    // The panel's entry point looks in $KELVO_TMPDIR.
    std::ofstream(dir / "Kelvo.tempAGAIN") << "x";
    const auto old = std::chrono::duration_cast<std::chrono::seconds>((now - 30h).time_since_epoch());
    const timespec times[2] = {{old.count(), 0}, {old.count(), 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, (dir / "Kelvo.tempAGAIN").c_str(), times, 0), 0);
    ScopedEnv tmp("KELVO_TMPDIR", dir.Path().string());
    EXPECT_EQ(RemoveStaleInjectionFiles(), 1u);
    EXPECT_FALSE(std::filesystem::exists(dir / "Kelvo.tempAGAIN"));
    EXPECT_EQ(RemoveOwnStaleFiles(dir / "missing", kInjectionFilePrefix, 24h, now), 0u);
}

// Packed credentials: layout, a known answer computed with another Twofish
// implementation, the packer's rules, and refusal of every cut or damaged text.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <nettle/sha1.h>
#include <nettle/twofish.h>
#include <sys/stat.h>

#include "TestSupport.h"
#include "output/UserAuth.h"

using namespace kelvo::output;

namespace {

std::vector<std::uint8_t> FromHex(std::string_view hex) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
    return bytes;
}

template <std::size_t N> std::array<std::uint8_t, N> Counting(std::uint8_t first) {
    std::array<std::uint8_t, N> bytes{};
    for (std::size_t i = 0; i < N; ++i)
        bytes[i] = static_cast<std::uint8_t>(first + i);
    return bytes;
}

const Key256 kMaster = Counting<32>(0x00);
const Key256 kMessageKey = Counting<32>(0xA0);
const Guid kGuid = Counting<16>(0x10);

void PutBE32(std::vector<std::uint8_t>& at, std::size_t offset, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        at[offset + i] = static_cast<std::uint8_t>(v >> (24 - 8 * i));
}

std::vector<std::uint8_t> OpenOuter(const std::string& text, const Key256& master = kMaster) {
    std::vector<std::uint8_t> sealed, outer;
    if (!DecodePrintable(text, sealed))
        return {};
    outer.resize(sealed.size());
    EXPECT_EQ(RunCipher(true, master, sealed, outer), 0);
    return outer;
}

std::string Pack(std::string_view name, std::string_view password, std::string_view domain = "",
                 UAL_DomainType type = 2) {
    std::string text;
    EXPECT_EQ(UAL_PackAndEncrypt(name, password, domain, type, kGuid, kMaster, text, kMessageKey), 0);
    return text;
}

} // namespace

// Expected values from libgcrypt's Twofish and SHA-1 (not nettle), run once
// over record "Ana"/"pa55word": L 47, I 80, outer block 128 bytes.
TEST(UserAuth, KnownAnswerAndLayout) {
    const std::string text = Pack("Ana", "pa55word");
    EXPECT_EQ(text, "c38RKqskiMbsngAmb26tHnVWnT47YxbLC5Bg3/eyShKgkb9eY3avr4HRqmwwOfkXJ1s97mDQz65mgYDaPm9U"
                    "oGwh0sg8Jl90+JbZys6liFcAjzxokzEVHt6XAaX86+z933i6Egi1efnT4YgOC4GRMYm+3q3bYoKWhFrsmEhZpG0=");

    // The layout read back with nettle directly, offset by offset.
    std::vector<std::uint8_t> sealed;
    ASSERT_TRUE(DecodePrintable(text, sealed));
    ASSERT_EQ(sealed.size(), 128u);
    twofish_ctx ctx;
    twofish256_set_key(&ctx, kMaster.data());
    std::vector<std::uint8_t> outer(sealed.size());
    twofish_decrypt(&ctx, sealed.size(), outer.data(), sealed.data());
    EXPECT_EQ(std::vector(outer.begin(), outer.begin() + 40),
              FromHex("0000000100000050a0a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2b3b4b5b6b7b8b9babbbcbdbebf"));
    EXPECT_EQ(std::vector(outer.begin() + 120, outer.end()), std::vector<std::uint8_t>(8, 0));
    twofish256_set_key(&ctx, outer.data() + 8);
    std::vector<std::uint8_t> inner(80);
    twofish_decrypt(&ctx, inner.size(), inner.data(), outer.data() + 40);
    EXPECT_EQ(inner, FromHex("0000002f" // L
                             "00000001000000030000000800000000000000021011121314151617" // version N P D type GUID
                             "18191a1b1c1d1e1f416e6170613535776f7264"                   // ... "Ana" "pa55word"
                             "332883ebd613193a4f070ece05e6dd4bcdc956c0"                 // SHA-1 of the record
                             "000000000000000000"));                                    // fill to 80
}

TEST(UserAuth, BlockSizesFollowTheRecordLength) {
    struct Row {
        std::size_t name, password, domain, inner, outer;
    };
    const Row rows[] = {
        {0, 0, 0, 64, 112},     // bare record: 60 rounds down to 48, plus 16
        {2, 1, 0, 64, 112},     // L 39: one fill byte
        {2, 2, 0, 80, 128},     // L 40: L + 24 is whole blocks, so a full block of fill
        {255, 255, 0, 576, 624}, // the largest the packer sends
        {1, 1, 7, 80, 128},     // the domain counts too
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name + r.password + r.domain);
        const std::string text =
            Pack(std::string(r.name, 'n'), std::string(r.password, 'p'), std::string(r.domain, 'd'));
        EXPECT_EQ(InnerBlockSize(36 + r.name + r.password + r.domain), r.inner);
        const std::vector<std::uint8_t> outer = OpenOuter(text);
        ASSERT_EQ(outer.size(), r.outer);
        EXPECT_EQ(outer[7], r.inner & 0xFF);
        EXPECT_EQ(outer[6], r.inner >> 8);
    }
}

TEST(UserAuth, PackerKeepsOnlyCompleteDefaultDomainPairs) {
    struct Row {
        std::string name, password;
        UAL_DomainType type;
        std::string wantName, wantPassword;
    };
    const std::string longName(300, 'n'), longPassword(256, 'p');
    const Row rows[] = {
        {"alice", "s3cret", 2, "alice", "s3cret"},
        {"", "s3cret", 2, "", ""},
        {"alice", "", 2, "", ""},
        {"alice", "s3cret", 3, "", ""},
        {longName, longPassword, 2, longName.substr(0, 255), longPassword.substr(0, 255)},
        {std::string("a\0b", 3), "\xC3\xA9\n", 2, std::string("a\0b", 3), "\xC3\xA9\n"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name.substr(0, 10));
        std::string text;
        ASSERT_EQ(AUTH_packAndEncrypt(r.name, r.password, "CORP", r.type, 0, kMaster, text), 0);
        UnpackedCredentials got;
        ASSERT_EQ(UAL_UnpackAndDecrypt(text, kMaster, got), 0);
        EXPECT_EQ(got.name, r.wantName);
        EXPECT_EQ(got.password, r.wantPassword);
        EXPECT_EQ(got.domain, ""); // the caller's domain is never sent
        EXPECT_EQ(got.domainType, 2);
        EXPECT_NE(got.guid, Guid{});
    }
    // A fresh GUID and message key every time.
    std::string a, b;
    ASSERT_EQ(AUTH_packAndEncrypt("alice", "pw", "", 2, 0, kMaster, a), 0);
    ASSERT_EQ(AUTH_packAndEncrypt("alice", "pw", "", 2, 0, kMaster, b), 0);
    EXPECT_NE(a, b);
    EXPECT_NE(OpenOuter(a)[8], OpenOuter(b)[8]) << "same message key twice";
}

TEST(UserAuth, UnpackIsTheExactInverse) {
    UnpackedCredentials got;
    ASSERT_EQ(UAL_UnpackAndDecrypt(Pack("bob", "pw", "CORP", 5), kMaster, got), 0);
    EXPECT_EQ(got.name, "bob");
    EXPECT_EQ(got.password, "pw");
    EXPECT_EQ(got.domain, "CORP");
    EXPECT_EQ(got.domainType, 5);
    EXPECT_EQ(got.guid, kGuid);
    EXPECT_EQ(GuidText(kGuid), "10111213-1415-1617-1819-1A1B1C1D1E1F");
}

TEST(UserAuth, EveryCutOrDamagedTextIsRefused) {
    // L 40: the inner block's last 16 bytes are all fill, the case where
    // only the fill check can see damage to that block.
    const std::string text = Pack("al", "pw");
    UnpackedCredentials got;
    got.name = "untouched";
    for (std::size_t cut = 0; cut < text.size(); ++cut)
        EXPECT_EQ(UAL_UnpackAndDecrypt(text.substr(0, cut), kMaster, got), -1) << "cut at " << cut;
    // Each bit position of each byte behind the cipher: every block of the
    // outer and inner layer is covered by a length, the digest or the fill.
    std::vector<std::uint8_t> sealed;
    ASSERT_TRUE(DecodePrintable(text, sealed));
    for (std::size_t i = 0; i < sealed.size(); ++i) {
        std::vector<std::uint8_t> damaged = sealed;
        damaged[i] ^= static_cast<std::uint8_t>(1u << (i % 8));
        EXPECT_EQ(UAL_UnpackAndDecrypt(EncodePrintable(damaged), kMaster, got), -1) << "byte " << i;
    }
    Key256 otherKey = kMaster;
    otherKey[31] ^= 1;
    const std::string others[] = {text + "AAAA", " " + text, text.substr(0, 40) + "\n" + text.substr(40),
                                  text.substr(0, text.size() - 1) + "!", ""};
    for (const std::string& t : others)
        EXPECT_EQ(UAL_UnpackAndDecrypt(t, kMaster, got), -1) << t;
    EXPECT_EQ(UAL_UnpackAndDecrypt(text, otherKey, got), -1);
    EXPECT_EQ(got.name, "untouched");
}

// Outer blocks built here field by field, sealed properly, each wrong in one
// place: the check that catches it is the one named.
TEST(UserAuth, EachLengthAndFieldIsChecked) {
    struct Tweak {
        const char* what;
        std::size_t offset; // in the outer (below 40) or inner (from 1000) block
        std::uint32_t value;
        UnpackFailure want;
    };
    const Tweak rows[] = {
        {"nothing", 0, 1, UnpackFailure::kNone},
        {"outer version", 0, 2, UnpackFailure::kOuterVersion},
        {"I not whole blocks", 4, 65, UnpackFailure::kInnerSize},
        {"I too small", 4, 48, UnpackFailure::kInnerSize},
        {"I beyond the block", 4, 0x10000000, UnpackFailure::kInnerSize},
        {"L beyond I - 24", 1000, 57, UnpackFailure::kRecordLength},
        {"L below the header", 1000, 35, UnpackFailure::kRecordLength},
        {"N + P + D too long", 1004 + 4, 6, UnpackFailure::kRecordLength},
        {"N + P + D wrapping", 1004 + 8, 0xFFFFFFFF, UnpackFailure::kRecordLength},
        {"record version", 1004, 2, UnpackFailure::kRecordVersion},
        {"digest left out", 0, 1, UnpackFailure::kDigest},
        {"inner fill", 1076, 1, UnpackFailure::kFill},
        {"outer fill", 124, 1, UnpackFailure::kFill},
    };
    for (const Tweak& t : rows) {
        SCOPED_TRACE(t.what);
        // Record "Ana"/"pa55" (L 43, I 80) in clear text.
        std::vector<std::uint8_t> inner(80, 0), outer(128, 0);
        PutBE32(inner, 0, 43);
        PutBE32(inner, 4, 1);
        PutBE32(inner, 8, 3);
        PutBE32(inner, 12, 4);
        PutBE32(inner, 20, 2);
        std::memcpy(&inner[24], kGuid.data(), 16);
        std::memcpy(&inner[40], "Anapa55", 7);
        PutBE32(outer, 0, 1);
        PutBE32(outer, 4, 80);
        std::memcpy(&outer[8], kMessageKey.data(), 32);
        const bool inInner = t.offset >= 1000;
        PutBE32(inInner ? inner : outer, t.offset % 1000, t.value);
        // The digest is taken after the tweak, so that the check behind it is reached.
        sha1_ctx sha;
        sha1_init(&sha);
        sha1_update(&sha, 43, &inner[4]);
        if (t.want != UnpackFailure::kDigest)
            sha1_digest(&sha, 20, &inner[47]);
        ASSERT_EQ(RunCipher(false, kMessageKey, inner, std::span(outer).subspan(40, 80)), 0);
        std::vector<std::uint8_t> sealed(128);
        ASSERT_EQ(RunCipher(false, kMaster, outer, sealed), 0);
        UnpackedCredentials got;
        UnpackFailure why;
        EXPECT_EQ(UAL_UnpackAndDecrypt(EncodePrintable(sealed), kMaster, got, why),
                  t.want == UnpackFailure::kNone ? 0 : -1);
        EXPECT_EQ(why, t.want) << UnpackFailureText(why);
    }
}

TEST(UserAuth, RunCipherTakesWholeBlocksOnly) {
    const Key256 zero{};
    for (std::size_t size : {1u, 15u, 17u, 33u}) {
        std::vector<std::uint8_t> in(size), out(size);
        EXPECT_EQ(RunCipher(false, zero, in, out), -1) << size;
        EXPECT_EQ(RunCipher(true, zero, in, out), -1) << size;
    }
    std::vector<std::uint8_t> block(16, 0), out(16), back(16), shortOut(15);
    EXPECT_EQ(RunCipher(false, zero, block, shortOut), -1);
    ASSERT_EQ(RunCipher(false, zero, block, out), 0);
    EXPECT_EQ(out, FromHex("57ff739d4dc92c1bd7fc01700cc8216f")); // Twofish's published zero-key answer
    ASSERT_EQ(RunCipher(true, zero, out, back), 0);
    EXPECT_EQ(back, block);
    EXPECT_EQ(RunCipher(false, zero, {}, {}), 0);
}

TEST(UserAuth, Base64IsStrict) {
    struct Row {
        const char* text;
        bool ok;
        const char* bytes;
    };
    const Row rows[] = {
        {"", true, ""},         {"QQ==", true, "A"},   {"QUI=", true, "AB"},       {"QUJD", true, "ABC"},
        {"QQ", false, ""},      {"QQ=", false, ""},    {"Q===", false, ""},        {"QU I=", false, ""},
        {"QUI=\n", false, ""},  {"QQ==QQ==", false, ""}, {"QUJD!AAA", false, ""}, {"QUJ-", false, ""},
    };
    for (const Row& r : rows) {
        std::vector<std::uint8_t> out;
        EXPECT_EQ(DecodePrintable(r.text, out), r.ok) << r.text;
        if (r.ok) {
            EXPECT_EQ(std::string(out.begin(), out.end()), r.bytes);
            EXPECT_EQ(EncodePrintable(out), r.text);
        }
    }
}

TEST(UserAuthTool, PacksAndUnpacksWithTheKeyFile) {
    kelvotest::TempFile keys("master 000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f\n", "keys");
    ::chmod(keys.PathString().c_str(), 0600);
    const auto pack = kelvotest::RunToolFull({"auth", "pack", "alice", "s3cret", "--key-file", keys.PathString()});
    ASSERT_EQ(pack.status, 0) << pack.err;
    ASSERT_FALSE(pack.out.empty());
    const std::string text = pack.out.substr(0, pack.out.size() - 1);
    UnpackedCredentials got;
    ASSERT_EQ(UAL_UnpackAndDecrypt(text, kMaster, got), 0); // the file's key is kMaster
    EXPECT_EQ(got.name, "alice");

    const auto unpack = kelvotest::RunToolFull({"auth", "unpack", text, "--key-file", keys.PathString()});
    EXPECT_EQ(unpack.status, 0) << unpack.err;
    EXPECT_EQ(unpack.out, "name: alice\npassword: s3cret\ndomain: \ndomain type: 2\nGUID: " + GuidText(got.guid) +
                              "\n");
    const auto json = kelvotest::RunToolFull({"auth", "unpack", text, "--json", "--key-file", keys.PathString()});
    EXPECT_EQ(json.status, 0);
    EXPECT_NE(json.out.find("\"guid\": \"" + GuidText(got.guid) + "\""), std::string::npos) << json.out;

    const auto damaged =
        kelvotest::RunToolFull({"auth", "unpack", (text[0] == 'A' ? "B" : "A") + text.substr(1), "--key-file", keys.PathString()});
    EXPECT_EQ(damaged.status, 2);
    EXPECT_NE(damaged.err.find("does not unpack under the master key of " + keys.PathString()), std::string::npos)
        << damaged.err;
    ::chmod(keys.PathString().c_str(), 0664);
    const auto refused = kelvotest::RunToolFull({"auth", "pack", "a", "b", "--key-file", keys.PathString()});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err, "kelvo-pde: " + keys.PathString() + ": writable by group or others (chmod go-w)\n");
    EXPECT_EQ(kelvotest::RunToolFull({"auth", "pack", "a"}).status, 1);
}

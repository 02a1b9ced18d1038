// Note encryption: a known answer computed with another implementation,
// round trips, and refusal of another key and of damaged or cut text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <sys/stat.h>

#include "TestSupport.h"
#include "output/NoteCrypt.h"

using namespace kelvo::output;

namespace {

Key256 TestKey(std::uint8_t first) {
    Key256 key{};
    for (std::size_t i = 0; i < key.size(); ++i)
        key[i] = static_cast<std::uint8_t>(first + i);
    return key;
}

} // namespace

// Expected text from Python's hmac/hashlib and libgcrypt's Twofish in
// counter mode. The nonce ends in FF, so the counter carries into the
// byte before on the second block.
TEST(NoteCrypt, KnownAnswer) {
    std::array<std::uint8_t, 16> nonce{};
    for (std::size_t i = 0; i < nonce.size(); ++i)
        nonce[i] = static_cast<std::uint8_t>(0xF0 + i);
    const auto text = EncryptNoteWithNonce("Room 4.12 \u2013 call me", TestKey(0x40), nonce);
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, "KN1:8PHy8/T19vf4+fr7/P3+/5oNvyeLqkTYpJFMZrK+aA5OmtTpRLv8gJc2tyNXZknc2BZEcOk=");
}

TEST(NoteCrypt, RoundTripsAnyText) {
    const Key256 key = TestKey(1);
    const std::string texts[] = {"", "a", std::string(15, 'x'), std::string(16, 'x'), std::string(17, 'x'),
                                 "B\xC3\xBCro 3\n2. Stock", std::string("nul\0inside", 10), std::string(4096, '%')};
    for (const std::string& t : texts) {
        const auto sealed = EncryptNote(t, key);
        ASSERT_TRUE(sealed) << t.size();
        EXPECT_TRUE(sealed->starts_with(kNotePrefix));
        for (char c : *sealed)
            EXPECT_TRUE(c > ' ' && c < 0x7F) << "unprintable byte in " << *sealed;
        EXPECT_EQ(DecryptNote(*sealed, key), t);
        EXPECT_NE(EncryptNote(t, key), sealed) << "nonce repeated";
    }
    EXPECT_FALSE(EncryptNote(std::string(kMaxNoteBytes + 1, 'x'), key));
}

TEST(NoteCrypt, RefusesAnotherKeyAndDamage) {
    const Key256 key = TestKey(1);
    const std::string sealed = *EncryptNote("meet at 10", key);
    EXPECT_FALSE(DecryptNote(sealed, TestKey(2)));

    std::vector<std::uint8_t> bytes;
    ASSERT_TRUE(DecodePrintable(sealed.substr(kNotePrefix.size()), bytes));
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::vector<std::uint8_t> damaged = bytes;
        damaged[i] ^= 0x80;
        EXPECT_FALSE(DecryptNote(std::string(kNotePrefix) + EncodePrintable(damaged), key)) << "byte " << i;
    }
    for (std::size_t cut = 0; cut < sealed.size(); ++cut)
        EXPECT_FALSE(DecryptNote(sealed.substr(0, cut), key)) << "cut at " << cut;
    // Whole blocks of Base64 cut off the end: still Base64, too short for the tag.
    for (std::size_t keep = 0; keep < bytes.size(); ++keep)
        EXPECT_FALSE(DecryptNote(std::string(kNotePrefix) + EncodePrintable(std::span(bytes).first(keep)), key));
    const std::string others[] = {"meet at 10", sealed.substr(kNotePrefix.size()), "KN2:" + sealed.substr(4),
                                  sealed + "\n", sealed.substr(0, 20) + " " + sealed.substr(20)};
    for (const std::string& t : others)
        EXPECT_FALSE(DecryptNote(t, key)) << t;
}

TEST(NoteCryptTool, EncryptsAndDecryptsWithKeyN) {
    std::string file = "master " + std::string(64, '0') + "\n";
    for (int n = 2; n <= 7; ++n)
        file += "note" + std::to_string(n) + " " + std::string(63, '0') + std::to_string(n) + "\n";
    kelvotest::TempFile keys(file, "keys");
    ::chmod(keys.PathString().c_str(), 0600);
    const std::string path = keys.PathString();

    const auto encrypted =
        kelvotest::RunToolFull({"note-crypt", "encrypt", "Room 5", "--key", "5", "--key-file", path});
    ASSERT_EQ(encrypted.status, 0) << encrypted.err;
    const std::string text = encrypted.out.substr(0, encrypted.out.size() - 1);
    Key256 note5{};
    note5[31] = 5;
    EXPECT_EQ(DecryptNote(text, note5), "Room 5");

    const auto decrypted = kelvotest::RunToolFull({"note-crypt", "decrypt", text, "--key", "5", "--key-file", path});
    EXPECT_EQ(decrypted.status, 0);
    EXPECT_EQ(decrypted.out, "Room 5\n");
    const auto wrong = kelvotest::RunToolFull({"note-crypt", "decrypt", text, "--key", "4", "--key-file", path});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.err, "kelvo-pde: the text does not decrypt under key note4 of " + path +
                             " (another key, or damaged)\n");
    EXPECT_EQ(kelvotest::RunToolFull({"note-crypt", "encrypt", "x", "--key", "8", "--key-file", path}).status, 1);

    kelvotest::TempFile masterOnly("master " + std::string(64, 'f') + "\n", "keys");
    ::chmod(masterOnly.PathString().c_str(), 0600);
    const auto missing =
        kelvotest::RunToolFull({"note-crypt", "encrypt", "x", "--key", "2", "--key-file", masterOnly.PathString()});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "kelvo-pde: " + masterOnly.PathString() + ": no key note2\n");
}

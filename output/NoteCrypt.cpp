// Note encryption: Twofish-256 in counter mode, HMAC-SHA-256 tag, Base64 text.
#include "output/NoteCrypt.h"

#include <cstring>
#include <vector>

#include <nettle/ctr.h>
#include <nettle/hmac.h>
#include <nettle/memops.h>
#include <nettle/twofish.h>

namespace kelvo::output {

namespace {

using Nonce = std::array<std::uint8_t, 16>;
constexpr std::size_t kNonceBytes = 16;
constexpr std::size_t kTagBytes = 16;

/// One note key serves two purposes, so each gets its own key derived
/// from it: the cipher never sees the key the tag is made with.
Key256 DeriveKey(const Key256& key, std::string_view label) {
    hmac_sha256_ctx ctx;
    hmac_sha256_set_key(&ctx, key.size(), key.data());
    hmac_sha256_update(&ctx, label.size(), reinterpret_cast<const std::uint8_t*>(label.data()));
    Key256 derived{};
    hmac_sha256_digest(&ctx, derived.size(), derived.data());
    return derived;
}

/// The tag binds the format prefix, the nonce and the ciphertext.
std::array<std::uint8_t, kTagBytes> Tag(const Key256& noteKey, std::span<const std::uint8_t> nonceAndCipher) {
    const Key256 macKey = DeriveKey(noteKey, "kelvo note tag");
    hmac_sha256_ctx ctx;
    hmac_sha256_set_key(&ctx, macKey.size(), macKey.data());
    hmac_sha256_update(&ctx, kNotePrefix.size(), reinterpret_cast<const std::uint8_t*>(kNotePrefix.data()));
    hmac_sha256_update(&ctx, nonceAndCipher.size(), nonceAndCipher.data());
    std::array<std::uint8_t, kTagBytes> tag{};
    hmac_sha256_digest(&ctx, tag.size(), tag.data());
    return tag;
}

// nettle calls the block function through its own generic pointer type;
// this wrapper has exactly that type, so no cast of a function is needed.
void TwofishBlocks(const void* ctx, std::size_t length, std::uint8_t* dst, const std::uint8_t* src) {
    twofish_encrypt(static_cast<const twofish_ctx*>(ctx), length, dst, src);
}

/// Counter mode both ways: `data` is transformed in place, the counter
/// starting at the nonce and counting up as one 128-bit big-endian number.
void Crypt(const Key256& noteKey, const Nonce& nonce, std::span<std::uint8_t> data) {
    if (data.empty())
        return;
    const Key256 cipherKey = DeriveKey(noteKey, "kelvo note cipher");
    twofish_ctx ctx;
    twofish256_set_key(&ctx, cipherKey.data());
    Nonce counter = nonce;
    ctr_crypt(&ctx, TwofishBlocks, TWOFISH_BLOCK_SIZE, counter.data(), data.size(), data.data(), data.data());
}

} // namespace

std::optional<std::string> EncryptNoteWithNonce(std::string_view text, const Key256& key, const Nonce& nonce) {
    if (text.size() > kMaxNoteBytes)
        return std::nullopt;
    std::vector<std::uint8_t> sealed(kNonceBytes + text.size() + kTagBytes);
    std::memcpy(sealed.data(), nonce.data(), kNonceBytes);
    if (!text.empty())
        std::memcpy(sealed.data() + kNonceBytes, text.data(), text.size());
    Crypt(key, nonce, std::span(sealed).subspan(kNonceBytes, text.size()));
    const auto tag = Tag(key, std::span(sealed).first(kNonceBytes + text.size()));
    std::memcpy(sealed.data() + kNonceBytes + text.size(), tag.data(), kTagBytes);
    return std::string(kNotePrefix) + EncodePrintable(sealed);
}

std::optional<std::string> EncryptNote(std::string_view text, const Key256& key) {
    // A repeated nonce would give away the difference of two notes, so it
    // comes from the kernel's generator for every note.
    Nonce nonce{};
    if (!RandomBytes(nonce))
        return std::nullopt;
    return EncryptNoteWithNonce(text, key, nonce);
}

std::optional<std::string> DecryptNote(std::string_view text, const Key256& key) {
    if (!text.starts_with(kNotePrefix))
        return std::nullopt;
    text.remove_prefix(kNotePrefix.size());
    if (text.size() > (kNonceBytes + kMaxNoteBytes + kTagBytes + 2) / 3 * 4)
        return std::nullopt;
    std::vector<std::uint8_t> sealed;
    if (!DecodePrintable(text, sealed) || sealed.size() < kNonceBytes + kTagBytes)
        return std::nullopt;
    const std::size_t length = sealed.size() - kNonceBytes - kTagBytes;
    const auto tag = Tag(key, std::span(sealed).first(kNonceBytes + length));
    // Compared in constant time: the tag must not leak byte by byte.
    if (!memeql_sec(tag.data(), sealed.data() + kNonceBytes + length, kTagBytes))
        return std::nullopt;
    Nonce nonce;
    std::memcpy(nonce.data(), sealed.data(), kNonceBytes);
    std::span<std::uint8_t> body = std::span(sealed).subspan(kNonceBytes, length);
    Crypt(key, nonce, body);
    return std::string(reinterpret_cast<const char*>(body.data()), body.size());
}

} // namespace kelvo::output

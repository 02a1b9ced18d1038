// Fuzz target: unpacking credentials and decrypting notes from hostile text.
//
// Input: the first byte picks what the rest is.
//   0  a packed-credentials text, unpacked under the fuzzer's master key;
//   1  an outer block in clear, its inner block in clear at offset 40: the
//      target seals it as the packer would (inner under the key at offset 8
//      when the size at offset 4 fits, then all under the master key), so
//      that the checks behind the two cipher layers are reached;
//   2  an encrypted note, decrypted under the fuzzer's note key;
//   3  a note text, encrypted and decrypted again.
// Whatever unpacks or decrypts must pack or encrypt back to the same bytes.
//
// The keys below are the fuzzer's own test keys. The seeds in
// fuzz/corpus/auth_unpack_fuzzer were made with `kelvo-pde auth pack` and
// `kelvo-pde note-crypt encrypt --key 2` over a key file holding them
// (master 00 01 .. 1f, note2 40 41 .. 5f), and with outer blocks written
// out in clear.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "output/NoteCrypt.h"
#include "output/UserAuth.h"

using namespace kelvo::output;

namespace {

void Check(bool condition) {
    if (!condition)
        std::abort();
}

Key256 Counting(std::uint8_t first) {
    Key256 key{};
    for (std::size_t i = 0; i < key.size(); ++i)
        key[i] = static_cast<std::uint8_t>(first + i);
    return key;
}

const Key256 kMaster = Counting(0x00);
const Key256 kNoteKey = Counting(0x40);

/// Unpacks `text`; on success packs the result again with the text's own
/// message key and GUID and requires the very same sealed bytes.
void UnpackAndRepack(const std::string& text) {
    UnpackedCredentials got;
    UnpackFailure why;
    if (UAL_UnpackAndDecrypt(text, kMaster, got, why) != 0) {
        Check(why != UnpackFailure::kNone);
        return;
    }
    std::vector<std::uint8_t> sealed, outer;
    Check(DecodePrintable(text, sealed));
    outer.resize(sealed.size());
    Check(RunCipher(true, kMaster, sealed, outer) == 0);
    Key256 messageKey;
    std::memcpy(messageKey.data(), outer.data() + 8, messageKey.size());
    std::string again;
    Check(UAL_PackAndEncrypt(got.name, got.password, got.domain, got.domainType, got.guid, kMaster, again,
                             messageKey) == 0);
    std::vector<std::uint8_t> resealed;
    Check(DecodePrintable(again, resealed));
    Check(resealed == sealed);
}

void SealAndUnpack(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> outer(data, data + size);
    outer.resize((outer.size() + 15) / 16 * 16, 0);
    if (outer.size() >= 40) {
        const std::size_t inner = std::uint32_t{outer[4]} << 24 | std::uint32_t{outer[5]} << 16 |
                                  std::uint32_t{outer[6]} << 8 | outer[7];
        if (inner % 16 == 0 && inner <= outer.size() - 40) {
            Key256 key;
            std::memcpy(key.data(), outer.data() + 8, key.size());
            std::vector<std::uint8_t> clear(outer.begin() + 40, outer.begin() + 40 + inner);
            Check(RunCipher(false, key, clear, std::span(outer).subspan(40, inner)) == 0);
        }
    }
    std::vector<std::uint8_t> sealed(outer.size());
    Check(RunCipher(false, kMaster, outer, sealed) == 0);
    UnpackAndRepack(EncodePrintable(sealed));
}

void DecryptAndReencrypt(const std::string& text) {
    const std::optional<std::string> clear = DecryptNote(text, kNoteKey);
    if (!clear)
        return;
    // The nonce is the first 16 bytes behind the prefix.
    std::vector<std::uint8_t> sealed;
    Check(DecodePrintable(std::string_view(text).substr(kNotePrefix.size()), sealed));
    std::array<std::uint8_t, 16> nonce;
    std::memcpy(nonce.data(), sealed.data(), nonce.size());
    const std::optional<std::string> again = EncryptNoteWithNonce(*clear, kNoteKey, nonce);
    Check(again.has_value());
    std::vector<std::uint8_t> resealed;
    Check(DecodePrintable(std::string_view(*again).substr(kNotePrefix.size()), resealed));
    Check(resealed == sealed);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::uint8_t mode = data[0] % 4;
    ++data;
    --size;
    const std::string rest(reinterpret_cast<const char*>(data), size);
    switch (mode) {
    case 0: UnpackAndRepack(rest); break;
    case 1: SealAndUnpack(data, size); break;
    case 2: DecryptAndReencrypt(rest); break;
    case 3: {
        const std::optional<std::string> sealed = EncryptNote(rest, kNoteKey);
        Check(sealed.has_value());
        Check(DecryptNote(*sealed, kNoteKey) == rest);
        break;
    }
    }
    return 0;
}

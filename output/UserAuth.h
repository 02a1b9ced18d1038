// Packed user credentials: a record wrapped twice with Twofish, as Base64.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo::output {

/// The kind of account a record names. The packer only fills in 2.
using UAL_DomainType = std::int32_t;
inline constexpr UAL_DomainType kUALDomainTypeDefault = 2;

using Key256 = std::array<std::uint8_t, 32>;
using Guid = std::array<std::uint8_t, 16>;

/// What a packed text holds.
struct UnpackedCredentials {
    std::string name;
    std::string password;
    std::string domain;
    UAL_DomainType domainType = 0;
    Guid guid{};
};

/// Packs name and password under the master key into `out` (Base64 text).
/// With domainType 2 and both texts non-empty they are kept (each cut to
/// 255 bytes); otherwise both go out empty. The domain argument is never
/// used: the record's domain is always empty. `flag` is reserved and
/// ignored. The GUID comes from CreateGUID, the message key from getrandom.
/// Returns 0, or -1 on failure (then `out` is empty).
int AUTH_packAndEncrypt(std::string_view name, std::string_view password, std::string_view domain,
                        UAL_DomainType domainType, int flag, const Key256& masterKey, std::string& out);

/// The packing itself, with the GUID given (tests give a fixed one) and,
/// for tests, the message key (nothing: a fresh one from getrandom).
int UAL_PackAndEncrypt(std::string_view name, std::string_view password, std::string_view domain,
                       UAL_DomainType domainType, const Guid& guid, const Key256& masterKey, std::string& out,
                       const std::optional<Key256>& messageKey = std::nullopt);

/// The exact inverse of UAL_PackAndEncrypt. Returns 0, or -1 when the text
/// is not Base64, a length is wrong, or the digest does not match.
int UAL_UnpackAndDecrypt(std::string_view text, const Key256& masterKey, UnpackedCredentials& out);

/// Why a text did not unpack, for diagnostics (a tool names the reason).
enum class UnpackFailure {
    kNone,
    kNotBase64,       ///< a character outside the alphabet, or missing padding
    kBlockSize,       ///< the decoded bytes cannot hold an outer block (too short, too long, not whole blocks)
    kOuterVersion,    ///< the outer block's version is not 1: another master key, or damage
    kInnerSize,       ///< the inner block's length does not match the decoded size
    kRecordLength,    ///< the record's length does not fit the inner block or its own fields
    kRecordVersion,   ///< the record's version is not 1
    kFill,            ///< a zero fill byte is not zero
    kDigest,          ///< the record's SHA-1 digest does not match
};

/// Words for a failure ("the digest does not match").
const char* UnpackFailureText(UnpackFailure failure);

/// UAL_UnpackAndDecrypt that also says why it failed (`why` is kNone on
/// success). `out` is only written on success.
int UAL_UnpackAndDecrypt(std::string_view text, const Key256& masterKey, UnpackedCredentials& out,
                         UnpackFailure& why);

/// The size of the record and blocks for a record of `recordLength` bytes:
/// the inner block ((L + 24) rounded down to whole 16-byte blocks, plus one
/// block, so that at least one zero byte follows the digest) and the outer
/// block (the inner plus 48).
constexpr std::size_t InnerBlockSize(std::size_t recordLength) { return (recordLength + 24) / 16 * 16 + 16; }
constexpr std::size_t OuterBlockSize(std::size_t recordLength) { return InnerBlockSize(recordLength) + 48; }

/// Fixed part of the record: version, three lengths, domain type, GUID.
inline constexpr std::size_t kRecordHeaderBytes = 36;
/// Largest record either direction handles (1 MiB). The packer's own
/// callers send at most 36 + 2 x 255 bytes; the bound keeps a hostile text
/// from asking for large buffers and every sum well inside 32 bits.
inline constexpr std::size_t kMaxRecordBytes = 1u << 20;

/// A fresh message GUID from libuuid.
Guid CreateGUID();
/// A GUID as upper-case UUID text ("0F1E2D3C-...").
std::string GuidText(const Guid& guid);
/// Fills `bytes` from getrandom; false if the kernel gave no random bytes.
bool RandomBytes(std::span<std::uint8_t> bytes);
/// A fresh message key: RandomBytes over the key.
inline bool GenerateMessageKey(Key256& key) { return RandomBytes(key); }

/// Twofish-256 in ECB over `in` (a multiple of 16 bytes, else -1) into
/// `out` (same size). Returns 0 or -1.
int RunCipher(bool decrypt, const Key256& key, std::span<const std::uint8_t> in, std::span<std::uint8_t> out);

/// Base64 without line breaks, and back (false on a bad character, white
/// space included, or missing padding; an empty text is empty data).
std::string EncodePrintable(std::span<const std::uint8_t> data);
bool DecodePrintable(std::string_view text, std::vector<std::uint8_t>& out);

} // namespace kelvo::output

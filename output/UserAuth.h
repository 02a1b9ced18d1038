// Packed user credentials: a record wrapped twice with Twofish, as Base64.
#pragma once

#include <array>
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
/// used: the record's domain is always empty. Returns 0, or -1 on failure.
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

/// Twofish-256 in ECB over `in` (a multiple of 16 bytes, else -1) into
/// `out` (same size). Returns 0 or -1.
int RunCipher(bool decrypt, const Key256& key, std::span<const std::uint8_t> in, std::span<std::uint8_t> out);

/// Base64 without line breaks, and back (false on a bad character or
/// missing padding).
std::string EncodePrintable(std::span<const std::uint8_t> data);
bool DecodePrintable(std::string_view text, std::vector<std::uint8_t>& out);

} // namespace kelvo::output

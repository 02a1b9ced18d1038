// Packing user credentials for the controller: record, two Twofish layers, Base64.
#include "output/UserAuth.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <nettle/base64.h>
#include <nettle/sha1.h>
#include <nettle/twofish.h>
#include <sys/random.h>
#include <uuid/uuid.h>

namespace kelvo::output {

namespace {

/// Record and block versions the controller understands.
constexpr std::uint32_t kRecordVersion = 1;
constexpr std::uint32_t kOuterVersion = 1;
constexpr std::size_t kBlock = 16;
/// Offsets in the outer block: version, inner size, message key, inner block.
constexpr std::size_t kOuterInnerSizeAt = 4;
constexpr std::size_t kOuterKeyAt = 8;
constexpr std::size_t kOuterInnerAt = 40;
/// The inner block's length word and digest around the record.
constexpr std::size_t kInnerRecordAt = 4;
constexpr std::size_t kDigestBytes = SHA1_DIGEST_SIZE;

void PutBE32(std::uint8_t* at, std::uint32_t value) {
    at[0] = static_cast<std::uint8_t>(value >> 24);
    at[1] = static_cast<std::uint8_t>(value >> 16);
    at[2] = static_cast<std::uint8_t>(value >> 8);
    at[3] = static_cast<std::uint8_t>(value);
}

std::uint32_t GetBE32(const std::uint8_t* at) {
    return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 | at[3];
}

void PutBytes(std::vector<std::uint8_t>& out, std::size_t& at, std::string_view text) {
    if (text.empty()) // an empty view may hold a null pointer, which memcpy must not get
        return;
    std::memcpy(out.data() + at, text.data(), text.size());
    at += text.size();
}

/// The packed record. Empty when the texts together exceed kMaxRecordBytes.
std::vector<std::uint8_t> PackRecord(std::string_view name, std::string_view password, std::string_view domain,
                                     UAL_DomainType domainType, const Guid& guid) {
    if (name.size() > kMaxRecordBytes || password.size() > kMaxRecordBytes || domain.size() > kMaxRecordBytes ||
        kRecordHeaderBytes + name.size() + password.size() + domain.size() > kMaxRecordBytes)
        return {};
    const std::size_t length = kRecordHeaderBytes + name.size() + password.size() + domain.size();
    std::vector<std::uint8_t> record(length);
    PutBE32(&record[0], kRecordVersion);
    PutBE32(&record[4], static_cast<std::uint32_t>(name.size()));
    PutBE32(&record[8], static_cast<std::uint32_t>(password.size()));
    PutBE32(&record[12], static_cast<std::uint32_t>(domain.size()));
    PutBE32(&record[16], static_cast<std::uint32_t>(domainType));
    std::memcpy(&record[20], guid.data(), guid.size());
    std::size_t at = kRecordHeaderBytes;
    PutBytes(record, at, name);
    PutBytes(record, at, password);
    PutBytes(record, at, domain);
    return record;
}

/// SHA-1 of `data`. nettle writes the five state words big-endian, which is
/// the order the controller compares.
std::array<std::uint8_t, kDigestBytes> Digest(std::span<const std::uint8_t> data) {
    sha1_ctx ctx;
    sha1_init(&ctx);
    sha1_update(&ctx, data.size(), data.data());
    std::array<std::uint8_t, kDigestBytes> digest{};
    sha1_digest(&ctx, digest.size(), digest.data());
    return digest;
}

bool AllZero(std::span<const std::uint8_t> bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t b) { return b == 0; });
}

/// Whether every byte is of the Base64 alphabet, with up to two "=" only at
/// the end of a text of whole four-character groups. nettle's decoder
/// would skip white space silently; the packed text never has any.
bool StrictBase64(std::string_view text) {
    if (text.empty())
        return true;
    if (text.size() % 4 != 0)
        return false;
    std::size_t padding = 0;
    while (padding < 2 && text[text.size() - 1 - padding] == '=')
        ++padding;
    for (std::size_t i = 0; i < text.size() - padding; ++i) {
        const char c = text[i];
        const bool ok = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
                        c == '/';
        if (!ok)
            return false;
    }
    return true;
}

int Fail(UnpackFailure reason, UnpackFailure& why) {
    why = reason;
    return -1;
}

} // namespace

int RunCipher(bool decrypt, const Key256& key, std::span<const std::uint8_t> in, std::span<std::uint8_t> out) {
    // nettle asserts on a partial block and would abort the whole process.
    if (in.size() % kBlock != 0 || out.size() != in.size())
        return -1;
    if (in.empty())
        return 0;
    twofish_ctx ctx;
    twofish256_set_key(&ctx, key.data());
    if (decrypt)
        twofish_decrypt(&ctx, in.size(), out.data(), in.data());
    else
        twofish_encrypt(&ctx, in.size(), out.data(), in.data());
    return 0;
}

std::string EncodePrintable(std::span<const std::uint8_t> data) {
    std::string text(BASE64_ENCODE_RAW_LENGTH(data.size()), '\0');
    if (!data.empty())
        base64_encode_raw(text.data(), data.size(), data.data());
    return text;
}

bool DecodePrintable(std::string_view text, std::vector<std::uint8_t>& out) {
    if (!StrictBase64(text))
        return false;
    if (text.empty()) {
        out.clear();
        return true;
    }
    std::vector<std::uint8_t> bytes(BASE64_DECODE_LENGTH(text.size()));
    base64_decode_ctx ctx;
    base64_decode_init(&ctx);
    std::size_t length = 0;
    if (!base64_decode_update(&ctx, &length, bytes.data(), text.size(), text.data()) || !base64_decode_final(&ctx))
        return false;
    bytes.resize(length);
    out = std::move(bytes);
    return true;
}

Guid CreateGUID() {
    // libuuid cannot report a failure: it falls back from the kernel's
    // generator to its own, so there is no case for the all-zero GUID that
    // stands for "none".
    uuid_t uuid;
    uuid_generate(uuid);
    Guid guid{};
    std::memcpy(guid.data(), uuid, guid.size());
    return guid;
}

std::string GuidText(const Guid& guid) {
    uuid_t uuid;
    std::memcpy(uuid, guid.data(), guid.size());
    char text[37];
    uuid_unparse_upper(uuid, text);
    return text;
}

bool RandomBytes(std::span<std::uint8_t> bytes) {
    // Short reads only happen for large requests or a signal before the
    // pool is initialised (EINTR); either way, ask again for the rest.
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t got = getrandom(bytes.data() + done, bytes.size() - done, 0);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        done += static_cast<std::size_t>(got);
    }
    return true;
}

int UAL_PackAndEncrypt(std::string_view name, std::string_view password, std::string_view domain,
                       UAL_DomainType domainType, const Guid& guid, const Key256& masterKey, std::string& out,
                       const std::optional<Key256>& messageKey) {
    out.clear();
    const std::vector<std::uint8_t> record = PackRecord(name, password, domain, domainType, guid);
    if (record.empty())
        return -1;
    Key256 key{};
    if (messageKey)
        key = *messageKey;
    else if (!GenerateMessageKey(key))
        return -1;

    // Inner block: length, record, digest, zero fill.
    const std::size_t innerSize = InnerBlockSize(record.size());
    std::vector<std::uint8_t> inner(innerSize, 0);
    PutBE32(&inner[0], static_cast<std::uint32_t>(record.size()));
    std::memcpy(&inner[kInnerRecordAt], record.data(), record.size());
    const auto digest = Digest(record);
    std::memcpy(&inner[kInnerRecordAt + record.size()], digest.data(), digest.size());

    // Outer block: version, inner size, the message key, the inner block
    // under that key, zero fill. The key's eight words are stored
    // big-endian, which for random bytes is the bytes as they came.
    std::vector<std::uint8_t> outer(innerSize + 48, 0);
    PutBE32(&outer[0], kOuterVersion);
    PutBE32(&outer[kOuterInnerSizeAt], static_cast<std::uint32_t>(innerSize));
    std::memcpy(&outer[kOuterKeyAt], key.data(), key.size());
    std::span<std::uint8_t> innerAt(outer.data() + kOuterInnerAt, innerSize);
    if (RunCipher(false, key, inner, innerAt) != 0)
        return -1;
    std::vector<std::uint8_t> sealed(outer.size());
    if (RunCipher(false, masterKey, outer, sealed) != 0)
        return -1;
    out = EncodePrintable(sealed);
    return 0;
}

int AUTH_packAndEncrypt(std::string_view name, std::string_view password, std::string_view /*domain*/,
                        UAL_DomainType domainType, int /*flag*/, const Key256& masterKey, std::string& out) {
    // The controller only knows default-domain accounts: anything else, or
    // a half-known pair, goes out as an empty name and password.
    constexpr std::size_t kMaxText = 255;
    std::string_view keptName, keptPassword;
    if (domainType == kUALDomainTypeDefault && !name.empty() && !password.empty()) {
        keptName = name.substr(0, kMaxText);
        keptPassword = password.substr(0, kMaxText);
    }
    return UAL_PackAndEncrypt(keptName, keptPassword, "", kUALDomainTypeDefault, CreateGUID(), masterKey, out);
}

const char* UnpackFailureText(UnpackFailure failure) {
    switch (failure) {
    case UnpackFailure::kNone: return "no error";
    case UnpackFailure::kNotBase64: return "not Base64 text";
    case UnpackFailure::kBlockSize: return "the decoded size is no outer block";
    case UnpackFailure::kOuterVersion: return "the outer version is not 1 (another master key, or damaged)";
    case UnpackFailure::kInnerSize: return "the inner block's size does not match";
    case UnpackFailure::kRecordLength: return "the record's length does not match its fields";
    case UnpackFailure::kRecordVersion: return "the record's version is not 1";
    case UnpackFailure::kFill: return "the zero fill is not zero";
    case UnpackFailure::kDigest: return "the digest does not match";
    }
    return "unknown failure";
}

int UAL_UnpackAndDecrypt(std::string_view text, const Key256& masterKey, UnpackedCredentials& out,
                         UnpackFailure& why) {
    why = UnpackFailure::kNone;
    // Refuse a long text before decoding it: no record we accept needs more.
    if (text.size() > (OuterBlockSize(kMaxRecordBytes) + 2) / 3 * 4)
        return Fail(UnpackFailure::kBlockSize, why);
    std::vector<std::uint8_t> sealed;
    if (!DecodePrintable(text, sealed))
        return Fail(UnpackFailure::kNotBase64, why);
    // The smallest outer block is that of a bare 36-byte record.
    if (sealed.size() < OuterBlockSize(kRecordHeaderBytes) || sealed.size() % kBlock != 0)
        return Fail(UnpackFailure::kBlockSize, why);

    std::vector<std::uint8_t> outer(sealed.size());
    if (RunCipher(true, masterKey, sealed, outer) != 0)
        return Fail(UnpackFailure::kBlockSize, why);
    if (GetBE32(&outer[0]) != kOuterVersion)
        return Fail(UnpackFailure::kOuterVersion, why);
    const std::size_t innerSize = GetBE32(&outer[kOuterInnerSizeAt]);
    if (innerSize % kBlock != 0 || innerSize + 48 != outer.size())
        return Fail(UnpackFailure::kInnerSize, why);
    if (!AllZero(std::span(outer).subspan(kOuterInnerAt + innerSize)))
        return Fail(UnpackFailure::kFill, why);

    Key256 key;
    std::memcpy(key.data(), &outer[kOuterKeyAt], key.size());
    std::vector<std::uint8_t> inner(innerSize);
    if (RunCipher(true, key, std::span(outer).subspan(kOuterInnerAt, innerSize), inner) != 0)
        return Fail(UnpackFailure::kInnerSize, why);

    // innerSize >= 64 here, so innerSize - 24 cannot wrap.
    const std::size_t length = GetBE32(&inner[0]);
    if (length < kRecordHeaderBytes || length > innerSize - 24 || InnerBlockSize(length) != innerSize)
        return Fail(UnpackFailure::kRecordLength, why);
    const std::span<const std::uint8_t> record(&inner[kInnerRecordAt], length);
    if (!AllZero(std::span(inner).subspan(kInnerRecordAt + length + kDigestBytes)))
        return Fail(UnpackFailure::kFill, why);
    const auto digest = Digest(record);
    if (std::memcmp(digest.data(), &inner[kInnerRecordAt + length], digest.size()) != 0)
        return Fail(UnpackFailure::kDigest, why);

    if (GetBE32(&record[0]) != kRecordVersion)
        return Fail(UnpackFailure::kRecordVersion, why);
    // Each length is below 2^32 and the record below kMaxRecordBytes, so
    // the sum is compared in 64 bits without overflow.
    const std::uint64_t n = GetBE32(&record[4]), p = GetBE32(&record[8]), d = GetBE32(&record[12]);
    if (n + p + d != length - kRecordHeaderBytes)
        return Fail(UnpackFailure::kRecordLength, why);

    const char* texts = reinterpret_cast<const char*>(record.data()) + kRecordHeaderBytes;
    UnpackedCredentials result;
    result.name.assign(texts, n);
    result.password.assign(texts + n, p);
    result.domain.assign(texts + n + p, d);
    result.domainType = static_cast<UAL_DomainType>(GetBE32(&record[16]));
    std::memcpy(result.guid.data(), &record[20], result.guid.size());
    out = std::move(result);
    return 0;
}

int UAL_UnpackAndDecrypt(std::string_view text, const Key256& masterKey, UnpackedCredentials& out) {
    UnpackFailure why;
    return UAL_UnpackAndDecrypt(text, masterKey, out, why);
}

} // namespace kelvo::output

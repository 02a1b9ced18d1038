// Text items of the settings store: plain bytes and 16-bit Unicode external form.
#include "store/Settings.h"

#include <bit>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iconv.h>
#include <new>

namespace {

/// iconv names for UTF-16 in an explicit order: the plain "UTF-16" name
/// would make glibc add or expect a mark of its own choosing.
constexpr const char* kUtf16Host = std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";

/// The two conversions of this file, each opened once per thread: a
/// snapshot converts every display name, and opening a descriptor costs
/// more than converting a name. Closed when the thread ends.
class CachedIconv {
public:
    /// The descriptor for to <- from, reset to its initial state; null
    /// when iconv cannot make one.
    iconv_t Get(const char* to, const char* from) {
        for (Entry& e : mEntries) {
            if (e.cd && e.to == to && e.from == from) {
                iconv(e.cd, nullptr, nullptr, nullptr, nullptr);
                return e.cd;
            }
        }
        iconv_t cd = iconv_open(to, from);
        if (cd == reinterpret_cast<iconv_t>(-1))
            return nullptr;
        Entry& slot = mEntries[mNext++ % mEntries.size()];
        if (slot.cd)
            iconv_close(slot.cd);
        slot = {to, from, cd};
        return cd;
    }
    CachedIconv() = default;
    CachedIconv(const CachedIconv&) = delete;
    CachedIconv& operator=(const CachedIconv&) = delete;
    ~CachedIconv() {
        for (Entry& e : mEntries)
            if (e.cd)
                iconv_close(e.cd);
    }

private:
    struct Entry {
        const char* to = nullptr; ///< string literals: compared by address
        const char* from = nullptr;
        iconv_t cd = nullptr;
    };
    std::array<Entry, 4> mEntries{};
    std::size_t mNext = 0;
};

iconv_t Descriptor(const char* to, const char* from) {
    thread_local CachedIconv cache;
    return cache.Get(to, from);
}

/// Runs `in` through `cd`, appending to `out`. Where iconv refuses the
/// input (an invalid or cut sequence), `loss` is appended instead and
/// `unit` input bytes are skipped, so the rest still converts. False when
/// memory runs out or iconv fails in another way.
bool Convert(iconv_t cd, std::span<const std::uint8_t> in, std::size_t unit, std::span<const std::uint8_t> loss,
             std::vector<std::uint8_t>& out) {
    // iconv's interface is not const-correct; it never writes through inbuf.
    char* src = reinterpret_cast<char*>(const_cast<std::uint8_t*>(in.data()));
    std::size_t srcLeft = in.size();
    std::size_t produced = out.size();
    try {
        // UTF-8 to UTF-16 at most doubles; UTF-16 to UTF-8 at most 1.5 times.
        out.resize(produced + 2 * in.size() + 16);
        for (;;) {
            char* dst = reinterpret_cast<char*>(out.data()) + produced;
            std::size_t dstLeft = out.size() - produced;
            const std::size_t result = srcLeft ? iconv(cd, &src, &srcLeft, &dst, &dstLeft)
                                               : iconv(cd, nullptr, nullptr, &dst, &dstLeft);
            const int error = errno;
            produced = static_cast<std::size_t>(dst - reinterpret_cast<char*>(out.data()));
            if (result != static_cast<std::size_t>(-1)) {
                if (srcLeft == 0)
                    break;
                continue;
            }
            if (error == E2BIG) {
                out.resize(out.size() * 2);
                continue;
            }
            if ((error != EILSEQ && error != EINVAL) || srcLeft == 0)
                return false;
            const std::size_t skip = std::min(unit, srcLeft);
            src += skip;
            srcLeft -= skip;
            if (out.size() - produced < loss.size())
                out.resize(out.size() + loss.size() + 16);
            std::memcpy(out.data() + produced, loss.data(), loss.size());
            produced += loss.size();
            iconv(cd, nullptr, nullptr, nullptr, nullptr);
        }
        out.resize(produced);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

/// The item's whole value, or nullopt when absent, empty or unreadable.
std::optional<std::vector<std::uint8_t>> ItemBytes(Settings& settings, std::uint32_t tag, std::int32_t id) {
    std::vector<std::uint8_t> value;
    if (settings.Get(tag, id, value) != kSettingsNoErr || value.empty())
        return std::nullopt;
    return value;
}

} // namespace

std::optional<CString> GetSettingsString(Settings& settings, std::uint32_t tag, std::int32_t id) {
    const auto bytes = ItemBytes(settings, tag, id);
    if (!bytes)
        return std::nullopt;
    return CString(reinterpret_cast<const char*>(bytes->data()), bytes->size());
}

std::optional<std::string> GetSettingsCFString(Settings& settings, std::uint32_t tag, std::int32_t id) {
    const auto bytes = ItemBytes(settings, tag, id);
    if (!bytes)
        return std::nullopt;
    return ExtenalToCFString(*bytes);
}

std::vector<std::uint8_t> CFStringToExternal(std::string_view utf8) {
    iconv_t cd = Descriptor(kUtf16Host, "UTF-8");
    if (!cd)
        return {};
    // The mark and the loss character in this machine's order, as the
    // platform wrote them: a reader of the other order finds out from the mark.
    const std::uint16_t mark = 0xFEFF;
    const std::uint16_t question = '?';
    std::vector<std::uint8_t> out;
    try {
        out.resize(sizeof mark);
    } catch (const std::bad_alloc&) {
        return {};
    }
    std::memcpy(out.data(), &mark, sizeof mark);
    const std::span<const std::uint8_t> loss(reinterpret_cast<const std::uint8_t*>(&question), sizeof question);
    const std::span<const std::uint8_t> in(reinterpret_cast<const std::uint8_t*>(utf8.data()), utf8.size());
    if (!Convert(cd, in, 1, loss, out))
        return {};
    return out;
}

std::optional<std::string> ExtenalToCFString(std::span<const std::uint8_t> bytes) {
    if (bytes.size() % 2 != 0)
        return std::nullopt;
    // Without a mark the units are big-endian, the order the Unicode
    // standard assumes for unmarked UTF-16.
    static constexpr const char* kBE = "UTF-16BE";
    static constexpr const char* kLE = "UTF-16LE";
    const char* from = kBE;
    if (bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) {
        from = kLE;
        bytes = bytes.subspan(2);
    } else if (bytes.size() >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF) {
        bytes = bytes.subspan(2);
    }
    if (bytes.empty())
        return std::string();
    iconv_t cd = Descriptor("UTF-8", from);
    if (!cd)
        return std::nullopt;
    static constexpr std::uint8_t kQuestion[] = {'?'};
    std::vector<std::uint8_t> out;
    if (!Convert(cd, bytes, 2, kQuestion, out))
        return std::nullopt;
    return std::string(out.begin(), out.end());
}

// Encrypting a job note's text for the controller, and reading it back.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "output/UserAuth.h"

namespace kelvo::output {

/// What every encrypted note starts with: the format and its version.
inline constexpr std::string_view kNotePrefix = "KN1:";
/// Longest note text handled (1 MiB); notes are a few hundred bytes.
inline constexpr std::size_t kMaxNoteBytes = 1u << 20;

/// Encrypts `text` under a note key (key file entries "note2".."note7"):
/// Twofish-256 in counter mode with a fresh random nonce, and an
/// HMAC-SHA-256 tag over the nonce and the ciphertext (format in
/// docs/keys.md). The result is kNotePrefix then Base64: printable ASCII,
/// safe on a comment line and in a PostScript string. Nothing when the
/// text is longer than kMaxNoteBytes or no random bytes could be had.
std::optional<std::string> EncryptNote(std::string_view text, const Key256& key);

/// The exact counterpart of EncryptNote: the note's text, or nothing when
/// `text` is not an encrypted note, was damaged or cut, or was encrypted
/// under another key.
std::optional<std::string> DecryptNote(std::string_view text, const Key256& key);

/// EncryptNote with the nonce given (tests fix it to get known answers).
std::optional<std::string> EncryptNoteWithNonce(std::string_view text, const Key256& key,
                                                const std::array<std::uint8_t, 16>& nonce);

} // namespace kelvo::output

// Making user text safe to place on a PostScript comment line.
#pragma once

#include <string>
#include <string_view>

namespace kelvo {

/// The byte every control character of user text becomes on a comment line.
inline constexpr char kCommentControlReplacement = ' ';

/// True for a byte that must not appear on a comment line: CR and LF would
/// end the comment and turn the rest of the text into live PostScript, and
/// the other C0 controls and DEL confuse the spoolers that read the
/// comments. A tab is kept: it is ordinary white space on a line.
constexpr bool IsCommentBreakingByte(unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7F; }

/// `text` with every comment-breaking byte replaced by a space, so that it
/// stays on the one comment line it is written to. Same length as `text`
/// (the two-call PostScript convention sizes output before filling it).
/// Every writer of a "%%..." line that holds a keyword, a value text or a
/// job note's text goes through here.
std::string CommentSafe(std::string_view text);

/// Appends CommentSafe(text) to `out`.
void AppendCommentSafe(std::string& out, std::string_view text);

} // namespace kelvo

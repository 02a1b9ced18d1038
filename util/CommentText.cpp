// Comment-line sanitising of user text.
#include "util/CommentText.h"

namespace kelvo {

void AppendCommentSafe(std::string& out, std::string_view text) {
    const std::size_t start = out.size();
    out.append(text);
    for (std::size_t i = start; i < out.size(); ++i)
        if (IsCommentBreakingByte(static_cast<unsigned char>(out[i])))
            out[i] = kCommentControlReplacement;
}

std::string CommentSafe(std::string_view text) {
    std::string out;
    AppendCommentSafe(out, text);
    return out;
}

} // namespace kelvo

// Comparing UTF-8 display text without regard to letter case.
#pragma once

#include <string_view>

namespace kelvo {

/// True when `a` and `b` are the same text once every letter is lowered:
/// all of Unicode, not only ASCII ("Épreuve Couchée" equals "épreuve couchée").
/// Lowering follows the C.UTF-8 locale's simple case mapping, whatever the
/// process locale is. Text that is not valid UTF-8 is compared byte by byte
/// with ASCII letters folded.
bool EqualsIgnoringCaseUTF8(std::string_view a, std::string_view b);

} // namespace kelvo

// One question to the constraint table: may this key take this choice, what
// stands in its way, and which further changes would make room for it.
#pragma once

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "PPDX/QJVPPD.h"

/// A key the resolution may not change: every change of it (empty choice)
/// or only the change to one choice.
struct ChoiceLock {
    std::string keyword; ///< with its asterisk
    std::string choice;  ///< empty: the whole key
};

/// The answer, in the table's own texts ("*Key", "Choice").
struct ChoiceAnswer {
    using Pairs = std::vector<std::pair<std::string, std::string>>;
    bool constrained = false; ///< what IsKVConstrained says
    Pairs conflicts;          ///< current selections the choice conflicts with
    Pairs candidates;         ///< alternatives that would remove a conflict
    bool searched = false;    ///< a resolution was asked for
    bool resolved = false;    ///< ...and found
    Pairs changes;            ///< the further changes of the resolution
    Pairs unresolved;         ///< conflicts left when none was found
};

/// Asks the document's constraint table about choosing `choice` for
/// `keyword` (with its asterisk) against the current selections. With
/// `resolve`, also searches (breadth-first, bounded) for the fewest further
/// changes that make it consistent, never changing `keyword` itself nor
/// anything locked. A print size that follows the page size is answered as
/// that page size throughout, as IsKVConstrained answers it.
///
/// The caller checks that the key names a control and the choice is one it
/// offers; a name the table never heard of is simply free. Nothing in the
/// document changes.
ChoiceAnswer AskChoice(QJVPPD& doc, const std::string& keyword, const std::string& choice, bool resolve = false,
                       std::span<const ChoiceLock> locks = {});

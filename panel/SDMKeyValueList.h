// The panel state as a flat list of (key, value) wide-text pairs, the form in which it travels to the helper.
#pragma once

#include <string>
#include <vector>

namespace kelvo::panel {

/// One setting: a PPD main keyword without its "*" (or a pseudo-key that
/// keeps it) and the control's value text. Wide text is 32-bit code units
/// on Linux, the unit the helper exchange was defined with.
struct SDMKeyValue {
    std::wstring key;
    std::wstring value;

    bool operator==(const SDMKeyValue&) const = default;
};

/// The whole panel state, in the order the panel listed it.
struct SDMKeyValueList {
    std::vector<SDMKeyValue> entries;

    std::size_t count() const { return entries.size(); }
    bool operator==(const SDMKeyValueList&) const = default;
};

/// Frees a list made on the heap (the conversions hand out such lists).
/// A null list is ignored.
inline void FreeSDMList(SDMKeyValueList* list) { delete list; }

} // namespace kelvo::panel

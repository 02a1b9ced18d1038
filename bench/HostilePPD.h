// Generated PPDs that attack the reader's cost: huge whole-key constraints,
// a popup with a huge number of choices, a huge number of groups. Shared by
// the regression tests and the hostile-input benchmark.
#pragma once

#include <cstddef>
#include <string>

namespace kelvohostile {

inline constexpr char kHeader[] =
    "*PPD-Adobe: \"4.3\"\n"
    "*FormatVersion: \"4.3\"\n"
    "*FileVersion: \"1.0\"\n"
    "*LanguageVersion: English\n"
    "*LanguageEncoding: ISOLatin1\n"
    "*PCFileName: \"HOSTILE.PPD\"\n"
    "*ModelName: \"Hostile\"\n"
    "*%QJVPropPage QJPage/Page: \"True\"\n"
    "*%QJVGroupName QJGroup/Options: \"True\"\n";

/// The name of choice `i` of a generated popup: a letter and a number.
inline std::string ChoiceName(char letter, std::size_t i) { return letter + std::to_string(i); }

/// A PickOne popup `key` in QJGroup with `count` choices named
/// ChoiceName(letter, 0..count-1), the first being the default. With
/// `withNone`, a "None" choice comes first and is the default.
inline std::string Popup(const std::string& key, char letter, std::size_t count, bool withNone = false) {
    const std::string bare = key.substr(1);
    std::string text = "*%QJVFlags " + key + ": \"Dynamic\"\n*%QJVGroup " + key + ": QJGroup\n*OpenUI " + key + "/" +
                       bare + ": PickOne\n*Default" + bare + ": " + (withNone ? "None" : ChoiceName(letter, 0)) +
                       "\n";
    if (withNone)
        text += key + " None/None: \"\"\n";
    for (std::size_t i = 0; i < count; ++i)
        text += key + " " + ChoiceName(letter, i) + ": \"\"\n";
    text += "*CloseUI: " + key + "\n";
    return text;
}

/// Two popups *QJA and *QJB of `choices` choices each (plus "None"), each
/// constrained whole-key against the other: written out, the constraint
/// table would hold 2 * choices * choices pairs.
inline std::string CrossConstrainedPopups(std::size_t choices) {
    return std::string(kHeader) + Popup("*QJA", 'a', choices, true) + Popup("*QJB", 'b', choices, true) +
           "*UIConstraints: *QJA *QJB\n*UIConstraints: *QJB *QJA\n";
}

/// One popup *QJBig with `choices` choices.
inline std::string HugePopup(std::size_t choices) { return std::string(kHeader) + Popup("*QJBig", 'c', choices); }

/// `groups` declared groups G0, G1, ...; every 64th one holds a Boolean
/// control, declared after all the groups so each look-up runs over the
/// whole list.
inline std::string ManyGroups(std::size_t groups) {
    std::string text = kHeader;
    for (std::size_t i = 0; i < groups; ++i)
        text += "*%QJVGroupName G" + std::to_string(i) + "/G" + std::to_string(i) + ": \"True\"\n";
    for (std::size_t i = 0; i < groups; i += 64) {
        const std::string key = "*QJOn" + std::to_string(i);
        text += "*%QJVFlags " + key + ": \"\"\n*%QJVGroup " + key + ": G" + std::to_string(i) + "\n*OpenUI " + key +
                "/On: Boolean\n*Default" + key.substr(1) + ": False\n" + key + " True: \"t\"\n" + key +
                " False: \"f\"\n*CloseUI: " + key + "\n";
    }
    return text;
}

/// An ordinary file of about `bytes` bytes to compare a hostile one with:
/// popups of eight choices each, with a few one-to-one constraints.
inline std::string OrdinaryOfSize(std::size_t bytes) {
    std::string text = kHeader;
    for (std::size_t k = 0; text.size() < bytes; ++k) {
        const std::string key = "*QJO" + std::to_string(k);
        text += Popup(key, 'o', 8);
        if (k > 0)
            text += "*UIConstraints: " + key + " o1 *QJO" + std::to_string(k - 1) + " o2\n";
    }
    return text;
}

} // namespace kelvohostile

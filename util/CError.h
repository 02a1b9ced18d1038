// Error record: a 16-bit code, an optional description and a fatal flag.
#pragma once

#include <cstdint>
#include <optional>

#include "util/CString.h"

/// The library never throws; operations that can fail return a CError (or a
/// subclass) by value or pointer, and the caller inspects code and fatality.
class CError {
public:
    CError() = default;
    CError(std::int16_t code, bool fatal, const char* description = nullptr)
        : mCode(code), mFatal(fatal) {
        if (description && *description)
            mDescription.emplace(description);
    }
    virtual ~CError() = default;

    std::int16_t Code() const { return mCode; }
    bool IsFatal() const { return mFatal; }
    void SetFatal(bool fatal) { mFatal = fatal; }
    /// The description text, or null when none was given.
    const char* Description() const { return mDescription ? mDescription->c_str() : nullptr; }

    bool operator==(std::int16_t code) const { return mCode == code; }
    bool operator!=(std::int16_t code) const { return mCode != code; }

private:
    std::int16_t mCode = 0;
    bool mFatal = false;
    std::optional<CString> mDescription;
};

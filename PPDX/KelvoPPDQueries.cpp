// The C interface's library-wide functions (version, statuses, the last
// failure), opening from memory, error texts, and values by keyword.
#include "PPDX/KelvoPPD.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include <strings.h>

#include "PPDX/KelvoPPDHandles.h"
#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/PPDXErrors.h"

using namespace kelvo::capi;

namespace {

// Per thread, like errno: a host that checks it after a failed call must not
// see another thread's failure.
thread_local int tLastFailure = KELVO_STATUS_OK;

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// Whole-text number checks: the controls' own setters read a leading number
// and ignore the rest, which would let "12abc" or "nan" through silently.
bool IsWholeNumber(const char* text) {
    char* end = nullptr;
    std::strtoll(text, &end, 10);
    return end != text && *end == '\0';
}

bool IsFiniteNumber(const char* text, const char** rest) {
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    if (end == text || !std::isfinite(value))
        return false;
    *rest = end;
    return true;
}

bool IsPageSize(const char* text) {
    const char* rest = nullptr;
    if (!IsFiniteNumber(text, &rest) || *rest != ' ')
        return false;
    const char* height = rest + 1;
    return IsFiniteNumber(height, &rest) && *rest == '\0';
}

} // namespace

namespace kelvo::capi {

int RecordFailure() noexcept {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        tLastFailure = KELVO_STATUS_NO_MEMORY;
    } catch (...) {
        tLastFailure = KELVO_STATUS_INTERNAL;
    }
    return tLastFailure;
}

std::string WithStar(const char* keyword) {
    return keyword[0] == '*' ? std::string(keyword) : std::string("*") + keyword;
}

bool OffersChoice(PPDXControl& control, std::string_view choice) {
    if (auto* popup = dynamic_cast<PPDXPopupControl*>(&control)) {
        for (std::size_t i = 0; i < popup->ItemCount(); ++i) {
            const char* keyword = popup->ItemAt(i)->Keyword();
            if (keyword && choice == keyword)
                return true;
        }
        return false;
    }
    if (dynamic_cast<PPDXBooleanControl*>(&control))
        return choice == "True" || choice == "False";
    return true;
}

int SetValue(QJVPPD& doc, const char* keyword, const char* value) {
    PPDXControl* control = doc.GetPPDXControlForKey(keyword);
    if (!control)
        return KELVO_STATUS_UNKNOWN_KEY;
    bool valid = true;
    switch (control->Type()) {
    case kControlTypeSpecialOption: return KELVO_STATUS_READ_ONLY;
    case kControlTypePopup: valid = OffersChoice(*control, value); break;
    case kControlTypeBoolean: valid = EqualsIgnoringCase(value, "True") || EqualsIgnoringCase(value, "False"); break;
    case kControlTypeRange: valid = IsWholeNumber(value); break;
    case kControlTypeFloatRange: {
        const char* rest = nullptr;
        valid = IsFiniteNumber(value, &rest) && *rest == '\0';
        break;
    }
    case kControlTypeCustomPageSize: valid = IsPageSize(value); break;
    default: break;
    }
    if (!valid)
        return KELVO_STATUS_BAD_VALUE;
    control->SetCurrentControlWithCFString(value);
    return KELVO_STATUS_OK;
}

} // namespace kelvo::capi

extern "C" {

// Library.

const char* KelvoVersion(void) { return KELVO_VERSION_STRING; }

const char* KelvoStatusName(int status) {
    switch (status) {
    case KELVO_STATUS_OK: return "KELVO_STATUS_OK";
    case KELVO_STATUS_INVALID_ARGUMENT: return "KELVO_STATUS_INVALID_ARGUMENT";
    case KELVO_STATUS_NO_MEMORY: return "KELVO_STATUS_NO_MEMORY";
    case KELVO_STATUS_UNKNOWN_KEY: return "KELVO_STATUS_UNKNOWN_KEY";
    case KELVO_STATUS_BAD_VALUE: return "KELVO_STATUS_BAD_VALUE";
    case KELVO_STATUS_READ_ONLY: return "KELVO_STATUS_READ_ONLY";
    case KELVO_STATUS_INTERNAL: return "KELVO_STATUS_INTERNAL";
    default: return nullptr;
    }
}

const char* KelvoStatusMessage(int status) {
    switch (status) {
    case KELVO_STATUS_OK: return "success";
    case KELVO_STATUS_INVALID_ARGUMENT: return "a required argument is missing or malformed";
    case KELVO_STATUS_NO_MEMORY: return "out of memory";
    case KELVO_STATUS_UNKNOWN_KEY: return "no control has that keyword";
    case KELVO_STATUS_BAD_VALUE: return "the control takes no such value";
    case KELVO_STATUS_READ_ONLY: return "the PPD fixes this control's value";
    case KELVO_STATUS_INTERNAL: return "internal error in the library";
    default: return nullptr;
    }
}

int KelvoLastFailure(void) { return tLastFailure; }
void KelvoClearLastFailure(void) { tLastFailure = KELVO_STATUS_OK; }

// Document.

KelvoDocument* KelvoOpenPPDFromBytes(const void* bytes, size_t length, unsigned parseOptions,
                                     const char* hostAppID) try {
    if (!bytes && length > 0)
        return nullptr;
    PPDHostInfo host;
    if (hostAppID)
        host.applicationID = hostAppID;
    const std::string_view text = length ? std::string_view(static_cast<const char*>(bytes), length)
                                         : std::string_view();
    return H(QJVPPD::FromBytes(text, parseOptions, std::move(host)).release());
} catch (...) { return Failed(nullptr); }

const char* KelvoGetFileErrorText(const KelvoDocument* doc) try {
    if (!doc)
        return nullptr;
    const std::string& text = Doc(doc)->FileErrorText();
    return text.empty() ? nullptr : text.c_str();
} catch (...) { return Failed(nullptr); }

// Errors.

unsigned long KelvoGetErrorLine(const KelvoError* error) try {
    return error ? Err(error)->Line() : 0;
} catch (...) { return Failed(0); }

const char* KelvoErrorCodeName(int code) try {
    return code >= INT16_MIN && code <= INT16_MAX ? PPDErrName(static_cast<std::int16_t>(code)) : nullptr;
} catch (...) { return Failed(nullptr); }

const char* KelvoErrorCodeMessage(int code) try {
    return code >= INT16_MIN && code <= INT16_MAX ? PPDErrMessage(static_cast<std::int16_t>(code)) : nullptr;
} catch (...) { return Failed(nullptr); }

// Values by keyword.

size_t KelvoCopyValueForKey(KelvoDocument* doc, const char* keyword, char* buffer, size_t size) try {
    if (buffer && size)
        buffer[0] = '\0';
    if (!doc || !keyword)
        return 0;
    PPDXControl* control = Doc(doc)->GetPPDXControlForKey(keyword);
    return control ? KelvoCopyControlValue(H(control), buffer, size) : 0;
} catch (...) { return Failed(0); }

int KelvoSetValueForKey(KelvoDocument* doc, const char* keyword, const char* value) try {
    if (!doc || !keyword || !value)
        return KELVO_STATUS_INVALID_ARGUMENT;
    return SetValue(*Doc(doc), keyword, value);
} catch (...) { return RecordFailure(); }

} // extern "C"

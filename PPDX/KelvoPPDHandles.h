// Private to the C interface's sources: handles <-> model pointers, and the
// one way a C entry point reports a C++ exception it caught.
//
// Handles are the model's own pointers in disguise. Every element handle is
// made from a PPDXElement* (never from a derived pointer), so turning it back
// and asking dynamic_cast for the kind a function needs is always valid; a
// handle of the wrong kind comes out null and is treated like a null handle.
//
// Every extern "C" function that reaches into the model is a function-try-
// block ending in `catch (...) { return Failed(<what a null handle gives>); }`
// (or returning RecordFailure() where the result is a status): an exception
// must never unwind into C code, which cannot handle it, and a host under
// memory pressure gets a null result it already checks for. Only functions
// that touch nothing but their own plain data (a report's counts, the
// version string) go without.
#pragma once

#include <string>
#include <string_view>

#include "PPDX/KelvoPPD.h"
#include "PPDX/QJVPPD.h"

namespace kelvo::capi {

// The const_casts are only the C side's const promises being dropped; the
// functions keep them.
inline QJVPPD* Doc(const KelvoDocument* h) { return reinterpret_cast<QJVPPD*>(const_cast<KelvoDocument*>(h)); }
inline KelvoDocument* H(QJVPPD* p) { return reinterpret_cast<KelvoDocument*>(p); }
inline PPDXErrors* Errs(const KelvoErrors* h) { return reinterpret_cast<PPDXErrors*>(const_cast<KelvoErrors*>(h)); }
inline const PPDXErrorObj* Err(const KelvoError* h) { return reinterpret_cast<const PPDXErrorObj*>(h); }
inline const KelvoError* H(const PPDXErrorObj* p) { return reinterpret_cast<const KelvoError*>(p); }
inline PPDXGroups* Groups(const KelvoGroups* h) {
    return reinterpret_cast<PPDXGroups*>(const_cast<KelvoGroups*>(h));
}
inline PPDXProperties* Pages(const KelvoProperties* h) {
    return reinterpret_cast<PPDXProperties*>(const_cast<KelvoProperties*>(h));
}
inline PPDXControls* Ctls(const KelvoControls* h) {
    return reinterpret_cast<PPDXControls*>(const_cast<KelvoControls*>(h));
}
inline PPDXShortcuts* Cuts(const KelvoShortcuts* h) {
    return reinterpret_cast<PPDXShortcuts*>(const_cast<KelvoShortcuts*>(h));
}
inline KelvoErrors* H(PPDXErrors* p) { return reinterpret_cast<KelvoErrors*>(p); }
inline KelvoGroups* H(PPDXGroups* p) { return reinterpret_cast<KelvoGroups*>(p); }
inline KelvoProperties* H(PPDXProperties* p) { return reinterpret_cast<KelvoProperties*>(p); }
inline KelvoControls* H(PPDXControls* p) { return reinterpret_cast<KelvoControls*>(p); }
inline KelvoShortcuts* H(PPDXShortcuts* p) { return reinterpret_cast<KelvoShortcuts*>(p); }

// Elements always cross as PPDXElement*, whatever their class.
inline KelvoElement* H(PPDXElement* p) { return reinterpret_cast<KelvoElement*>(p); }
template <class T>
T* As(const KelvoElement* h) {
    return h ? dynamic_cast<T*>(reinterpret_cast<PPDXElement*>(const_cast<KelvoElement*>(h))) : nullptr;
}

inline int B(bool b) { return b ? 1 : 0; }

/// Records the exception being handled as this thread's last failure
/// (KELVO_STATUS_NO_MEMORY for std::bad_alloc, else KELVO_STATUS_INTERNAL)
/// and returns that status. Only to be called inside a catch handler.
int RecordFailure() noexcept;

/// What a catch handler returns: records the failure, hands back `value`.
template <class T>
T Failed(T value) noexcept {
    RecordFailure();
    return value;
}
inline void Failed() noexcept { RecordFailure(); }

/// The keyword with its leading asterisk, as the constraint table keeps it.
std::string WithStar(const char* keyword);
/// Whether `choice` is one the control offers: a popup's choice keyword,
/// "True" or "False" for a Boolean; any text for other kinds.
bool OffersChoice(PPDXControl& control, std::string_view choice);
/// KelvoSetValueForKey without the argument checks: a KELVO_STATUS_*.
int SetValue(QJVPPD& doc, const char* keyword, const char* value);

} // namespace kelvo::capi

/*
 * KelvoPPD.h - flat C query interface over an extended PPD document.
 *
 * Other programs and languages read a document through these functions
 * without the C++ classes. Everything is reached through opaque handles:
 *
 *   KelvoDocument    the document; reference counted (Open/Retain/Release)
 *   KelvoErrors      the document's parse error list; KelvoError one entry
 *   KelvoGroups      a list of groups (the document's, or a scroll pane's
 *                    roll-downs)
 *   KelvoProperties  the document's property pages
 *   KelvoControls    a list of controls (the document's, or a roll-down's)
 *   KelvoShortcuts   the quick-access list
 *   KelvoElement     any named element: a group, a roll-down, a scroll pane,
 *                    a property page or a control. KelvoGroup, KelvoProperty
 *                    and KelvoControl are the same handle type under names
 *                    that say what a function expects; a function given an
 *                    element of the wrong kind does what it does for a null
 *                    handle. So KelvoGetParent() of a control can be handed
 *                    straight to KelvoIsRollDown() or
 *                    KelvoGetRollDownControlList().
 *   KelvoChoiceReport the answer to a constraint question (conflicts,
 *                    candidates, a resolution); the caller owns it and frees
 *                    it with KelvoFreeChoiceReport().
 *
 * Rules that hold for every function below:
 *   - A null handle gives 0, NULL or no action; no function stops the
 *     program on bad input.
 *   - No function lets a C++ exception out. When memory runs out (or the
 *     library meets a fault of its own) the function returns what it returns
 *     for a null handle, or a negative KELVO_STATUS_* code where its result
 *     is a status, and records the cause for KelvoLastFailure().
 *   - Every handle and every returned string is owned by the document; none
 *     is freed by the caller, except a KelvoChoiceReport. They stay valid
 *     until the document's last KelvoReleasePPD() unless a comment says
 *     otherwise.
 *   - Text is NUL-terminated 8-bit text. Names marked UTF-8 are UTF-8; names
 *     marked "system encoding" are in the process's text encoding (the
 *     locale's codeset); keywords and PPD values are the bytes of the PPD.
 *   - Truth values are int: 1 true, 0 false.
 *   - First/Next walks use one cursor per list (per control for flags and
 *     popup items): two loops over the same list must not interleave.
 *   - PostScript comes in two calls: with a NULL buffer a function returns
 *     the byte count; given a buffer of at least that many bytes it fills it
 *     and returns the count again. No NUL is written.
 *   - Every name starts with Kelvo (KELVO_ for constants), so the header
 *     declares nothing a host may have named itself. Code written against
 *     the panel's names (FirstGroup, GetFirst, IsTrue, SetValue, Find...)
 *     includes KelvoPPDCompat.h, which maps them onto these.
 *   - A document is not safe to use from two threads at once; different
 *     documents are, except for the process-wide display option.
 */
#ifndef KELVO_PPD_H
#define KELVO_PPD_H

#include <stddef.h>

#include "KelvoVersion.h"

/* Marks the library's exported functions (it is built with everything else
 * hidden). */
#if defined(__GNUC__) || defined(__clang__)
#define KELVO_API __attribute__((visibility("default")))
#else
#define KELVO_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KelvoDocument KelvoDocument;
typedef struct KelvoErrors KelvoErrors;
typedef struct KelvoError KelvoError;
typedef struct KelvoGroups KelvoGroups;
typedef struct KelvoProperties KelvoProperties;
typedef struct KelvoControls KelvoControls;
typedef struct KelvoShortcuts KelvoShortcuts;
typedef struct KelvoElement KelvoElement;
typedef KelvoElement KelvoGroup;
typedef KelvoElement KelvoProperty;
typedef KelvoElement KelvoControl;

/* Parse options for KelvoOpenPPD (bits). */
enum {
    KELVO_PARSE_NONE = 0,
    KELVO_PARSE_ORPHANS = 1, /* build undeclared-use groups, accept controls without a group */
    KELVO_PARSE_HIDDEN = 2   /* keep declarations marked invisible */
};

/* Display options: which controls KelvoGetFirst/KelvoGetNext/KelvoFind
 * and the counts see. */
enum {
    KELVO_DISPLAY_VISIBLE_PARENTED = 0, /* visible controls that have a group */
    KELVO_DISPLAY_VISIBLE = 1,          /* visible controls */
    KELVO_DISPLAY_PARENTED = 2,         /* controls that have a group */
    KELVO_DISPLAY_ALL = 3
};

/* Control types, as KelvoGetControlType and the type out-parameters give them. */
enum {
    KELVO_CONTROL_NONE = 0, /* not a control */
    KELVO_CONTROL_JOB_NOTE = 1,
    KELVO_CONTROL_RANGE = 2,
    KELVO_CONTROL_FLOAT_RANGE = 3,
    KELVO_CONTROL_BOOLEAN = 4,
    KELVO_CONTROL_POPUP = 5,
    KELVO_CONTROL_SPECIAL_OPTION = 6,
    KELVO_CONTROL_CUSTOM_PAGE_SIZE = 7
};

/* Job-note flag bits, as KelvoGetJobNoteFlags gives them. */
enum {
    KELVO_JN_ALPHA = 0x1,
    KELVO_JN_NUMERIC = 0x2,
    KELVO_JN_DECIMAL = 0x4,
    KELVO_JN_REQUIRED = 0x8,
    KELVO_JN_REMEMBERED = 0x10,
    KELVO_JN_PASSWORD = 0x20,
    KELVO_JN_ALWAYS_DISPLAY = 0x40,
    KELVO_JN_RESUME = 0x80,
    KELVO_JN_MEMBER = 0x100,
    KELVO_JN_ON_OFF_SWITCH = 0x200,
    KELVO_JN_LENGTH_REQ = 0x400,
    KELVO_JN_SEC_PRINT = 0x800,
    KELVO_JN_COMMAND = 0x1000,
    KELVO_JN_SPACE = 0x2000,
    KELVO_JN_NEGATIVE = 0x4000,
    KELVO_JN_ENCRYPT = 0x8000,
    KELVO_JN_MULTI_SPACE = 0x10000,
    KELVO_JN_MULTI_COMMA = 0x20000,
    KELVO_JN_LCD = 0x40000,
    KELVO_JN_HYPHEN = 0x80000,
    KELVO_JN_TWO_CHAR_FIELD = 0x100000,
    KELVO_JN_NO_COMMA = 0x200000,
    KELVO_JN_MIN_LENGTH = 0x400000,
    KELVO_JN_UTF8 = 0x800000,
    KELVO_JN_AES_ENCRYPT = 0x1000000,
    KELVO_JN_POPUP_JN = 0x2000000
};

/* Status codes. 0 is success and every failure is negative, so a function
 * whose int result is a count or a truth value can also carry a status. */
enum {
    KELVO_STATUS_OK = 0,
    KELVO_STATUS_INVALID_ARGUMENT = -1, /* a NULL document, keyword or value; malformed text */
    KELVO_STATUS_NO_MEMORY = -2,        /* an allocation failed */
    KELVO_STATUS_UNKNOWN_KEY = -3,      /* no control has that keyword */
    KELVO_STATUS_BAD_VALUE = -4,        /* the control takes no such value or choice */
    KELVO_STATUS_READ_ONLY = -5,        /* a special option: the PPD fixes its value */
    KELVO_STATUS_INTERNAL = -6          /* the library met a fault of its own */
};

/* ------------------------------------------------------------------------ */
/* Library                                                                  */
/* ------------------------------------------------------------------------ */

/* The version of the library loaded at run time ("0.1.0"), a static string.
 * KELVO_VERSION_STRING is the version of the headers compiled against. */
KELVO_API const char* KelvoVersion(void);
/* The constant's name of a status ("KELVO_STATUS_NO_MEMORY") and a short
 * English sentence saying what it means; NULL for an unknown status. Static
 * strings. */
KELVO_API const char* KelvoStatusName(int status);
KELVO_API const char* KelvoStatusMessage(int status);
/* The status of the last call on this thread that failed for lack of memory
 * (KELVO_STATUS_NO_MEMORY) or a fault of the library's own
 * (KELVO_STATUS_INTERNAL); KELVO_STATUS_OK when none has since the thread
 * began or since KelvoClearLastFailure(). Like errno, a successful call does
 * not clear it. After such a failure the document stays safe to use and to
 * release, but a value being changed may be left half applied. */
KELVO_API int KelvoLastFailure(void);
KELVO_API void KelvoClearLastFailure(void);

/* ------------------------------------------------------------------------ */
/* Document                                                                 */
/* ------------------------------------------------------------------------ */

/* Reads the PPD at `path` (parseOptions: KELVO_PARSE_* bits; hostAppID: the
 * calling application's identifier or NULL). Returns a new document with a
 * reference count of 1, which the caller releases with KelvoReleasePPD; NULL
 * only for a NULL path or when memory runs out. A file that cannot be read
 * still gives a document: check KelvoIsValidPPD and the errors. */
KELVO_API KelvoDocument* KelvoOpenPPD(const char* path, unsigned parseOptions, const char* hostAppID);
/* Reads PPD text held in memory (`length` bytes; gzip-compressed or not)
 * exactly as the same bytes in a file would be read. The bytes are read
 * before the call returns and not kept. Returns NULL for NULL bytes (with a
 * length above 0) or when memory runs out; the document has no path. */
KELVO_API KelvoDocument* KelvoOpenPPDFromBytes(const void* bytes, size_t length, unsigned parseOptions,
                                               const char* hostAppID);
/* Adds one reference. */
KELVO_API void KelvoRetainPPD(KelvoDocument* doc);
/* Drops one reference; the last one destroys the document and every handle
 * and string obtained from it. */
KELVO_API void KelvoReleasePPD(KelvoDocument* doc);
/* 1 when the file is a PPD 4.3 and no error ended the parse. */
KELVO_API int KelvoIsValidPPD(const KelvoDocument* doc);
/* Why the file could not be read, in the system's words ("No such file or
 * directory", "Permission denied", "not a regular file"...), going with the
 * PPDErr_FileError error; NULL when it was read. */
KELVO_API const char* KelvoGetFileErrorText(const KelvoDocument* doc);

/* Header values as the PPD gave them (the maker's version statements keep
 * their quotes), or NULL when the statement is absent. */
KELVO_API const char* KelvoGetFormatVersion(const KelvoDocument* doc);
KELVO_API const char* KelvoGetFileVersion(const KelvoDocument* doc);
KELVO_API const char* KelvoGetPCFileName(const KelvoDocument* doc);
KELVO_API const char* KelvoGetLanguageVersion(const KelvoDocument* doc);
KELVO_API const char* KelvoGetLanguageEncoding(const KelvoDocument* doc);
KELVO_API const char* KelvoGetModelName(const KelvoDocument* doc);
KELVO_API const char* KelvoGetPathToPDE(const KelvoDocument* doc);
KELVO_API const char* KelvoGetQJFileVersion(const KelvoDocument* doc);
KELVO_API const char* KelvoGetQJVersion(const KelvoDocument* doc);
KELVO_API const char* KelvoGetQJVersionMac(const KelvoDocument* doc);

/* The process-wide display option (KELVO_DISPLAY_*), shared by every open
 * document; it decides what KelvoGetFirst/KelvoGetNext/KelvoFind and
 * the counts see. */
KELVO_API unsigned KelvoGetDisplayOptions(void);
KELVO_API void KelvoSetDisplayOptions(unsigned options);

/* The document's collections (owned by the document). KelvoGetShortcuts
 * is NULL when the parse never got to the end of the file. */
KELVO_API KelvoControls* KelvoGetControls(KelvoDocument* doc);
KELVO_API KelvoGroups* KelvoGetGroups(KelvoDocument* doc);
KELVO_API KelvoProperties* KelvoGetProperties(KelvoDocument* doc);
KELVO_API KelvoShortcuts* KelvoGetShortcuts(KelvoDocument* doc);
KELVO_API KelvoErrors* KelvoGetErrors(KelvoDocument* doc);

/* The control of a keyword, with or without its asterisk, whatever the
 * display option; NULL when none. */
KELVO_API KelvoControl* KelvoGetControlForKey(KelvoDocument* doc, const char* keyword);
/* 0 for a NULL document or keyword, or a keyword the panel handles itself
 * (colour management, first/back page, watermark); else 1. */
KELVO_API int KelvoIsValidControlKeyword(const KelvoDocument* doc, const char* keyword);

/* ------------------------------------------------------------------------ */
/* Errors                                                                   */
/* ------------------------------------------------------------------------ */

/* Walk the list in the order the errors were found; NULL at the end. */
KELVO_API const KelvoError* KelvoFirstError(KelvoErrors* errors);
KELVO_API const KelvoError* KelvoNextError(KelvoErrors* errors);
KELVO_API size_t KelvoErrorCount(const KelvoErrors* errors);
KELVO_API int KelvoErrorListIsEmpty(const KelvoErrors* errors);
/* The error's code (the PPDErr_ numbers: 23 duplicate, 33 no default...). */
KELVO_API int KelvoGetErrorCode(const KelvoError* error);
/* The key or name of the statement concerned, or NULL. */
KELVO_API const char* KelvoGetErrorKeyword(const KelvoError* error);
/* The description, or NULL (the parser records none). */
KELVO_API const char* KelvoGetErrorDescription(const KelvoError* error);
KELVO_API int KelvoIsErrorFatal(const KelvoError* error);
/* The 1-based line of the PPD where the error was found; 0 for an error
 * about the document as a whole (no pages, no controls...). */
KELVO_API unsigned long KelvoGetErrorLine(const KelvoError* error);
/* The constant's name of an error code ("PPDErr_Duplicate") and a short
 * English sentence saying what it means ("the same keyword is declared
 * twice"); NULL for a code the library does not know. Static strings. */
KELVO_API const char* KelvoErrorCodeName(int code);
KELVO_API const char* KelvoErrorCodeMessage(int code);

/* ------------------------------------------------------------------------ */
/* Groups and property pages                                                */
/* ------------------------------------------------------------------------ */

/* Walk all groups of every kind in declaration order; NULL at the end. */
KELVO_API KelvoGroup* KelvoFirstGroup(KelvoGroups* groups);
KELVO_API KelvoGroup* KelvoNextGroup(KelvoGroups* groups);
/* The group of that name (exact: 1 whole name, 0 part of it), or NULL. */
KELVO_API KelvoGroup* KelvoFindGroup(const KelvoGroups* groups, const char* name, int exact);
KELVO_API size_t KelvoGroupCount(const KelvoGroups* groups);
KELVO_API int KelvoIsGrouPointerListEmpty(const KelvoGroups* groups);
/* 1 when the element is a roll-down section. */
KELVO_API int KelvoIsRollDown(const KelvoElement* element);
/* The controls placed in a roll-down (listed, not owned: the document's
 * control list owns them); NULL for anything but a roll-down. */
KELVO_API KelvoControls* KelvoGetRollDownControlList(KelvoGroup* group);
/* 1 when the element is a scroll pane. */
KELVO_API int KelvoIsScrollPane(const KelvoElement* element);
/* The roll-downs of a scroll pane; NULL for anything but a scroll pane. */
KELVO_API KelvoGroups* KelvoGetScrollPaneRollDowns(KelvoGroup* group);

KELVO_API KelvoProperty* KelvoFirstProperty(KelvoProperties* pages);
KELVO_API KelvoProperty* KelvoNextProperty(KelvoProperties* pages);
KELVO_API KelvoProperty* KelvoFindProperty(const KelvoProperties* pages, const char* name, int exact);
KELVO_API size_t KelvoPropertyCount(const KelvoProperties* pages);
KELVO_API int KelvoIsPropertyListEmpty(const KelvoProperties* pages);
/* 1 when the element is a property page. */
KELVO_API int KelvoIsPropertyPage(const KelvoElement* element);
/* The scroll pane shown on a page, or NULL. */
KELVO_API KelvoGroup* KelvoGetPropertyScrollPane(const KelvoProperty* page);
/* Where the page is shown: in the print properties, in the application. */
KELVO_API int KelvoShowInPrintProp(const KelvoProperty* page);
KELVO_API int KelvoShowInApp(const KelvoProperty* page);

/* ------------------------------------------------------------------------ */
/* Elements (groups, pages and controls alike)                              */
/* ------------------------------------------------------------------------ */

/* The PPD keyword (with its asterisk for controls), or NULL. */
KELVO_API const char* KelvoGetKeyword(const KelvoElement* element);
/* The display name in the system encoding ("" when empty). Valid until the
 * element's name changes (a rebuilt popup) or the document goes. */
KELVO_API const char* KelvoUserName(const KelvoElement* element);
/* The display name as UTF-8 ("" when empty). Same lifetime as UserName. */
KELVO_API const char* KelvoUserNameUTF8(const KelvoElement* element);
KELVO_API int KelvoIsOrphan(const KelvoElement* element);
KELVO_API int KelvoIsVisible(const KelvoElement* element);
/* The group, roll-down, scroll pane or page that holds the element, or NULL. */
KELVO_API KelvoElement* KelvoGetParent(const KelvoElement* element);
/* 1 only when both have a keyword and the keywords are equal. */
KELVO_API int KelvoEqualsElement(const KelvoElement* a, const KelvoElement* b);
/* 1 only when the element has a keyword equal to `keyword`. */
KELVO_API int KelvoEqualsKeyWord(const KelvoElement* element, const char* keyword);

/* ------------------------------------------------------------------------ */
/* Controls of every type                                                   */
/* ------------------------------------------------------------------------ */

/* KELVO_CONTROL_*; KELVO_CONTROL_NONE for an element that is no control. */
KELVO_API int KelvoGetControlType(const KelvoElement* element);
/* A short lower-case name for a type code ("popup", "job note"...);
 * "unknown" for other codes. A static string. */
KELVO_API const char* KelvoControlTypeName(int type);

/* The flag words the PPD gave the control, walked with the control's cursor
 * (also moved by KelvoFindControlFlag and the Is...Control tests). */
KELVO_API size_t KelvoGetControlFlagCount(const KelvoControl* control);
KELVO_API const char* KelvoGetFirstControlFlag(KelvoControl* control);
KELVO_API const char* KelvoGetNextControlFlag(KelvoControl* control);
/* 1 when the control carries exactly that flag word. */
KELVO_API int KelvoFindControlFlag(KelvoControl* control, const char* flag);
KELVO_API int KelvoIsCommandControl(KelvoControl* control);
KELVO_API int KelvoIsSpoolerControl(KelvoControl* control);
KELVO_API int KelvoIsSetupControl(KelvoControl* control);
KELVO_API int KelvoIsMacFJNControl(KelvoControl* control);
KELVO_API int KelvoIsMacImgShiftControl(KelvoControl* control);
KELVO_API int KelvoIsNoKelvoDriverUIControl(KelvoControl* control);
/* 1 for a popup in the installable-options group. */
KELVO_API int KelvoIsInstallableOption(const KelvoControl* control);

/* The control's PostScript for its current value (two-call convention). */
KELVO_API long KelvoGetPostScript(KelvoControl* control, unsigned char* buffer);
/* Back to the PPD default (a special option's value becomes empty). */
KELVO_API void KelvoResetControlToDefault(KelvoControl* control);

/* 1 when the control has a value to report (a popup with a selection, a job
 * note with text, any other control). */
KELVO_API int KelvoHasControlValue(const KelvoControl* control);
/* Copies the current value as UTF-8 text (a choice keyword, True/False, a
 * number, the note text...) into buffer (size bytes, always NUL-terminated
 * when size > 0, cut when too small). Returns the full length without the
 * NUL, so a call with a NULL buffer sizes it; 0 without a value. */
KELVO_API size_t KelvoCopyControlValue(KelvoControl* control, char* buffer, size_t size);
/* Applies a UTF-8 value text of the form KelvoCopyControlValue gives.
 * Returns 1 when applied; 0 for a special option, whose value is fixed. */
KELVO_API int KelvoSetControlValue(KelvoControl* control, const char* value);

/* ------------------------------------------------------------------------ */
/* Control lists                                                            */
/* ------------------------------------------------------------------------ */

/* Walk the list under the display option; type (may be NULL) receives the
 * KELVO_CONTROL_* code. NULL at the end. */
KELVO_API KelvoControl* KelvoGetFirst(KelvoControls* controls, int* type);
KELVO_API KelvoControl* KelvoGetNext(KelvoControls* controls, int* type);
/* The first displayable control whose keyword equals `keyword` (exact 1) or
 * contains it (exact 0); type (may be NULL) receives its code. */
KELVO_API KelvoControl* KelvoFind(const KelvoControls* controls, const char* keyword, int exact, int* type);

/* Per-type walks: every control of the type in PPD order, whatever the
 * display option. Finders match like KelvoFind over the type's list. */
KELVO_API KelvoControl* KelvoGetFirstPopupControl(KelvoControls* controls);
KELVO_API KelvoControl* KelvoGetNextPopupControl(KelvoControls* controls);
KELVO_API KelvoControl* KelvoGetFindPopup(const KelvoControls* controls, const char* keyword, int exact);
KELVO_API KelvoControl* KelvoGetFirstBooleanControl(KelvoControls* controls);
KELVO_API KelvoControl* KelvoGetNextBooleanControl(KelvoControls* controls);
KELVO_API KelvoControl* KelvoGetFindBoolean(const KelvoControls* controls, const char* keyword, int exact);
KELVO_API KelvoControl* KelvoGetFirstRangeControl(KelvoControls* controls);
KELVO_API KelvoControl* KelvoGetNextRangeControl(KelvoControls* controls);
KELVO_API KelvoControl* KelvoGetFindRangeControl(const KelvoControls* controls, const char* keyword, int exact);
KELVO_API KelvoControl* KelvoGetFirstFloatRangeControl(KelvoControls* controls);
KELVO_API KelvoControl* KelvoGetNextFloatRangeControl(KelvoControls* controls);
KELVO_API KelvoControl* KelvoGetFindFloatRangeControl(const KelvoControls* controls, const char* keyword, int exact);
KELVO_API KelvoControl* KelvoGetFirstJobNote(KelvoControls* controls);
KELVO_API KelvoControl* KelvoGetNextJobNote(KelvoControls* controls);
KELVO_API KelvoControl* KelvoGetFindJobNote(const KelvoControls* controls, const char* keyword, int exact);
KELVO_API KelvoControl* KelvoGetFirstSpecialOption(KelvoControls* controls);
KELVO_API KelvoControl* KelvoGetNextSpecialOption(KelvoControls* controls);
KELVO_API KelvoControl* KelvoGetFindSpecialOption(const KelvoControls* controls, const char* keyword, int exact);

/* Counts under the display option. KelvoGetControlCount adds popups,
 * Booleans, ranges, float ranges and custom page sizes (not notes, not
 * special options). KelvoGetEmpty is 1 when there are no popups, Booleans,
 * ranges or float ranges. */
KELVO_API size_t KelvoGetPopupCount(const KelvoControls* controls);
KELVO_API size_t KelvoGetBooleanCount(const KelvoControls* controls);
KELVO_API size_t KelvoGetRangeCount(const KelvoControls* controls);
KELVO_API size_t KelvoGetFloatRangeCount(const KelvoControls* controls);
KELVO_API size_t KelvoGetJobnoteCount(const KelvoControls* controls);
KELVO_API size_t KelvoGetSpecialOptionCount(const KelvoControls* controls);
KELVO_API size_t KelvoGetControlCount(const KelvoControls* controls);
KELVO_API int KelvoGetNoPopups(const KelvoControls* controls);
KELVO_API int KelvoGetNoBooleanControls(const KelvoControls* controls);
KELVO_API int KelvoGetNoRangeControls(const KelvoControls* controls);
KELVO_API int KelvoGetNoFloatRangeControls(const KelvoControls* controls);
KELVO_API int KelvoGetNoJobNotes(const KelvoControls* controls);
KELVO_API int KelvoGetEmpty(const KelvoControls* controls);

/* ------------------------------------------------------------------------ */
/* Popups                                                                   */
/* ------------------------------------------------------------------------ */

/* One choice as KelvoFirstItem/KelvoNextItem deliver it. Both pointers belong to the
 * popup and stay valid until its choices are replaced or the document goes. */
typedef struct KelvoPopupItemRecord {
    const char* keyword;   /* the choice keyword, or NULL */
    const char* localName; /* its translation as UTF-8, or NULL when none */
} KelvoPopupItemRecord;

KELVO_API size_t KelvoPopupItemCount(const KelvoControl* popup);
/* Clear *record, then fill it with the first/next choice (item cursor of the
 * popup). Return 1 while a choice was delivered, else 0. */
KELVO_API int KelvoFirstItem(KelvoControl* popup, KelvoPopupItemRecord* record);
KELVO_API int KelvoNextItem(KelvoControl* popup, KelvoPopupItemRecord* record);
/* Choices are numbered from 1; 0 means none. */
KELVO_API long KelvoGetPopupValue(const KelvoControl* popup);
/* Selects choice n alone; an n out of range clears the selection. */
KELVO_API void KelvoSetPopupValue(KelvoControl* popup, long n);
KELVO_API long KelvoGetPopupDefaultValue(const KelvoControl* popup);
/* A choice's display name in the system encoding, or NULL. */
KELVO_API const char* KelvoGetKeywordLocalName(const KelvoControl* popup, const char* choice);
/* The framed PostScript of a choice (two-call convention); 0 when unknown. */
KELVO_API long KelvoGetKeywordPSData(const KelvoControl* popup, const char* choice, unsigned char* buffer);
KELVO_API int KelvoIsKeywordSelected(const KelvoControl* popup, const char* choice);
/* Selects (select 1) or deselects a choice; a PickOne popup clears the
 * others. Returns 1 when the choice exists. */
KELVO_API int KelvoSetKeywordSelect(KelvoControl* popup, const char* choice, int select);
/* 1 for a PickMany popup. */
KELVO_API int KelvoCanSelectMultipleItems(const KelvoControl* popup);
/* The PPD's default choice keyword, or NULL. */
KELVO_API const char* KelvoGetDefaultKeyword(const KelvoControl* popup);
/* The framed PostScript of the current choice; 0 when none is selected. */
KELVO_API long KelvoPopupPostScript(KelvoControl* popup, unsigned char* buffer);

/* ------------------------------------------------------------------------ */
/* Booleans                                                                 */
/* ------------------------------------------------------------------------ */

KELVO_API int KelvoIsTrue(const KelvoControl* boolean);
KELVO_API void KelvoSetValue(KelvoControl* boolean, int value);
KELVO_API int KelvoDefaultState(const KelvoControl* boolean);
/* The translations of the True and False choices, or NULL. */
KELVO_API const char* KelvoTrueDisplayText(const KelvoControl* boolean);
KELVO_API const char* KelvoFalseDisplayText(const KelvoControl* boolean);
/* Always framed, also when the chosen side has no code. */
KELVO_API long KelvoBooleanPostScript(KelvoControl* boolean, unsigned char* buffer);

/* ------------------------------------------------------------------------ */
/* Ranges (whole numbers) and float ranges                                  */
/* ------------------------------------------------------------------------ */

KELVO_API long KelvoGetRangeValue(const KelvoControl* range);
/* Snaps to a multiple of the increment (counted from 0), then clamps. */
KELVO_API void KelvoSetRangeValue(KelvoControl* range, long value);
KELVO_API long KelvoGetRangeDefaultVal(const KelvoControl* range);
KELVO_API long KelvoGetRangeIncrement(const KelvoControl* range);
KELVO_API long KelvoGetRangeMinimum(const KelvoControl* range);
KELVO_API long KelvoGetRangeMaximum(const KelvoControl* range);
KELVO_API long KelvoRangePostScript(KelvoControl* range, unsigned char* buffer);

/* Values are kept in single precision. */
KELVO_API double KelvoGetFloatRangeValue(const KelvoControl* range);
/* Clamps to the bounds; no snapping. */
KELVO_API void KelvoSetFloatRangeValue(KelvoControl* range, double value);
KELVO_API double KelvoGetFloatRangeDefaultVal(const KelvoControl* range);
KELVO_API double KelvoGetFloatRangeIncrement(const KelvoControl* range);
KELVO_API double KelvoGetFloatRangeMinimum(const KelvoControl* range);
KELVO_API double KelvoGetFloatRangeMaximum(const KelvoControl* range);
/* The value goes out as "%9.4f", padded with leading blanks. */
KELVO_API long KelvoFloatRangePostScript(KelvoControl* range, unsigned char* buffer);

/* ------------------------------------------------------------------------ */
/* Custom page size                                                         */
/* ------------------------------------------------------------------------ */

typedef struct KelvoCustomPageSize {
    double minWidth, maxWidth, minHeight, maxHeight; /* bounds, in points */
    double width, height;                            /* current size */
} KelvoCustomPageSize;

/* Fills *size; returns 1 for a custom page size control, else 0 (and *size
 * is left alone). */
KELVO_API int KelvoGetCustomPageSize(const KelvoControl* control, KelvoCustomPageSize* size);
/* Sets the current size (no clamping). */
KELVO_API void KelvoSetCustomPageSize(KelvoControl* control, double width, double height);

/* ------------------------------------------------------------------------ */
/* Job notes                                                                */
/* ------------------------------------------------------------------------ */

/* The current text in the system encoding, or NULL. Valid until the text
 * changes (KelvoSetJobNoteText, KelvoSetControlValue, a reset). */
KELVO_API const char* KelvoGetJobNoteText(const KelvoControl* note);
/* Replaces the text (system encoding; NULL clears it). */
KELVO_API void KelvoSetJobNoteText(KelvoControl* note, const char* text);
/* The default text from the PPD, or NULL; same lifetime rule. */
KELVO_API const char* KelvoGetJobNoteDefaultText(const KelvoControl* note);
KELVO_API void KelvoSetJobNoteDefaultText(KelvoControl* note, const char* text);
KELVO_API long KelvoGetJobNoteMaxLength(const KelvoControl* note);
/* 0 none, 0..99 the length given, -1/-2/-3 a malformed MinLength word. */
KELVO_API long KelvoGetJobNoteMinLength(const KelvoControl* note);
/* The KELVO_JN_* bits. */
KELVO_API unsigned long KelvoGetJobNoteFlags(const KelvoControl* note);
/* The on/off state of a note with the on/off switch flag. */
KELVO_API int KelvoGetJobNoteOn(const KelvoControl* note);
KELVO_API void KelvoSetJobNoteOn(KelvoControl* note, int on);
/* The framed PostScript of the current text; 0 without text. The feature
 * line carries the whole text; the body at most its first 511 characters. */
KELVO_API long KelvoJobNotePostScript(KelvoControl* note, unsigned char* buffer);

/* ------------------------------------------------------------------------ */
/* Special options                                                          */
/* ------------------------------------------------------------------------ */

/* The fixed value the PPD gave, or NULL; "" after a reset. */
KELVO_API const char* KelvoGetSpecialOptionValue(const KelvoControl* option);

/* ------------------------------------------------------------------------ */
/* Shortcuts                                                                */
/* ------------------------------------------------------------------------ */

/* The walk and the finders deliver popups only: a shortcut to any other
 * kind of control is counted but skipped. */
KELVO_API KelvoControl* KelvoFirstShortcut(KelvoShortcuts* shortcuts);
KELVO_API KelvoControl* KelvoNextShortcut(KelvoShortcuts* shortcuts);
KELVO_API KelvoControl* KelvoFindShortcut(KelvoShortcuts* shortcuts, const char* keyword, int exact);
/* Every entry, popups or not, duplicates included. */
KELVO_API size_t KelvoGetShortcutCount(const KelvoShortcuts* shortcuts);
KELVO_API int KelvoIsShortcutsListEmpty(const KelvoShortcuts* shortcuts);
/* Entry `index` (from 0) of every kind; NULL past the end. */
KELVO_API KelvoControl* KelvoGetShortcutAt(const KelvoShortcuts* shortcuts, size_t index);
KELVO_API KelvoControl* KelvoGetPageSizeShortcut(KelvoShortcuts* shortcuts);
KELVO_API KelvoControl* KelvoGetInputSlotShortcut(KelvoShortcuts* shortcuts);
KELVO_API KelvoControl* KelvoGetDuplexShortcut(KelvoShortcuts* shortcuts);
KELVO_API KelvoControl* KelvoGetOrientationShortcut(KelvoShortcuts* shortcuts);
/* These two have no option keyword settled yet: they find nothing. */
KELVO_API KelvoControl* KelvoGetMediaSourceShortcut(KelvoShortcuts* shortcuts);
KELVO_API KelvoControl* KelvoGetChromaquaShortcut(KelvoShortcuts* shortcuts);

/* ------------------------------------------------------------------------ */
/* Values by keyword                                                        */
/* ------------------------------------------------------------------------ */

/* The current value of the control of `keyword` (with or without its
 * asterisk, whatever the display option), copied as KelvoCopyControlValue
 * does: the full length is returned, buffer gets at most size - 1 bytes and
 * a NUL. 0 (and an empty buffer) when no control has the keyword, it has no
 * value, or the call failed (see KelvoLastFailure). */
KELVO_API size_t KelvoCopyValueForKey(KelvoDocument* doc, const char* keyword, char* buffer, size_t size);
/* Sets the control of `keyword` from a UTF-8 value text. What each kind
 * takes: a popup one of its choice keywords (exactly); a Boolean "True" or
 * "False" (any case); a range a whole decimal number, a float range a
 * finite number (both clamped to the bounds, a range also snapped to its
 * increment); a custom page size "WIDTH HEIGHT" in points; a job note any
 * text. Returns KELVO_STATUS_OK, or KELVO_STATUS_UNKNOWN_KEY,
 * KELVO_STATUS_BAD_VALUE (nothing changed), KELVO_STATUS_READ_ONLY for a
 * special option, KELVO_STATUS_INVALID_ARGUMENT for a NULL argument,
 * KELVO_STATUS_NO_MEMORY. */
KELVO_API int KelvoSetValueForKey(KelvoDocument* doc, const char* keyword, const char* value);

/* ------------------------------------------------------------------------ */
/* Constraints                                                              */
/* ------------------------------------------------------------------------ */

/* The questions the panel asks before it lets a choice stand. Keywords may
 * be given with or without their asterisk; a choice must be one the control
 * offers when it is a popup or a Boolean ("True"/"False"), any text for
 * other controls. A print size that follows the page size ("*QJPrintSize"
 * at "SameAsPageSize") is judged as the size it follows, in every answer. */

/* 1 when choosing `choice` for `keyword` would conflict with the document's
 * current selections, 0 when not; or KELVO_STATUS_UNKNOWN_KEY,
 * KELVO_STATUS_BAD_VALUE (no such choice), KELVO_STATUS_INVALID_ARGUMENT,
 * KELVO_STATUS_NO_MEMORY. A choice no constraint names is never
 * constrained. */
KELVO_API int KelvoIsChoiceConstrained(KelvoDocument* doc, const char* keyword, const char* choice);

/* A constraint answer, owned by the caller and independent of the document
 * (its texts are copies): free it with KelvoFreeChoiceReport. */
typedef struct KelvoChoiceReport KelvoChoiceReport;

/* The lists of (keyword, choice) pairs a report holds. */
enum {
    KELVO_PAIRS_CONFLICTS = 0,  /* current selections the tried choice collides with */
    KELVO_PAIRS_CANDIDATES = 1, /* other choices of those keys, each removing a conflict */
    KELVO_PAIRS_CHANGES = 2,    /* a resolution's further changes, in the order found */
    KELVO_PAIRS_UNRESOLVED = 3  /* the conflicts a failed resolution still met */
};

/* Tests choosing `choice` for `keyword` against the current selections
 * without changing anything: the report holds the conflicts and the
 * candidates. Returns NULL on failure; *status (when status is not NULL)
 * gets KELVO_STATUS_OK with a report, else the reason as for
 * KelvoIsChoiceConstrained. */
KELVO_API KelvoChoiceReport* KelvoTestChoice(KelvoDocument* doc, const char* keyword, const char* choice,
                                             int* status);
/* KelvoTestChoice, then a search for the fewest further changes that make the
 * choice consistent, changing neither `keyword` nor anything locked. `locks`
 * holds lockCount texts, "KEY" (no change of KEY at all) or "KEY=CHOICE" (no
 * change of KEY to CHOICE); it may be NULL when lockCount is 0. A conflict
 * whose only ways out are locked ends the search at once. The search is
 * bounded (128 levels, 128 proposals queued), so a far-away resolution may
 * be missed. The document is not changed: KelvoApplyChoiceReport does that.
 * Failure as for KelvoTestChoice; a lock naming an unknown key or choice is
 * KELVO_STATUS_UNKNOWN_KEY or KELVO_STATUS_BAD_VALUE, a lock text with an
 * empty key KELVO_STATUS_INVALID_ARGUMENT. */
KELVO_API KelvoChoiceReport* KelvoResolveChoice(KelvoDocument* doc, const char* keyword, const char* choice,
                                                const char* const* locks, size_t lockCount, int* status);
/* 1 when the tried choice conflicts with the current selections. */
KELVO_API int KelvoChoiceReportIsConstrained(const KelvoChoiceReport* report);
/* 1 when KelvoResolveChoice found a resolution (KELVO_PAIRS_CHANGES, empty
 * when the choice was free already); 0 when it found none, or for a report
 * of KelvoTestChoice. */
KELVO_API int KelvoChoiceReportIsResolved(const KelvoChoiceReport* report);
/* The number of pairs in a list (KELVO_PAIRS_*); 0 for an unknown list. */
KELVO_API size_t KelvoChoiceReportCount(const KelvoChoiceReport* report, int list);
/* Pair `index` (from 0) of a list: *keyword (with its asterisk) and *choice
 * point into the report and stay valid until it is freed; either pointer
 * may be NULL. Returns 1, or 0 (and NULLs) past the end of the list, for an
 * unknown list or a NULL report. */
KELVO_API int KelvoChoiceReportPair(const KelvoChoiceReport* report, int list, size_t index, const char** keyword,
                                    const char** choice);
/* Makes a resolution the document's selections: the tried choice, then each
 * change. KELVO_STATUS_OK; KELVO_STATUS_INVALID_ARGUMENT for a NULL
 * argument or a report without a resolution (nothing changed); otherwise
 * the first failure of KelvoSetValueForKey (the changes before it stay). */
KELVO_API int KelvoApplyChoiceReport(KelvoDocument* doc, const KelvoChoiceReport* report);
/* Frees a report; NULL is ignored. */
KELVO_API void KelvoFreeChoiceReport(KelvoChoiceReport* report);

#ifdef __cplusplus
}
#endif

#endif /* KELVO_PPD_H */

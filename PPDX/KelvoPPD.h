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
 *                    handle. So GetParent() of a control can be handed
 *                    straight to IsRollDown() or GetRollDownControlList().
 *
 * Rules that hold for every function below:
 *   - A null handle gives 0, NULL or no action; no function stops the
 *     program on bad input.
 *   - Every handle and every returned string is owned by the document; none
 *     is freed by the caller. They stay valid until the document's last
 *     KelvoReleasePPD() unless a comment says otherwise.
 *   - Text is NUL-terminated 8-bit text. Names marked UTF-8 are UTF-8; names
 *     marked "system encoding" are in the process's text encoding (the
 *     locale's codeset); keywords and PPD values are the bytes of the PPD.
 *   - Truth values are int: 1 true, 0 false.
 *   - First/Next walks use one cursor per list (per control for flags and
 *     popup items): two loops over the same list must not interleave.
 *   - PostScript comes in two calls: with a NULL buffer a function returns
 *     the byte count; given a buffer of at least that many bytes it fills it
 *     and returns the count again. No NUL is written.
 *   - Functions named Kelvo... are the document entry points and helpers;
 *     the others keep the names the panel code has always used.
 */
#ifndef KELVO_PPD_H
#define KELVO_PPD_H

#include <stddef.h>

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

/* Display options: which controls GetFirst/GetNext/Find and the counts see. */
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

/* ------------------------------------------------------------------------ */
/* Document                                                                 */
/* ------------------------------------------------------------------------ */

/* Reads the PPD at `path` (parseOptions: KELVO_PARSE_* bits; hostAppID: the
 * calling application's identifier or NULL). Returns a new document with a
 * reference count of 1, which the caller releases with KelvoReleasePPD; NULL
 * only for a NULL path or when memory runs out. A file that cannot be read
 * still gives a document: check KelvoIsValidPPD and the errors. */
KelvoDocument* KelvoOpenPPD(const char* path, unsigned parseOptions, const char* hostAppID);
/* Adds one reference. */
void KelvoRetainPPD(KelvoDocument* doc);
/* Drops one reference; the last one destroys the document and every handle
 * and string obtained from it. */
void KelvoReleasePPD(KelvoDocument* doc);
/* 1 when the file is a PPD 4.3 and no error ended the parse. */
int KelvoIsValidPPD(const KelvoDocument* doc);

/* Header values as the PPD gave them (the maker's version statements keep
 * their quotes), or NULL when the statement is absent. */
const char* KelvoGetFormatVersion(const KelvoDocument* doc);
const char* KelvoGetFileVersion(const KelvoDocument* doc);
const char* KelvoGetPCFileName(const KelvoDocument* doc);
const char* KelvoGetLanguageVersion(const KelvoDocument* doc);
const char* KelvoGetLanguageEncoding(const KelvoDocument* doc);
const char* KelvoGetModelName(const KelvoDocument* doc);
const char* KelvoGetPathToPDE(const KelvoDocument* doc);
const char* KelvoGetQJFileVersion(const KelvoDocument* doc);
const char* KelvoGetQJVersion(const KelvoDocument* doc);
const char* KelvoGetQJVersionMac(const KelvoDocument* doc);

/* The process-wide display option (KELVO_DISPLAY_*), shared by every open
 * document; it decides what GetFirst/GetNext/Find and the counts see. */
unsigned KelvoGetDisplayOptions(void);
void KelvoSetDisplayOptions(unsigned options);

/* The document's collections (owned by the document). GetShortcuts is NULL
 * when the parse never got to the end of the file. */
KelvoControls* GetControls(KelvoDocument* doc);
KelvoGroups* GetGroups(KelvoDocument* doc);
KelvoProperties* GetProperties(KelvoDocument* doc);
KelvoShortcuts* GetShortcuts(KelvoDocument* doc);
KelvoErrors* GetErrors(KelvoDocument* doc);

/* The control of a keyword, with or without its asterisk, whatever the
 * display option; NULL when none. */
KelvoControl* KelvoGetControlForKey(KelvoDocument* doc, const char* keyword);
/* 0 for a NULL document or keyword, or a keyword the panel handles itself
 * (colour management, first/back page, watermark); else 1. */
int IsValidControlKeyword(const KelvoDocument* doc, const char* keyword);

/* ------------------------------------------------------------------------ */
/* Errors                                                                   */
/* ------------------------------------------------------------------------ */

/* Walk the list in the order the errors were found; NULL at the end. */
const KelvoError* FirstError(KelvoErrors* errors);
const KelvoError* NextError(KelvoErrors* errors);
size_t ErrorCount(const KelvoErrors* errors);
int ErrorListIsEmpty(const KelvoErrors* errors);
/* The error's code (the PPDErr_ numbers: 23 duplicate, 33 no default...). */
int KelvoGetErrorCode(const KelvoError* error);
/* The key or name of the statement concerned, or NULL. */
const char* GetErrorKeyword(const KelvoError* error);
/* The description, or NULL (the parser records none). */
const char* GetErrorDescription(const KelvoError* error);
int IsErrorFatal(const KelvoError* error);

/* ------------------------------------------------------------------------ */
/* Groups and property pages                                                */
/* ------------------------------------------------------------------------ */

/* Walk all groups of every kind in declaration order; NULL at the end. */
KelvoGroup* FirstGroup(KelvoGroups* groups);
KelvoGroup* NextGroup(KelvoGroups* groups);
/* The group of that name (exact: 1 whole name, 0 part of it), or NULL. */
KelvoGroup* FindGroup(const KelvoGroups* groups, const char* name, int exact);
size_t GroupCount(const KelvoGroups* groups);
int IsGrouPointerListEmpty(const KelvoGroups* groups);
/* 1 when the element is a roll-down section. */
int IsRollDown(const KelvoElement* element);
/* The controls placed in a roll-down (listed, not owned: the document's
 * control list owns them); NULL for anything but a roll-down. */
KelvoControls* GetRollDownControlList(KelvoGroup* group);
/* 1 when the element is a scroll pane. */
int IsScrollPane(const KelvoElement* element);
/* The roll-downs of a scroll pane; NULL for anything but a scroll pane. */
KelvoGroups* GetScrollPaneRollDowns(KelvoGroup* group);

KelvoProperty* FirstProperty(KelvoProperties* pages);
KelvoProperty* NextProperty(KelvoProperties* pages);
KelvoProperty* FindProperty(const KelvoProperties* pages, const char* name, int exact);
size_t PropertyCount(const KelvoProperties* pages);
int IsPropertyListEmpty(const KelvoProperties* pages);
/* 1 when the element is a property page. */
int IsPropertyPage(const KelvoElement* element);
/* The scroll pane shown on a page, or NULL. */
KelvoGroup* KelvoGetPropertyScrollPane(const KelvoProperty* page);
/* Where the page is shown: in the print properties, in the application. */
int KelvoShowInPrintProp(const KelvoProperty* page);
int KelvoShowInApp(const KelvoProperty* page);

/* ------------------------------------------------------------------------ */
/* Elements (groups, pages and controls alike)                              */
/* ------------------------------------------------------------------------ */

/* The PPD keyword (with its asterisk for controls), or NULL. */
const char* KelvoGetKeyword(const KelvoElement* element);
/* The display name in the system encoding ("" when empty). Valid until the
 * element's name changes (a rebuilt popup) or the document goes. */
const char* UserName(const KelvoElement* element);
/* The display name as UTF-8 ("" when empty). Same lifetime as UserName. */
const char* KelvoUserNameUTF8(const KelvoElement* element);
int IsOrphan(const KelvoElement* element);
int IsVisible(const KelvoElement* element);
/* The group, roll-down, scroll pane or page that holds the element, or NULL. */
KelvoElement* GetParent(const KelvoElement* element);
/* 1 only when both have a keyword and the keywords are equal. */
int EqualsElement(const KelvoElement* a, const KelvoElement* b);
/* 1 only when the element has a keyword equal to `keyword`. */
int EqualsKeyWord(const KelvoElement* element, const char* keyword);

/* ------------------------------------------------------------------------ */
/* Controls of every type                                                   */
/* ------------------------------------------------------------------------ */

/* KELVO_CONTROL_*; KELVO_CONTROL_NONE for an element that is no control. */
int KelvoGetControlType(const KelvoElement* element);
/* A short lower-case name for a type code ("popup", "job note"...);
 * "unknown" for other codes. A static string. */
const char* KelvoControlTypeName(int type);

/* The flag words the PPD gave the control, walked with the control's cursor
 * (also moved by KelvoFindControlFlag and the Is...Control tests). */
size_t GetControlFlagCount(const KelvoControl* control);
const char* GetFirstControlFlag(KelvoControl* control);
const char* GetNextControlFlag(KelvoControl* control);
/* 1 when the control carries exactly that flag word. */
int KelvoFindControlFlag(KelvoControl* control, const char* flag);
int IsCommandControl(KelvoControl* control);
int IsSpoolerControl(KelvoControl* control);
int IsSetupControl(KelvoControl* control);
int IsMacFJNControl(KelvoControl* control);
int IsMacImgShiftControl(KelvoControl* control);
int IsNoKelvoDriverUIControl(KelvoControl* control);
/* 1 for a popup in the installable-options group. */
int KelvoIsInstallableOption(const KelvoControl* control);

/* The control's PostScript for its current value (two-call convention). */
long GetPostScript(KelvoControl* control, unsigned char* buffer);
/* Back to the PPD default (a special option's value becomes empty). */
void ResetControlToDefault(KelvoControl* control);

/* 1 when the control has a value to report (a popup with a selection, a job
 * note with text, any other control). */
int KelvoHasControlValue(const KelvoControl* control);
/* Copies the current value as UTF-8 text (a choice keyword, True/False, a
 * number, the note text...) into buffer (size bytes, always NUL-terminated
 * when size > 0, cut when too small). Returns the full length without the
 * NUL, so a call with a NULL buffer sizes it; 0 without a value. */
size_t KelvoCopyControlValue(KelvoControl* control, char* buffer, size_t size);
/* Applies a UTF-8 value text of the form KelvoCopyControlValue gives.
 * Returns 1 when applied; 0 for a special option, whose value is fixed. */
int KelvoSetControlValue(KelvoControl* control, const char* value);

/* ------------------------------------------------------------------------ */
/* Control lists                                                            */
/* ------------------------------------------------------------------------ */

/* Walk the list under the display option; type (may be NULL) receives the
 * KELVO_CONTROL_* code. NULL at the end. */
KelvoControl* GetFirst(KelvoControls* controls, int* type);
KelvoControl* GetNext(KelvoControls* controls, int* type);
/* The first displayable control whose keyword equals `keyword` (exact 1) or
 * contains it (exact 0); type (may be NULL) receives its code. */
KelvoControl* Find(const KelvoControls* controls, const char* keyword, int exact, int* type);

/* Per-type walks: every control of the type in PPD order, whatever the
 * display option. Finders match like Find over the type's list. */
KelvoControl* GetFirstPopupControl(KelvoControls* controls);
KelvoControl* GetNextPopupControl(KelvoControls* controls);
KelvoControl* GetFindPopup(const KelvoControls* controls, const char* keyword, int exact);
KelvoControl* GetFirstBooleanControl(KelvoControls* controls);
KelvoControl* GetNextBooleanControl(KelvoControls* controls);
KelvoControl* GetFindBoolean(const KelvoControls* controls, const char* keyword, int exact);
KelvoControl* GetFirstRangeControl(KelvoControls* controls);
KelvoControl* GetNextRangeControl(KelvoControls* controls);
KelvoControl* GetFindRangeControl(const KelvoControls* controls, const char* keyword, int exact);
KelvoControl* GetFirstFloatRangeControl(KelvoControls* controls);
KelvoControl* GetNextFloatRangeControl(KelvoControls* controls);
KelvoControl* GetFindFloatRangeControl(const KelvoControls* controls, const char* keyword, int exact);
KelvoControl* GetFirstJobNote(KelvoControls* controls);
KelvoControl* GetNextJobNote(KelvoControls* controls);
KelvoControl* GetFindJobNote(const KelvoControls* controls, const char* keyword, int exact);
KelvoControl* GetFirstSpecialOption(KelvoControls* controls);
KelvoControl* GetNextSpecialOption(KelvoControls* controls);
KelvoControl* GetFindSpecialOption(const KelvoControls* controls, const char* keyword, int exact);

/* Counts under the display option. GetControlCount adds popups, Booleans,
 * ranges, float ranges and custom page sizes (not notes, not special
 * options). GetEmpty is 1 when there are no popups, Booleans, ranges or
 * float ranges. */
size_t GetPopupCount(const KelvoControls* controls);
size_t GetBooleanCount(const KelvoControls* controls);
size_t GetRangeCount(const KelvoControls* controls);
size_t GetFloatRangeCount(const KelvoControls* controls);
size_t GetJobnoteCount(const KelvoControls* controls);
size_t GetSpecialOptionCount(const KelvoControls* controls);
size_t GetControlCount(const KelvoControls* controls);
int GetNoPopups(const KelvoControls* controls);
int GetNoBooleanControls(const KelvoControls* controls);
int GetNoRangeControls(const KelvoControls* controls);
int GetNoFloatRangeControls(const KelvoControls* controls);
int GetNoJobNotes(const KelvoControls* controls);
int GetEmpty(const KelvoControls* controls);

/* ------------------------------------------------------------------------ */
/* Popups                                                                   */
/* ------------------------------------------------------------------------ */

/* One choice as FirstItem/NextItem deliver it. Both pointers belong to the
 * popup and stay valid until its choices are replaced or the document goes. */
typedef struct KelvoPopupItemRecord {
    const char* keyword;   /* the choice keyword, or NULL */
    const char* localName; /* its translation as UTF-8, or NULL when none */
} KelvoPopupItemRecord;

size_t PopupItemCount(const KelvoControl* popup);
/* Clear *record, then fill it with the first/next choice (item cursor of the
 * popup). Return 1 while a choice was delivered, else 0. */
int FirstItem(KelvoControl* popup, KelvoPopupItemRecord* record);
int NextItem(KelvoControl* popup, KelvoPopupItemRecord* record);
/* Choices are numbered from 1; 0 means none. */
long GetPopupValue(const KelvoControl* popup);
/* Selects choice n alone; an n out of range clears the selection. */
void SetPopupValue(KelvoControl* popup, long n);
long GetPopupDefaultValue(const KelvoControl* popup);
/* A choice's display name in the system encoding, or NULL. */
const char* GetKeywordLocalName(const KelvoControl* popup, const char* choice);
/* The framed PostScript of a choice (two-call convention); 0 when unknown. */
long GetKeywordPSData(const KelvoControl* popup, const char* choice, unsigned char* buffer);
int IsKeywordSelected(const KelvoControl* popup, const char* choice);
/* Selects (select 1) or deselects a choice; a PickOne popup clears the
 * others. Returns 1 when the choice exists. */
int SetKeywordSelect(KelvoControl* popup, const char* choice, int select);
/* 1 for a PickMany popup. */
int CanSelectMultipleItems(const KelvoControl* popup);
/* The PPD's default choice keyword, or NULL. */
const char* GetDefaultKeyword(const KelvoControl* popup);
/* The framed PostScript of the current choice; 0 when none is selected. */
long PopupPostScript(KelvoControl* popup, unsigned char* buffer);

/* ------------------------------------------------------------------------ */
/* Booleans                                                                 */
/* ------------------------------------------------------------------------ */

int IsTrue(const KelvoControl* boolean);
void SetValue(KelvoControl* boolean, int value);
int DefaultState(const KelvoControl* boolean);
/* The translations of the True and False choices, or NULL. */
const char* TrueDisplayText(const KelvoControl* boolean);
const char* FalseDisplayText(const KelvoControl* boolean);
/* Always framed, also when the chosen side has no code. */
long BooleanPostScript(KelvoControl* boolean, unsigned char* buffer);

/* ------------------------------------------------------------------------ */
/* Ranges (whole numbers) and float ranges                                  */
/* ------------------------------------------------------------------------ */

long GetRangeValue(const KelvoControl* range);
/* Snaps to a multiple of the increment (counted from 0), then clamps. */
void SetRangeValue(KelvoControl* range, long value);
long GetRangeDefaultVal(const KelvoControl* range);
long GetRangeIncrement(const KelvoControl* range);
long GetRangeMinimum(const KelvoControl* range);
long GetRangeMaximum(const KelvoControl* range);
long RangePostScript(KelvoControl* range, unsigned char* buffer);

/* Values are kept in single precision. */
double GetFloatRangeValue(const KelvoControl* range);
/* Clamps to the bounds; no snapping. */
void SetFloatRangeValue(KelvoControl* range, double value);
double GetFloatRangeDefaultVal(const KelvoControl* range);
double GetFloatRangeIncrement(const KelvoControl* range);
double GetFloatRangeMinimum(const KelvoControl* range);
double GetFloatRangeMaximum(const KelvoControl* range);
/* The value goes out as "%9.4f", padded with leading blanks. */
long FloatRangePostScript(KelvoControl* range, unsigned char* buffer);

/* ------------------------------------------------------------------------ */
/* Custom page size                                                         */
/* ------------------------------------------------------------------------ */

typedef struct KelvoCustomPageSize {
    double minWidth, maxWidth, minHeight, maxHeight; /* bounds, in points */
    double width, height;                            /* current size */
} KelvoCustomPageSize;

/* Fills *size; returns 1 for a custom page size control, else 0 (and *size
 * is left alone). */
int KelvoGetCustomPageSize(const KelvoControl* control, KelvoCustomPageSize* size);
/* Sets the current size (no clamping). */
void KelvoSetCustomPageSize(KelvoControl* control, double width, double height);

/* ------------------------------------------------------------------------ */
/* Job notes                                                                */
/* ------------------------------------------------------------------------ */

/* The current text in the system encoding, or NULL. Valid until the text
 * changes (KelvoSetJobNoteText, KelvoSetControlValue, a reset). */
const char* KelvoGetJobNoteText(const KelvoControl* note);
/* Replaces the text (system encoding; NULL clears it). */
void KelvoSetJobNoteText(KelvoControl* note, const char* text);
/* The default text from the PPD, or NULL; same lifetime rule. */
const char* KelvoGetJobNoteDefaultText(const KelvoControl* note);
void KelvoSetJobNoteDefaultText(KelvoControl* note, const char* text);
long KelvoGetJobNoteMaxLength(const KelvoControl* note);
/* 0 none, 0..99 the length given, -1/-2/-3 a malformed MinLength word. */
long KelvoGetJobNoteMinLength(const KelvoControl* note);
/* The KELVO_JN_* bits. */
unsigned long KelvoGetJobNoteFlags(const KelvoControl* note);
/* The on/off state of a note with the on/off switch flag. */
int KelvoGetJobNoteOn(const KelvoControl* note);
void KelvoSetJobNoteOn(KelvoControl* note, int on);
/* The framed PostScript of the current text; 0 without text. The feature
 * line carries the whole text; the body at most its first 511 characters. */
long KelvoJobNotePostScript(KelvoControl* note, unsigned char* buffer);

/* ------------------------------------------------------------------------ */
/* Special options                                                          */
/* ------------------------------------------------------------------------ */

/* The fixed value the PPD gave, or NULL; "" after a reset. */
const char* KelvoGetSpecialOptionValue(const KelvoControl* option);

/* ------------------------------------------------------------------------ */
/* Shortcuts                                                                */
/* ------------------------------------------------------------------------ */

/* The walk and the finders deliver popups only: a shortcut to any other
 * kind of control is counted but skipped. */
KelvoControl* FirstShortcut(KelvoShortcuts* shortcuts);
KelvoControl* NextShortcut(KelvoShortcuts* shortcuts);
KelvoControl* FindShortcut(KelvoShortcuts* shortcuts, const char* keyword, int exact);
/* Every entry, popups or not, duplicates included. */
size_t GetShortcutCount(const KelvoShortcuts* shortcuts);
int IsShortcutsListEmpty(const KelvoShortcuts* shortcuts);
/* Entry `index` (from 0) of every kind; NULL past the end. */
KelvoControl* KelvoGetShortcutAt(const KelvoShortcuts* shortcuts, size_t index);
KelvoControl* GetPageSizeShortcut(KelvoShortcuts* shortcuts);
KelvoControl* GetInputSlotShortcut(KelvoShortcuts* shortcuts);
KelvoControl* GetDuplexShortcut(KelvoShortcuts* shortcuts);
KelvoControl* GetOrientationShortcut(KelvoShortcuts* shortcuts);
/* These two have no option keyword settled yet: they find nothing. */
KelvoControl* GetMediaSourceShortcut(KelvoShortcuts* shortcuts);
KelvoControl* GetChromaquaShortcut(KelvoShortcuts* shortcuts);

#ifdef __cplusplus
}
#endif

#endif /* KELVO_PPD_H */

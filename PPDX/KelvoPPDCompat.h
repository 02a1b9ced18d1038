/*
 * KelvoPPDCompat.h - the panel's names for the flat C functions.
 *
 * The library exports every function under a Kelvo prefix, so that a host
 * which defines a SetValue, IsTrue or Find of its own links and runs with
 * it. Code written against the names the panel has always used (FirstGroup,
 * GetFirst, IsTrue, SetValue, Find...) includes this header instead of
 * KelvoPPD.h: each name becomes a macro for its Kelvo... function.
 *
 * The macros take over those words for the whole translation unit, so a
 * file that includes this header cannot also declare its own function, or
 * call a member, of any of these names. Such a file uses KelvoPPD.h and the
 * prefixed names.
 */
#ifndef KELVO_PPD_COMPAT_H
#define KELVO_PPD_COMPAT_H

#include "KelvoPPD.h"

#define GetControls               KelvoGetControls
#define GetGroups                 KelvoGetGroups
#define GetProperties             KelvoGetProperties
#define GetShortcuts              KelvoGetShortcuts
#define GetErrors                 KelvoGetErrors
#define IsValidControlKeyword     KelvoIsValidControlKeyword
#define FirstError                KelvoFirstError
#define NextError                 KelvoNextError
#define ErrorCount                KelvoErrorCount
#define ErrorListIsEmpty          KelvoErrorListIsEmpty
#define GetErrorKeyword           KelvoGetErrorKeyword
#define GetErrorDescription       KelvoGetErrorDescription
#define IsErrorFatal              KelvoIsErrorFatal
#define FirstGroup                KelvoFirstGroup
#define NextGroup                 KelvoNextGroup
#define FindGroup                 KelvoFindGroup
#define GroupCount                KelvoGroupCount
#define IsGrouPointerListEmpty    KelvoIsGrouPointerListEmpty
#define IsRollDown                KelvoIsRollDown
#define GetRollDownControlList    KelvoGetRollDownControlList
#define IsScrollPane              KelvoIsScrollPane
#define GetScrollPaneRollDowns    KelvoGetScrollPaneRollDowns
#define FirstProperty             KelvoFirstProperty
#define NextProperty              KelvoNextProperty
#define FindProperty              KelvoFindProperty
#define PropertyCount             KelvoPropertyCount
#define IsPropertyListEmpty       KelvoIsPropertyListEmpty
#define IsPropertyPage            KelvoIsPropertyPage
#define UserName                  KelvoUserName
#define IsOrphan                  KelvoIsOrphan
#define IsVisible                 KelvoIsVisible
#define GetParent                 KelvoGetParent
#define EqualsElement             KelvoEqualsElement
#define EqualsKeyWord             KelvoEqualsKeyWord
#define GetControlFlagCount       KelvoGetControlFlagCount
#define GetFirstControlFlag       KelvoGetFirstControlFlag
#define GetNextControlFlag        KelvoGetNextControlFlag
#define IsCommandControl          KelvoIsCommandControl
#define IsSpoolerControl          KelvoIsSpoolerControl
#define IsSetupControl            KelvoIsSetupControl
#define IsMacFJNControl           KelvoIsMacFJNControl
#define IsMacImgShiftControl      KelvoIsMacImgShiftControl
#define IsNoKelvoDriverUIControl  KelvoIsNoKelvoDriverUIControl
#define GetPostScript             KelvoGetPostScript
#define ResetControlToDefault     KelvoResetControlToDefault
#define GetFirst                  KelvoGetFirst
#define GetNext                   KelvoGetNext
#define Find                      KelvoFind
#define GetFirstPopupControl      KelvoGetFirstPopupControl
#define GetNextPopupControl       KelvoGetNextPopupControl
#define GetFindPopup              KelvoGetFindPopup
#define GetFirstBooleanControl    KelvoGetFirstBooleanControl
#define GetNextBooleanControl     KelvoGetNextBooleanControl
#define GetFindBoolean            KelvoGetFindBoolean
#define GetFirstRangeControl      KelvoGetFirstRangeControl
#define GetNextRangeControl       KelvoGetNextRangeControl
#define GetFindRangeControl       KelvoGetFindRangeControl
#define GetFirstFloatRangeControl KelvoGetFirstFloatRangeControl
#define GetNextFloatRangeControl  KelvoGetNextFloatRangeControl
#define GetFindFloatRangeControl  KelvoGetFindFloatRangeControl
#define GetFirstJobNote           KelvoGetFirstJobNote
#define GetNextJobNote            KelvoGetNextJobNote
#define GetFindJobNote            KelvoGetFindJobNote
#define GetFirstSpecialOption     KelvoGetFirstSpecialOption
#define GetNextSpecialOption      KelvoGetNextSpecialOption
#define GetFindSpecialOption      KelvoGetFindSpecialOption
#define GetPopupCount             KelvoGetPopupCount
#define GetBooleanCount           KelvoGetBooleanCount
#define GetRangeCount             KelvoGetRangeCount
#define GetFloatRangeCount        KelvoGetFloatRangeCount
#define GetJobnoteCount           KelvoGetJobnoteCount
#define GetSpecialOptionCount     KelvoGetSpecialOptionCount
#define GetControlCount           KelvoGetControlCount
#define GetNoPopups               KelvoGetNoPopups
#define GetNoBooleanControls      KelvoGetNoBooleanControls
#define GetNoRangeControls        KelvoGetNoRangeControls
#define GetNoFloatRangeControls   KelvoGetNoFloatRangeControls
#define GetNoJobNotes             KelvoGetNoJobNotes
#define GetEmpty                  KelvoGetEmpty
#define PopupItemCount            KelvoPopupItemCount
#define FirstItem                 KelvoFirstItem
#define NextItem                  KelvoNextItem
#define GetPopupValue             KelvoGetPopupValue
#define SetPopupValue             KelvoSetPopupValue
#define GetPopupDefaultValue      KelvoGetPopupDefaultValue
#define GetKeywordLocalName       KelvoGetKeywordLocalName
#define GetKeywordPSData          KelvoGetKeywordPSData
#define IsKeywordSelected         KelvoIsKeywordSelected
#define SetKeywordSelect          KelvoSetKeywordSelect
#define CanSelectMultipleItems    KelvoCanSelectMultipleItems
#define GetDefaultKeyword         KelvoGetDefaultKeyword
#define PopupPostScript           KelvoPopupPostScript
#define IsTrue                    KelvoIsTrue
#define SetValue                  KelvoSetValue
#define DefaultState              KelvoDefaultState
#define TrueDisplayText           KelvoTrueDisplayText
#define FalseDisplayText          KelvoFalseDisplayText
#define BooleanPostScript         KelvoBooleanPostScript
#define GetRangeValue             KelvoGetRangeValue
#define SetRangeValue             KelvoSetRangeValue
#define GetRangeDefaultVal        KelvoGetRangeDefaultVal
#define GetRangeIncrement         KelvoGetRangeIncrement
#define GetRangeMinimum           KelvoGetRangeMinimum
#define GetRangeMaximum           KelvoGetRangeMaximum
#define RangePostScript           KelvoRangePostScript
#define GetFloatRangeValue        KelvoGetFloatRangeValue
#define SetFloatRangeValue        KelvoSetFloatRangeValue
#define GetFloatRangeDefaultVal   KelvoGetFloatRangeDefaultVal
#define GetFloatRangeIncrement    KelvoGetFloatRangeIncrement
#define GetFloatRangeMinimum      KelvoGetFloatRangeMinimum
#define GetFloatRangeMaximum      KelvoGetFloatRangeMaximum
#define FloatRangePostScript      KelvoFloatRangePostScript
#define FirstShortcut             KelvoFirstShortcut
#define NextShortcut              KelvoNextShortcut
#define FindShortcut              KelvoFindShortcut
#define GetShortcutCount          KelvoGetShortcutCount
#define IsShortcutsListEmpty      KelvoIsShortcutsListEmpty
#define GetPageSizeShortcut       KelvoGetPageSizeShortcut
#define GetInputSlotShortcut      KelvoGetInputSlotShortcut
#define GetDuplexShortcut         KelvoGetDuplexShortcut
#define GetOrientationShortcut    KelvoGetOrientationShortcut
#define GetMediaSourceShortcut    KelvoGetMediaSourceShortcut
#define GetChromaquaShortcut      KelvoGetChromaquaShortcut

#endif /* KELVO_PPD_COMPAT_H */

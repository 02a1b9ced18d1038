// The item vocabulary of a model snapshot: tags, ids and their numbering.
//
// A snapshot is a Settings store holding the document: its header texts,
// then the property pages, groups, controls and shortcuts. A collection
// writes an 8-byte count under its own tag and then one id per member,
// counting up from the first member id; a member writes each field as an
// item under that id with a field tag. Counts and members never clash even
// though the numbers overlap (3002 is the page count's id and the second
// page's), because the count uses the collection's tag. docs/snapshot-items.md
// lists every item in the order it is written.
#pragma once

#include <cstdint>

#include "store/Settings.h"

// Document header items.
inline constexpr std::uint32_t tagPPD = 1000;
inline constexpr std::int32_t kMemAlloc = 1001; ///< 4 bytes, always kMemAllocValue
inline constexpr std::int32_t kFSRef = 1002;    ///< the 80-byte PPDFileRef record
inline constexpr std::int32_t kFormatVersionStr = 1003;
inline constexpr std::int32_t kFileVersionStr = 1004;
inline constexpr std::int32_t kPCFileNameStr = 1005;
inline constexpr std::int32_t kLanguageVersionStr = 1006;
inline constexpr std::int32_t kLanguageEncodingStr = 1007;
inline constexpr std::int32_t kModelNameStr = 1008;
inline constexpr std::int32_t kQJVersionStr = 1009;
inline constexpr std::int32_t kMemAllocValue = 1024;

inline constexpr std::uint32_t tagQJVPPD = 2000;
inline constexpr std::int32_t kQJFileVersionStr = 2001;
inline constexpr std::int32_t mQJVersionStr = 2002;

// Collections: the count's (tag, id), and the first member id.
inline constexpr std::uint32_t kPropertyTag = 3000;
inline constexpr std::int32_t kPropertyCount = 3002;
inline constexpr std::int32_t kFirstPropertyId = 3001;
inline constexpr std::uint32_t kGroupTag = 4000;
inline constexpr std::int32_t kGroupCount = 4002;
inline constexpr std::int32_t kFirstGroupId = 4001;
inline constexpr std::uint32_t kControlTag = 5000;
inline constexpr std::int32_t kControlCount = 5002;
inline constexpr std::int32_t kFirstControlId = 5001;
/// Shortcuts: the count at id 6000 and each keyword at 6001, 6002, ...,
/// all under this tag ("StCt").
inline constexpr std::uint32_t kShortcutTag = FourCC("StCt");
inline constexpr std::int32_t kShortcutCountId = 6000;

/// A popup's item k is written under (control id) * kPopupItemSpacing + k.
/// The spacing caps a popup at 100 items before its ids run into the next
/// control's; snapshots depend on it, so it stays.
inline constexpr std::int32_t kPopupItemSpacing = 100;

// Every element.
inline constexpr std::uint32_t tagKeyWord = FourCC("KyWd");
inline constexpr std::uint32_t tagLocalName = FourCC("LcNm");
inline constexpr std::uint32_t tagLocalCFStrName = FourCC("LcCF");
inline constexpr std::uint32_t tagVisState = FourCC("isVs");
inline constexpr std::uint32_t tagParName = FourCC("PrNm");

// Groups and pages.
inline constexpr std::uint32_t tagOrdinaryGroup = FourCC("gGrp");
inline constexpr std::uint32_t tagRollDown = FourCC("RlDn");
inline constexpr std::uint32_t tagScrollPane = FourCC("ScPn");
inline constexpr std::uint32_t tagShowInApp = FourCC("SApp");
inline constexpr std::uint32_t tagShowInPrintPage = FourCC("SPPg");

// Every control.
inline constexpr std::uint32_t tagCNTL_Order = FourCC("Ordr");
inline constexpr std::uint32_t tagCNTL_PSData = FourCC("PSDt");
inline constexpr std::uint32_t tagCNTL_CntlFlags = FourCC("CFlg");

// Popup.
inline constexpr std::uint32_t tagPopupControl = FourCC("PopC");
inline constexpr std::uint32_t tagPC_MultiSel = FourCC("PCMS");
inline constexpr std::uint32_t tagPC_DefKeyWord = FourCC("PCDK");
inline constexpr std::uint32_t tagPC_ItemCount = FourCC("PCIC");
inline constexpr std::uint32_t tagPC_ItemKeyWord = FourCC("PCIK");
inline constexpr std::uint32_t tagPC_ItemCFUserName = FourCC("PCFN");
inline constexpr std::uint32_t tagPC_ItemName = FourCC("PCIN"); ///< read only: older snapshots' item names as text
inline constexpr std::uint32_t tagPC_ItemPSData = FourCC("PCIP");
inline constexpr std::uint32_t tagPC_ItemSelected = FourCC("PCIS");

// Boolean.
inline constexpr std::uint32_t tagBooleanControl = FourCC("BlnC");
inline constexpr std::uint32_t tagBC_CurrentVal = FourCC("BCcV");
inline constexpr std::uint32_t tagBC_DefaultVal = FourCC("BCdV");
inline constexpr std::uint32_t tagBC_TrueDispText = FourCC("BCtT");
inline constexpr std::uint32_t tagBC_FalseDispText = FourCC("BCfT");
inline constexpr std::uint32_t tagBC_TruePSData = FourCC("BtPT");
inline constexpr std::uint32_t tagBC_FalsePSData = FourCC("BfPT");

// Whole-number range.
inline constexpr std::uint32_t tagRangeControl = FourCC("RngC");
inline constexpr std::uint32_t tagRC_Val = FourCC("RCVl");
inline constexpr std::uint32_t tagRC_DefaultVal = FourCC("RCDf");
inline constexpr std::uint32_t tagRC_MinVal = FourCC("RCMn");
inline constexpr std::uint32_t tagRC_MaxVal = FourCC("RCMx");
inline constexpr std::uint32_t tagRC_Increment = FourCC("RCIn");

// Decimal range.
inline constexpr std::uint32_t tagFloatRangeControl = FourCC("FrgC");
inline constexpr std::uint32_t tagFC_Val = FourCC("FCVl");
inline constexpr std::uint32_t tagFC_DefaultVal = FourCC("FCDf");
inline constexpr std::uint32_t tagFC_MinVal = FourCC("FCMn");
inline constexpr std::uint32_t tagFC_MaxVal = FourCC("FCMx");
inline constexpr std::uint32_t tagFC_Increment = FourCC("FCIn");

// Job note.
inline constexpr std::uint32_t tagJobNote = FourCC("JbNt");
inline constexpr std::uint32_t tagJN_NotesText = FourCC("jNtT");
inline constexpr std::uint32_t tagJN_OnOffNotes = FourCC("jNOn");
inline constexpr std::uint32_t tagJN_NotesFlags = FourCC("jNtF");
inline constexpr std::uint32_t tagJN_MinLength = FourCC("jMnL");
inline constexpr std::uint32_t tagJN_MaxLength = FourCC("jMxL");
inline constexpr std::uint32_t tagJN_DefNotesText = FourCC("jNDT");

// Special option.
inline constexpr std::uint32_t tagSO_SpecialOptionControl = FourCC("soCN");
inline constexpr std::uint32_t tagSO_SpecialOptionValue = FourCC("soVl");

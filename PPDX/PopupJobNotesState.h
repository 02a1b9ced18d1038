// Process-wide switches shared by the popup job-note window and the readers.
#pragma once

/// True once some job note of the open document carries the PopupJN flag.
inline bool gPopupJobNotesFoundOne = false;
/// Set by the first reset-to-defaults pass after the panel has been created.
inline bool gPopupJobNotesDoneInitializing = false;
/// The open PPD's language version is "Japanese": popup note texts are
/// Shift-JIS rather than Mac Roman.
inline bool gPopupJobNotesLangIsJapanese = false;

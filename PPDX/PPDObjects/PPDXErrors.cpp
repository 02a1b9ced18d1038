// Names and messages of the parse error codes, for reports.
#include "PPDX/PPDObjects/PPDXErrors.h"

const char* PPDErrName(std::int16_t code) {
    switch (code) {
#define KELVO_ERR(name) \
    case name:          \
        return #name;
        KELVO_ERR(PPDErr_OutOfMemory)
        KELVO_ERR(PPDErr_PropPageParsing)
        KELVO_ERR(PPDErr_GroupParsing)
        KELVO_ERR(PPDErr_JobNoteParsing)
        KELVO_ERR(PPDErr_RangeParsing)
        KELVO_ERR(PPDErr_OpenUIParsing)
        KELVO_ERR(PPDErr_BooleanParsing)
        KELVO_ERR(PPDErr_OpenUIQJVParsing1)
        KELVO_ERR(PPDErr_PopupParsing)
        KELVO_ERR(PPDErr_GroupNameParsing)
        KELVO_ERR(PPDErr_ParentParsingNoParent)
        KELVO_ERR(PPDErr_ParentParsing)
        KELVO_ERR(PPDErr_ControlParsing)
        KELVO_ERR(PPDErr_FileError)
        KELVO_ERR(PPDErr_BadShortcut)
        KELVO_ERR(PPDErr_NoParent)
        KELVO_ERR(PPDErr_Duplicate)
        KELVO_ERR(PPDErr_NoPropertyPages)
        KELVO_ERR(PPDErr_NoGroups)
        KELVO_ERR(PPDErr_NoControls)
        KELVO_ERR(PPDErr_NotPPDFile)
        KELVO_ERR(PPDErr_InvalidParent)
        KELVO_ERR(PPDErr_InvalidOpenUIType)
        KELVO_ERR(PPDErr_UnsupportedJobNoteFlag)
        KELVO_ERR(PPDErr_NoDefaultValueFlag)
        KELVO_ERR(PPDErr_OpenUIQJVParsing2)
        KELVO_ERR(PPDErr_NoPostscript)
        KELVO_ERR(PPDErr_BadConstraint)
        KELVO_ERR(PPDErr_SubGroupNameParsing)
        KELVO_ERR(PPDErr_ReadEndedEarly)
        KELVO_ERR(PPDErr_StaleSnapshot)
        KELVO_ERR(PPDErr_NotSnapshot)
#undef KELVO_ERR
    }
    return nullptr;
}

const char* PPDErrMessage(std::int16_t code) {
    switch (code) {
    case PPDErr_OutOfMemory: return "out of memory";
    case PPDErr_PropPageParsing: return "a property page statement cannot be read";
    case PPDErr_GroupParsing: return "a control's group line cannot be read";
    case PPDErr_JobNoteParsing: return "a job note statement cannot be read";
    case PPDErr_RangeParsing: return "a range statement cannot be read or its numbers are out of bounds";
    case PPDErr_OpenUIParsing: return "an OpenUI line cannot be read";
    case PPDErr_BooleanParsing: return "a Boolean option cannot be read";
    case PPDErr_OpenUIQJVParsing1: return "an OpenUIQJV block is never closed";
    case PPDErr_PopupParsing: return "a popup option cannot be read";
    case PPDErr_GroupNameParsing: return "a group name statement cannot be read";
    case PPDErr_ParentParsingNoParent: return "a parent statement names no parent";
    case PPDErr_ParentParsing: return "a parent statement cannot be read";
    case PPDErr_ControlParsing: return "a control declaration cannot be read";
    case PPDErr_FileError: return "the file cannot be read";
    case PPDErr_BadShortcut: return "a shortcut names no known control";
    case PPDErr_NoParent: return "a control's group does not exist";
    case PPDErr_Duplicate: return "the same keyword is declared twice";
    case PPDErr_NoPropertyPages: return "the document has no property pages";
    case PPDErr_NoGroups: return "the document has no groups";
    case PPDErr_NoControls: return "the document has no controls";
    case PPDErr_NotPPDFile: return "not a PPD file (the first line is not *PPD-Adobe: \"4.3\")";
    case PPDErr_InvalidParent: return "a parent of the wrong kind";
    case PPDErr_InvalidOpenUIType: return "an OpenUI type other than PickOne, PickMany or Boolean";
    case PPDErr_UnsupportedJobNoteFlag: return "a job note flag word this extension level does not accept";
    case PPDErr_NoDefaultValueFlag: return "an option has no default value";
    case PPDErr_OpenUIQJVParsing2: return "an OpenUIQJV block (for other drivers) was read past";
    case PPDErr_NoPostscript: return "an option has no PostScript code";
    case PPDErr_BadConstraint: return "a constraint statement cannot be read";
    case PPDErr_SubGroupNameParsing: return "a sub-group name statement cannot be read";
    case PPDErr_ReadEndedEarly:
        return "reading stopped early at a line of 255 bytes or more or at a 0xFF byte";
    case PPDErr_StaleSnapshot:
        return "the snapshot was made from another file, or the PPD is no longer one the printer list serves";
    case PPDErr_NotSnapshot: return "the settings hold no document snapshot";
    }
    return nullptr;
}

// Names of the parse error codes, for reports.
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
#undef KELVO_ERR
    }
    return nullptr;
}

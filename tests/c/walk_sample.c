/* Reads the sample PPD through the flat C interface only, compiled as C, to
 * prove that the header is plain C and that the library's exported symbols
 * answer the way the model does, under the names the panel code uses. Walks
 * every collection and control kind, checks known facts about the sample,
 * and exits non-zero on a mismatch. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The panel's names (FirstGroup, GetFirst, IsTrue...) through the
 * compatibility macros: the way existing panel code keeps compiling. */
#include "KelvoPPDCompat.h"
#include "check.h"

/* Any of the PostScript functions, through the two-call convention, as a
 * NUL-terminated copy the caller frees. The second call must agree with the
 * first on the length. */
typedef long (*PSFunc)(KelvoControl*, unsigned char*);
static char* PostScriptOf(PSFunc fn, KelvoControl* control) {
    long n = fn(control, NULL);
    char* text = malloc((size_t)(n > 0 ? n : 0) + 1);
    if (!text)
        exit(2);
    long again = n > 0 ? fn(control, (unsigned char*)text) : 0;
    CHECK(again == n);
    text[n > 0 ? n : 0] = '\0';
    return text;
}

static const char* ValueOf(KelvoControl* control) {
    static char buf[256];
    size_t n = KelvoCopyControlValue(control, buf, sizeof buf);
    CHECK(n < sizeof buf);
    return buf;
}

static void WalkErrors(KelvoDocument* doc) {
    KelvoErrors* errors = GetErrors(doc);
    size_t seen = 0;
    for (const KelvoError* e = FirstError(errors); e; e = NextError(errors), ++seen)
        printf("error %d %s%s\n", KelvoGetErrorCode(e), GetErrorKeyword(e) ? GetErrorKeyword(e) : "",
               IsErrorFatal(e) ? " (fatal)" : "");
    CHECK(seen == ErrorCount(errors));
    /* The sample is clean. */
    CHECK(ErrorCount(errors) == 0);
    CHECK(ErrorListIsEmpty(errors) == 1);
}

static void WalkControlList(const char* indent, KelvoControls* list, size_t* count) {
    int type = -1;
    for (KelvoControl* c = GetFirst(list, &type); c; c = GetNext(list, &type)) {
        CHECK(type == KelvoGetControlType(c));
        char* ps = PostScriptOf(GetPostScript, c);
        printf("%s%s [%s] = %s (%zu bytes of PostScript)\n", indent, KelvoGetKeyword(c), KelvoControlTypeName(type),
               ValueOf(c), strlen(ps));
        free(ps);
        ++*count;
    }
    CHECK(type == 0); /* the walk's end reports no type */
}

static void WalkPages(KelvoDocument* doc) {
    KelvoProperties* pages = GetProperties(doc);
    size_t count = 0, placed = 0;
    CHECK(PropertyCount(pages) == 4);
    CHECK(IsPropertyListEmpty(pages) == 0);
    for (KelvoProperty* page = FirstProperty(pages); page; page = NextProperty(pages), ++count) {
        CHECK(IsPropertyPage(page) && !IsRollDown(page) && KelvoGetControlType(page) == 0);
        printf("page %s \"%s\" print=%d app=%d\n", KelvoGetKeyword(page), KelvoUserNameUTF8(page),
               KelvoShowInPrintProp(page), KelvoShowInApp(page));
        KelvoGroup* pane = KelvoGetPropertyScrollPane(page);
        CHECK(IsScrollPane(pane));
        CHECK(GetParent(pane) == page);
        KelvoGroups* rollDowns = GetScrollPaneRollDowns(pane);
        for (KelvoGroup* rd = FirstGroup(rollDowns); rd; rd = NextGroup(rollDowns)) {
            CHECK(IsRollDown(rd) && GetParent(rd) == pane);
            printf("  roll-down %s\n", KelvoGetKeyword(rd));
            WalkControlList("    ", GetRollDownControlList(rd), &placed);
        }
    }
    CHECK(count == 4);
    /* Not listed in the pages' roll-downs: the expert and installable
     * groups' five, the two special options, and the custom size and the
     * three free-standing notes, which only point at their roll-down. */
    CHECK(placed == 43 - 5 - 2 - 1 - 3);

    KelvoProperty* image = FindProperty(pages, "QJPageImage", 1);
    CHECK(KelvoShowInPrintProp(image) == 0 && KelvoShowInApp(image) == 1);
    KelvoProperty* job = FindProperty(pages, "PageJob", 0);
    CHECK_STR(KelvoGetKeyword(job), "QJPageJob");
    CHECK(KelvoShowInPrintProp(job) == 1 && KelvoShowInApp(job) == 0);
    CHECK(FindProperty(pages, "PageJob", 1) == NULL);
    CHECK_STR(KelvoGetKeyword(KelvoGetPropertyScrollPane(FindProperty(pages, "QJPageGeneral", 1))), "QJPaneGeneral");
}

static void WalkGroups(KelvoDocument* doc) {
    KelvoGroups* groups = GetGroups(doc);
    size_t count = 0, panes = 0, rollDowns = 0;
    CHECK(IsGrouPointerListEmpty(groups) == 0);
    for (KelvoGroup* g = FirstGroup(groups); g; g = NextGroup(groups), ++count) {
        if (IsScrollPane(g)) {
            ++panes;
            CHECK(IsPropertyPage(GetParent(g)));
            CHECK(GetRollDownControlList(g) == NULL);
        } else if (IsRollDown(g)) {
            ++rollDowns;
            CHECK(GetScrollPaneRollDowns(g) == NULL);
        }
        printf("group %s \"%s\"%s\n", KelvoGetKeyword(g), UserName(g), IsVisible(g) ? "" : " (hidden)");
    }
    CHECK(count == GroupCount(groups));
    CHECK(count == 16 && panes == 4 && rollDowns == 9);

    KelvoGroup* notes = FindGroup(groups, "FPQJNotes", 1);
    CHECK(IsRollDown(notes));
    /* Group titles carry one trailing blank. */
    CHECK_STR(KelvoUserNameUTF8(notes), "Notes and Instructions ");
    CHECK(EqualsKeyWord(GetParent(notes), "QJPaneJob"));
    KelvoControls* list = GetRollDownControlList(FindGroup(groups, "FPAccounting", 1));
    CHECK(GetJobnoteCount(list) == 3 && GetControlCount(list) == 0 && GetEmpty(list));
    CHECK_STR(KelvoGetKeyword(GetFirstJobNote(list)), "*QJAccount");

    KelvoGroup* service = FindGroup(groups, "QJGrpService", 1);
    CHECK(service && !IsVisible(service) && IsOrphan(service) && !IsRollDown(service));
}

static void CheckPopups(KelvoControls* all) {
    size_t count = 0;
    for (KelvoControl* p = GetFirstPopupControl(all); p; p = GetNextPopupControl(all), ++count) {
        KelvoPopupItemRecord rec = {"stale", "stale"};
        size_t items = 0;
        for (int more = FirstItem(p, &rec); more; more = NextItem(p, &rec), ++items)
            CHECK(rec.keyword != NULL);
        /* The end of the walk clears the record. */
        CHECK(rec.keyword == NULL && rec.localName == NULL);
        CHECK(items == PopupItemCount(p));
        CHECK(KelvoGetControlType(p) == KELVO_CONTROL_POPUP);
    }
    CHECK(count == 20);

    KelvoControl* size = GetFindPopup(all, "*PageSize", 1);
    CHECK(PopupItemCount(size) == 7);
    CHECK(GetPopupValue(size) == 1 && GetPopupDefaultValue(size) == 1);
    CHECK_STR(GetDefaultKeyword(size), "Letter");
    CHECK(IsCommandControl(size) && !IsSpoolerControl(size) && !IsSetupControl(size));
    CHECK(GetControlFlagCount(size) == 2);
    CHECK_STR(GetFirstControlFlag(size), "Dynamic");
    CHECK_STR(GetNextControlFlag(size), "Command");
    CHECK(GetNextControlFlag(size) == NULL);
    KelvoPopupItemRecord rec;
    CHECK(FirstItem(size, &rec) == 1);
    CHECK_STR(rec.keyword, "Letter");
    while (NextItem(size, &rec) && !same(rec.keyword, "12x18")) {
    }
    CHECK_STR(rec.localName, "12 x 18 in");
    CHECK_STR(GetKeywordLocalName(size, "12x18"), "12 x 18 in");

    char* ps = PostScriptOf(PopupPostScript, size);
    CHECK(strncmp(ps, "%%BeginFeature: *PageSize Letter\n<</PageSize [612 792]", 54) == 0);
    CHECK(strlen(ps) > 13 && strcmp(ps + strlen(ps) - 13, "%%EndFeature\n") == 0);
    free(ps);

    CHECK(SetKeywordSelect(size, "A4", 1) == 1);
    CHECK(GetPopupValue(size) == 4 && IsKeywordSelected(size, "A4") && !IsKeywordSelected(size, "Letter"));
    CHECK_STR(ValueOf(size), "A4");
    CHECK(SetKeywordSelect(size, "Folio", 1) == 0);
    long n = GetKeywordPSData(size, "Legal", NULL);
    CHECK(n > 0);
    CHECK(KelvoSetControlValue(size, "Legal") == 1 && GetPopupValue(size) == 2);
    /* Out of range clears the selection but keeps the current choice. */
    SetPopupValue(size, 0);
    CHECK(GetPopupValue(size) == 0 && !IsKeywordSelected(size, "Legal"));
    CHECK(KelvoHasControlValue(size) == 1 && PopupPostScript(size, NULL) == n);
    ResetControlToDefault(size);
    CHECK(GetPopupValue(size) == 1);

    KelvoControl* sheets = GetFindPopup(all, "InsertSheets", 0);
    CHECK(CanSelectMultipleItems(sheets) == 1 && CanSelectMultipleItems(size) == 0);
    CHECK(SetKeywordSelect(sheets, "AfterLast", 1) == 1);
    CHECK(IsKeywordSelected(sheets, "BeforeFirst") && IsKeywordSelected(sheets, "AfterLast"));

    CHECK(KelvoIsInstallableOption(GetFindPopup(all, "*QJDuplexer", 1)) == 1);
    CHECK(IsSpoolerControl(GetFindPopup(all, "*QJ_PAPER_ORIENTATION", 1)) == 1);
}

static void CheckBooleans(KelvoControls* all) {
    size_t count = 0;
    for (KelvoControl* b = GetFirstBooleanControl(all); b; b = GetNextBooleanControl(all), ++count)
        CHECK(KelvoGetControlType(b) == KELVO_CONTROL_BOOLEAN);
    CHECK(count == 7 && GetBooleanCount(all) == 7);

    KelvoControl* collate = GetFindBoolean(all, "*QJCollate", 1);
    CHECK(IsTrue(collate) && DefaultState(collate));
    CHECK_STR(TrueDisplayText(collate), "On");
    CHECK_STR(FalseDisplayText(collate), "Off");
    SetValue(collate, 0);
    CHECK(!IsTrue(collate));
    CHECK_STR(ValueOf(collate), "False");
    char* ps = PostScriptOf(BooleanPostScript, collate);
    CHECK_STR(ps, "%%BeginFeature: *QJCollate False\n<</Collate false>> setpagedevice\n%%EndFeature\n");
    free(ps);
    CHECK(KelvoSetControlValue(collate, "TRUE") == 1 && IsTrue(collate));
}

static void CheckRanges(KelvoControls* all) {
    size_t count = 0;
    for (KelvoControl* r = GetFirstRangeControl(all); r; r = GetNextRangeControl(all), ++count)
        CHECK(GetRangeMinimum(r) <= GetRangeMaximum(r));
    CHECK(count == 4 && GetRangeCount(all) == 4 && !GetNoRangeControls(all));

    KelvoControl* weight = GetFindRangeControl(all, "*QJPaperWeight", 1);
    CHECK(GetRangeMinimum(weight) == 52 && GetRangeMaximum(weight) == 350);
    CHECK(GetRangeIncrement(weight) == 1 && GetRangeDefaultVal(weight) == 80 && GetRangeValue(weight) == 80);
    CHECK_STR(KelvoUserNameUTF8(weight), "Paper Weight (g/m\xC2\xB2)");

    KelvoControl* bright = GetFindRangeControl(all, "Brightness", 0);
    SetRangeValue(bright, 17); /* snapped to the increment of 5 */
    CHECK(GetRangeValue(bright) == 15);
    char* ps = PostScriptOf(RangePostScript, bright);
    CHECK_STR(ps, "%%BeginFeature: *QJBrightness 15\n/QJBrightness 15 def\n%%EndFeature\n");
    free(ps);
    SetRangeValue(bright, -70);
    CHECK(GetRangeValue(bright) == -50);

    count = 0;
    for (KelvoControl* f = GetFirstFloatRangeControl(all); f; f = GetNextFloatRangeControl(all), ++count)
        CHECK(GetFloatRangeMinimum(f) <= GetFloatRangeMaximum(f));
    CHECK(count == 3 && GetFloatRangeCount(all) == 3);
    KelvoControl* shift = GetFindFloatRangeControl(all, "*QJImageShift", 1);
    CHECK(GetFloatRangeMinimum(shift) == -20.0 && GetFloatRangeMaximum(shift) == 20.0);
    CHECK(GetFloatRangeIncrement(shift) == 0.5 && GetFloatRangeDefaultVal(shift) == 0.0);
    CHECK(IsMacImgShiftControl(shift) == 1);
    SetFloatRangeValue(shift, 12.25);
    CHECK(GetFloatRangeValue(shift) == 12.25);
    CHECK_STR(ValueOf(shift), "12.250");
    ps = PostScriptOf(FloatRangePostScript, shift);
    /* The value goes out padded to nine places, feature line included. */
    CHECK_STR(ps, "%%BeginFeature: *QJImageShift   12.2500\n  12.2500 2.8346 mul /QJShift exch def\n%%EndFeature\n");
    free(ps);
    SetFloatRangeValue(shift, 99.0);
    CHECK(GetFloatRangeValue(shift) == 20.0);

    KelvoCustomPageSize cps = {0, 0, 0, 0, -1, -1};
    KelvoControl* custom = Find(all, "*CustomPrintSize", 1, NULL);
    CHECK(KelvoGetCustomPageSize(custom, &cps) == 1);
    CHECK(cps.minWidth == 288 && cps.maxWidth == 1296 && cps.minHeight == 288 && cps.maxHeight == 3600);
    CHECK(cps.width == 0 && cps.height == 0);
    KelvoSetCustomPageSize(custom, 300, 400);
    CHECK(KelvoGetCustomPageSize(custom, &cps) == 1 && cps.width == 300 && cps.height == 400);
    CHECK(KelvoGetCustomPageSize(bright, &cps) == 0);
}

static void CheckJobNotes(KelvoControls* all) {
    size_t count = 0;
    for (KelvoControl* n = GetFirstJobNote(all); n; n = GetNextJobNote(all), ++count)
        printf("note %s max=%ld min=%ld flags=0x%lx text=%s\n", KelvoGetKeyword(n), KelvoGetJobNoteMaxLength(n),
               KelvoGetJobNoteMinLength(n), KelvoGetJobNoteFlags(n),
               KelvoGetJobNoteText(n) ? KelvoGetJobNoteText(n) : "(none)");
    CHECK(count == 6 && GetJobnoteCount(all) == 6 && !GetNoJobNotes(all));

    KelvoControl* account = GetFindJobNote(all, "*QJAccount", 1);
    CHECK(KelvoGetJobNoteMaxLength(account) == 16 && KelvoGetJobNoteMinLength(account) == 4);
    CHECK(KelvoGetJobNoteFlags(account) == (KELVO_JN_NUMERIC | KELVO_JN_REQUIRED | KELVO_JN_REMEMBERED));
    CHECK(KelvoGetJobNoteText(account) == NULL && KelvoJobNotePostScript(account, NULL) == 0);
    /* A note's text enters its template as a hex string. */
    KelvoSetJobNoteText(account, "A\\");
    char* ps = PostScriptOf(KelvoJobNotePostScript, account);
    CHECK_STR(ps, "%%BeginFeature: *QJAccount A\\\n<415C> /QJAccount exch def\n%%EndFeature\n");
    free(ps);
    ps = PostScriptOf(GetPostScript, account);
    CHECK_STR(ps, "%%BeginFeature: *QJAccount A\\\n<415C> /QJAccount exch def\n%%EndFeature\n");
    free(ps);

    /* Without a template, a Resume note becomes the password comment. */
    KelvoControl* password = GetFindJobNote(all, "UserPassword", 0);
    CHECK(KelvoGetJobNoteFlags(password) & KELVO_JN_RESUME);
    KelvoSetJobNoteText(password, "1234");
    ps = PostScriptOf(KelvoJobNotePostScript, password);
    CHECK_STR(ps, "%%BeginFeature: *QJUserPassword 1234\n%%PersPassword: 1234\n%%EndFeature\n");
    free(ps);

    KelvoControl* dept = GetFindJobNote(all, "*QJDeptCode", 1);
    CHECK_STR(KelvoGetJobNoteDefaultText(dept), "PRINTROOM");
    CHECK_STR(KelvoGetJobNoteText(dept), "PRINTROOM");
    CHECK(KelvoSetControlValue(dept, "MAILROOM") == 1);
    CHECK_STR(KelvoGetJobNoteText(dept), "MAILROOM");
    ResetControlToDefault(dept);
    CHECK_STR(KelvoGetJobNoteText(dept), "PRINTROOM");
    KelvoSetJobNoteDefaultText(dept, "LOBBY");
    CHECK_STR(KelvoGetJobNoteDefaultText(dept), "LOBBY");

    KelvoControl* instruc = GetFindJobNote(all, "*Instruc", 1);
    CHECK(KelvoGetJobNoteOn(instruc) == 0);
    KelvoSetJobNoteOn(instruc, 1);
    CHECK(KelvoGetJobNoteOn(instruc) == 1);
    /* Notes sit in their roll-down, and the walk of a whole list sees them. */
    CHECK(EqualsKeyWord(GetParent(instruc), "FPQJNotes"));
}

static void CheckSpecialOptions(KelvoControls* all) {
    size_t count = 0;
    for (KelvoControl* s = GetFirstSpecialOption(all); s; s = GetNextSpecialOption(all), ++count)
        CHECK(IsOrphan(s) && KelvoGetSpecialOptionValue(s));
    CHECK(count == 2 && GetSpecialOptionCount(all) == 2);
    KelvoControl* model = GetFindSpecialOption(all, "*QJControllerModel", 1);
    CHECK_STR(KelvoGetSpecialOptionValue(model), "Kelvo CX-900 Print Controller");
    CHECK_STR(KelvoGetSpecialOptionValue(GetFindSpecialOption(all, "JobFormat", 0)), "PDL 2");
    /* Fixed by the PPD: the setter refuses. */
    CHECK(KelvoSetControlValue(model, "other") == 0);
    CHECK_STR(KelvoGetSpecialOptionValue(model), "Kelvo CX-900 Print Controller");
    ResetControlToDefault(model);
    CHECK_STR(KelvoGetSpecialOptionValue(model), "");
}

static void CheckShortcuts(KelvoDocument* doc) {
    static const char* const popups[] = {"*PageSize", "*InputSlot", "*MediaType", "*QJDuplex",
                                         "*QJ_PAPER_ORIENTATION", "*QJStaple"};
    KelvoShortcuts* cuts = GetShortcuts(doc);
    size_t i = 0;
    for (KelvoControl* c = FirstShortcut(cuts); c; c = NextShortcut(cuts), ++i)
        CHECK(i < 6 && EqualsKeyWord(c, popups[i]));
    CHECK(i == 6);
    /* The Boolean shortcut is counted but not walked. */
    CHECK(GetShortcutCount(cuts) == 7 && !IsShortcutsListEmpty(cuts));
    KelvoControl* last = KelvoGetShortcutAt(cuts, 6);
    CHECK(EqualsKeyWord(last, "*QJCollate") && KelvoGetControlType(last) == KELVO_CONTROL_BOOLEAN);
    CHECK(KelvoGetShortcutAt(cuts, 7) == NULL);
    CHECK(FindShortcut(cuts, "*QJCollate", 1) == NULL);
    CHECK(EqualsKeyWord(FindShortcut(cuts, "Duplex", 0), "*QJDuplex"));

    CHECK(EqualsElement(GetPageSizeShortcut(cuts), KelvoGetControlForKey(doc, "PageSize")));
    CHECK(EqualsKeyWord(GetInputSlotShortcut(cuts), "*InputSlot"));
    CHECK(EqualsKeyWord(GetDuplexShortcut(cuts), "*QJDuplex"));
    CHECK(EqualsKeyWord(GetOrientationShortcut(cuts), "*QJ_PAPER_ORIENTATION"));
    CHECK(GetMediaSourceShortcut(cuts) == NULL && GetChromaquaShortcut(cuts) == NULL);
}

static void CheckNullHandles(void) {
    KelvoPopupItemRecord rec = {"x", "y"};
    int type = 9;
    char buf[4] = "abc";
    CHECK(KelvoOpenPPD(NULL, 0, NULL) == NULL);
    KelvoRetainPPD(NULL);
    KelvoReleasePPD(NULL);
    CHECK(KelvoIsValidPPD(NULL) == 0 && KelvoGetModelName(NULL) == NULL);
    CHECK(GetControls(NULL) == NULL && GetGroups(NULL) == NULL && GetProperties(NULL) == NULL);
    CHECK(GetShortcuts(NULL) == NULL && GetErrors(NULL) == NULL && KelvoGetControlForKey(NULL, "x") == NULL);
    CHECK(IsValidControlKeyword(NULL, "*PageSize") == 0);
    CHECK(FirstError(NULL) == NULL && ErrorCount(NULL) == 0 && ErrorListIsEmpty(NULL) == 0);
    CHECK(GetErrorKeyword(NULL) == NULL && IsErrorFatal(NULL) == 0 && KelvoGetErrorCode(NULL) == 0);
    CHECK(FirstGroup(NULL) == NULL && FindGroup(NULL, "x", 1) == NULL && GroupCount(NULL) == 0);
    CHECK(IsRollDown(NULL) == 0 && GetRollDownControlList(NULL) == NULL && GetScrollPaneRollDowns(NULL) == NULL);
    CHECK(FirstProperty(NULL) == NULL && PropertyCount(NULL) == 0 && IsPropertyPage(NULL) == 0);
    CHECK(UserName(NULL) == NULL && KelvoUserNameUTF8(NULL) == NULL && GetParent(NULL) == NULL);
    CHECK(IsVisible(NULL) == 0 && IsOrphan(NULL) == 0 && EqualsElement(NULL, NULL) == 0);
    CHECK(GetFirst(NULL, &type) == NULL && type == 0);
    CHECK(Find(NULL, "*PageSize", 1, NULL) == NULL && GetControlCount(NULL) == 0 && GetEmpty(NULL) == 0);
    CHECK(GetFirstPopupControl(NULL) == NULL && GetFindJobNote(NULL, "x", 1) == NULL);
    CHECK(FirstItem(NULL, &rec) == 0 && rec.keyword == NULL && rec.localName == NULL);
    CHECK(GetPostScript(NULL, NULL) == 0 && PopupPostScript(NULL, NULL) == 0);
    ResetControlToDefault(NULL);
    SetValue(NULL, 1);
    SetPopupValue(NULL, 1);
    KelvoSetJobNoteText(NULL, "x");
    CHECK(KelvoCopyControlValue(NULL, buf, sizeof buf) == 0 && buf[0] == '\0');
    CHECK(KelvoSetControlValue(NULL, "x") == 0 && KelvoGetControlType(NULL) == 0);
    CHECK(IsTrue(NULL) == 0 && GetRangeValue(NULL) == 0 && GetFloatRangeValue(NULL) == 0.0);
    CHECK(KelvoGetJobNoteText(NULL) == NULL && KelvoGetSpecialOptionValue(NULL) == NULL);
    CHECK(FirstShortcut(NULL) == NULL && GetShortcutCount(NULL) == 0 && GetPageSizeShortcut(NULL) == NULL);
}

/* Handles of the wrong kind behave like null handles. */
static void CheckWrongKinds(KelvoDocument* doc) {
    KelvoControl* collate = KelvoGetControlForKey(doc, "*QJCollate");
    KelvoGroup* group = FindGroup(GetGroups(doc), "FPLayout", 1);
    KelvoPopupItemRecord rec;
    CHECK(collate && group);
    CHECK(PopupItemCount(collate) == 0 && FirstItem(collate, &rec) == 0 && GetRangeValue(collate) == 0);
    CHECK(KelvoGetJobNoteText(collate) == NULL && KelvoJobNotePostScript(collate, NULL) == 0);
    CHECK(KelvoGetControlType(group) == 0 && GetPostScript(group, NULL) == 0 && IsTrue(group) == 0);
    CHECK(GetRollDownControlList(collate) == NULL && IsPropertyPage(collate) == 0);
    CHECK(KelvoCopyControlValue(group, NULL, 0) == 0 && KelvoSetControlValue(group, "x") == 0);
}

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: %s SAMPLE.ppd\n", argv[0]);
        return 2;
    }
    KelvoDocument* doc = KelvoOpenPPD(argv[1], KELVO_PARSE_ORPHANS | KELVO_PARSE_HIDDEN, "org.example.walk");
    if (!doc) {
        fprintf(stderr, "cannot open %s\n", argv[1]);
        return 2;
    }
    CHECK(KelvoIsValidPPD(doc) == 1);
    CHECK_STR(KelvoGetModelName(doc), "Kelvo ProLine 9200");
    CHECK_STR(KelvoGetPCFileName(doc), "KPL9200.PPD");
    CHECK_STR(KelvoGetFormatVersion(doc), "4.3");
    CHECK_STR(KelvoGetFileVersion(doc), "2.4");
    CHECK_STR(KelvoGetLanguageVersion(doc), "English");
    CHECK_STR(KelvoGetLanguageEncoding(doc), "ISOLatin1");
    CHECK_STR(KelvoGetPathToPDE(doc), "/usr/lib/kelvo/pde/KelvoPanel.plugin");
    CHECK_STR(KelvoGetQJFileVersion(doc), "\"5.0.12\"");
    CHECK_STR(KelvoGetQJVersion(doc), "\"3.2\"");
    CHECK(KelvoGetQJVersionMac(doc) == NULL);
    CHECK(IsValidControlKeyword(doc, "*PageSize") == 1);
    CHECK(IsValidControlKeyword(doc, "*QJ_PROP_WATERMARK") == 0);

    /* A second holder keeps the document alive past the first release. */
    KelvoRetainPPD(doc);
    KelvoReleasePPD(doc);

    WalkErrors(doc);
    WalkGroups(doc);

    const unsigned savedOptions = KelvoGetDisplayOptions();
    KelvoControls* all = GetControls(doc);
    size_t walked = 0;
    KelvoSetDisplayOptions(KELVO_DISPLAY_ALL);
    WalkControlList("", all, &walked);
    CHECK(walked == 43);
    CHECK(GetControlCount(all) == 35 && !GetEmpty(all) && !GetNoPopups(all) && GetPopupCount(all) == 20);
    /* Special options have no group, so the default option leaves them out. */
    KelvoSetDisplayOptions(KELVO_DISPLAY_VISIBLE_PARENTED);
    walked = 0;
    WalkControlList("", all, &walked);
    CHECK(walked == 41 && GetSpecialOptionCount(all) == 0);
    CHECK(Find(all, "*QJControllerModel", 1, NULL) == NULL);
    int type = 0;
    KelvoControl* size = Find(all, "Size", 0, &type);
    CHECK(EqualsKeyWord(size, "*PageSize") && type == KELVO_CONTROL_POPUP);
    KelvoSetDisplayOptions(KELVO_DISPLAY_ALL);

    /* The parent chain runs control -> roll-down -> scroll pane -> page. */
    KelvoElement* rollDown = GetParent(size);
    CHECK(IsRollDown(rollDown) && EqualsKeyWord(rollDown, "FPPaperSource"));
    CHECK(IsScrollPane(GetParent(rollDown)) && IsPropertyPage(GetParent(GetParent(rollDown))));
    CHECK(EqualsKeyWord(GetParent(GetParent(rollDown)), "QJPageGeneral"));
    CHECK(!IsOrphan(size) && IsVisible(size) && !EqualsElement(size, rollDown));

    WalkPages(doc);
    CheckPopups(all);
    CheckBooleans(all);
    CheckRanges(all);
    CheckJobNotes(all);
    CheckSpecialOptions(all);
    CheckShortcuts(doc);
    CheckWrongKinds(doc);
    CheckNullHandles();
    KelvoSetDisplayOptions(savedOptions);

    KelvoReleasePPD(doc);

    /* A missing file still gives a document, with the fatal file error. */
    KelvoDocument* missing = KelvoOpenPPD("/nonexistent/missing.ppd", 0, NULL);
    CHECK(missing != NULL && KelvoIsValidPPD(missing) == 0);
    const KelvoError* first = FirstError(GetErrors(missing));
    CHECK(KelvoGetErrorCode(first) == 18 && IsErrorFatal(first) == 1);
    KelvoReleasePPD(missing);

    return CHECK_SUMMARY();
}

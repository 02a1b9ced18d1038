/* The C interface beyond the flat walk: constraint questions (constrained,
 * conflicts and candidates, resolution under locks, applying it), values by
 * keyword, error lines and texts, status texts, the version, and opening
 * from memory. Compiled as C against the shared library.
 *
 * usage: c_abi_queries CONSTRAINTS_DIR SAMPLE.ppd
 * The constraint answers are those kelvo-pde check gives for the same files. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "KelvoPPD.h"
#include "check.h"

static const char* constraintsDir = NULL;

static KelvoDocument* OpenConstraintFile(const char* name) {
    char path[4096];
    snprintf(path, sizeof path, "%s/%s", constraintsDir, name);
    KelvoDocument* doc = KelvoOpenPPD(path, KELVO_PARSE_NONE, NULL);
    CHECK(doc != NULL && KelvoIsValidPPD(doc) == 1);
    return doc;
}

/* A report list as "KEY=CHOICE KEY=CHOICE", the way the tool prints it. */
static const char* ListText(const KelvoChoiceReport* report, int list, char* text, size_t size) {
    text[0] = '\0';
    size_t used = 0;
    const char* key = NULL;
    const char* choice = NULL;
    for (size_t i = 0; KelvoChoiceReportPair(report, list, i, &key, &choice); ++i) {
        int n = snprintf(text + used, size - used, "%s%s=%s", i ? " " : "", key, choice);
        if (n < 0 || (size_t)n >= size - used)
            break;
        used += (size_t)n;
    }
    return text;
}

/* One constraint question, its settings before it, and the answers. */
typedef struct {
    const char* file;
    const char* sets[3]; /* "KEY=VALUE" applied first, NULL-terminated */
    const char* key;
    const char* choice;
    int resolve;
    const char* locks[2];
    size_t lockCount;
    int constrained;
    const char* conflicts;
    const char* candidates;
    int resolved;
    const char* changes;    /* when resolved */
    const char* unresolved; /* when not */
} ConstraintRow;

static const ConstraintRow kConstraintRows[] = {
    {"duplex-envelope.ppd", {"InputSlot=Envelope"}, "Duplex", "DuplexTumble", 0, {NULL}, 0, 1,
     "*InputSlot=Envelope", "*InputSlot=Manual *InputSlot=Tray2 *InputSlot=Tray1", 0, "", ""},
    {"duplex-envelope.ppd", {"InputSlot=Envelope"}, "*Duplex", "None", 0, {NULL}, 0, 0, "", "", 0, "", ""},
    /* Short edge is excluded by the envelope too, so it is no candidate. */
    {"duplex-envelope.ppd", {"Duplex=DuplexNoTumble"}, "InputSlot", "Envelope", 0, {NULL}, 0, 1,
     "*Duplex=DuplexNoTumble", "*Duplex=None", 0, "", ""},
    {"duplex-envelope.ppd", {"InputSlot=Envelope"}, "Duplex", "DuplexTumble", 1, {NULL}, 0, 1,
     "*InputSlot=Envelope", "*InputSlot=Manual *InputSlot=Tray2 *InputSlot=Tray1", 1, "*InputSlot=Manual", ""},
    /* A first-level candidate that is locked ends the search with a report. */
    {"duplex-envelope.ppd", {"InputSlot=Envelope"}, "Duplex", "DuplexTumble", 1, {"InputSlot"}, 1, 1,
     "*InputSlot=Envelope", "*InputSlot=Manual *InputSlot=Tray2 *InputSlot=Tray1", 0, "", "*InputSlot=Envelope"},
    {"duplex-envelope.ppd", {"InputSlot=Envelope"}, "Duplex", "DuplexTumble", 1, {"*InputSlot=Manual"}, 1, 1,
     "*InputSlot=Envelope", "*InputSlot=Manual *InputSlot=Tray2 *InputSlot=Tray1", 0, "", "*InputSlot=Envelope"},
    /* A free choice resolves with no change. */
    {"duplex-envelope.ppd", {NULL}, "Duplex", "DuplexTumble", 1, {NULL}, 0, 0, "", "", 1, "", ""},
    {"chain.ppd", {NULL}, "QJBooklet", "True", 1, {NULL}, 0, 1, "*QJStaple=Corner", "*QJStaple=Saddle", 1,
     "*QJStaple=Saddle *PageSize=A4", ""},
    /* Deeper down a lock only removes that candidate. */
    {"chain.ppd", {NULL}, "QJBooklet", "True", 1, {"PageSize=A4"}, 1, 1, "*QJStaple=Corner", "*QJStaple=Saddle", 1,
     "*QJStaple=Saddle *PageSize=Letter", ""},
    {"chain.ppd", {NULL}, "QJBooklet", "True", 1, {"QJStaple", "PageSize=A4"}, 2, 1, "*QJStaple=Corner",
     "*QJStaple=Saddle", 0, "", "*QJStaple=Corner"},
    /* A print size that follows the paper is judged as that paper. */
    {"printsize.ppd", {"PageSize=A4"}, "MediaType", "Transparency", 0, {NULL}, 0, 1, "*QJPrintSize=A4",
     "*QJPrintSize=Letter", 0, "", ""},
    {"printsize.ppd", {"PageSize=Letter"}, "MediaType", "Transparency", 0, {NULL}, 0, 0, "", "", 0, "", ""},
};

static void CheckConstraintRows(void) {
    char text[1024];
    for (size_t r = 0; r < sizeof kConstraintRows / sizeof kConstraintRows[0]; ++r) {
        const ConstraintRow* row = &kConstraintRows[r];
        fprintf(stderr, "-- row %zu: %s %s=%s\n", r, row->file, row->key, row->choice);
        KelvoDocument* doc = OpenConstraintFile(row->file);
        for (size_t i = 0; i < 3 && row->sets[i]; ++i) {
            char key[256];
            const char* eq = strchr(row->sets[i], '=');
            snprintf(key, sizeof key, "%.*s", (int)(eq - row->sets[i]), row->sets[i]);
            CHECK(KelvoSetValueForKey(doc, key, eq + 1) == KELVO_STATUS_OK);
        }
        CHECK(KelvoIsChoiceConstrained(doc, row->key, row->choice) == row->constrained);

        int status = 99;
        KelvoChoiceReport* report =
            row->resolve ? KelvoResolveChoice(doc, row->key, row->choice, row->locks, row->lockCount, &status)
                         : KelvoTestChoice(doc, row->key, row->choice, &status);
        CHECK(report != NULL && status == KELVO_STATUS_OK);
        CHECK(KelvoChoiceReportIsConstrained(report) == row->constrained);
        CHECK_STR(ListText(report, KELVO_PAIRS_CONFLICTS, text, sizeof text), row->conflicts);
        CHECK_STR(ListText(report, KELVO_PAIRS_CANDIDATES, text, sizeof text), row->candidates);
        CHECK(KelvoChoiceReportIsResolved(report) == row->resolved);
        CHECK_STR(ListText(report, KELVO_PAIRS_CHANGES, text, sizeof text), row->changes);
        CHECK_STR(ListText(report, KELVO_PAIRS_UNRESOLVED, text, sizeof text), row->unresolved);
        /* Asking changes nothing; applying a resolution makes it so. */
        CHECK(KelvoIsChoiceConstrained(doc, row->key, row->choice) == row->constrained);
        if (row->resolved) {
            CHECK(KelvoApplyChoiceReport(doc, report) == KELVO_STATUS_OK);
            CHECK(KelvoIsChoiceConstrained(doc, row->key, row->choice) == 0);
            KelvoChoiceReport* after = KelvoTestChoice(doc, row->key, row->choice, NULL);
            CHECK(KelvoChoiceReportCount(after, KELVO_PAIRS_CONFLICTS) == 0);
            KelvoFreeChoiceReport(after);
        } else {
            CHECK(KelvoApplyChoiceReport(doc, report) == KELVO_STATUS_INVALID_ARGUMENT);
        }
        KelvoFreeChoiceReport(report);
        KelvoReleasePPD(doc);
    }
    fprintf(stderr, "-- constraint rows done\n");
}

/* The resolution's changes land in the document, and the report outlives it. */
static void CheckApplyAndReportLifetime(void) {
    KelvoDocument* doc = OpenConstraintFile("chain.ppd");
    KelvoChoiceReport* report = KelvoResolveChoice(doc, "QJBooklet", "True", NULL, 0, NULL);
    CHECK(KelvoApplyChoiceReport(doc, report) == KELVO_STATUS_OK);
    char value[32];
    CHECK(KelvoCopyValueForKey(doc, "QJBooklet", value, sizeof value) == 4 && same(value, "True"));
    CHECK(KelvoCopyValueForKey(doc, "*QJStaple", value, sizeof value) == 6 && same(value, "Saddle"));
    CHECK(KelvoCopyValueForKey(doc, "PageSize", value, sizeof value) == 2 && same(value, "A4"));
    KelvoReleasePPD(doc);
    const char* key = NULL;
    const char* choice = NULL;
    CHECK(KelvoChoiceReportPair(report, KELVO_PAIRS_CHANGES, 1, &key, &choice) == 1);
    CHECK_STR(key, "*PageSize");
    CHECK_STR(choice, "A4");
    /* Past the end, unknown lists and a NULL report give nothing. */
    CHECK(KelvoChoiceReportPair(report, KELVO_PAIRS_CHANGES, 2, &key, &choice) == 0 && !key && !choice);
    CHECK(KelvoChoiceReportPair(report, 4, 0, &key, NULL) == 0 && !key);
    CHECK(KelvoChoiceReportPair(report, -1, 0, NULL, NULL) == 0);
    CHECK(KelvoChoiceReportCount(report, 4) == 0 && KelvoChoiceReportCount(NULL, 0) == 0);
    CHECK(KelvoChoiceReportIsResolved(NULL) == 0 && KelvoChoiceReportIsConstrained(NULL) == 0);
    KelvoFreeChoiceReport(report);
    KelvoFreeChoiceReport(NULL);
}

/* Questions that cannot be answered say why. */
static void CheckConstraintRefusals(void) {
    KelvoDocument* doc = OpenConstraintFile("duplex-envelope.ppd");
    const char* drawer[] = {"InputSlot=Drawer9"};
    const char* bogus[] = {"Bogus"};
    const char* empty[] = {"=Tray1"};
    const char* nullLock[] = {NULL};
    const struct {
        const char* key;
        const char* choice;
        const char* const* locks;
        size_t lockCount;
        int status;
    } rows[] = {
        {"Bogus", "X", NULL, 0, KELVO_STATUS_UNKNOWN_KEY},
        {"Duplex", "Sideways", NULL, 0, KELVO_STATUS_BAD_VALUE},
        {"QJCollate", "Yes", NULL, 0, KELVO_STATUS_BAD_VALUE},
        {NULL, "None", NULL, 0, KELVO_STATUS_INVALID_ARGUMENT},
        {"Duplex", NULL, NULL, 0, KELVO_STATUS_INVALID_ARGUMENT},
        {"Duplex", "None", drawer, 1, KELVO_STATUS_BAD_VALUE},
        {"Duplex", "None", bogus, 1, KELVO_STATUS_UNKNOWN_KEY},
        {"Duplex", "None", empty, 1, KELVO_STATUS_INVALID_ARGUMENT},
        {"Duplex", "None", nullLock, 1, KELVO_STATUS_INVALID_ARGUMENT},
        {"Duplex", "None", NULL, 1, KELVO_STATUS_INVALID_ARGUMENT},
    };
    for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
        int status = 0;
        CHECK(KelvoResolveChoice(doc, rows[i].key, rows[i].choice, rows[i].locks, rows[i].lockCount, &status) ==
              NULL);
        CHECK(status == rows[i].status);
        if (rows[i].lockCount == 0) {
            CHECK(KelvoIsChoiceConstrained(doc, rows[i].key, rows[i].choice) == rows[i].status);
            CHECK(KelvoTestChoice(doc, rows[i].key, rows[i].choice, &status) == NULL && status == rows[i].status);
        }
    }
    CHECK(KelvoIsChoiceConstrained(NULL, "Duplex", "None") == KELVO_STATUS_INVALID_ARGUMENT);
    CHECK(KelvoTestChoice(NULL, "Duplex", "None", NULL) == NULL);
    CHECK(KelvoApplyChoiceReport(doc, NULL) == KELVO_STATUS_INVALID_ARGUMENT);
    KelvoReleasePPD(doc);
}

/* Setting by keyword: what each kind of control takes, and what it refuses. */
static void CheckValuesByKey(const char* samplePath) {
    KelvoDocument* doc = KelvoOpenPPD(samplePath, KELVO_PARSE_ORPHANS | KELVO_PARSE_HIDDEN, NULL);
    CHECK(doc != NULL);
    const struct {
        const char* key;
        const char* value;
        int status;
        const char* after; /* the value then, or NULL for "no value" */
    } rows[] = {
        {"PageSize", "A4", KELVO_STATUS_OK, "A4"},
        {"*PageSize", "Folio9", KELVO_STATUS_BAD_VALUE, "A4"},
        {"PageSize", "a4", KELVO_STATUS_BAD_VALUE, "A4"},
        {"QJCollate", "false", KELVO_STATUS_OK, "False"},
        {"QJCollate", "TRUE", KELVO_STATUS_OK, "True"},
        {"QJCollate", "Truely", KELVO_STATUS_BAD_VALUE, "True"},
        {"QJPaperWeight", "120", KELVO_STATUS_OK, "120"},
        {"QJPaperWeight", "9999", KELVO_STATUS_OK, "350"}, /* clamped to the bound */
        {"QJPaperWeight", "12abc", KELVO_STATUS_BAD_VALUE, "350"},
        {"QJPaperWeight", "", KELVO_STATUS_BAD_VALUE, "350"},
        {"QJImageShift", "1.5", KELVO_STATUS_OK, "1.500"},
        {"QJImageShift", "nan", KELVO_STATUS_BAD_VALUE, "1.500"},
        {"QJImageShift", "inf", KELVO_STATUS_BAD_VALUE, "1.500"},
        {"CustomPrintSize", "300 400", KELVO_STATUS_OK, "300.000000 400.000000"},
        {"CustomPrintSize", "300", KELVO_STATUS_BAD_VALUE, "300.000000 400.000000"},
        {"QJDeptCode", "MAILROOM", KELVO_STATUS_OK, "MAILROOM"},
        {"QJControllerModel", "other", KELVO_STATUS_READ_ONLY, "Kelvo CX-900 Print Controller"},
        {"NoSuchOption", "x", KELVO_STATUS_UNKNOWN_KEY, NULL},
        {"PageSize", NULL, KELVO_STATUS_INVALID_ARGUMENT, "A4"},
    };
    char value[64];
    for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
        fprintf(stderr, "-- value row %zu: %s=%s\n", i, rows[i].key, rows[i].value ? rows[i].value : "(null)");
        CHECK(KelvoSetValueForKey(doc, rows[i].key, rows[i].value) == rows[i].status);
        const size_t n = KelvoCopyValueForKey(doc, rows[i].key, value, sizeof value);
        if (rows[i].after) {
            CHECK(n == strlen(rows[i].after));
            CHECK_STR(value, rows[i].after);
        } else {
            CHECK(n == 0 && value[0] == '\0');
        }
    }
    /* The copy: sized with a NULL buffer, cut to fit, always terminated. */
    CHECK(KelvoCopyValueForKey(doc, "QJDeptCode", NULL, 0) == 8);
    char small[4] = "xyz";
    CHECK(KelvoCopyValueForKey(doc, "QJDeptCode", small, sizeof small) == 8);
    CHECK_STR(small, "MAI");
    CHECK(KelvoCopyValueForKey(NULL, "PageSize", small, sizeof small) == 0 && small[0] == '\0');
    CHECK(KelvoSetValueForKey(NULL, "PageSize", "A4") == KELVO_STATUS_INVALID_ARGUMENT);
    KelvoReleasePPD(doc);
}

/* Errors: their lines, the names and sentences of codes, file reasons. */
static void CheckErrors(void) {
    static const char text[] = "*PPD-Adobe: \"4.3\"\n"                        /* 1 */
                               "*FormatVersion: \"4.3\"\n"                    /* 2 */
                               "*%QJVersion: \"3.2\"\n"                       /* 3 */
                               "*%QJVPropPage QJPageGeneral/General: \"True\"\n" /* 4 */
                               "*%QJVGroupName QJPaper/Paper: \"True\"\n"     /* 5 */
                               "*%QJVFlags *MediaType: \"Dynamic\"\n"         /* 6 */
                               "*%QJVGroup *MediaType: QJPaper\n"             /* 7 */
                               "*OpenUI *MediaType/Paper Type: PickOne\n"     /* 8 */
                               "*DefaultMediaType: Plain\n"                   /* 9 */
                               "*MediaType Plain/Plain: \"\"\n"               /* 10 */
                               "*CloseUI: *MediaType\n"                       /* 11 */
                               "*%QJVGroupName QJPaper/Paper Again: \"True\"\n"; /* 12: a duplicate */
    KelvoDocument* doc = KelvoOpenPPDFromBytes(text, sizeof text - 1, KELVO_PARSE_NONE, NULL);
    CHECK(doc != NULL && KelvoGetFileErrorText(doc) == NULL);
    int sawDuplicate = 0;
    KelvoErrors* errors = KelvoGetErrors(doc);
    for (const KelvoError* e = KelvoFirstError(errors); e; e = KelvoNextError(errors)) {
        fprintf(stderr, "error %s line %lu keyword %s\n", KelvoErrorCodeName(KelvoGetErrorCode(e)),
                KelvoGetErrorLine(e), KelvoGetErrorKeyword(e) ? KelvoGetErrorKeyword(e) : "(none)");
        if (KelvoGetErrorCode(e) == 23) {
            sawDuplicate = 1;
            CHECK(KelvoGetErrorLine(e) == 12);
        }
    }
    CHECK(sawDuplicate);
    CHECK(KelvoGetErrorLine(NULL) == 0);
    KelvoReleasePPD(doc);

    KelvoDocument* missing = KelvoOpenPPD("/nonexistent/missing.ppd", 0, NULL);
    CHECK(KelvoIsValidPPD(missing) == 0);
    CHECK_STR(KelvoGetFileErrorText(missing), "No such file or directory");
    const KelvoError* first = KelvoFirstError(KelvoGetErrors(missing));
    CHECK_STR(KelvoErrorCodeName(KelvoGetErrorCode(first)), "PPDErr_FileError");
    CHECK(KelvoGetErrorLine(first) == 0);
    KelvoReleasePPD(missing);

    const struct {
        int code;
        const char* name;
        const char* message;
    } codes[] = {
        {23, "PPDErr_Duplicate", "the same keyword is declared twice"},
        {18, "PPDErr_FileError", "the file cannot be read"},
        {38, "PPDErr_ReadEndedEarly", "reading stopped early at a line of 255 bytes or more or at a 0xFF byte"},
        {2, NULL, NULL},
        {65536 + 23, NULL, NULL}, /* not narrowed into a known code */
        {-1, NULL, NULL},
    };
    for (size_t i = 0; i < sizeof codes / sizeof codes[0]; ++i) {
        const char* name = KelvoErrorCodeName(codes[i].code);
        const char* message = KelvoErrorCodeMessage(codes[i].code);
        CHECK(codes[i].name ? same(name, codes[i].name) : name == NULL);
        CHECK(codes[i].message ? same(message, codes[i].message) : message == NULL);
    }
}

static void CheckLibrary(void) {
    char numbers[32];
    snprintf(numbers, sizeof numbers, "%d.%d.%d", KELVO_VERSION_MAJOR, KELVO_VERSION_MINOR, KELVO_VERSION_PATCH);
    CHECK_STR(KelvoVersion(), KELVO_VERSION_STRING);
    CHECK_STR(numbers, KELVO_VERSION_STRING);

    const struct {
        int status;
        const char* name;
    } statuses[] = {
        {KELVO_STATUS_OK, "KELVO_STATUS_OK"},
        {KELVO_STATUS_INVALID_ARGUMENT, "KELVO_STATUS_INVALID_ARGUMENT"},
        {KELVO_STATUS_NO_MEMORY, "KELVO_STATUS_NO_MEMORY"},
        {KELVO_STATUS_UNKNOWN_KEY, "KELVO_STATUS_UNKNOWN_KEY"},
        {KELVO_STATUS_BAD_VALUE, "KELVO_STATUS_BAD_VALUE"},
        {KELVO_STATUS_READ_ONLY, "KELVO_STATUS_READ_ONLY"},
        {KELVO_STATUS_INTERNAL, "KELVO_STATUS_INTERNAL"},
    };
    for (size_t i = 0; i < sizeof statuses / sizeof statuses[0]; ++i) {
        CHECK_STR(KelvoStatusName(statuses[i].status), statuses[i].name);
        CHECK(KelvoStatusMessage(statuses[i].status) != NULL);
    }
    CHECK(KelvoStatusName(-7) == NULL && KelvoStatusMessage(1) == NULL);
    CHECK_STR(KelvoStatusMessage(KELVO_STATUS_NO_MEMORY), "out of memory");
    /* Nothing has failed for want of memory in this program. */
    CHECK(KelvoLastFailure() == KELVO_STATUS_OK);

    CHECK(KelvoOpenPPDFromBytes(NULL, 10, 0, NULL) == NULL);
    KelvoDocument* empty = KelvoOpenPPDFromBytes(NULL, 0, 0, NULL);
    CHECK(empty != NULL && KelvoIsValidPPD(empty) == 0);
    KelvoReleasePPD(empty);
}

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: %s CONSTRAINTS_DIR SAMPLE.ppd\n", argv[0]);
        return 2;
    }
    constraintsDir = argv[1];
    CheckLibrary();
    CheckConstraintRows();
    CheckApplyAndReportLifetime();
    CheckConstraintRefusals();
    CheckValuesByKey(argv[2]);
    CheckErrors();
    return CHECK_SUMMARY();
}

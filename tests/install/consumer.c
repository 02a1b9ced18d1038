/* A program outside the project, built against an installed prefix with the
 * flags pkg-config or find_package(Kelvo) give: it includes the installed
 * header by its installed name and uses the library from C. */
#include <stdio.h>
#include <string.h>

#include <kelvo/KelvoPPD.h>

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: %s FILE.ppd\n", argv[0]);
        return 2;
    }
    if (strcmp(KelvoVersion(), KELVO_VERSION_STRING) != 0) {
        fprintf(stderr, "library %s, headers %s\n", KelvoVersion(), KELVO_VERSION_STRING);
        return 1;
    }
    KelvoDocument* doc = KelvoOpenPPD(argv[1], KELVO_PARSE_NONE, NULL);
    if (!doc || KelvoIsValidPPD(doc) != 1) {
        fprintf(stderr, "%s is not read as a valid PPD\n", argv[1]);
        KelvoReleasePPD(doc);
        return 1;
    }
    char size[32];
    const int status = KelvoSetValueForKey(doc, "PageSize", "A4");
    const size_t n = KelvoCopyValueForKey(doc, "PageSize", size, sizeof size);
    const int constrained = KelvoIsChoiceConstrained(doc, "PageSize", "Letter");
    printf("kelvo %s: %s, page size %s, %lu controls\n", KelvoVersion(), KelvoGetModelName(doc), size,
           (unsigned long)KelvoGetControlCount(KelvoGetControls(doc)));
    KelvoReleasePPD(doc);
    return status == KELVO_STATUS_OK && n == 2 && strcmp(size, "A4") == 0 && constrained >= 0 ? 0 : 1;
}

/* A host program that has functions of its own named SetValue, IsTrue and
 * Find, with other signatures than the panel's functions of those names,
 * and uses the library beside them. It compiles only while KelvoPPD.h
 * declares none of those names, links only while the library defines none
 * of them in a way that clashes, and checks at run time that each call
 * reaches the intended function: the host's own, or the library's. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "KelvoPPD.h"
#include "check.h"

static int hostCalls = 0;

/* External linkage on purpose: these are the symbols that would collide. */
int SetValue(const char* name, int value);
int IsTrue(const char* word);
const char* Find(const char* text, char c);

int SetValue(const char* name, int value) {
    ++hostCalls;
    return name ? value * 2 : -1;
}

int IsTrue(const char* word) {
    ++hostCalls;
    return word && strcmp(word, "yes") == 0;
}

const char* Find(const char* text, char c) {
    ++hostCalls;
    return text ? strchr(text, c) : NULL;
}

/* The library exports its functions under their Kelvo names only. */
static void CheckExportedNames(void) {
    void* self = dlopen("libkelvo.so.0", RTLD_LAZY | RTLD_NOLOAD);
    CHECK(self != NULL);
    if (!self)
        return;
    CHECK(dlsym(self, "KelvoSetValue") != NULL);
    CHECK(dlsym(self, "KelvoIsTrue") != NULL);
    CHECK(dlsym(self, "KelvoFind") != NULL);
    CHECK(dlsym(self, "SetValue") == NULL);
    CHECK(dlsym(self, "IsTrue") == NULL);
    CHECK(dlsym(self, "Find") == NULL);
    CHECK(dlsym(self, "GetFirst") == NULL);
    dlclose(self);
}

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: %s SAMPLE.ppd\n", argv[0]);
        return 2;
    }
    KelvoDocument* doc = KelvoOpenPPD(argv[1], KELVO_PARSE_ORPHANS | KELVO_PARSE_HIDDEN, NULL);
    if (!doc) {
        fprintf(stderr, "cannot open %s\n", argv[1]);
        return 2;
    }

    /* The host's functions answer as the host wrote them... */
    CHECK(SetValue("copies", 21) == 42);
    CHECK(IsTrue("yes") == 1 && IsTrue("True") == 0);
    CHECK(same(Find("key=value", '='), "=value"));
    CHECK(hostCalls == 4);

    /* ...and the library's as it did, side by side. */
    int type = 0;
    KelvoControl* collate = KelvoFind(KelvoGetControls(doc), "*QJCollate", 1, &type);
    CHECK(collate != NULL && type == KELVO_CONTROL_BOOLEAN);
    CHECK(KelvoIsTrue(collate) == 1);
    KelvoSetValue(collate, 0);
    CHECK(KelvoIsTrue(collate) == 0);
    KelvoSetValue(collate, 1);
    CHECK(KelvoIsTrue(collate) == 1);
    CHECK(KelvoFind(KelvoGetControls(doc), "*NoSuchOption", 1, NULL) == NULL);
    CHECK(hostCalls == 4); /* no library call strayed into the host's code */

    CheckExportedNames();
    KelvoReleasePPD(doc);
    return CHECK_SUMMARY();
}

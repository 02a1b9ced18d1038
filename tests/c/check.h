/* The checks the C test programs share: each failed check prints where and
 * what, counts, and the program carries on; main() ends with
 * CHECK_SUMMARY(), which prints the count and gives the exit status. */
#ifndef KELVO_TEST_CHECK_H
#define KELVO_TEST_CHECK_H

#include <stdio.h>
#include <string.h>

static int failures = 0;

#define CHECK(cond)                                                                  \
    do {                                                                             \
        if (!(cond)) {                                                               \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
            ++failures;                                                              \
        }                                                                            \
    } while (0)

static inline int same(const char* a, const char* b) { return a && b && strcmp(a, b) == 0; }

#define CHECK_STR(got, want)                                                               \
    do {                                                                                   \
        const char* g_ = (got);                                                            \
        const char* w_ = (want);                                                           \
        if (!same(g_, w_)) {                                                               \
            fprintf(stderr, "%s:%d: %s is \"%s\", want \"%s\"\n", __FILE__, __LINE__, #got, \
                    g_ ? g_ : "(null)", w_ ? w_ : "(null)");                               \
            ++failures;                                                                    \
        }                                                                                  \
    } while (0)

#define CHECK_SUMMARY()                                            \
    (failures ? (fprintf(stderr, "%d check(s) failed\n", failures), 1) \
              : (printf("all checks passed\n"), 0))

#endif

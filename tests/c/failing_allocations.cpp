// Every allocation the C interface makes may fail, one at a time: operator
// new is replaced so that the Nth allocation after arming throws, and for
// N = 0, 1, 2... a PPD is opened and questioned through the C functions until
// a run meets no failure left to inject. Each failure must come back as NULL
// or a status with KelvoLastFailure() saying "no memory": never an exception,
// a crash, or (under the sanitizers) a leak or use of freed memory.
//
// usage: c_abi_failing_allocations CHAIN.ppd [MORE.ppd...]
// Every file is opened with each allocation failing in turn; the questions
// are asked of the first, chain.ppd of tests/data/constraints.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "KelvoPPD.h"

namespace {

// Allocations left before the one that fails; negative: none fails.
long gCountdown = -1;
// How the armed failure went: not yet, as a std::bad_alloc, or as the null
// a nothrow allocation gives. The model asks for a few buffers with
// new (std::nothrow) and goes on without them by design (a name reads "out
// of memory"), so only a thrown failure must reach the caller as one.
enum class Fired { kNo, kThrown, kNull };
Fired gFired = Fired::kNo;

void Arm(long n) {
    gCountdown = n;
    gFired = Fired::kNo;
}

// Returns how the armed failure went, and disarms.
Fired Disarm() {
    gCountdown = -1;
    return gFired;
}

bool Due() { return gCountdown >= 0 && gCountdown-- == 0; }

void* Allocate(std::size_t size) {
    if (Due()) {
        gFired = Fired::kThrown;
        throw std::bad_alloc();
    }
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}

void* AllocateOrNull(std::size_t size) noexcept {
    if (Due()) {
        gFired = Fired::kNull;
        return nullptr;
    }
    return std::malloc(size ? size : 1);
}

int failures = 0;

void Fail(const char* what, long n) {
    std::fprintf(stderr, "allocation %ld: %s\n", n, what);
    ++failures;
}

} // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return AllocateOrNull(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return AllocateOrNull(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace {

// One step of the questions: runs it and says whether it failed the way a
// memory failure must show (`failedLike`) or answered right (`right`).
struct Outcome {
    bool failedLike;
    bool right;
};

// The questions asked of an open chain.ppd, in order; each is judged alone.
// Returns 0 once past the last question.
int Ask(KelvoDocument* doc, int step, Outcome& out) {
    char value[32] = "";
    switch (step) {
    case 0: {
        const std::size_t n = KelvoCopyValueForKey(doc, "PageSize", value, sizeof value);
        out = {n == 0, n == 5 && std::strcmp(value, "Legal") == 0};
        return 1;
    }
    case 1: {
        const int c = KelvoIsChoiceConstrained(doc, "QJBooklet", "True");
        out = {c == KELVO_STATUS_NO_MEMORY, c == 1};
        return 1;
    }
    case 2: {
        int status = 0;
        KelvoChoiceReport* r = KelvoResolveChoice(doc, "QJBooklet", "True", nullptr, 0, &status);
        const char* key = nullptr;
        KelvoChoiceReportPair(r, KELVO_PAIRS_CHANGES, 1, &key, nullptr);
        out = {!r && status == KELVO_STATUS_NO_MEMORY,
               r && KelvoChoiceReportIsResolved(r) && key && std::strcmp(key, "*PageSize") == 0};
        KelvoFreeChoiceReport(r);
        return 1;
    }
    case 3: {
        const char* locks[] = {"QJStaple"};
        int status = 0;
        KelvoChoiceReport* r = KelvoResolveChoice(doc, "QJBooklet", "True", locks, 1, &status);
        out = {!r && status == KELVO_STATUS_NO_MEMORY,
               r && !KelvoChoiceReportIsResolved(r) && KelvoChoiceReportCount(r, KELVO_PAIRS_UNRESOLVED) == 1};
        KelvoFreeChoiceReport(r);
        return 1;
    }
    case 4: {
        const int s = KelvoSetValueForKey(doc, "QJStaple", "Saddle");
        out = {s == KELVO_STATUS_NO_MEMORY, s == KELVO_STATUS_OK};
        return 1;
    }
    case 5: {
        KelvoControl* staple = KelvoGetControlForKey(doc, "*QJStaple");
        const long n = KelvoGetPostScript(staple, nullptr);
        out = {n == 0, n > 0};
        return 1;
    }
    case 6: {
        const char* name = KelvoUserName(KelvoGetControlForKey(doc, "QJStaple"));
        out = {name == nullptr, name && std::strcmp(name, "Staple") == 0};
        return 1;
    }
    default: return 0;
    }
}

// Counts of the failures injected, by kind.
long gThrown = 0;
long gNull = 0;

void Count(Fired fired) {
    gThrown += fired == Fired::kThrown;
    gNull += fired == Fired::kNull;
}

// Opens the file with allocation n failing; true while there was an
// allocation n to fail.
bool SweepOpen(const char* path, long n) {
    Arm(n);
    KelvoClearLastFailure();
    KelvoDocument* doc = KelvoOpenPPD(path, KELVO_PARSE_NONE, nullptr);
    const Fired fired = Disarm();
    Count(fired);
    if (fired == Fired::kThrown && (doc || KelvoLastFailure() != KELVO_STATUS_NO_MEMORY))
        Fail("open: a failed allocation did not give NULL and KELVO_STATUS_NO_MEMORY", n);
    if (fired == Fired::kNo && (!doc || KelvoIsValidPPD(doc) != 1))
        Fail("open: no allocation failed, yet no valid document", n);
    KelvoReleasePPD(doc);
    return fired != Fired::kNo;
}

// Asks the questions with allocation n (counted from the first question)
// failing. A question that meets a thrown failure must report it; the ones
// after run unarmed and unjudged (a half-applied change may alter their
// answers) on a document that must still work and release cleanly. True
// while there was an allocation n to fail.
bool SweepQuestions(const char* path, long n) {
    KelvoDocument* doc = KelvoOpenPPD(path, KELVO_PARSE_NONE, nullptr);
    if (!doc) {
        Fail("open without failures gave NULL", n);
        return false;
    }
    Fired fired = Fired::kNo;
    Arm(n);
    Outcome out{};
    for (int step = 0;; ++step) {
        KelvoClearLastFailure();
        if (!Ask(doc, step, out))
            break;
        if (fired == Fired::kNo && gFired != Fired::kNo) {
            fired = Disarm();
            const bool reported = out.failedLike && KelvoLastFailure() == KELVO_STATUS_NO_MEMORY;
            if (fired == Fired::kThrown && !reported)
                Fail("a question met a failed allocation and did not report it", n);
        } else if (fired == Fired::kNo && !out.right) {
            Fail("a question answered wrong with no failure injected", n);
        }
    }
    Disarm();
    Count(fired);
    KelvoReleasePPD(doc);
    return fired != Fired::kNo;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CHAIN.ppd [MORE.ppd...]\n", argv[0]);
        return 2;
    }
    long opened = 0;
    for (int i = 1; i < argc; ++i)
        for (long n = 0; SweepOpen(argv[i], n); ++n)
            ++opened;
    long asked = 0;
    while (SweepQuestions(argv[1], asked))
        ++asked;
    std::printf("failed each of %ld allocations of the opens and %ld of the questions "
                "(%ld thrown, %ld as a null from new (std::nothrow))\n",
                opened, asked, gThrown, gNull);
    std::fflush(stdout); // before LeakSanitizer's report at exit
    if (gThrown == 0 || asked == 0)
        Fail("no allocation was seen: is operator new really replaced?", 0);
    if (failures) {
        std::fprintf(stderr, "%d failure(s)\n", failures);
        return 1;
    }
    return 0;
}

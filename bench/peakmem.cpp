// kelvo-peakmem: loads one PPD once, the given way, and exits; run it under
// /usr/bin/time -v to read the peak resident memory of each way.
//
//   kelvo-peakmem ours|libcups|scan FILE
//
// "scan" reads the file through a 1,000,000-byte block (the size of our
// reader's file block) and counts its lines. On an empty file the block is
// never written, so its pages are never touched: that run is the baseline of
// the process and its libraries.
#include <cups/ppd.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "LineScan.h"
#include "PPDX/QJVPPD.h"

namespace {

constexpr std::size_t kScanBlock = 1000000;

int Usage() {
    std::fprintf(stderr, "usage: kelvo-peakmem ours|libcups|scan FILE\n");
    return 1;
}

int Ours(const char* path) {
    QJVPPDRef doc(new QJVPPD(path, kParseAll));
    if (!doc->IsValidPPD() || doc->GetErrors()->Count() != 0) {
        std::fprintf(stderr, "kelvo-peakmem: %s: our reader reported %zu errors\n", path, doc->GetErrors()->Count());
        return 2;
    }
    std::printf("ours: %zu controls\n", doc->GetControls()->All().size());
    return 0;
}

int Libcups(const char* path) {
    ppd_file_t* ppd = ppdOpenFile(path);
    if (!ppd) {
        int line = 0;
        const ppd_status_t status = ppdLastError(&line);
        std::fprintf(stderr, "kelvo-peakmem: %s: %s on line %d\n", path, ppdErrorString(status), line);
        return 2;
    }
    int options = 0;
    for (ppd_option_t* option = ppdFirstOption(ppd); option; option = ppdNextOption(ppd))
        ++options;
    std::printf("libcups: %d options, %d constraints\n", options, ppd->num_consts);
    ppdClose(ppd);
    return 0;
}

int Scan(const char* path) {
    // Left uninitialised on purpose: only the pages read() fills count.
    std::unique_ptr<char[]> block(new char[kScanBlock]);
    const std::optional<std::size_t> lines = CountLines(path, block.get(), kScanBlock);
    if (!lines) {
        std::perror(path);
        return 2;
    }
    std::printf("scan: %zu lines\n", *lines);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return Usage();
    const std::string_view way = argv[1];
    if (way == "ours")
        return Ours(argv[2]);
    if (way == "libcups")
        return Libcups(argv[2]);
    if (way == "scan")
        return Scan(argv[2]);
    return Usage();
}

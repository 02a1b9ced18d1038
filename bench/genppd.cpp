// kelvo-genppd: writes a generated extended PPD of a given size, for measurements.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "GenerateExtendedPPD.h"

int main(int argc, char** argv) {
    CLI::App app{"kelvo-genppd: generate a large extended PPD (controls of every type, constraints, long PostScript)"};
    std::size_t sizeKB = 1024;
    std::string out;
    app.add_option("--size-kb", sizeKB,
                   "size of the file in KiB (1024 gives about 1,500 controls and 7,400 constraint lines)")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1} << 22));
    app.add_option("--out", out, "file to write")->required();
    CLI11_PARSE(app, argc, argv);

    const kelvobench::GeneratedPPD ppd = kelvobench::GenerateExtendedPPD(sizeKB * 1024);
    std::ofstream file(out, std::ios::binary | std::ios::trunc);
    file.write(ppd.text.data(), static_cast<std::streamsize>(ppd.text.size()));
    file.close();
    if (!file) {
        std::cerr << "kelvo-genppd: cannot write " << out << "\n";
        return 2;
    }
    const kelvobench::ExpectedControls& c = ppd.controls;
    std::cout << out << ": " << ppd.text.size() << " bytes, " << c.Total() << " controls (" << c.popups
              << " popups, " << c.booleans << " Booleans, " << c.ranges << " ranges, " << c.floatRanges
              << " float ranges, " << c.jobNotes << " job notes, " << c.customPageSizes << " custom size, "
              << c.specialOptions << " special options), " << ppd.constraintLines << " *UIConstraints lines\n";
    return 0;
}

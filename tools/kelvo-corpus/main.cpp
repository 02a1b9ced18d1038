// kelvo-corpus: reads a collection of PPD files with our reader and with
// libcups's, and reports where the two disagree and how fast each read them.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "CorpusCompare.h"

namespace fs = std::filesystem;
using namespace kelvo::corpus;

namespace {

/// Regular files under each path (or the path itself), sorted so that a
/// sample taken with --every is the same on every machine.
std::vector<fs::path> CollectFiles(const std::vector<std::string>& roots, std::ostream& err) {
    std::vector<fs::path> files;
    for (const std::string& root : roots) {
        std::error_code ec;
        if (fs::is_directory(root, ec)) {
            for (auto it = fs::recursive_directory_iterator(root, ec); !ec && it != fs::recursive_directory_iterator();
                 it.increment(ec))
                if (it->is_regular_file(ec))
                    files.push_back(it->path());
            if (ec)
                err << "kelvo-corpus: " << root << ": " << ec.message() << "\n";
        } else if (fs::is_regular_file(root, ec)) {
            files.emplace_back(root);
        } else {
            err << "kelvo-corpus: " << root << ": no such file or folder\n";
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool ReadAll(const fs::path& path, std::string& out) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"kelvo-corpus: read PPD files with our reader and with libcups's, compare what both report "
                 "(header values, number of constraint statements) and time each reader"};
    std::vector<std::string> roots;
    std::size_t every = 1;
    std::size_t show = 20;
    bool withCups = true;
    bool allCopies = false;
    app.add_option("paths", roots, "PPD files, or folders searched recursively")->required();
    app.add_option("--every", every, "read only every Nth file of the sorted list (a repeatable sample)")
        ->check(CLI::PositiveNumber);
    app.add_option("--show", show, "print at most this many differences of each kind");
    app.add_flag("!--no-cups", withCups, "read with our reader only (timing and sanitizer runs)");
    app.add_flag("--all-copies", allCopies, "read files with identical contents once each (default: once in all)");
    CLI11_PARSE(app, argc, argv);

    const std::vector<fs::path> files = CollectFiles(roots, std::cerr);
    if (files.empty()) {
        std::cerr << "kelvo-corpus: no files to read\n";
        return 1;
    }

    CorpusReport report(show);
    std::set<std::size_t> seen;
    std::string bytes;
    for (std::size_t i = 0; i < files.size(); i += every) {
        const fs::path& path = files[i];
        if (!ReadAll(path, bytes)) {
            std::cerr << "kelvo-corpus: cannot read " << path << "\n";
            report.CountUnreadable();
            continue;
        }
        if (!allCopies && !seen.insert(std::hash<std::string>{}(bytes)).second) {
            report.CountCopy();
            continue;
        }
        report.Compare(path, bytes, withCups);
    }
    report.Print(std::cout, withCups);
    return report.Unexplained() ? 3 : 0;
}

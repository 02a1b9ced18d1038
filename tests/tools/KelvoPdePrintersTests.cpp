// kelvo-pde printers over a printer address list under a temporary HOME: its
// arguments, output formats, exit statuses and error lines. What the list
// itself does with records is tested in tests/store.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "TestSupport.h"
#include "store/PlistTestSupport.h"

using kelvotest::ReadFile;
using kelvotest::RunShell;
using kelvotest::ShellQuote;

namespace {

/// A temporary HOME; the tool runs with only HOME saying where the list is.
class Home {
public:
    std::filesystem::path List() const { return mDir / ".config/kelvo/QJV.TessaryPrinterV2.plist"; }

    struct Result {
        int status;
        std::string text; // standard output, then standard error
    };
    Result Run(const std::vector<std::string>& args) const {
        std::string command = "env -u KELVO_PRINTER_LIST -u XDG_CONFIG_HOME HOME=" +
                              ShellQuote(mDir.Path().string()) + " " + ShellQuote(KELVO_PDE_BIN) + " printers";
        for (const std::string& arg : args)
            command += " " + ShellQuote(arg);
        Result r{};
        r.status = RunShell(command + " 2>&1", r.text);
        return r;
    }

private:
    kelvotest::TempDir mDir;
};

} // namespace

TEST(KelvoPdePrinters, AddSetBlobAndList) {
    Home home;
    const std::vector<std::vector<std::string>> steps = {
        {"add", "Office", "10.0.0.1", "--bidi"},
        {"add", "Lab", "Office"},
        {"set-blob", "Office", "1", "Draft", "Top Secret"},
        {"add", "OFFICE", "10.0.0.9"}, // without --bidi the flag is kept
    };
    for (const auto& step : steps) {
        const auto r = home.Run(step);
        ASSERT_EQ(r.status, 0) << step[0] << ": " << r.text;
        EXPECT_EQ(r.text, "");
    }
    ASSERT_TRUE(std::filesystem::exists(home.List()));

    const struct {
        std::vector<std::string> args;
        int status;
        std::string text;
    } rows[] = {
        {{"list"}, 0, "Office\t10.0.0.9\tbidi\t2\t1\nLab\tOffice\tno-bidi\t2\t-\n"},
        {{"find", "Office"}, 0, "10.0.0.9\n"},
        {{"blob", "Office", "1"}, 0, "Draft\nTop Secret\n"},
        {{"blob", "Office", "1", "--json"}, 0, "[\n  \"Draft\",\n  \"Top Secret\"\n]\n"},
        {{"blob", "Lab", "1"}, 1, "kelvo-pde: Lab: no blob 1 in " + home.List().string() + "\n"},
        {{"find", "10.0.0.9"}, 1,
         "kelvo-pde: 10.0.0.9: not in the printer address list " + home.List().string() + "\n"},
        {{"set-blob", "Nobody", "1", "x"}, 1,
         "kelvo-pde: Nobody: not in the printer address list " + home.List().string() + "\n"},
        {{"set-blob", "Lab", "1", std::string(1024, 'x')}, 1, "kelvo-pde: text 1 is longer than 1023 bytes\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.args[0]);
        const auto r = home.Run(row.args);
        EXPECT_EQ(r.status, row.status);
        EXPECT_EQ(r.text, row.text);
    }
    const auto listed = home.Run({"list", "--json"});
    EXPECT_EQ(nlohmann::json::parse(listed.text, nullptr, false), nlohmann::json::parse(R"([
      {"name":"Office","address":"10.0.0.9","bidirectional":true,"version":"2","blobs":[1]},
      {"name":"Lab","address":"Office","bidirectional":false,"version":"2","blobs":[]}])"));
}

TEST(KelvoPdePrinters, UnreadableListIsNamedAndKept) {
    Home home;
    EXPECT_EQ(home.Run({"list"}).text, "") << "no file yet: an empty list";
    std::filesystem::create_directories(home.List().parent_path());
    {
        std::FILE* f = std::fopen(home.List().c_str(), "w");
        ASSERT_NE(f, nullptr);
        std::fputs("not a list", f);
        std::fclose(f);
    }
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"list"}, {"add", "P", "10.0.0.1"}, {"find", "P"}}) {
        SCOPED_TRACE(args[0]);
        const auto r = home.Run(args);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.text, "kelvo-pde: " + home.List().string() + ": not a property list (XML or binary)\n");
    }
    EXPECT_EQ(ReadFile(home.List()), "not a list") << "a file we cannot read is never overwritten";
}

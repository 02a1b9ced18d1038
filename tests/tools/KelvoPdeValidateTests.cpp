// kelvo-pde validate: is a PPD one the panel serves, by its *PCFileName.
#include <gtest/gtest.h>

#include "TestSupport.h"

using kelvotest::RunToolFull;
using kelvotest::TempFile;

TEST(KelvoPdeValidate, AnswersByExitStatus) {
    TempFile ppd("*PPD-Adobe: \"4.3\"\n*PCFileName: \"KPL9200.PPD\"\n");
    const std::string path = ppd.PathString();
    struct Row {
        std::vector<std::string> args;
        int status;
        std::string out;
    } rows[] = {
        {{"validate", path, "--names", "OTHER,KPL9200"}, 0, path + ": valid\n"},
        {{"validate", path, "--names", "kpl9200"}, 1, path + ": not valid\n"},
        {{"validate", path}, 0, path + ": valid (no names given: every PPD is served)\n"},
        {{"validate", "/nonexistent/x.ppd", "--names", "X"}, 2, ""},
        {{"validate", ppd.Path().parent_path().string(), "--names", "X"}, 2, ""},
        {{"validate"}, 1, ""},
    };
    for (const Row& r : rows) {
        const kelvotest::FullRun run = RunToolFull(r.args);
        EXPECT_EQ(run.status, r.status) << r.args.back();
        EXPECT_EQ(run.out, r.out) << r.args.back();
    }
    const kelvotest::FullRun piped = RunToolFull({"validate", "-", "--names", "KPL"}, path);
    EXPECT_EQ(piped.status, 0);
    EXPECT_EQ(piped.out, "(standard input): valid\n");
    const kelvotest::FullRun missing = RunToolFull({"validate", "/nonexistent/x.ppd", "--names", "X"});
    EXPECT_EQ(missing.err, "kelvo-pde: /nonexistent/x.ppd: No such file or directory (PPDErr_FileError)\n");
}

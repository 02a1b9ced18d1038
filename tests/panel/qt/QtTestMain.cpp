// The Qt tests' entry: a QApplication on the offscreen platform (no display
// needed, the same pixels everywhere), then GoogleTest.
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Also when CTest lists the tests at build time, where no environment
    // is set: the tests never want a real display.
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    if (!std::getenv("XDG_RUNTIME_DIR")) {
        // Qt warns on every start without one; a private folder of ours.
        std::string dir = (std::filesystem::temp_directory_path() / "kelvo-qt-tests-XXXXXX").string();
        if (::mkdtemp(dir.data()))
            ::setenv("XDG_RUNTIME_DIR", dir.c_str(), 1);
    }
    // The panel keeps its PPD copy, helper arguments and job tickets under
    // fixed names in the temporary folder. Tests run side by side: each
    // process gets a folder of its own, so one test's panel never replaces
    // or removes the copy another test's helper is reading. (Tests that
    // need the print filter to read a ticket put it back to /tmp.)
    std::string scratch = (std::filesystem::temp_directory_path() / "kelvo-qt-tmp-XXXXXX").string();
    const bool ownFolder = ::mkdtemp(scratch.data()) != nullptr;
    if (ownFolder)
        ::setenv("KELVO_TMPDIR", scratch.c_str(), 1);
    int status = 0;
    {
        QApplication app(argc, argv);
        ::testing::InitGoogleTest(&argc, argv);
        status = RUN_ALL_TESTS();
    }
    if (ownFolder) {
        std::error_code ec;
        std::filesystem::remove_all(scratch, ec);
    }
    return status;
}

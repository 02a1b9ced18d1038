// The Qt tests' entry: a QApplication on the offscreen platform (no display
// needed, the same pixels everywhere), then GoogleTest.
#include <cstdlib>
#include <filesystem>
#include <string>

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
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

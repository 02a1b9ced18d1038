// The key file: its lines, the errors that name file, line and reason, where
// it is looked for, and the files that are refused before reading.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "TestSupport.h"
#include "output/KeyFile.h"

using namespace kelvo::output;

namespace {

/// A fresh random key as 64 hex digits: no key is ever fixed in a test.
std::string RandomHex(Key256& key) {
    std::random_device random;
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (auto& byte : key) {
        byte = static_cast<std::uint8_t>(random());
        hex += digits[byte >> 4];
        hex += digits[byte & 15];
    }
    return hex;
}

} // namespace

TEST(KeyFile, ReadsKeysCommentsAndBlankLines) {
    Key256 master, note3, note7;
    const std::string text = "# site keys\n\n  master\t" + RandomHex(master) + "  # shared with the controller\r\n" +
                             "note3 " + RandomHex(note3) + "\n" + "\t\n" + "note7  " + RandomHex(note7);
    // Upper-case digits read alike.
    std::string upper = text;
    for (std::size_t at = upper.find("note7  ") + 7; at < upper.size(); ++at)
        upper[at] = static_cast<char>(std::toupper(static_cast<unsigned char>(upper[at])));
    for (const std::string& t : {text, upper}) {
        KeySet keys;
        KeyFileError error;
        ASSERT_TRUE(ParseKeyFile(t, "keys", keys, error)) << error.Text();
        EXPECT_EQ(keys.master, master);
        ASSERT_NE(keys.Note(3), nullptr);
        EXPECT_EQ(*keys.Note(3), note3);
        ASSERT_NE(keys.Note(7), nullptr);
        EXPECT_EQ(*keys.Note(7), note7);
        for (int absent : {1, 2, 4, 5, 6, 8})
            EXPECT_EQ(keys.Note(absent), nullptr) << absent;
    }
}

TEST(KeyFile, ErrorsNameFileLineAndReason) {
    Key256 key;
    const std::string hex = RandomHex(key);
    struct Row {
        std::string text;
        std::string error;
    };
    const Row rows[] = {
        {"note1 " + hex, "f:1: unknown key name \"note1\" (master, note2 .. note7)"},
        {"\n\nnote8 " + hex, "f:3: unknown key name \"note8\" (master, note2 .. note7)"},
        {"Master " + hex, "f:1: unknown key name \"Master\" (master, note2 .. note7)"},
        {"master=" + hex, "f:1: unknown key name \"master=" + hex + "\" (master, note2 .. note7)"},
        {"master " + hex + "\n# again\nmaster " + hex, "f:3: key master given twice"},
        {"note2", "f:1: key note2 has no value"},
        {"note2   # none", "f:1: key note2 has no value"},
        {"note2 " + hex.substr(1), "f:1: key note2 has 63 hex digits, not 64"},
        {"note2 " + hex + "0", "f:1: key note2 has 65 hex digits, not 64"},
        {"note2 " + hex.substr(0, 10) + "g" + hex.substr(11), "f:1: key note2: not a hex digit at column 17"},
        {"note2 " + hex + " " + hex, "f:1: more than one value after note2"},
    };
    for (const Row& r : rows) {
        KeySet keys;
        keys.master = key;
        KeyFileError error;
        EXPECT_FALSE(ParseKeyFile(r.text, "f", keys, error)) << r.text;
        EXPECT_EQ(error.Text(), r.error);
        EXPECT_EQ(keys.master, key) << "keys changed by a failed parse";
    }
}

TEST(KeyFile, LooksForTheGivenFileThenTheVariableThenEtc) {
    const char* saved = std::getenv("KELVO_KEYS");
    const std::string restore = saved ? saved : "";
    ::unsetenv("KELVO_KEYS");
    EXPECT_EQ(KeyFilePath(), "/etc/kelvo/keys");
    ::setenv("KELVO_KEYS", "", 1);
    EXPECT_EQ(KeyFilePath(), "/etc/kelvo/keys");
    ::setenv("KELVO_KEYS", "/srv/keys", 1);
    EXPECT_EQ(KeyFilePath(), "/srv/keys");
    EXPECT_EQ(KeyFilePath("mine"), "mine");
    if (saved)
        ::setenv("KELVO_KEYS", restore.c_str(), 1);
    else
        ::unsetenv("KELVO_KEYS");
}

TEST(KeyFile, RefusesFilesOthersCouldChange) {
    Key256 key;
    kelvotest::TempFile file("master " + RandomHex(key) + "\n", "keys");
    const std::string path = file.PathString();
    struct Row {
        mode_t mode;
        std::string error; // empty: loads
    };
    const Row rows[] = {
        {0600, ""},
        {0644, ""}, // readable by all: every user who prints needs the keys
        {0400, ""},
        {0620, path + ": writable by group or others (chmod go-w)"},
        {0602, path + ": writable by group or others (chmod go-w)"},
    };
    for (const Row& r : rows) {
        ASSERT_EQ(::chmod(path.c_str(), r.mode), 0);
        KeySet keys;
        KeyFileError error;
        const bool loaded = LoadKeyFile(path, keys, error);
        if (r.error.empty()) {
            EXPECT_TRUE(loaded) << std::oct << r.mode << " " << error.Text();
            EXPECT_EQ(keys.master, key);
        } else {
            EXPECT_FALSE(loaded) << std::oct << r.mode;
            EXPECT_EQ(error.Text(), r.error);
        }
    }
    ::chmod(path.c_str(), 0600);

    // A link leads to the file, and the checks apply to that.
    const auto link = file.Path().parent_path() / "link";
    std::filesystem::create_symlink(file.Path(), link);
    KeySet keys;
    KeyFileError error;
    EXPECT_TRUE(LoadKeyFile(link, keys, error)) << error.Text();

    const auto fifo = file.Path().parent_path() / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const auto& notAFile : {file.Path().parent_path(), fifo}) {
        EXPECT_FALSE(LoadKeyFile(notAFile, keys, error)); // a FIFO without a writer must not block
        EXPECT_EQ(error.reason, "not a regular file");
    }
    EXPECT_FALSE(LoadKeyFile(file.Path().parent_path() / "none", keys, error));
    EXPECT_EQ(error.reason, "No such file or directory");

    kelvotest::TempFile big(std::string(kMaxKeyFileBytes + 1, '#'), "keys");
    ::chmod(big.PathString().c_str(), 0600);
    EXPECT_FALSE(LoadKeyFile(big.Path(), keys, error));
    EXPECT_EQ(error.reason, "larger than 65536 bytes");

    if (::geteuid() != 0)
        GTEST_SKIP() << "giving the file to another user needs root";
    ASSERT_EQ(::chown(path.c_str(), 4242, 4242), 0);
    EXPECT_FALSE(LoadKeyFile(path, keys, error));
    EXPECT_EQ(error.reason, "owned by user 4242, neither root nor you");
}

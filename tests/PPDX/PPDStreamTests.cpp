// Line reading: line ends, the 255-byte cut, 0xFF, and chunk joins.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "PPDX/PPDStream.h"
#include "TestSupport.h"

namespace {

std::vector<std::pair<std::string, bool>> Lines(PPDStream& stream) {
    std::vector<std::pair<std::string, bool>> lines;
    char buf[kJoinedLineSize];
    for (int guard = 0; guard < 100000; ++guard) {
        bool ok = stream.GetLine(buf);
        if (!ok && stream.EndOfFile() && buf[0] == '\0')
            break;
        lines.emplace_back(buf, ok);
        if (!ok && stream.Bad())
            break;
    }
    return lines;
}

} // namespace

TEST(PPDStream, LineEndsAllReadAlike) {
    const std::vector<std::pair<std::string, bool>> expected = {{"*A: 1", true}, {"", true}, {"*B", true}};
    for (const char* text : {"*A: 1\n\n*B\n", "*A: 1\r\r*B\r", "*A: 1\r\n\r\n*B\r\n"}) {
        PPDStream stream(text, static_cast<long>(std::strlen(text)));
        EXPECT_EQ(Lines(stream), expected) << text;
    }
}

TEST(PPDStream, LongLineIsCutAt255AndResumes) {
    std::string text(300, 'x');
    text += "\nnext\n";
    PPDStream stream(text.data(), static_cast<long>(text.size()));
    auto lines = Lines(stream);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], std::make_pair(std::string(255, 'x'), false));
    EXPECT_EQ(lines[1], std::make_pair(std::string(45, 'x'), true));
    EXPECT_EQ(lines[2].first, "next");

    // Exactly 255 bytes and no line end: cut (false) but not yet at the end,
    // so a chunked reader does not mistake the cut for the chunk's end.
    std::string full(255, 'y');
    PPDStream exact(full.data(), static_cast<long>(full.size()));
    char buf[kLineSizeLimit];
    EXPECT_FALSE(exact.GetLine(buf));
    EXPECT_EQ(std::strlen(buf), 255u);
    EXPECT_FALSE(exact.EndOfFile());
    EXPECT_FALSE(exact.GetLine(buf));
    EXPECT_TRUE(exact.EndOfFile());
}

TEST(PPDStream, FFByteEndsLineWithoutEndOfFile) {
    const char text[] = "ab\xFF" "cd\n";
    PPDStream stream(text, 6);
    char buf[kLineSizeLimit];
    EXPECT_FALSE(stream.GetLine(buf));
    EXPECT_STREQ(buf, "ab");
    EXPECT_FALSE(stream.EndOfFile());
    EXPECT_TRUE(stream.GetLine(buf));
    EXPECT_STREQ(buf, "cd");
    EXPECT_EQ(PPDStream(text, 0).Status(), PPDStream::kBad);
    EXPECT_EQ(PPDStream(nullptr, 5).Status(), PPDStream::kBad);

    PPDStream empty; // no range at all, as for a blank line
    char none[kLineSizeLimit] = "junk";
    EXPECT_FALSE(empty.GetLine(none));
    EXPECT_STREQ(none, "");
    EXPECT_TRUE(empty.EndOfFile());
}

TEST(PPDFileStream, LineStraddlingChunkBoundaryArrivesWhole) {
    // Put one line across the 1,000,000-byte chunk edge.
    std::string text;
    const std::string filler(99, 'f');
    while (text.size() + 200 < kChunkSize)
        text += filler + "\n";
    // The next line starts 20 bytes before the edge and is 49 bytes long.
    text += std::string(kChunkSize - 20 - text.size() - 1, 'p') + "\n";
    text += "*Straddle: \"one line over the edge of the chunk\"\n*After: 1\n";
    kelvotest::TempFile file(text);
    PPDFile ppd(file.Path());
    PPDFileStream stream(&ppd, true);
    char buf[kJoinedLineSize];
    std::vector<std::string> tail;
    while (stream.GetLine(buf))
        tail.emplace_back(buf);
    ASSERT_GE(tail.size(), 2u);
    EXPECT_EQ(tail[tail.size() - 2], "*Straddle: \"one line over the edge of the chunk\"");
    EXPECT_EQ(tail.back(), "*After: 1");
}

TEST(PPDFileStream, MissingFileOrDirectoryIsBad) {
    PPDFile missing("/nonexistent/kelvo.ppd");
    EXPECT_TRUE(PPDFileStream(&missing, true).Bad());
    PPDFile dir("/tmp");
    EXPECT_TRUE(PPDFileStream(&dir, true).Bad());
    EXPECT_TRUE(PPDFileStream(nullptr, true).Bad());
}

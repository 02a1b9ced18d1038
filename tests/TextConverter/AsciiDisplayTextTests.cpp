// Display text that is plain ASCII skips iconv; that is only right while every
// encoding a PPD may declare reads those bytes as ASCII, which this checks
// against iconv itself.
#include <gtest/gtest.h>

#include <string>

#include "TextConverter/TextConverter.h"

namespace {

TEST(TextConverterDisplay, AsciiTextReadsAsIconvReadsItInEveryEncoding) {
    std::string ascii = "\t";
    for (char c = ' '; c < 0x7F; ++c)
        if (c != '<' && c != '>')
            ascii += c;
    const std::string hexRun = "<4B656C766F5C7E>"; // "Kelvo\~", decoded before conversion
    for (const char* name : {"ISOLatin1", "ISOLatin2", "ISOLatin5", "WindowsANSI", "MacStandard", "JIS83-RKSJ",
                             "UTF-8"}) {
        SCOPED_TRACE(name);
        TextConverter converter(name, "English");
        const unsigned encoding = TextConverter::LanguageStringToEncoding(name);
        bool ok = false;
        const std::string expected = TextConverter::ConvertBytes(ascii + "Kelvo\\~", encoding, kTextEncodingUTF8, &ok);
        ASSERT_TRUE(ok);
        EXPECT_EQ(converter.ConvertToCFString((ascii + hexRun).c_str(), 256), expected);
        EXPECT_EQ(converter.Status(), kTextStatusOK);
    }
}

} // namespace

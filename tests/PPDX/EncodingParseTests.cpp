// Translation strings of PPDs in every supported encoding reach the model as UTF-8.
#include <gtest/gtest.h>

#include "PPDX/QJVPPD.h"
#include "TestSupport.h"

TEST(EncodingParse, OptionTitlesDecodeFromEveryEncoding) {
    for (const char* name : {"ISOLatin1", "ISOLatin2", "ISOLatin5", "JIS83-RKSJ", "MacStandard", "WindowsANSI",
                             "UTF-8", "Unknown"}) {
        const std::string base = std::string("encodings/") + name;
        QJVPPDRef doc(new QJVPPD(kelvotest::DataPath(base + ".ppd"), kParseAll));
        ASSERT_TRUE(doc->IsValidPPD()) << name;
        PPDXControl* duplex = doc->GetControls()->FindAny("*QJDuplex");
        ASSERT_NE(duplex, nullptr) << name;
        EXPECT_EQ(duplex->CFStringUserName(), kelvotest::ReadFile(kelvotest::DataPath(base + ".expected.txt")))
            << name;
    }
}

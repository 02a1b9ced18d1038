// The in-memory host's state file: every value kind survives, bad files change nothing.
#include <gtest/gtest.h>

#include "TestSupport.h"
#include "platform/memory/InMemoryHost.h"

using kelvo::platform::InMemoryHost;
using kelvo::platform::PropertyValue;
namespace store = kelvo::store;

TEST(InMemoryHost, StateFileKeepsEveryValueKind) {
    InMemoryHost host;
    host.Settings().Set("*PageSize", PropertyValue("A4"));
    host.Settings().Set("count", PropertyValue(std::int64_t{-9}));
    host.Settings().Set("ratio", PropertyValue(0.25));
    host.Settings().Set("flag", PropertyValue(true));
    host.Settings().Set("blob", PropertyValue(store::PropertyData{0, 1, 0xFF}));
    host.Settings().Set("nested", PropertyValue(store::PropertyArray{PropertyValue("a"), PropertyValue(store::PropertyDictionary{{"k", PropertyValue(2)}})}));
    host.Page() = {2, "Letter", {0, 0, 792, 612}};
    host.MutablePrinter().name = "queue";
    host.MutablePrinter().presets["Draft"] = {{"*QJDuplex", PropertyValue("None")}};
    host.SetApplicationID("org.example.Writer");
    host.SetLoginName("ann");

    kelvotest::TempFile file("", "state.json");
    std::string error;
    ASSERT_TRUE(host.Save(file.Path(), error)) << error;
    InMemoryHost read;
    ASSERT_TRUE(read.Load(file.Path(), error)) << error;
    EXPECT_EQ(read.Settings().CopyAsDictionary(), host.Settings().CopyAsDictionary());
    EXPECT_EQ(read.Page(), host.Page());
    EXPECT_EQ(read.Printer(), host.Printer());
    EXPECT_EQ(read.ApplicationID(), "org.example.Writer");
    EXPECT_EQ(read.LoginName(), "ann");
}

TEST(InMemoryHost, ABadStateChangesNothingAndSaysWhere) {
    const std::pair<const char*, const char*> rows[] = {
        {"[1]", "not a JSON object"},
        {R"({"printSettings": {"k": null}})", "printSettings.k: null is no value"},
        {R"({"printSettings": {"k": {"data": "!!"}}})", "printSettings.k: data is not Base64"},
        {R"({"pageFormat": {"orientation": 5}})", "pageFormat.orientation: not 1, 2, 3 or 4"},
        {R"({"pageFormat": {"paper": [1, 2]}})", "pageFormat.paper: not four numbers"},
        {R"({"printer": {"name": 3}})", "printer.name: not a string"},
        {R"({"printSettings": {"big": 18446744073709551615}})", "printSettings.big: integer beyond 64 bits"},
    };
    for (const auto& [text, why] : rows) {
        SCOPED_TRACE(text);
        InMemoryHost host;
        host.Settings().Set("kept", PropertyValue("yes"));
        std::string error;
        EXPECT_FALSE(host.FromJSON(text, error));
        EXPECT_EQ(error, why);
        EXPECT_EQ(host.Settings().Get("kept"), PropertyValue("yes"));
        EXPECT_EQ(host.Page().orientation, 1);
    }
}

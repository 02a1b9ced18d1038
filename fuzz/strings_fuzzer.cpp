// Fuzz target: strings-table files.
//
// Input: the whole input is one strings file. Whatever it holds, the table
// read from it must be written back (every entry quoted, with escapes) and
// read again to the same table, without a log line: so every key and text
// kept is text the format can carry, and the escapes read what they write.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/StringsTable.h"
#include "util/Log.h"

using kelvo::platform::StringsTable;

namespace {

void Check(bool condition) {
    if (!condition)
        std::abort();
}

void AppendQuoted(std::string& out, std::string_view text) {
    out += '"';
    for (char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default: out += c;
        }
    }
    out += '"';
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    kelvo::SetLogSink({});
    const StringsTable table = StringsTable::Parse(text, "fuzz");

    std::string written;
    for (const auto& [key, value] : table.Entries()) {
        Check(key.find('\0') == std::string::npos && value.find('\0') == std::string::npos);
        AppendQuoted(written, key);
        written += " = ";
        AppendQuoted(written, value);
        written += ";\n";
    }
    bool logged = false;
    kelvo::SetLogSink([&logged](std::string_view) { logged = true; });
    const StringsTable again = StringsTable::Parse(written, "again");
    kelvo::SetLogSink({});
    Check(!logged);
    Check(again.Entries() == table.Entries());
    return 0;
}

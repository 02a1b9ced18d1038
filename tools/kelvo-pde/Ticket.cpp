// kelvo-pde ticket show: the pieces of an injection file, in order.
#include <nettle/base64.h>

#include <iostream>
#include <iterator>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "CommandRegistry.h"
#include "Commands.h"
#include "output/InjectionFile.h"

namespace kelvo::tool {

namespace {

using namespace kelvo::output;

struct TicketRequest {
    std::string path;
    bool json = false;
};

std::string Base64(const std::vector<std::uint8_t>& bytes) {
    std::string out(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
    base64_encode_raw(reinterpret_cast<char*>(out.data()), bytes.size(), bytes.data());
    return out;
}

/// The pieces of the file, or of standard input for "-" (bounded as a file
/// is); nothing after a line on `err` naming the input and the reason.
std::optional<std::vector<InjectionPiece>> Load(const std::string& path, std::ostream& err) {
    InjectionReadResult result;
    if (path == kStdinPath) {
        std::string bytes;
        char buffer[65536];
        while (bytes.size() <= kMaxInjectionFileBytes && std::cin.read(buffer, sizeof buffer).gcount() > 0)
            bytes.append(buffer, static_cast<std::size_t>(std::cin.gcount()));
        result = ParseInjectionList(bytes); // refuses more than the limit
    } else {
        result = ReadInjectionFile(path);
    }
    if (!result.ok()) {
        err << "kelvo-pde: " << ShownPath(path) << ": " << ForTerminal(result.status.Text()) << "\n";
        return std::nullopt;
    }
    return std::move(result.pieces);
}

/// One block per piece: a heading with the site, then the text line by line,
/// indented and made terminal-safe.
void PrintText(const std::vector<InjectionPiece>& pieces, std::ostream& out) {
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const InjectionPiece& piece = pieces[i];
        const char* name = InjectionSiteName(piece.site);
        out << "piece " << i + 1 << ": site " << piece.site << " (" << (name ? name : "unknown site") << "), "
            << piece.bytes.size() << (piece.bytes.size() == 1 ? " byte\n" : " bytes\n");
        const std::string_view text(reinterpret_cast<const char*>(piece.bytes.data()), piece.bytes.size());
        std::size_t start = 0;
        while (start < text.size()) {
            const std::size_t end = text.find('\n', start);
            out << "    " << ForTerminal(text.substr(start, end == std::string_view::npos ? end : end - start))
                << "\n";
            if (end == std::string_view::npos) {
                out << "  (no line end)\n";
                break;
            }
            start = end + 1;
        }
    }
}

nlohmann::json PiecesJSON(const std::vector<InjectionPiece>& pieces) {
    nlohmann::json all = nlohmann::json::array();
    for (const InjectionPiece& piece : pieces) {
        const char* name = InjectionSiteName(piece.site);
        all.push_back({{"site", piece.site},
                       {"name", name ? nlohmann::json(name) : nlohmann::json(nullptr)},
                       {"text", std::string(piece.bytes.begin(), piece.bytes.end())},
                       {"base64", Base64(piece.bytes)}});
    }
    return all;
}

int Show(const TicketRequest& request) {
    const auto pieces = Load(request.path, std::cerr);
    if (!pieces)
        return kExitBadPPD;
    if (request.json)
        // Bytes that are not UTF-8 become U+FFFD in "text"; "base64" keeps them.
        std::cout << PiecesJSON(*pieces).dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
    else
        PrintText(*pieces, std::cout);
    return kExitOK;
}

} // namespace

void AddTicketCommands(CLI::App& app, std::vector<Command>& out) {
    auto request = std::make_shared<TicketRequest>();
    CLI::App* ticket = app.add_subcommand("ticket", "read the injection file a job ticket writes");
    ticket->require_subcommand(1);
    ticket->fallthrough();
    CLI::App* show = ticket->add_subcommand("show", "list the file's pieces in order: site, name and text");
    show->add_option("FILE", request->path, "injection file to read, or - for standard input")->required();
    show->add_flag("--json", request->json, "one JSON array of {site, name, text, base64}");
    out.push_back({show, [request] { return Show(*request); }});
}

} // namespace kelvo::tool

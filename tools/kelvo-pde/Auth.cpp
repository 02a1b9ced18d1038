// kelvo-pde auth and note-crypt: packed credentials and encrypted notes from the command line.
#include <iostream>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "CommandRegistry.h"
#include "Commands.h"
#include "output/KeyFile.h"
#include "output/NoteCrypt.h"
#include "output/UserAuth.h"

namespace kelvo::tool {

namespace {

using namespace kelvo::output;

/// The options of every auth and note-crypt command.
struct CryptoRequest {
    std::string name;
    std::string password;
    std::string text;
    std::string keyFile;
    int noteKey = 0;
    bool json = false;
};

/// Loads the key file (--key-file, $KELVO_KEYS or the default); on failure
/// names the file and the reason on `err`.
bool Keys(const CryptoRequest& request, KeySet& keys, std::ostream& err) {
    KeyFileError error;
    if (LoadKeys(request.keyFile, keys, error))
        return true;
    err << "kelvo-pde: " << ForTerminal(error.Text()) << "\n";
    return false;
}

std::string KeyFileShown(const CryptoRequest& request) {
    return ForTerminal(KeyFilePath(request.keyFile).string());
}

const Key256* MasterKey(const CryptoRequest& request, const KeySet& keys, std::ostream& err) {
    if (keys.master)
        return &*keys.master;
    err << "kelvo-pde: " << KeyFileShown(request) << ": no master key\n";
    return nullptr;
}

const Key256* NoteKey(const CryptoRequest& request, const KeySet& keys, std::ostream& err) {
    if (const Key256* key = keys.Note(request.noteKey))
        return key;
    err << "kelvo-pde: " << KeyFileShown(request) << ": no key note" << request.noteKey << "\n";
    return nullptr;
}

int Pack(const CryptoRequest& request) {
    KeySet keys;
    const Key256* master = Keys(request, keys, std::cerr) ? MasterKey(request, keys, std::cerr) : nullptr;
    if (!master)
        return kExitBadPPD;
    std::string text;
    if (AUTH_packAndEncrypt(request.name, request.password, "", kUALDomainTypeDefault, 0, *master, text) != 0) {
        std::cerr << "kelvo-pde: cannot pack the credentials (no random bytes for the message key)\n";
        return kExitBadPPD;
    }
    std::cout << text << "\n";
    return kExitOK;
}

int Unpack(const CryptoRequest& request) {
    KeySet keys;
    const Key256* master = Keys(request, keys, std::cerr) ? MasterKey(request, keys, std::cerr) : nullptr;
    if (!master)
        return kExitBadPPD;
    UnpackedCredentials credentials;
    UnpackFailure why;
    if (UAL_UnpackAndDecrypt(request.text, *master, credentials, why) != 0) {
        std::cerr << "kelvo-pde: the text does not unpack under the master key of " << KeyFileShown(request) << ": "
                  << UnpackFailureText(why) << "\n";
        return kExitBadPPD;
    }
    if (request.json) {
        const nlohmann::json object = {{"name", credentials.name},
                                       {"password", credentials.password},
                                       {"domain", credentials.domain},
                                       {"domainType", credentials.domainType},
                                       {"guid", GuidText(credentials.guid)}};
        std::cout << object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
        return kExitOK;
    }
    std::cout << "name: " << ForTerminal(credentials.name) << "\n"
              << "password: " << ForTerminal(credentials.password) << "\n"
              << "domain: " << ForTerminal(credentials.domain) << "\n"
              << "domain type: " << credentials.domainType << "\n"
              << "GUID: " << GuidText(credentials.guid) << "\n";
    return kExitOK;
}

int NoteCrypt(const CryptoRequest& request, bool encrypt) {
    KeySet keys;
    const Key256* key = Keys(request, keys, std::cerr) ? NoteKey(request, keys, std::cerr) : nullptr;
    if (!key)
        return kExitBadPPD;
    const std::optional<std::string> result =
        encrypt ? EncryptNote(request.text, *key) : DecryptNote(request.text, *key);
    if (!result) {
        if (encrypt)
            std::cerr << "kelvo-pde: cannot encrypt the text (longer than " << kMaxNoteBytes
                      << " bytes, or no random bytes)\n";
        else
            std::cerr << "kelvo-pde: the text does not decrypt under key note" << request.noteKey << " of "
                      << KeyFileShown(request) << " (another key, or damaged)\n";
        return kExitBadPPD;
    }
    // The note's own bytes, as a script would want them.
    std::cout << *result << "\n";
    return kExitOK;
}

constexpr const char* kFooter = R"(Keys come from the key file: lines "NAME HEX", NAME master or note2..note7,
HEX 64 hex digits; it must not be writable by group or others and must be
owned by root or by you (see docs/keys.md).

Exit status:
  0  done
  1  usage error
  2  the key file cannot be read, is refused, or lacks the key; the text does
     not unpack or decrypt under it)";

void AddKeyFileOption(CLI::App* app, CryptoRequest& request) {
    app->footer(kFooter);
    app->add_option("--key-file", request.keyFile,
                    "key file to read (default $KELVO_KEYS, else /etc/kelvo/keys)");
}

} // namespace

void AddAuthCommands(CLI::App& app, std::vector<Command>& out) {
    auto request = std::make_shared<CryptoRequest>();

    CLI::App* auth = app.add_subcommand("auth", "pack user credentials for the controller, or unpack them");
    auth->footer(kFooter);
    auth->require_subcommand(1);
    auth->fallthrough();
    CLI::App* pack = auth->add_subcommand("pack", "print the packed credentials (Base64) under the master key");
    pack->add_option("NAME", request->name, "user name (cut to 255 bytes)")->required();
    pack->add_option("PASSWORD", request->password, "password (cut to 255 bytes; visible to other users in ps)")
        ->required();
    AddKeyFileOption(pack, *request);
    out.push_back({pack, [request] { return Pack(*request); }});

    CLI::App* unpack =
        auth->add_subcommand("unpack", "print the name, password, domain, domain type and GUID a text holds");
    unpack->add_option("TEXT", request->text, "packed credentials (Base64)")->required();
    AddKeyFileOption(unpack, *request);
    unpack->add_flag("--json", request->json, "one JSON object {name, password, domain, domainType, guid}");
    out.push_back({unpack, [request] { return Unpack(*request); }});

    CLI::App* notes = app.add_subcommand("note-crypt", "encrypt a job note's text as the panel does, or decrypt it");
    notes->footer(kFooter);
    notes->require_subcommand(1);
    notes->fallthrough();
    for (const bool encrypt : {true, false}) {
        CLI::App* sub = notes->add_subcommand(encrypt ? "encrypt" : "decrypt",
                                              encrypt ? "print the encrypted text" : "print the note's text");
        sub->add_option("TEXT", request->text, encrypt ? "the note's text" : "an encrypted note (KN1:...)")
            ->required();
        sub->add_option("--key", request->noteKey, "N: use key noteN of the key file (2..7)")
            ->required()
            ->check(CLI::Range(kFirstNoteKey, kLastNoteKey));
        AddKeyFileOption(sub, *request);
        out.push_back({sub, [request, encrypt] { return NoteCrypt(*request, encrypt); }});
    }
}

} // namespace kelvo::tool

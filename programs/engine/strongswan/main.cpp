// strongswan: strongSwan as an engine.

#include "Program.h"
#include "StrongswanEngine.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>

namespace {

namespace ipseccfg = norvale::tamber::systemdata::ipseccfg;
namespace strongswan = ipseccfg::strongswan;

void declare(CLI::App& app, strongswan::Places& places)
{
    app.add_option("--charon", places.charon, "The daemon")->capture_default_str();
    app.add_option("--swanctl", places.swanctl, "Its control program")->capture_default_str();
    app.add_option("--work-folder", places.folder,
                   "For what only the engine needs; \".strongswan\" beside the setting file if left out");
}

std::unique_ptr<ipseccfg::engine::Engine> create(const ipseccfg::engine::Files& files,
                                                 strongswan::Places places)
{
    namespace fs = std::filesystem;
    places.folder = places.folder.empty() ? (fs::path(files.settings).parent_path() / ".strongswan").string()
                                          : fs::absolute(places.folder).string();
    return std::make_unique<strongswan::StrongswanEngine>(files, places);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        strongswan::Places places;
        return ipseccfg::engine::runProgram(
            {"strongswan",
             "strongSwan as an IPsec engine.\n"
             "HUP, USR1 and USR2 have it read its settings again, TERM, INT and QUIT end it.",
             "swanctl.conf", [&places](CLI::App& app) { declare(app, places); },
             [&places](const ipseccfg::engine::Files& files) { return create(files, places); }},
            argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "strongswan: " << error.what() << '\n';
        return 1;
    }
}

// systemdataIPsecCfgServer: reads one request from standard input, carries it out, answers on standard
// output.

#include "Channel.h"
#include "Configuration.h"
#include "Exchange.h"
#include "Log.h"
#include "SettingManagers.h"
#include "Surroundings.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

namespace {

namespace configserver = norvale::tamber::systemdata::ipseccfg::configserver;

constexpr int USAGE_ERROR = 2;

int checkConfiguration(const std::string& file)
{
    try {
        configserver::readConfiguration(file, configserver::knownEngines());
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return USAGE_ERROR;
    }
    std::cout << file << ": correct\n";
    return EXIT_SUCCESS;
}

int serve(const std::string& configurationFile)
{
    configserver::leaveCallersSurroundings();
    configserver::openLog();
    configserver::Channel channel = configserver::Channel::ofStandardStreams();
    return configserver::exchange(channel, configurationFile) ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        const std::string file = configserver::configurationFile();
        bool check = false;
        CLI::App app(
            "Configures the IPsec engine: reads one request from standard input and answers it on standard "
            "output.\nThe configuration file is /etc/ipseccfg/server.toml, or what the environment variable "
            "IPSECCFG_SERVER_CONFIG names.",
            "systemdataIPsecCfgServer");
        app.set_version_flag("--version", std::string("systemdataIPsecCfgServer ") + IPSECCFG_VERSION);
        app.add_flag("--check-config", check, "Check the configuration file and do nothing else");
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            return app.exit(error) == 0 ? EXIT_SUCCESS : USAGE_ERROR;
        }
        return check ? checkConfiguration(file) : serve(file);
    } catch (const std::exception& error) {
        std::cerr << "systemdataIPsecCfgServer: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}

// standalone: an engine that runs anywhere.

#include "Background.h"
#include "Engine.h"
#include "PidFile.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace {

namespace standalone = norvale::tamber::systemdata::ipseccfg::standalone;

constexpr int USAGE_ERROR = 2;

struct Options {
    standalone::Files files = {"", "/tmp/quicksec.ready", ""};
    std::string pidFile;
    bool foreground = false;
};

void declare(CLI::App& app, Options& options)
{
    app.set_version_flag("--version", std::string("standalone ") + IPSECCFG_VERSION);
    app.add_option("--setting-file", options.files.settings, "The settings (JSON)")->required();
    app.add_option("--pid-file", options.pidFile, "Where the process id is written")->required();
    app.add_option("--ready-file", options.files.ready, "Made as soon as the settings are in use")
        ->capture_default_str();
    app.add_option("--reason-file", options.files.reason, "Where refused settings are explained");
    app.add_flag("--foreground", options.foreground, "Stay in the foreground");
}

void makeAbsolute(std::string& path)
{
    if (!path.empty())
        path = std::filesystem::absolute(path).string();
}

void run(const Options& options, standalone::Engine& engine)
{
    engine.load();
    standalone::PidFile pidFile(options.pidFile);
    std::unique_ptr<standalone::Background> background;
    if (!options.foreground)
        background = std::make_unique<standalone::Background>();
    pidFile.write(getpid());
    // Whoever waits for the parent finds both files.
    engine.announce();
    if (background)
        background->ready();
    engine.run();
    pidFile.remove();
}

void runOrExplain(const Options& options)
{
    standalone::Engine engine(options.files);
    try {
        run(options, engine);
    } catch (const std::exception& failure) {
        engine.explain("not started", failure.what());
        throw;
    }
}

} // namespace

int main(int argc, char** argv)
{
    try {
        Options options;
        CLI::App app("An IPsec engine that needs no kernel feature and no rights; it protects no traffic.\n"
                     "HUP, USR1 and USR2 have it read its settings again, TERM, INT and QUIT end it.",
                     "standalone");
        declare(app, options);
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            return app.exit(error) == 0 ? EXIT_SUCCESS : USAGE_ERROR;
        }
        for (std::string* const path :
             {&options.files.settings, &options.files.ready, &options.files.reason, &options.pidFile})
            makeAbsolute(*path);
        standalone::closeInheritedDescriptors();
        standalone::blockSignals();
        umask(S_IWGRP | S_IWOTH);
        openlog("ipseccfg-standalone", LOG_PID, LOG_DAEMON);
        runOrExplain(options);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "standalone: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}

// The way of an engine from its command line to its end.

#include "Program.h"

#include "Background.h"
#include "PidFile.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::engine {

namespace {

constexpr int USAGE_ERROR = 2;

struct Options {
    Files files = {"", "/tmp/quicksec.ready", ""};
    std::string pidFile;
    bool foreground = false;
};

void declare(CLI::App& app, const Program& program, Options& options)
{
    app.set_version_flag("--version", program.name + " " + IPSECCFG_VERSION);
    app.add_option("--setting-file", options.files.settings, "The settings (" + program.settings + ")")
        ->required();
    app.add_option("--pid-file", options.pidFile, "Where the process id is written")->required();
    app.add_option("--ready-file", options.files.ready, "Made as soon as the settings are in use")
        ->capture_default_str();
    app.add_option("--reason-file", options.files.reason, "Where refused settings are explained");
    app.add_flag("--foreground", options.foreground, "Stay in the foreground");
    if (program.declare)
        program.declare(app);
}

void makeAbsolute(std::string& path)
{
    if (!path.empty())
        path = std::filesystem::absolute(path).string();
}

// Withdraws the pid file of an engine that has come to its end, whichever way.
class Registration {
public:
    explicit Registration(PidFile& file)
        : file_(file)
    {}
    ~Registration() { file_.remove(); }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

private:
    PidFile& file_;
};

void start(PidFile& pidFile, Background* background, Engine& engine)
{
    engine.load();
    pidFile.write(getpid());
    // Whoever waits for the process that was started finds both files.
    engine.announce();
    if (background != nullptr)
        background->ready();
}

void run(const Options& options, Background* background, Engine& engine)
{
    const char* failed = "not started";
    try {
        PidFile pidFile(options.pidFile);
        const Registration registration(pidFile);
        start(pidFile, background, engine);
        failed = "cannot go on";
        engine.run();
    } catch (const std::exception& failure) {
        engine.explain(failed, failure.what());
        throw;
    }
}

int runOrExplain(const Program& program, const Options& options)
{
    // Outlives everything that may fail: the process that was started waits for the words about it.
    std::unique_ptr<Background> background;
    try {
        if (!options.foreground)
            background = std::make_unique<Background>();
        run(options, background.get(), *program.create(options.files));
    } catch (const std::exception& failure) {
        std::cerr << program.name << ": " << failure.what() << std::endl;
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

} // namespace

int runProgram(const Program& program, int argc, char** argv)
{
    Options options;
    CLI::App app(program.description, program.name);
    declare(app, program, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : USAGE_ERROR;
    }
    for (std::string* const path :
         {&options.files.settings, &options.files.ready, &options.files.reason, &options.pidFile})
        makeAbsolute(*path);
    closeInheritedDescriptors();
    blockSignals();
    umask(S_IWGRP | S_IWOTH);
    static const std::string nameInLog = "ipseccfg-" + program.name; // the log looks at it with each line
    openlog(nameInLog.c_str(), LOG_PID, LOG_DAEMON);
    return runOrExplain(program, options);
}

} // namespace norvale::tamber::systemdata::ipseccfg::engine

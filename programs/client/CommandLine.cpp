// The command line of ipseccfgctl.

#include "CommandLine.h"

#include "Text.h"
#include "Values.h"
#include "Wording.h"

#include <CLI/CLI.hpp>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

struct CommandFacts {
    Command command;
    const char* name;
    const char* description;
};
constexpr CommandFacts COMMANDS[] = {
    {Command::Start, "start", "Start the engine with a policy"},
    {Command::Restart, "restart", "Make the running engine take over a policy"},
    {Command::Shutdown, "shutdown", "Shut the engine down"},
    {Command::Check, "check", "Report everything that is wrong with a policy"},
    {Command::Show, "show", "Print a policy, its keys masked"},
    {Command::Diff, "diff", "Tell what a change of a policy means"},
    {Command::Init, "init", "Write a policy to begin with"},
    {Command::Status, "status", "Tell what the running engine does for each rule"},
};

// What `init` writes if no file is named.
constexpr const char* NEW_POLICY = "policy.toml";

constexpr const char* DESCRIPTION = "Configures the IPsec engine of this device from a policy file (TOML).";
constexpr const char* FOOTER =
    "Examples: ipseccfgctl init policy.toml && ipseccfgctl start policy.toml\n"
    "Exit codes: 0 success, 1 failure answered (diff: they differ), 2 usage or policy\n"
    "error, 3 no answer. More: 'ipseccfgctl COMMAND --help', 'man ipseccfgctl'.";

std::string checkedSettingFile(const std::string& path)
{
    if (!isAbsolutePath(path))
        return "must be an absolute path, not " + quoted(path);
    return programs::printable(path) == path ? std::string()
                                             : quoted(path) + " holds characters that cannot be sent";
}

void addOptions(CLI::App& app, Options& options)
{
    app.add_flag("--json", options.json, "Print one JSON object");
    app.add_flag("-v,--verbose", options.verbose, "Print the server's whole answer too");
    app.add_option("--server", options.server, "The server's executable or socket")->type_name("PATH");
    app.set_help_flag("-h,--help", "Print this help");
    app.set_version_flag("--version", "ipseccfgctl " IPSECCFG_VERSION, "Print the version");
}

void addShutdownOptions(CLI::App& command, Options& options)
{
    command.add_option("--setting-file", options.settingFile, "The engine's setting file, which is deleted")
        ->type_name("PATH")
        ->check(CLI::Validator(checkedSettingFile, ""));
    command.add_flag("--fips", options.fips, "The engine runs in FIPS mode");
}

void addShowOptions(CLI::App& command, Options& options)
{
    command.add_flag("--xml", options.xml, "Print the request that 'start' sends instead");
    command.add_flag("--secrets", options.secrets, "Print keys as they are");
}

// What a command is about: the files that it names, and what it has to say of them.
void addArguments(CLI::App& command, Command which, Options& options)
{
    const auto add = [&command](const char* name, std::string& file, const char* description) {
        return command.add_option(name, file, description)->required()->type_name("");
    };
    switch (which) {
    case Command::Shutdown:
        return addShutdownOptions(command, options);
    case Command::Status:
        return;
    case Command::Init:
        add("FILE", options.policyFile, "A new file; '-' prints the policy instead")
            ->required(false)
            ->default_str(NEW_POLICY);
        return;
    case Command::Diff:
        add("OLD", options.policyFile, "A policy file");
        add("NEW", options.newPolicyFile, "What it is to become");
        return;
    case Command::Show:
        addShowOptions(command, options);
        [[fallthrough]];
    default:
        add("POLICY", options.policyFile, "The policy file");
    }
}

// What stands below the options of a command.
std::string footerOf(Command command)
{
    return std::string(command == Command::Diff
                           ? "Signs: + added, - removed, ~ changed, > moved. Keys are never shown.\n"
                             "Exit codes: 0 they mean the same, 1 they differ, 2 one has problems.\n"
                           : "") +
           "Options of every command: --json, --verbose, --server PATH.";
}

void addCommand(CLI::App& app, const CommandFacts& facts, Options& options)
{
    CLI::App* const command = app.add_subcommand(facts.name, facts.description);
    command->fallthrough();
    command->group("Commands");
    command->footer(footerOf(facts.command));
    command->callback([&options, &facts] { options.command = facts.command; });
    addArguments(*command, facts.command, options);
}

// What can be said of a command line that could not be read.
CommandLine unread(int argc, const char* const* argv)
{
    CommandLine line;
    for (const char* const* argument = argv + 1; argument < argv + argc; ++argument) {
        line.json = line.json || std::string(*argument) == "--json";
        for (const CommandFacts& facts : COMMANDS)
            if (line.command.empty() && std::string(*argument) == facts.name)
                line.command = facts.name;
    }
    return line;
}

// What other tools call what a command does.
struct OtherName {
    const char* name;
    const char* command;
};
constexpr OtherName OTHER_NAMES[] = {{"up", "start"},      {"load", "start"},    {"reload", "restart"},
                                     {"stop", "shutdown"}, {"down", "shutdown"}, {"verify", "check"},
                                     {"list", "show"},     {"compare", "diff"},  {"new", "init"}};

std::string commandMeantBy(const std::string& argument, const std::vector<std::string>& commands)
{
    for (const OtherName& other : OTHER_NAMES)
        if (argument == other.name)
            return " (did you mean " + quoted(other.command) + "?)";
    return suggestion(argument, commands);
}

// For a command line without a command, with the one that an argument is most likely meant to be.
std::string commandNeeded(int argc, const char* const* argv)
{
    std::vector<std::string> names;
    for (const CommandFacts& facts : COMMANDS)
        names.emplace_back(facts.name);
    std::string hint;
    for (const char* const* argument = argv + 1; argument < argv + argc && hint.empty(); ++argument)
        hint = commandMeantBy(*argument, names);
    return "a command is needed, one of " + listed(names) + hint;
}

} // namespace

const char* nameOf(Command command)
{
    return COMMANDS[static_cast<int>(command)].name;
}

CommandLine readCommandLine(int argc, const char* const* argv)
{
    CommandLine line = unread(argc, argv);
    Options options;
    CLI::App app(DESCRIPTION, "ipseccfgctl");
    addOptions(app, options);
    for (const CommandFacts& facts : COMMANDS)
        addCommand(app, facts, options);
    app.require_subcommand(1);
    app.footer(FOOTER);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    try {
        app.parse(argc, argv);
        if (options.command == Command::Init && options.policyFile.empty())
            options.policyFile = NEW_POLICY;
        line.options = options;
    } catch (const CLI::CallForHelp&) {
        line.text = app.help();
    } catch (const CLI::CallForVersion& version) {
        line.text = std::string(version.what()) + "\n";
    } catch (const CLI::ParseError& error) {
        const bool noCommand = error.get_name() == "RequiredError" && line.command.empty();
        line.isError = true;
        line.text = noCommand ? commandNeeded(argc, argv) : programs::printable(error.what());
    }
    return line;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client

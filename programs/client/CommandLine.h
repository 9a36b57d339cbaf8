#ifndef IPSECCFG_CLIENT_COMMANDLINE_H
#define IPSECCFG_CLIENT_COMMANDLINE_H

/// @file
/// The command line of ipseccfgctl.

#include <optional>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::client {

enum class Command { Start, Restart, Shutdown, Check, Show, Diff, Init, Status };

/// The command as it is typed: "start".
const char* nameOf(Command command);

/// What was asked for.
struct Options {
    Command command = Command::Check;
    std::string policyFile; ///< for all commands but Shutdown and Status; for Init the one to write, or "-"
    std::string newPolicyFile; ///< for Diff: what policyFile is to become
    std::string settingFile;   ///< for Shutdown; empty if not given
    bool fips = false;         ///< for Shutdown
    bool xml = false;          ///< for Show
    bool secrets = false;      ///< for Show
    bool json = false;
    bool verbose = false;
    std::optional<std::string> server; ///< the path of the server's executable or socket
};

/// A command line that was read.
struct CommandLine {
    std::optional<Options> options; ///< nothing if there is nothing to do but to show `text`
    std::string text;               ///< help or version, or what is wrong with the command line
    bool isError = false;
    bool json = false;   ///< whether --json was among the arguments, wherever it stood
    std::string command; ///< the first argument that is a command's name; empty if there is none
};

/// Reads the arguments of main.
CommandLine readCommandLine(int argc, const char* const* argv);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif

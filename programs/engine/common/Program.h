#ifndef IPSECCFG_ENGINE_PROGRAM_H
#define IPSECCFG_ENGINE_PROGRAM_H

/// @file
/// The program around an engine: its command line, its way to the background and its pid file.

#include "Engine.h"

#include <functional>
#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace norvale::tamber::systemdata::ipseccfg::engine {

/// What one engine's program is.
struct Program {
    std::string name;
    std::string description;
    std::string settings; ///< what the help calls the setting file's format
    /// Declares the options that only this engine has.
    std::function<void(CLI::App&)> declare;
    /// Makes the engine. All paths are absolute.
    std::function<std::unique_ptr<Engine>(const Files&)> create;
};

/// Runs the engine: in the background, unless told otherwise, with its pid file locked as long as it lives.
/// The process that was started ends when the engine is ready or has failed.
/// @return the process's exit status: 0, 1 for a failure, 2 for a wrong command line
int runProgram(const Program& program, int argc, char** argv);

} // namespace norvale::tamber::systemdata::ipseccfg::engine

#endif

#ifndef IPSECCFG_STRONGSWAN_SUBPROCESS_H
#define IPSECCFG_STRONGSWAN_SUBPROCESS_H

/// @file
/// Programs as child processes.

#include <chrono>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::strongswan {

/// What is started.
struct Program {
    std::vector<std::string> words;       ///< the executable's path first
    std::vector<std::string> environment; ///< "NAME=VALUE"
    std::string workFolder = "/";
};

/// Starts a program that ends with this process at the latest, however this one ends.
/// @param namespaceDescriptor an open network namespace for it, or -1
/// @param errorFile where its standard error goes; the other standard streams lead nowhere
/// @throws std::runtime_error "PATH: WHY"
pid_t startProgram(const Program& program, int namespaceDescriptor, const std::string& errorFile);

/// How a program ended.
struct Ending {
    bool inTime = true;
    int status = -1;    ///< the exit status, or -1 if a signal ended it
    std::string errors; ///< what it wrote to standard error, the beginning of it
};

/// Runs a program to its end, killing it when the time is over.
/// @throws std::runtime_error "PATH: WHY" if it cannot be started
Ending runProgram(const Program& program, std::chrono::milliseconds time);

/// Runs a function in a process of its own within a network namespace.
void runInNamespace(int namespaceDescriptor, const std::function<void()>& function);

/// Waits for the end of a child process.
/// @return whether it has ended in time
bool waitForEnd(pid_t child, std::chrono::milliseconds time);

} // namespace norvale::tamber::systemdata::ipseccfg::strongswan

#endif

#ifndef IPSECCFG_MODULE_H
#define IPSECCFG_MODULE_H

/// @file
/// Loading and unloading of one kernel module.

#include <memory>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::server {

/// One kernel module file.
///
/// Its commands run through a shell (system(3)), path and option as they are: both must come from whom you
/// trust. Not synchronised; every operation blocks until its command has ended.
class Module {
public:
    /// "/sbin/insmod"
    static const char* const INSTALL_COMMAND;
    /// "/sbin/rmmod -s"
    static const char* const REMOVE_COMMAND;

    /// @param ko the module's file, copied; it is not looked at here
    explicit Module(const std::string& ko);
    virtual ~Module();

    /// Loads the module: runs INSTALL_COMMAND, the file and the option, with a blank between them.
    /// @return the command's exit code, 0 to 255; -1 if it did not run
    /// @throws std::runtime_error "Abnormal termination: signal number: %dN" or
    ///         "Child stopped: signal number: %dN" (the "%d" stands in the text) if signal N ended or stopped
    ///         the command.
    int install(const std::string& option);

    /// Unloads the module: runs REMOVE_COMMAND, the file's name up to its first "." and the option. Returns
    /// and throws as install.
    /// @throws std::runtime_error "Illegal extension name: %sEXT" (the "%s" stands in the text) if what
    ///         follows that "." is neither "o" nor "ko"; nothing is run then.
    int remove(const std::string& option);

private:
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    virtual int doInstall_(const std::string& option);
    virtual int doRemove_(const std::string& option);

    std::string ko_;
};

/// A new module of this file, shared.
std::shared_ptr<Module> createModule(const std::string& ko);

} // namespace norvale::tamber::systemdata::ipseccfg::server

#endif

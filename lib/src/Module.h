#ifndef IPSECCFG_MODULE_H
#define IPSECCFG_MODULE_H

/// @file
/// Loading and unloading of one kernel module.

#include <memory>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::server {

/// One kernel module file.
///
/// Its commands run through a shell, path and option as they are. Not synchronised.
class Module {
public:
    static const char* const INSTALL_COMMAND;
    static const char* const REMOVE_COMMAND;

    /// @param ko the module's file
    explicit Module(const std::string& ko);
    virtual ~Module();

    /// Loads the module: INSTALL_COMMAND, the file, the option.
    /// @return the command's exit code; -1 if it did not run
    /// @throws std::runtime_error "Abnormal termination: signal number: %dN" or "Child stopped: signal
    /// number: %dN" (the "%d"
    ///         stands in the text) if a signal ended or stopped the command.
    int install(const std::string& option);

    /// Unloads the module: REMOVE_COMMAND, the file's name up to its first ".", the option. Returns and
    /// throws as install.
    /// @throws std::runtime_error "Illegal extension name: %sEXT" if what follows that "." is neither "o" nor
    /// "ko"; nothing is
    ///         run then.
    int remove(const std::string& option);

private:
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    virtual int doInstall_(const std::string& option);
    virtual int doRemove_(const std::string& option);

    std::string ko_;
};

std::shared_ptr<Module> createModule(const std::string& ko);

} // namespace norvale::tamber::systemdata::ipseccfg::server

#endif

#ifndef IPSECCFG_SERVER_KERNELMODULES_H
#define IPSECCFG_SERVER_KERNELMODULES_H

/// @file
/// Taking back of kernel modules, when a start fails or a server was killed.

#include "Configuration.h"
#include "SettingFolder.h"

#include <list>
#include <set>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Knows which of the configured modules are there because of the engine.
///
/// The kernel refuses to load a module twice, so what a killed server has left loaded would be in the way of every
/// start. Hence a note, while modules are loaded or unloaded: a link in the setting folder that holds the system's
/// boot id and the modules' names. Whoever finds one knows that they are the engine's, unless the system has been
/// booted since.
class KernelModules {
public:
    /// Before the modules are loaded: all are the engine's but those that the kernel has now and no note names.
    /// @param modules in the order of loading
    /// @param folder must outlive this
    /// @throws std::runtime_error in the system's words if the kernel's list of its modules cannot be read: what was
    ///         loaded before must not be mistaken for the engine's.
    KernelModules(const std::list<Configuration::Module>& modules, const SettingFolder& folder);

    /// Before the modules of a running engine are unloaded: all are the engine's.
    static KernelModules ofRunningEngine(const std::list<Configuration::Module>& modules,
                                         const SettingFolder& folder);

    /// Whether a server has left a note.
    static bool areNoted(const SettingFolder& folder);

    /// Leaves the note. Where that is not possible, for want of room or of a boot id, there is none.
    void note() const noexcept;
    void dropNote() const noexcept;
    /// Drops it unless the kernel still has one of the modules.
    void dropNoteOfRemoved() const;

    /// Removes those that are the engine's, the last one first, as far as possible, and the note with them.
    void removeAdded() const;

private:
    KernelModules(const std::list<Configuration::Module>& modules, const SettingFolder& folder,
                  const std::set<std::string>& others);

    std::list<Configuration::Module> present_() const;

    std::list<Configuration::Module> modules_; ///< the engine's
    const SettingFolder& folder_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif

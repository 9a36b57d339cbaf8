#ifndef IPSECCFG_STANDALONE_ENGINE_H
#define IPSECCFG_STANDALONE_ENGINE_H

/// @file
/// The engine: it keeps its settings up to date and says when it has them.

#include "Settings.h"

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::standalone {

/// The files by which the engine is told things and tells them.
struct Files {
    std::string settings;
    std::string ready;
    std::string reason; ///< empty: none
};

/// An engine that needs no kernel feature and no rights: it protects no traffic, but behaves in all else as
/// one that does.
///
/// What it does it tells the system's log, in numbers; never a key.
class Engine {
public:
    explicit Engine(const Files& files);

    /// Takes over the settings that the file holds now; a reason given earlier is withdrawn. Refused settings
    /// change nothing.
    /// @throws std::runtime_error of readSettings
    void load();

    /// Gives the reason of a failure: to the log, after what failed, and as one line to the reason file.
    void explain(const std::string& failure, const std::string& reason) const;

    /// Makes the ready file (mode 0600). One that is there already is left alone: nobody has taken notice of
    /// it yet.
    void announce();

    /// Obeys signals until one says stop: HUP, USR1 and USR2 load the settings and announce again, or explain
    /// why they are refused; TERM, INT and QUIT stop.
    /// @pre blockSignals was called.
    void run();

private:
    void reload_();

    Files files_;
    Settings settings_;
};

/// Sets the signals that run obeys aside until it asks for them. Called first of all, so that none is lost.
void blockSignals();

} // namespace norvale::tamber::systemdata::ipseccfg::standalone

#endif

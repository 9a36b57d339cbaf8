#ifndef IPSECCFG_ENGINE_ENGINE_H
#define IPSECCFG_ENGINE_ENGINE_H

/// @file
/// What every engine does: it keeps its settings up to date and says when it has them.

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::engine {

/// The files by which an engine is told things and tells them.
struct Files {
    std::string settings;
    std::string ready;
    std::string reason; ///< empty: none
};

/// The frame of an engine; what it does with its settings is up to the derived class.
///
/// What it does it tells the system's log; never a key.
class Engine {
public:
    explicit Engine(const Files& files);
    virtual ~Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// Takes over the settings that the file holds now; a reason given earlier is withdrawn. Refused settings
    /// change nothing.
    /// @throws std::runtime_error with the reason
    void load();

    /// Gives the reason of a failure: to the log, after what failed, and as one line to the reason file.
    /// @return whether it stands in that file
    bool explain(const std::string& failure, const std::string& reason) const;

    /// Makes the ready file (mode 0600). One that is there already is left alone: nobody has taken notice of
    /// it yet.
    void announce();

    /// Obeys signals until one says stop: HUP, USR1 and USR2 load the settings and announce again; TERM, INT and QUIT
    /// stop. Settings that are refused are explained. Then too the engine is ready, with the settings it had, and
    /// announces it, but only if the reason file holds the reason: who gave such a file looks there first.
    /// @pre blockSignals was called.
    /// @throws std::runtime_error if the engine cannot go on
    void run();

protected:
    const Files& files() const { return files_; }

private:
    /// Takes over the settings, or throws and leaves things as they are.
    /// @return what they are, for the log
    virtual std::string load_() = 0;
    /// Ends what was begun, without an exception.
    virtual void stop_() {}
    /// Called whenever a child process has ended.
    /// @throws std::runtime_error if the engine cannot go on without it
    virtual void childEnded_() {}

    void reload_();

    Files files_;
};

/// Sets the signals that run obeys aside until it asks for them. Called first of all, so that none is lost.
void blockSignals();

/// In a new process, before its program: signals are as usual again.
void unblockSignals();

} // namespace norvale::tamber::systemdata::ipseccfg::engine

#endif

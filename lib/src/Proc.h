#ifndef IPSECCFG_PROC_H
#define IPSECCFG_PROC_H

/// @file
/// Process lookup.

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::server {

/// Finds running programs. Holds nothing; find needs no object and may be called by several threads.
class Proc {
public:
    Proc();
    /// The same as Proc(): the number is not used.
    explicit Proc(int pid);
    virtual ~Proc();

    /// The process id of a running program, as the command "pidof NAME" prints it.
    ///
    /// The output is read in chunks of 15 characters and only the last one counts: of several processes the
    /// first one is returned if the line fits into one chunk, else the leading number of the last chunk.
    /// @param name goes to a shell (popen(3)) as it is, so it must come from whom you trust.
    /// @return the process id; -1 if there is none or the command cannot be run.
    static int find(const std::string& name);

private:
    Proc(const Proc&) = delete;
    Proc& operator=(const Proc&) = delete;

    void init_(int pid);
    void read_();
};

} // namespace norvale::tamber::systemdata::ipseccfg::server

#endif

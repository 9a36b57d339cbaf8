#ifndef IPSECCFG_ENGINE_BACKGROUND_H
#define IPSECCFG_ENGINE_BACKGROUND_H

/// @file
/// Going to the background.

namespace norvale::tamber::systemdata::ipseccfg::engine {

/// Closes every descriptor but the standard ones: whoever starts the engine may have left it some, and waits
/// for their end.
void closeInheritedDescriptors();

/// A process that goes on in the background, in a session of its own, while the one that was started waits
/// until it is told how that went.
class Background {
public:
    /// Divides the process. In the child it returns; the parent never does: it ends with status 0 as soon as
    /// the child calls ready, with status 1 if the child ends before.
    /// @throws std::runtime_error "cannot go to the background: WHY", in the parent
    Background();
    ~Background();
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

    /// Lets the parent end. From here on standard input, output and error are /dev/null, and the folder is
    /// "/".
    void ready();

private:
    int toParent_ = -1;
};

} // namespace norvale::tamber::systemdata::ipseccfg::engine

#endif

#ifndef SYSTEMDATA_REQUESTER_REQUESTHEAD_H
#define SYSTEMDATA_REQUESTER_REQUESTHEAD_H

/// @file
/// The beginning of a request, which tells its command.

#include <cstddef>
#include <string>
#include <string_view>

namespace norvale::tamber::systemdata::requester {

/// Keeps the first bytes of an XML-RPC request until the command can be read from them:
///
///     ... <methodName> COMMAND </methodName>
///
/// in which COMMAND may hold the predefined entities and character references, and nothing else of markup.
/// Not synchronised.
class RequestHead {
public:
    /// A request whose command does not end within so many bytes is refused.
    static constexpr std::size_t LIMIT = 65536;

    enum class State {
        incomplete, ///< more is needed
        complete,   ///< command() is known
        refused     ///< no request, or one whose command cannot be read
    };

    /// Takes bytes until the state is no longer incomplete.
    /// @return how many of them were taken, from the front.
    std::size_t add(std::string_view bytes);

    State state() const { return state_; }

    /// Every byte taken so far.
    const std::string& text() const { return text_; }

    /// The command without its escapes; empty while the state is not complete.
    const std::string& command() const { return command_; }

private:
    State read_();

    std::string text_;
    std::string command_;
    State state_ = State::incomplete;
};

} // namespace norvale::tamber::systemdata::requester

#endif

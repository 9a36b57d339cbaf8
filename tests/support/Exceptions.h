#ifndef TESTS_EXCEPTIONS_H
#define TESTS_EXCEPTIONS_H

// What an action throws, as text that a test can compare.

#include <exception>
#include <string>
#include <typeinfo>

namespace tests {

/// The text of the exception that the action throws. Its type must be exactly `Expected`; anything else, and
/// nothing thrown, gives a text in angle brackets that no exception has.
template <class Expected, class Action>
std::string textThrownBy(Action action)
{
    try {
        action();
    } catch (const std::exception& error) {
        if (typeid(error) == typeid(Expected))
            return error.what();
        return std::string("<") + typeid(error).name() + ": " + error.what() + ">";
    } catch (...) {
        return "<not a standard exception>";
    }
    return "<nothing thrown>";
}

} // namespace tests

#endif

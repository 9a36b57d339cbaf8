#ifndef IPSECCFG_SERVER_SWANCTLTEXT_H
#define IPSECCFG_SERVER_SWANCTLTEXT_H

/// @file
/// Writing of a swanctl.conf(5).

#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// The content of one section: entries and sections within, as text.
///
/// Names are ours and plain words; a value may be any text without control characters and is read back as it
/// is, whatever else stands in it.
class SwanctlText {
public:
    /// Writes `NAME = "VALUE"`.
    /// @throws std::runtime_error "the engine's settings: control characters are not allowed"
    void add(const std::string& name, const std::string& value);
    /// Writes a list, which the engine divides at commas: no element may have one.
    void add(const std::string& name, const std::vector<std::string>& values);
    void add(const std::string& name, const SwanctlText& section);

    const std::string& text() const { return text_; }
    bool empty() const { return text_.empty(); }

    /// A name for the section that says the same for the same content and another for another one: that is
    /// how an engine tells after a change what has stayed.
    std::string fingerprint() const;

private:
    std::string text_;
};

/// The bytes in hexadecimal digits.
std::string hexOf(const std::string& bytes);

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif

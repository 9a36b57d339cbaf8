// Reading of the setting file's beginning.

#include "Settings.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace norvale::tamber::systemdata::ipseccfg::strongswan {

namespace {

const std::string FIRST_LINE = "# ipseccfg-strongswan 1";
const std::string NAMESPACE = "# namespace: ";
const std::string PRIVATE_KEY = "# private-key: ";
const std::string SECRETS = "\nsecrets {";

// Whether the line has the beginning, which is then cut off.
bool takeOff(std::string& line, const std::string& beginning)
{
    if (line.compare(0, beginning.size(), beginning) != 0)
        return false;
    line.erase(0, beginning.size());
    return true;
}

} // namespace

std::string Settings::secrets() const
{
    std::string text;
    for (const std::string& key : privateKeys)
        text += key + "\n";
    const std::size_t at = content.find(SECRETS);
    return at == std::string::npos ? text : text + content.substr(at);
}

Settings settingsOf(const std::string& content, const std::string& file)
{
    std::istringstream lines(content);
    std::string line;
    if (!std::getline(lines, line) || line != FIRST_LINE)
        throw std::runtime_error(file + ": does not begin with \"" + FIRST_LINE + "\"");
    if (!std::getline(lines, line) || !takeOff(line, NAMESPACE))
        throw std::runtime_error(file + ": the second line does not begin with \"" + NAMESPACE + "\"");
    Settings settings;
    settings.content = content;
    settings.nameSpace = line;
    if (line.find('/') != std::string::npos || line == "." || line == "..")
        throw std::runtime_error(file + ": '" + line + "' is not the name of a namespace");
    while (std::getline(lines, line) && takeOff(line, PRIVATE_KEY))
        settings.privateKeys.push_back(line);
    return settings;
}

Settings readSettings(const std::string& file)
{
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error(file + ": " + std::generic_category().message(errno));
    return settingsOf({std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()}, file);
}

} // namespace norvale::tamber::systemdata::ipseccfg::strongswan

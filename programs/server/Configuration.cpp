// Reading of the server's configuration file.

#include "Configuration.h"

#include "AddressSet.h"
#include "FileText.h"
#include "Text.h"

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <set>
#include <sstream>
#include <stdexcept>
#include <toml++/toml.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

// The parser limits a document to 64 MiB by itself.
constexpr std::int64_t LARGEST_REQUEST = 67108864;

constexpr std::size_t LARGEST_FILE = 1048576;

struct Signal {
    const char* name;
    int number;
};
constexpr Signal SIGNALS[] = {{"HUP", SIGHUP},   {"INT", SIGINT},   {"KILL", SIGKILL}, {"QUIT", SIGQUIT},
                              {"TERM", SIGTERM}, {"USR1", SIGUSR1}, {"USR2", SIGUSR2}};

// One table of the file: hands out its keys by type and knows which of them nobody asked for.
class Table {
public:
    /// @param prefix what stands before the keys of this table in messages: "service." and the like
    Table(const toml::table& table, const std::string& file, const std::string& prefix)
        : table_(table)
        , file_(file)
        , prefix_(prefix)
    {}

    std::string text(const std::string& key) const { return textOf_(key, required_(key)); }

    std::string textOr(const std::string& key, const std::string& fallback) const
    {
        const toml::node* const node = find_(key);
        return node == nullptr ? fallback : textOf_(key, *node);
    }

    std::string absolutePath(const std::string& key) const
    {
        std::string path = text(key);
        if (path.empty() || path.front() != '/')
            fail(key, "'" + path + "' is not an absolute path");
        return path;
    }

    std::size_t numberOr(const std::string& key, std::size_t fallback, std::int64_t least,
                         std::int64_t most) const
    {
        const toml::node* const node = find_(key);
        if (node == nullptr)
            return fallback;
        const std::string range = "an integer from " + std::to_string(least) + " to " + std::to_string(most);
        const auto* const number = node->as_integer();
        if (number == nullptr)
            fail(key, "must be " + range);
        if (number->get() < least || number->get() > most)
            fail(key, std::to_string(number->get()) + " is not allowed, only " + range);
        return static_cast<std::size_t>(number->get());
    }

    /// The table below a key, or an empty one if there is none.
    Table tableOr(const std::string& key, const toml::table& fallback) const
    {
        const toml::node* const node = find_(key);
        if (node != nullptr && !node->is_table())
            fail(key, "must be a table");
        return {node == nullptr ? fallback : *node->as_table(), file_, prefix_ + key + "."};
    }

    Table table(const std::string& key) const
    {
        required_(key);
        return tableOr(key, table_);
    }

    /// The tables of an array of tables, none if it is left out.
    std::vector<Table> tables(const std::string& key) const
    {
        std::vector<Table> result;
        const toml::node* const node = find_(key);
        if (node == nullptr)
            return result;
        if (!node->is_array())
            fail(key, "must be an array of tables");
        for (const toml::node& element : *node->as_array()) {
            if (!element.is_table())
                fail(key, "must be an array of tables");
            const std::string number = "[" + std::to_string(result.size()) + "].";
            result.emplace_back(*element.as_table(), file_, prefix_ + key + number);
        }
        return result;
    }

    /// Complains about the first key that nobody asked for.
    void finish() const
    {
        for (const auto& [key, node] : table_) {
            const std::string name(key.str());
            if (asked_.count(name) == 0)
                complain_(key.source().begin, name, "is not a known key" + allowedKeys_());
        }
    }

    [[noreturn]] void fail(const std::string& key, const std::string& why) const
    {
        const toml::node* const node = table_.get(key);
        complain_(node == nullptr ? table_.source().begin : node->source().begin, key, why);
    }

private:
    const toml::node* find_(const std::string& key) const
    {
        asked_.insert(key);
        return table_.get(key);
    }

    const toml::node& required_(const std::string& key) const
    {
        const toml::node* const node = find_(key);
        if (node == nullptr)
            fail(key, "is missing");
        return *node;
    }

    std::string textOf_(const std::string& key, const toml::node& node) const
    {
        const auto* const text = node.as_string();
        if (text == nullptr)
            fail(key, "must be a string");
        const char* const fault = programs::faultOf(text->get());
        if (fault != nullptr)
            fail(key, fault);
        return text->get();
    }

    std::string allowedKeys_() const
    {
        std::string keys;
        for (const std::string& key : asked_)
            keys += (keys.empty() ? ", only: " : ", ") + key;
        return keys;
    }

    [[noreturn]] void complain_(const toml::source_position& where, const std::string& key,
                                const std::string& why) const
    {
        std::ostringstream message;
        message << file_ << ':' << where.line << ':' << where.column << ": " << prefix_
                << programs::printable(key) << ": " << programs::printable(why);
        throw std::runtime_error(message.str());
    }

    const toml::table& table_;
    std::string file_;
    std::string prefix_;
    mutable std::set<std::string> asked_;
};

std::string engineOf(const Table& table, const std::vector<std::string>& engines)
{
    std::string engine = table.text("engine");
    for (const std::string& known : engines)
        if (engine == known)
            return engine;
    table.fail("engine", "'" + engine + "' is not a known engine, only: " + programs::joined(engines));
}

std::string directoryOf(const Table& table)
{
    namespace fs = std::filesystem;
    fs::path path = fs::path(table.absolutePath("setting-directory")).lexically_normal();
    if (!path.has_filename())
        path = path.parent_path();
    if (path == path.root_path())
        table.fail("setting-directory", "'" + path.string() + "' is not allowed, only a folder below it");
    return path.string();
}

// @param excluded a signal that is not allowed here, or 0
int signalOf(const Table& table, const std::string& key, int excluded)
{
    const std::string name = table.text(key);
    std::vector<std::string> allowed;
    for (const Signal& signal : SIGNALS) {
        if (signal.number == excluded)
            continue;
        if (name == signal.name || name == std::string("SIG") + signal.name)
            return signal.number;
        allowed.emplace_back(signal.name);
    }
    table.fail(key, "'" + name + "' is not allowed, only: " + programs::joined(allowed));
}

// The library cuts a module's name out of its path, and hands the path to a shell as it is.
std::string modulePathOf(const Table& table)
{
    std::string path = table.absolutePath("path");
    if (!programs::isPlainShellWord(path))
        table.fail("path", "'" + path + "' holds a character other than letters, digits and %+,-./:=@_");
    const std::string name = path.substr(path.rfind('/') + 1);
    const std::size_t dot = name.find('.');
    const std::string extension = dot == std::string::npos ? "ko" : name.substr(dot + 1);
    if (name.empty() || dot == 0 || (extension != "ko" && extension != "o"))
        table.fail("path",
                   "'" + path +
                       "' is not a kernel module's file, only NAME.ko, NAME.o and NAME without a dot are");
    return path;
}

void readService(const Table& table, Configuration& configuration)
{
    configuration.serviceCommand = table.absolutePath("command");
    configuration.serviceOption = table.textOr("option", "");
    configuration.pidFile = table.absolutePath("pid-file");
    configuration.stopSignal = signalOf(table, "stop-signal", 0);
    configuration.reconfigureSignal = signalOf(table, "reconfigure-signal", SIGKILL);
    table.finish();
}

void readModules(const Table& table, Configuration& configuration)
{
    configuration.retry = table.numberOr("retry", configuration.retry, 1, 100);
    configuration.intervalMicroseconds =
        table.numberOr("interval-us", configuration.intervalMicroseconds, 0, 10000000);
    for (const Table& module : table.tables("module")) {
        configuration.modules.push_back(
            {modulePathOf(module), module.textOr("install-option", ""), module.textOr("remove-option", "")});
        module.finish();
    }
    table.finish();
}

std::string modeOf(const Table& table, const std::string& fallback)
{
    std::string mode = table.textOr("mode", fallback);
    for (const char* const known : {"auto", "transport", "tunnel"})
        if (mode == known)
            return mode;
    table.fail("mode", "'" + mode + "' is not allowed, only: auto, transport, tunnel");
}

Configuration::Gateway gatewayOf(const Table& table)
{
    Configuration::Gateway gateway;
    gateway.destination = table.text("destination");
    gateway.remote = table.text("remote");
    gateway.local = table.textOr("local", "");
    if (!AddressSet::parse(gateway.destination))
        table.fail("destination", "'" + gateway.destination + "' is not an address, a subnet or a range");
    const auto remote = AddressSet::parse(gateway.remote);
    if (!remote || !remote->isSingle())
        table.fail("remote", "'" + gateway.remote + "' is not an address");
    const auto local = AddressSet::parse(gateway.local);
    if (!gateway.local.empty() && (!local || !local->isSingle() || local->isIPv6() != remote->isIPv6()))
        table.fail("local", "'" + gateway.local + "' is not an address like that of remote");
    table.finish();
    return gateway;
}

void readStrongswan(const Table& table, Configuration& configuration)
{
    configuration.ikeVersion = table.numberOr("ike-version", configuration.ikeVersion, 1, 2);
    configuration.mode = modeOf(table, configuration.mode);
    for (const Table& gateway : table.tables("gateway"))
        configuration.gateways.push_back(gatewayOf(gateway));
    table.finish();
}

// Not through a stream, which would keep it quiet if memory ran out and give the beginning only.
std::string contentOf(const std::string& file)
{
    try {
        return programs::readFile(file, LARGEST_FILE);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(file + ": " + error.what());
    }
}

toml::table parse(const std::string& file)
{
    const std::string text = contentOf(file);
    try {
        return toml::parse(text);
    } catch (const toml::parse_error& error) {
        std::ostringstream message;
        message << file << ':' << error.source().begin.line << ':' << error.source().begin.column << ": "
                << programs::printable(std::string(error.description()));
        throw std::runtime_error(message.str());
    }
}

} // namespace

Configuration readConfiguration(const std::string& file, const std::vector<std::string>& engines)
{
    const toml::table document = parse(file);
    const toml::table nothing;
    const Table top(document, file, "");

    Configuration configuration;
    configuration.engine = engineOf(top, engines);
    configuration.settingDirectory = directoryOf(top);
    configuration.maxRequestBytes =
        top.numberOr("max-request-bytes", configuration.maxRequestBytes, 1, LARGEST_REQUEST);
    configuration.maxRequestTime = std::chrono::seconds(top.numberOr(
        "max-request-seconds", static_cast<std::size_t>(configuration.maxRequestTime.count()), 1, 3600));
    readService(top.table("service"), configuration);
    readModules(top.tableOr("modules", nothing), configuration);
    readStrongswan(top.tableOr("strongswan", nothing), configuration);
    top.finish();
    return configuration;
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

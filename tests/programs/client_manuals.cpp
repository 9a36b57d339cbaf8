// The manual pages name what the code knows, no less and no more.

#include "client_support.h"

#include "CommandLine.h"
#include "Configuration.h"
#include "PolicyKeys.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <regex>
#include <set>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg; // NOLINT(google-build-using-namespace)
using client::Key;
using client::Keys;

using Terms = std::set<std::string>;

// A page without what is there for its formatter.
std::string pageOf(const std::string& name)
{
    const std::string text = tests::contentsOf(std::string(MANUALS) + "/" + name);
    EXPECT_NE("", text) << name;
    return std::regex_replace(text, std::regex("\\\\-"), "-");
}

// What a page explains, section by section: the words of the lines behind ".TP".
std::map<std::string, Terms> termsOf(const std::string& name)
{
    std::map<std::string, Terms> terms;
    std::istringstream page(pageOf(name));
    std::string section;
    for (std::string line; std::getline(page, line);) {
        if (line.rfind(".SS ", 0) == 0 || line.rfind(".SH ", 0) == 0)
            section = line.substr(4);
        if (line != ".TP" || !std::getline(page, line))
            continue;
        std::istringstream words(std::regex_replace(line, std::regex(R"("[^"]*")"), " "));
        std::string word;
        words >> word; // the macro
        while (words >> word)
            terms[section].insert(word);
    }
    return terms;
}

Terms operator+(Terms one, const Terms& other)
{
    one.insert(other.begin(), other.end());
    return one;
}

Terms namesOf(const Keys& keys)
{
    Terms names;
    for (const Key& key : keys)
        names.insert(key.name);
    return names;
}

TEST(PolicyManual, ExplainsEachKeyAndNoOther)
{
    auto terms = termsOf("ipseccfg-policy.5");
    const std::pair<const char*, Keys> sections[] = {
        {"[engine]", client::ENGINE_KEYS},
        {"[[phase1.proposal]], [[phase2.proposal]]", client::PROPOSAL_KEYS},
        {"[[phase1.proposal.transform]], [[phase2.proposal.transform]]", client::TRANSFORM_KEYS},
        {"[[rule]]", client::RULE_KEYS},
        {"[[certificate]]", client::CERTIFICATE_KEYS}};
    for (const auto& [section, keys] : sections) {
        EXPECT_EQ(namesOf(keys), terms[section]) << section;
        terms.erase(section);
    }
    EXPECT_TRUE(terms.empty()) << terms.begin()->first;
    EXPECT_EQ((Terms{"engine", "phase1", "phase2", "rule", "certificate"}), namesOf(client::POLICY_KEYS));
    EXPECT_EQ((Terms{"proposal"}), namesOf(client::PHASE_KEYS));
}

TEST(PolicyManual, NamesEachValueThatHasAName)
{
    const std::string page = pageOf("ipseccfg-policy.5");
    for (const Keys& keys :
         {Keys(client::TRANSFORM_KEYS), Keys(client::RULE_KEYS), Keys(client::CERTIFICATE_KEYS)})
        for (const Key& key : keys)
            for (const std::string& name : key.names.all())
                EXPECT_TRUE(std::regex_search(page, std::regex("\n\\.BR? ([^\n]*[ \"])?" + name + "[ \n]")))
                    << key.name << ": " << name;
}

// The keys that the server would have known, by its complaint about one that it does not know.
Terms knownTo(const std::string& table, const std::string& configuration)
{
    const tests::Folder folder;
    std::string text = configuration;
    const std::string head = table.empty() ? "" : table + "\n";
    text.insert(text.find(head) + head.size(), "nonsense = 1\n");
    try {
        configserver::readConfiguration(folder.write("server.toml", text), {"standalone"});
    } catch (const std::runtime_error& error) {
        const std::string message = error.what();
        Terms keys;
        std::istringstream list(message.substr(message.find(", only: ") + 8));
        for (std::string key; std::getline(list >> std::ws, key, ',');)
            keys.insert(key);
        return keys;
    }
    return {};
}

TEST(ServerConfigurationManual, ExplainsEachKeyAndNoOther)
{
    const std::string configuration = "engine = \"standalone\"\nsetting-directory = \"/run/ipseccfg\"\n"
                                      "[service]\ncommand = \"/engine\"\npid-file = \"/run/pid\"\n"
                                      "stop-signal = \"TERM\"\nreconfigure-signal = \"HUP\"\n"
                                      "[modules]\n[[modules.module]]\npath = \"/a.ko\"\n"
                                      "[strongswan]\n[[strongswan.gateway]]\ndestination = \"192.0.2.1\"\n"
                                      "remote = \"192.0.2.2\"\n";
    auto terms = termsOf("ipseccfg-server.toml.5");
    terms.erase("FILES");
    EXPECT_EQ(knownTo("", configuration), terms["DESCRIPTION"] + (Terms{"service", "modules", "strongswan"}));
    terms.erase("DESCRIPTION");
    for (const char* const table :
         {"[service]", "[modules]", "[[modules.module]]", "[strongswan]", "[[strongswan.gateway]]"}) {
        EXPECT_EQ(knownTo(table, configuration), terms[table]) << table;
        terms.erase(table);
    }
    EXPECT_TRUE(terms.empty()) << terms.begin()->first;
}

// The long options in a help text.
Terms optionsIn(const std::string& help)
{
    Terms options;
    const std::regex option("(^|[ ,])(--[a-z-]+)");
    for (std::sregex_iterator match(help.begin(), help.end(), option), end; match != end; ++match)
        options.insert((*match)[2]);
    return options;
}

std::string helpOf(const std::vector<const char*>& command)
{
    std::vector<const char*> arguments = {"ipseccfgctl"};
    arguments.insert(arguments.end(), command.begin(), command.end());
    arguments.push_back("--help");
    return client::readCommandLine(static_cast<int>(arguments.size()), arguments.data()).text;
}

// The commands in a help text: what begins the lines behind "Commands:".
std::vector<std::string> commandsIn(const std::string& help)
{
    std::vector<std::string> commands;
    std::istringstream lines(help.substr(help.find("\nCommands:\n") + 11));
    for (std::string line; std::getline(lines, line) && !line.empty();)
        commands.push_back(line.substr(2, line.find(' ', 2) - 2));
    return commands;
}

// Options of a page: without what is no option, "-v" and the placeholders.
Terms optionsOf(const Terms& terms)
{
    Terms options;
    for (const std::string& term : terms)
        if (term.rfind("--", 0) == 0)
            options.insert(term);
    return options;
}

TEST(ClientManual, ExplainsEachCommandAndNoOther)
{
    const std::vector<std::string> commands = commandsIn(helpOf({}));
    EXPECT_EQ(8U, commands.size());
    EXPECT_EQ(Terms(commands.begin(), commands.end()), termsOf("ipseccfgctl.1")["COMMANDS"]);
}

TEST(ClientManual, ExplainsEachOptionAndNoOther)
{
    auto terms = termsOf("ipseccfgctl.1");
    const Terms common = optionsOf(terms["OPTIONS"]);
    EXPECT_EQ(optionsIn(helpOf({})), common);
    for (const std::string& command : commandsIn(helpOf({}))) {
        const Terms own = optionsOf(terms["Options of " + command]);
        EXPECT_EQ(common + own, optionsIn(helpOf({command.c_str()})) + Terms{"--version"}) << command;
    }
}

std::string outputOf(const std::string& command)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    std::string text;
    for (int byte = 0; (byte = std::fgetc(pipe.get())) != EOF;)
        text += static_cast<char>(byte);
    return text;
}

TEST(ServerManual, ExplainsEachOptionAndNoOther)
{
    EXPECT_EQ(optionsIn(outputOf(std::string(SERVER) + " --help")),
              optionsOf(termsOf("systemdataIPsecCfgServer.8")["OPTIONS"]));
}

} // namespace

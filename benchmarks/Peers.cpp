// The same work as this library's, done by others: xmlrpc-c, and Expat alone.

#include "Workload.h"

#include <expat.h>
#include <xmlrpc-c/base.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace norvale::tamber::systemdata::ipseccfg::benchmarks {

using namespace common;

namespace {

// The error state that every call of xmlrpc-c takes.
class Environment {
public:
    Environment() { xmlrpc_env_init(&environment_); }
    ~Environment() { xmlrpc_env_clean(&environment_); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    operator xmlrpc_env*() { return &environment_; }

    void check() const
    {
        if (environment_.fault_occurred != 0)
            throw std::runtime_error(environment_.fault_string);
    }

private:
    xmlrpc_env environment_ = {};
};

void set(Environment& environment, xmlrpc_value* structure, const char* name, xmlrpc_value* value)
{
    xmlrpc_struct_set_value(environment, structure, name, value);
    xmlrpc_DECREF(value);
}

void setInteger(Environment& environment, xmlrpc_value* structure, const char* name, int number)
{
    set(environment, structure, name, xmlrpc_int_new(environment, number));
}

void setString(Environment& environment, xmlrpc_value* structure, const char* name, const std::string& text)
{
    set(environment, structure, name, xmlrpc_string_new_lp(environment, text.size(), text.data()));
}

// What xmlrpc-c hands over comes from malloc.
struct Free {
    void operator()(const char* text) const { std::free(const_cast<char*>(text)); }
};
using OwnedText = std::unique_ptr<const char, Free>;

int integerOf(Environment& environment, xmlrpc_value* structure, const char* name)
{
    xmlrpc_value* value = nullptr;
    int number = 0;
    xmlrpc_struct_read_value(environment, structure, name, &value);
    environment.check();
    xmlrpc_read_int(environment, value, &number);
    xmlrpc_DECREF(value);
    return number;
}

std::string stringOf(Environment& environment, xmlrpc_value* structure, const char* name)
{
    xmlrpc_value* value = nullptr;
    std::size_t size = 0;
    const char* text = nullptr;
    xmlrpc_struct_read_value(environment, structure, name, &value);
    environment.check();
    xmlrpc_read_string_lp(environment, value, &size, &text);
    xmlrpc_DECREF(value);
    environment.check();
    const OwnedText owned(text);
    return {text, size};
}

struct Release {
    void operator()(xmlrpc_value* value) const { xmlrpc_DECREF(value); }
};
using Value = std::unique_ptr<xmlrpc_value, Release>;

} // namespace

std::size_t encodeByXmlrpcC(const FilterSet& rules)
{
    Environment environment;
    const Value array(xmlrpc_array_new(environment));
    int id = 0;
    for (const FilterRulePtr& rule : rules) {
        const Value structure(xmlrpc_struct_new(environment));
        setInteger(environment, structure.get(), "table-id", 2);
        setInteger(environment, structure.get(), "filter-id", id++);
        setInteger(environment, structure.get(), "filter-type", rule->getFilterType());
        setString(environment, structure.get(), "src-addr", rule->getSrcIpAddress());
        setString(environment, structure.get(), "dst-addr", rule->getDstIpAddress());
        setInteger(environment, structure.get(), "identity-type", rule->getIdentityType());
        setString(environment, structure.get(), "src-identity", rule->getSrcIdentity());
        setString(environment, structure.get(), "dst-identity", rule->getDstIdentity());
        setInteger(environment, structure.get(), "priority", rule->getPriority());
        xmlrpc_array_append_item(environment, array.get(), structure.get());
    }
    const Value params(xmlrpc_array_new(environment));
    xmlrpc_array_append_item(environment, params.get(), array.get());
    xmlrpc_mem_block* const text = xmlrpc_mem_block_new(environment, 0);
    xmlrpc_serialize_call(environment, text, "/usr/sbin/systemdataIPsecCfgServer", params.get());
    environment.check();
    const std::size_t size = xmlrpc_mem_block_size(text);
    xmlrpc_mem_block_free(text);
    return size;
}

FilterSet decodeByXmlrpcC(const std::string& text)
{
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, text.size() + 1);
    Environment environment;
    const char* method = nullptr;
    xmlrpc_value* parsed = nullptr;
    xmlrpc_parse_call(environment, text.data(), text.size(), &method, &parsed);
    environment.check();
    const Value params(parsed);
    const OwnedText ownedMethod(method);

    xmlrpc_value* first = nullptr;
    xmlrpc_array_read_item(environment, params.get(), 0, &first);
    environment.check();
    const Value array(first);
    FilterSet rules;
    const int count = xmlrpc_array_size(environment, array.get());
    for (int index = 0; index < count; ++index) {
        xmlrpc_value* item = nullptr;
        xmlrpc_array_read_item(environment, array.get(), static_cast<unsigned>(index), &item);
        const Value structure(item);
        const FilterRulePtr rule = createFilterRule(
            static_cast<FilterRule::FilterType>(integerOf(environment, item, "filter-type")),
            stringOf(environment, item, "src-addr"), stringOf(environment, item, "dst-addr"));
        rule->setIdentityType(
            static_cast<FilterRule::IdentityType>(integerOf(environment, item, "identity-type")));
        rule->setSrcIdentity(stringOf(environment, item, "src-identity"));
        rule->setDstIdentity(stringOf(environment, item, "dst-identity"));
        rule->setPriority(integerOf(environment, item, "priority"));
        rules.push_back(rule);
    }
    return rules;
}

std::size_t parseByExpat(const std::string& text)
{
    const std::unique_ptr<XML_ParserStruct, void (*)(XML_ParserStruct*)> parser(XML_ParserCreate(nullptr),
                                                                                XML_ParserFree);
    std::size_t events = 0;
    XML_SetUserData(parser.get(), &events);
    XML_SetElementHandler(
        parser.get(), [](void* count, const char*, const char**) { ++*static_cast<std::size_t*>(count); },
        [](void* count, const char*) { ++*static_cast<std::size_t*>(count); });
    XML_SetCharacterDataHandler(parser.get(),
                                [](void* count, const char*, int) { ++*static_cast<std::size_t*>(count); });
    if (XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), 1) != XML_STATUS_OK)
        throw std::runtime_error("Expat refuses the text");
    return events;
}

} // namespace norvale::tamber::systemdata::ipseccfg::benchmarks

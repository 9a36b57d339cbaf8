// The same work as this library's, done by others: xmlrpc-c, and Expat alone.

#include "Workload.h"

#include "PayloadBuilder.h"
#include "PayloadVisitor.h"

#include <expat.h>
#include <xmlrpc-c/base.h>

#include <charconv>
#include <cstdlib>
#include <map>
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

struct Release {
    void operator()(xmlrpc_value* value) const { xmlrpc_DECREF(value); }
};
using Value = std::unique_ptr<xmlrpc_value, Release>;

Value memberOf(Environment& environment, xmlrpc_value* structure, const char* name)
{
    xmlrpc_value* value = nullptr;
    xmlrpc_struct_read_value(environment, structure, name, &value);
    environment.check();
    return Value(value);
}

Value itemOf(Environment& environment, xmlrpc_value* array, unsigned index)
{
    xmlrpc_value* value = nullptr;
    xmlrpc_array_read_item(environment, array, index, &value);
    environment.check();
    return Value(value);
}

int toInteger(Environment& environment, xmlrpc_value* value)
{
    int number = 0;
    xmlrpc_read_int(environment, value, &number);
    environment.check();
    return number;
}

std::string toString(Environment& environment, xmlrpc_value* value)
{
    std::size_t size = 0;
    const char* text = nullptr;
    xmlrpc_read_string_lp(environment, value, &size, &text);
    environment.check();
    const OwnedText owned(text);
    return {text, size};
}

int integerOf(Environment& environment, xmlrpc_value* structure, const char* name)
{
    return toInteger(environment, memberOf(environment, structure, name).get());
}

std::string stringOf(Environment& environment, xmlrpc_value* structure, const char* name)
{
    return toString(environment, memberOf(environment, structure, name).get());
}

// The text of a call with an array of structures as its only parameter; its size.
std::size_t writeCall(Environment& environment, xmlrpc_value* array)
{
    const Value params(xmlrpc_array_new(environment));
    xmlrpc_array_append_item(environment, params.get(), array);
    xmlrpc_mem_block* const text = xmlrpc_mem_block_new(environment, 0);
    xmlrpc_serialize_call(environment, text, "/usr/sbin/systemdataIPsecCfgServer", params.get());
    environment.check();
    const std::size_t size = xmlrpc_mem_block_size(text);
    xmlrpc_mem_block_free(text);
    return size;
}

// Hands every structure of such a call to `take`.
template <class Take>
void readCall(Environment& environment, const std::string& text, Take take)
{
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, text.size() + 1);
    const char* method = nullptr;
    xmlrpc_value* parsed = nullptr;
    xmlrpc_parse_call(environment, text.data(), text.size(), &method, &parsed);
    environment.check();
    const Value params(parsed);
    const OwnedText ownedMethod(method);
    const Value array = itemOf(environment, params.get(), 0);
    const int count = xmlrpc_array_size(environment, array.get());
    for (int index = 0; index < count; ++index)
        take(itemOf(environment, array.get(), static_cast<unsigned>(index)).get());
}

// Sets a transform's attributes as members of its structure.
class AttributeWriter : public PayloadVisitor {
public:
    AttributeWriter(Environment& environment, xmlrpc_value* structure)
        : environment_(environment)
        , structure_(structure)
    {}

    void visit(SecurityAssociation&) override {}
    void visit(Proposal&) override {}
    void visit(Transform&) override {}
    void visit(EncryptionAlgorithm& payload) override { set_("enc-algo", payload); }
    void visit(KeyLength& payload) override { set_("key-length", payload); }
    void visit(HashAlgorithm& payload) override { set_("hash-algo", payload); }
    void visit(GroupDescription& payload) override { set_("group-dsc", payload); }
    void visit(LifeType& payload) override { set_("life-type", payload); }
    void visit(LifeDuration& payload) override { set_("life-duration", payload); }

    void visit(AuthenticationMethod& payload) override
    {
        xmlrpc_value* const values = xmlrpc_array_new(environment_);
        for (const std::string& text : {std::to_string(payload.getValue()), hexText_(payload.getData())}) {
            const Value value(xmlrpc_string_new_lp(environment_, text.size(), text.data()));
            xmlrpc_array_append_item(environment_, values, value.get());
        }
        benchmarks::set(environment_, structure_, "auth-method", values);
    }

private:
    void set_(const char* name, const Attribute& attribute)
    {
        setInteger(environment_, structure_, name, attribute.getValue());
    }

    static std::string hexText_(const std::string& data)
    {
        std::string text = "0x";
        for (const char byte : data) {
            char digits[8];
            text.append(
                digits,
                std::to_chars(digits, digits + sizeof digits, static_cast<unsigned char>(byte), 16).ptr);
        }
        return text;
    }

    Environment& environment_;
    xmlrpc_value* structure_;
};

void appendTransforms(Environment& environment, xmlrpc_value* array, const Payload& association, int phase)
{
    for (const PayloadPtr& proposal : association.getChildren()) {
        for (const PayloadPtr& transform : proposal->getChildren()) {
            const Value structure(xmlrpc_struct_new(environment));
            setInteger(environment, structure.get(), "table-id", 1);
            setInteger(environment, structure.get(), "phase-id", phase);
            setInteger(environment, structure.get(), "proposal-id",
                       dynamic_cast<const Proposal&>(*proposal).getId());
            setInteger(environment, structure.get(), "transform-id",
                       dynamic_cast<const Transform&>(*transform).getId());
            AttributeWriter writer(environment, structure.get());
            for (const PayloadPtr& attribute : transform->getChildren())
                attribute->accept(writer);
            xmlrpc_array_append_item(environment, array, structure.get());
        }
    }
}

PayloadPtr readAuthenticationMethod(Environment& environment, xmlrpc_value* structure)
{
    const Value values = memberOf(environment, structure, "auth-method");
    const std::string number = toString(environment, itemOf(environment, values.get(), 0).get());
    const std::string digits = toString(environment, itemOf(environment, values.get(), 1).get());
    std::string data;
    for (std::size_t at = 2; at < digits.size(); at += 2)
        data.push_back(static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16)));
    return createAuthenticationMethod(static_cast<AuthenticationMethod::Type>(std::stoi(number)), data);
}

PayloadPtr readTransform(Environment& environment, xmlrpc_value* structure)
{
    const auto number = [&](const char* name) { return integerOf(environment, structure, name); };
    const auto transform = std::make_shared<Transform>();
    transform->setId(number("transform-id"));
    transform->add(createEncryptionAlgorithm(static_cast<EncryptionAlgorithm::Type>(number("enc-algo"))));
    transform->add(createKeyLength(number("key-length")));
    transform->add(createHashAlgorithm(static_cast<HashAlgorithm::Type>(number("hash-algo"))));
    transform->add(readAuthenticationMethod(environment, structure));
    transform->add(createGroupDescription(static_cast<GroupDescription::Type>(number("group-dsc"))));
    transform->add(createLifeType(static_cast<LifeType::Type>(number("life-type"))));
    transform->add(createLifeDuration(number("life-duration")));
    return transform;
}

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
    return writeCall(environment, array.get());
}

FilterSet decodeByXmlrpcC(const std::string& text)
{
    Environment environment;
    FilterSet rules;
    readCall(environment, text, [&](xmlrpc_value* structure) {
        const auto number = [&](const char* name) { return integerOf(environment, structure, name); };
        const auto string = [&](const char* name) { return stringOf(environment, structure, name); };
        const FilterRulePtr rule =
            createFilterRule(static_cast<FilterRule::FilterType>(number("filter-type")), string("src-addr"),
                             string("dst-addr"));
        rule->setIdentityType(static_cast<FilterRule::IdentityType>(number("identity-type")));
        rule->setSrcIdentity(string("src-identity"));
        rule->setDstIdentity(string("dst-identity"));
        rule->setPriority(number("priority"));
        rules.push_back(rule);
    });
    return rules;
}

std::size_t encodeByXmlrpcC(const Associations& associations)
{
    Environment environment;
    const Value array(xmlrpc_array_new(environment));
    appendTransforms(environment, array.get(), *associations.phase1, 1);
    appendTransforms(environment, array.get(), *associations.phase2, 2);
    return writeCall(environment, array.get());
}

Associations decodeAssociationsByXmlrpcC(const std::string& text)
{
    Environment environment;
    Associations associations = {createSecurityAssociation(), createSecurityAssociation()};
    std::map<std::pair<int, int>, PayloadPtr> proposals;
    readCall(environment, text, [&](xmlrpc_value* structure) {
        const int phase = integerOf(environment, structure, "phase-id");
        const int id = integerOf(environment, structure, "proposal-id");
        PayloadPtr& known = proposals[{phase, id}];
        if (!known) {
            const auto proposal = std::make_shared<Proposal>();
            proposal->setId(id);
            (phase == 1 ? associations.phase1 : associations.phase2)->add(proposal);
            known = proposal;
        }
        known->add(readTransform(environment, structure));
    });
    return associations;
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

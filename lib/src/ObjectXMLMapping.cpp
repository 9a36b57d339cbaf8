// The messages: one frame that writes structures, one that reads them, and for each message the list of its
// members.

#include "ObjectXMLMapping.h"

#include "CArrayParser.h"
#include "CMember.h"
#include "CParser.h"
#include "PayloadBuilder.h"

#include <charconv>
#include <map>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::common {

using namespace std::string_view_literals;

using parser::CArrayParser;
using parser::CMember;
using parser::CParser;

namespace {

// What both frames share.

void requireArray(const ArrayParserPtr& array)
{
    if (array == nullptr)
        throw std::logic_error("ArrayParser is not set");
}

// Lets standard exceptions pass and replaces any other one.
template <class Action>
void throwingStandardOnly(const char* replacement, Action action)
{
    try {
        action();
    } catch (const std::exception&) {
        throw;
    } catch (...) {
        throw std::runtime_error(replacement);
    }
}

// Writing

void addInteger(CParser& structure, const char* name, const std::string& number)
{
    structure.addMember(name, number, parser::Type::integer, false);
}

void addInteger(CParser& structure, const char* name, int number)
{
    addInteger(structure, name, std::to_string(number));
}

void addString(CParser& structure, const char* name, const std::string& text)
{
    structure.addMember(name, text, parser::Type::string, false);
}

void append(CArrayParser& array, std::unique_ptr<CParser> structure)
{
    array.addElement(structure.get());
    static_cast<void>(structure.release());
}

CParser& appendNew(CArrayParser& array)
{
    auto structure = std::make_unique<CParser>();
    CParser& appended = *structure;
    append(array, std::move(structure));
    return appended;
}

template <class Allocate>
auto allocated(Allocate allocate) -> decltype(allocate())
{
    try {
        return allocate();
    } catch (...) {
        throw std::runtime_error("Failed to allocate CParser");
    }
}

// Appends one structure, filled: a failure leaves the array as it was.
template <class AddMembers>
void writeWhole(CArrayParser& array, const char* tableId, AddMembers addMembers)
{
    auto structure = allocated([] { return std::make_unique<CParser>(); });
    addInteger(*structure, "table-id", tableId);
    addMembers(*structure);
    append(array, std::move(structure));
}

// Reading

int toInt(const std::string& text)
{
    return std::stoi(text, nullptr, 10);
}

[[noreturn]] void refuseOrphan(const CMember& member)
{
    throw std::runtime_error("Nothing to add the member to: " + member.getName());
}

// What a member belongs to, which an earlier member must have begun.
template <class Object>
Object& ownerOf(const CMember& member, const std::shared_ptr<Object>& current)
{
    if (!current)
        refuseOrphan(member);
    return *current;
}

// Whether a member is left, by those platform libraries that can tell; the others throw when none is. Not having to
// throw for every structure saves a fifth of the time that a request takes.
template <class Structure>
auto hasNextMember(const Structure& structure, int) -> decltype(structure.hasNextMember())
{
    return structure.hasNextMember();
}

template <class Structure>
bool hasNextMember(const Structure&, long)
{
    return true;
}

template <class OnMember>
void readStructure(CParser& structure, std::string_view tableId, OnMember& onMember)
{
    structure.positionToFirstMember();
    try {
        while (hasNextMember(structure, 0)) {
            const CMember& member = structure.getNextMember();
            if (member.getName() != "table-id"sv)
                onMember(member);
            else if (member.getValue() != tableId)
                return;
        }
    } catch (const std::out_of_range&) {
        // The end of the structure. A number that does not fit an int ends it, too.
    }
}

// Hands every member of every structure of this kind to onMember.
template <class OnMember>
void readStructures(const ArrayParserPtr& array, const char* tableId, OnMember onMember)
{
    throwingStandardOnly("Deserialize error", [&] {
        requireArray(array);
        const std::vector<CParser*> structures = array->getElements();
        for (CParser* structure : structures)
            readStructure(*structure, tableId, onMember);
    });
}

} // namespace

Command::Command() = default;
Command::~Command() = default;

void Command::setArrayParser(CArrayParser* const& parser)
{
    receiver_ = parser;
}

// Scenario

const char* const ScenarioCommand::TABLE_ID_VALUE = "0";

ScenarioSerializer::ScenarioSerializer(ScenarioCommand::Type type, const std::string& settingFilePath,
                                       bool fipsMode, const std::string& nsName)
    : type_(type)
    , path_(settingFilePath)
    , mode_(fipsMode)
    , nsName_(nsName)
{}

void ScenarioSerializer::execute()
{
    throwingStandardOnly("Serialize error", [this] {
        requireArray(receiver_);
        writeWhole(*receiver_, TABLE_ID_VALUE, [this](CParser& structure) {
            addInteger(structure, "scenario", type_);
            addString(structure, "setting-file-path", path_);
            addInteger(structure, "fips-mode", mode_ ? 1 : 0);
            addString(structure, "ns-name", nsName_);
        });
    });
}

ScenarioDeserializer::ScenarioDeserializer() = default;

void ScenarioDeserializer::execute()
{
    readStructures(receiver_, TABLE_ID_VALUE, [this](const CMember& member) {
        const std::string_view name = member.getName();
        if (name == "scenario")
            type_ = static_cast<Type>(toInt(member.getValue()));
        else if (name == "setting-file-path")
            path_ = member.getValue();
        else if (name == "fips-mode")
            mode_ = toInt(member.getValue()) != 0;
        else if (name == "ns-name")
            nsName_ = member.getValue();
    });
}

ScenarioCommand::Type ScenarioDeserializer::getType() const
{
    return type_;
}

std::string ScenarioDeserializer::getSettingFilePath() const
{
    return path_;
}

bool ScenarioDeserializer::getFipsMode() const
{
    return mode_;
}

std::string ScenarioDeserializer::getNsName() const
{
    return nsName_;
}

// Security association

const char* const SecurityAssociationCommand::TABLE_ID_VALUE = "1";

namespace {

struct AttributeMember {
    const char* name;
    PayloadPtr (*create)(int value);
};

constexpr AttributeMember ATTRIBUTE_MEMBERS[] = {
    {"enc-algo",
     [](int value) { return createEncryptionAlgorithm(static_cast<EncryptionAlgorithm::Type>(value)); }},
    {"key-length", [](int value) { return createKeyLength(value); }},
    {"hash-algo", [](int value) { return createHashAlgorithm(static_cast<HashAlgorithm::Type>(value)); }},
    {"group-dsc",
     [](int value) { return createGroupDescription(static_cast<GroupDescription::Type>(value)); }},
    {"life-type", [](int value) { return createLifeType(static_cast<LifeType::Type>(value)); }},
    {"life-duration", [](int value) { return createLifeDuration(value); }},
};

// "0x" and each byte as a signed number widened to int: two digits from 0x10 to 0x7F, one below, eight above.
std::string toHexText(const std::string& data)
{
    std::string text = "0x";
    for (const char byte : data) {
        // char is unsigned on ARM.
        const auto number = static_cast<unsigned int>(int{static_cast<signed char>(byte)});
        char digits[2 * sizeof number];
        text.append(digits, std::to_chars(digits, digits + sizeof digits, number, 16).ptr);
    }
    return text;
}

std::string fromHexText(const std::string& text)
{
    std::string data;
    for (std::size_t index = 2; index < text.length(); index += 2)
        data.push_back(static_cast<char>(std::stoi(text.substr(index, 2), nullptr, 16)));
    return data;
}

// An association that grows while it is read. Its proposals are found by number in an index: a request may
// hold very many of them.
class GrowingAssociation {
public:
    explicit GrowingAssociation(PayloadPtr& association)
        : association_(association)
    {
        if (!association_)
            return;
        for (const PayloadPtr& child : association_->getChildren())
            if (const auto proposal = std::dynamic_pointer_cast<Proposal>(child))
                proposals_.emplace(proposal->getId(), proposal);
    }

    void begin()
    {
        if (!association_)
            association_ = createSecurityAssociation();
    }

    PayloadPtr proposal(int id)
    {
        PayloadPtr& known = proposals_[id];
        if (!known) {
            const auto proposal = std::static_pointer_cast<Proposal>(createProposal());
            proposal->setId(id);
            association_->add(proposal);
            known = proposal;
        }
        return known;
    }

private:
    PayloadPtr& association_;
    std::map<int, PayloadPtr> proposals_;
};

// Where the reading of the two associations stands. A structure may go on with what the one before it began.
class AssociationReader {
public:
    AssociationReader(PayloadPtr& phase1, PayloadPtr& phase2)
        : phases_{GrowingAssociation(phase1), GrowingAssociation(phase2)}
    {}

    void read(const CMember& member)
    {
        const std::string_view name = member.getName();
        if (name == "phase-id")
            selectPhase(toInt(member.getValue()));
        else if (name == "proposal-id")
            selectProposal(member);
        else if (name == "transform-id")
            beginTransform(member);
        else if (name == "auth-method")
            addAuthenticationMethod(member);
        else
            addAttribute(member);
    }

private:
    void selectPhase(int phase)
    {
        if (phase != 1 && phase != 2)
            return;
        phase_ = &phases_[phase - 1];
        phase_->begin();
    }

    void selectProposal(const CMember& member)
    {
        proposal_.reset();
        const int id = toInt(member.getValue());
        if (phase_ == nullptr)
            refuseOrphan(member);
        proposal_ = phase_->proposal(id);
    }

    void beginTransform(const CMember& member)
    {
        const auto transform = std::static_pointer_cast<Transform>(createTransform());
        transform->setId(toInt(member.getValue()));
        ownerOf(member, proposal_).add(transform);
        transform_ = transform;
    }

    void addAttribute(const CMember& member)
    {
        for (const AttributeMember& attribute : ATTRIBUTE_MEMBERS)
            if (member.getName() == attribute.name)
                ownerOf(member, transform_).add(attribute.create(toInt(member.getValue())));
    }

    void addAuthenticationMethod(const CMember& member)
    {
        Payload& transform = ownerOf(member, transform_);
        const std::vector<std::string>& values = member.getValues();
        // Not left to vector::at: its std::out_of_range would end the structure and lose the authentication
        // quietly.
        if (values.size() < 2)
            throw std::runtime_error("Too few values of the member: " + member.getName());
        const auto method = static_cast<AuthenticationMethod::Type>(toInt(values[0]));
        transform.add(createAuthenticationMethod(method, fromHexText(values[1])));
    }

    GrowingAssociation phases_[2];
    GrowingAssociation* phase_ = nullptr;
    PayloadPtr proposal_;
    PayloadPtr transform_;
};

} // namespace

SecurityAssociationSerializer::SecurityAssociationSerializer(const std::shared_ptr<Payload>& phase1,
                                                             const std::shared_ptr<Payload>& phase2)
    : phase1_(phase1)
    , phase2_(phase2)
{}

void SecurityAssociationSerializer::execute()
{
    requireArray(receiver_);
    serialize_(*phase1_, "1");
    serialize_(*phase2_, "2");
}

void SecurityAssociationSerializer::serialize_(const Payload& association, const std::string& phase)
{
    for (const PayloadPtr& proposal : association.getChildren()) {
        for (const PayloadPtr& transform : proposal->getChildren()) {
            CParser& structure = appendNew(*receiver_);
            addInteger(structure, "table-id", TABLE_ID_VALUE);
            addInteger(structure, "phase-id", phase);
            addInteger(structure, "proposal-id", dynamic_cast<const Proposal&>(*proposal).getId());
            addInteger(structure, "transform-id", dynamic_cast<const Transform&>(*transform).getId());
            ParseVisitor visitor(&structure);
            for (const PayloadPtr& attribute : transform->getChildren())
                attribute->accept(visitor);
        }
    }
}

SecurityAssociationDeserializer::SecurityAssociationDeserializer() = default;

void SecurityAssociationDeserializer::execute()
{
    AssociationReader reader(phase1_, phase2_);
    readStructures(receiver_, TABLE_ID_VALUE, [&reader](const CMember& member) { reader.read(member); });
}

PayloadPtr SecurityAssociationDeserializer::getPhase1SA() const
{
    return phase1_;
}

PayloadPtr SecurityAssociationDeserializer::getPhase2SA() const
{
    return phase2_;
}

// Filter rule

const char* const FilterRuleCommand::TABLE_ID_VALUE = "2";

FilterRuleSerializer::FilterRuleSerializer(const FilterSet& use, const FilterSet& bd)
    : use_(use)
    , bd_(bd)
{}

void FilterRuleSerializer::execute()
{
    throwingStandardOnly("Serialize error", [this] {
        requireArray(receiver_);
        int id = 0;
        for (const FilterSet* rules : {&use_, &bd_}) {
            for (const FilterRulePtr& rule : *rules) {
                CParser& structure = allocated([this]() -> CParser& { return appendNew(*receiver_); });
                addInteger(structure, "table-id", TABLE_ID_VALUE);
                addInteger(structure, "filter-id", id++);
                addMember_(&structure, rule);
            }
        }
    });
}

void FilterRuleSerializer::addMember_(CParser* parser, const std::shared_ptr<FilterRule>& ptr)
{
    addInteger(*parser, "filter-type", ptr->filterType_);
    addString(*parser, "src-addr", ptr->srcIpAddress_);
    addString(*parser, "dst-addr", ptr->dstIpAddress_);
    addInteger(*parser, "identity-type", ptr->identityType_);
    addString(*parser, "src-identity", ptr->srcIdentity_);
    addString(*parser, "dst-identity", ptr->dstIdentity_);
    addInteger(*parser, "priority", ptr->priority_);
}

FilterRuleDeserializer::FilterRuleDeserializer() = default;

void FilterRuleDeserializer::execute()
{
    FilterRulePtr rule;
    readStructures(receiver_, TABLE_ID_VALUE, [this, &rule](const CMember& member) {
        const std::string_view name = member.getName();
        if (name == "filter-type") {
            const auto type = static_cast<FilterRule::FilterType>(toInt(member.getValue()));
            rule = createFilterRule(type, "", "");
            (type == FilterRule::Use ? use_ : bd_).push_back(rule);
        } else if (name == "src-addr")
            ownerOf(member, rule).setSrcIpAddress(member.getValue());
        else if (name == "dst-addr")
            ownerOf(member, rule).setDstIpAddress(member.getValue());
        else if (name == "identity-type")
            ownerOf(member, rule)
                .setIdentityType(static_cast<FilterRule::IdentityType>(toInt(member.getValue())));
        else if (name == "src-identity")
            ownerOf(member, rule).setSrcIdentity(member.getValue());
        else if (name == "dst-identity")
            ownerOf(member, rule).setDstIdentity(member.getValue());
        else if (name == "priority")
            ownerOf(member, rule).setPriority(toInt(member.getValue()));
    });
}

FilterSet FilterRuleDeserializer::getUsedFilterRules() const
{
    return use_;
}

FilterSet FilterRuleDeserializer::getDefaultFilterRules() const
{
    return bd_;
}

// Certificate

const char* const CertificateCommand::TABLE_ID_VALUE = "3";

CertificateSerializer::CertificateSerializer(const std::list<std::shared_ptr<Certificate>>& certs)
    : certs_(certs)
{}

void CertificateSerializer::execute()
{
    throwingStandardOnly("Serialize error", [this] {
        requireArray(receiver_);
        for (const CertificatePtr& certificate : certs_) {
            writeWhole(*receiver_, TABLE_ID_VALUE, [&certificate](CParser& structure) {
                addInteger(structure, "cert-kind", certificate->getKind());
                addString(structure, "cert-path", certificate->getCertFilePath());
                addString(structure, "pkey-path", certificate->getPkeyFilePath());
            });
        }
    });
}

CertificateDeserializer::CertificateDeserializer() = default;

void CertificateDeserializer::execute()
{
    CertificatePtr certificate;
    readStructures(receiver_, TABLE_ID_VALUE, [this, &certificate](const CMember& member) {
        const std::string_view name = member.getName();
        if (name == "cert-kind") {
            certificate = createCertificate(static_cast<Certificate::Kind>(toInt(member.getValue())), "", "");
            certs_.push_back(certificate);
        } else if (name == "cert-path")
            ownerOf(member, certificate).setCertFilePath(member.getValue());
        else if (name == "pkey-path")
            ownerOf(member, certificate).setPkeyFilePath(member.getValue());
    });
}

std::list<CertificatePtr> CertificateDeserializer::getCertificates() const
{
    return certs_;
}

// Result

const char* const ResultCommand::TABLE_ID_VALUE = "4";

ResultSerializer::ResultSerializer(ResultCommand::Type status, const std::string& detail)
    : status_(status)
    , detail_(detail)
{}

void ResultSerializer::execute()
{
    throwingStandardOnly("Serialize error", [this] {
        requireArray(receiver_);
        writeWhole(*receiver_, TABLE_ID_VALUE, [this](CParser& structure) {
            addInteger(structure, "status", status_);
            addString(structure, "detail", detail_);
        });
    });
}

ResultDeserializer::ResultDeserializer() = default;

void ResultDeserializer::execute()
{
    readStructures(receiver_, TABLE_ID_VALUE, [this](const CMember& member) {
        const std::string_view name = member.getName();
        if (name == "status")
            status_ = static_cast<Type>(toInt(member.getValue()));
        else if (name == "detail")
            detail_ = member.getValue();
    });
}

ResultCommand::Type ResultDeserializer::getStatus() const
{
    return status_;
}

std::string ResultDeserializer::getDetail() const
{
    return detail_;
}

// ParseVisitor

ParseVisitor::ParseVisitor(CParser* parser)
    : parser_(parser)
{}

ParseVisitor::~ParseVisitor() = default;

void ParseVisitor::visit(SecurityAssociation&) {}

void ParseVisitor::visit(Proposal&) {}

void ParseVisitor::visit(Transform&) {}

void ParseVisitor::visit(EncryptionAlgorithm& payload)
{
    addInteger(*parser_, "enc-algo", payload.getValue());
}

void ParseVisitor::visit(KeyLength& payload)
{
    addInteger(*parser_, "key-length", payload.getValue());
}

void ParseVisitor::visit(HashAlgorithm& payload)
{
    addInteger(*parser_, "hash-algo", payload.getValue());
}

void ParseVisitor::visit(AuthenticationMethod& payload)
{
    const std::vector<std::string> values = {std::to_string(payload.getValue()),
                                             toHexText(payload.getData())};
    parser_->addArrayMember("auth-method", values, parser::Type::string, false);
}

void ParseVisitor::visit(GroupDescription& payload)
{
    addInteger(*parser_, "group-dsc", payload.getValue());
}

void ParseVisitor::visit(LifeType& payload)
{
    addInteger(*parser_, "life-type", payload.getValue());
}

void ParseVisitor::visit(LifeDuration& payload)
{
    addInteger(*parser_, "life-duration", payload.getValue());
}

} // namespace norvale::tamber::systemdata::ipseccfg::common

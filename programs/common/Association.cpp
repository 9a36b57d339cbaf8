// Reading of a security association's tree.

#include "Association.h"

#include "PayloadVisitor.h"

#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::programs {

namespace {

// Parents are visited before their children, so an attribute belongs to the transform that was visited last.
class Reader : public common::PayloadVisitor {
public:
    explicit Reader(const std::string& name)
        : name_(name)
    {}

    std::vector<ProposalTransforms> proposals() const { return proposals_; }

    void visit(common::SecurityAssociation& /*payload*/) override {}
    void visit(common::Proposal& payload) override { proposals_.push_back({payload.getId(), {}}); }
    void visit(common::Transform& payload) override
    {
        proposals_.back().transforms.emplace_back();
        transform_().id = payload.getId();
    }
    void visit(common::EncryptionAlgorithm& payload) override
    {
        take_(transform_().encryption, payload, "enc-algo");
    }
    void visit(common::KeyLength& payload) override { take_(transform_().keyLength, payload, "key-length"); }
    void visit(common::HashAlgorithm& payload) override { take_(transform_().hash, payload, "hash-algo"); }
    void visit(common::AuthenticationMethod& payload) override
    {
        take_(transform_().authentication, payload, "auth-method");
        transform_().authenticationData = payload.getData();
    }
    void visit(common::GroupDescription& payload) override
    {
        take_(transform_().group, payload, "group-dsc");
    }
    void visit(common::LifeType& payload) override { take_(transform_().lifeType, payload, "life-type"); }
    void visit(common::LifeDuration& payload) override
    {
        take_(transform_().lifeDuration, payload, "life-duration");
    }

private:
    TransformAttributes& transform_() { return proposals_.back().transforms.back(); }

    void take_(std::optional<int>& place, const common::Attribute& attribute, const char* member)
    {
        if (place)
            throw std::runtime_error(name_ + ", proposal " + std::to_string(proposals_.back().id) +
                                     ", transform " + std::to_string(transform_().id) + ": " + member +
                                     ": is given twice");
        place = attribute.getValue();
    }

    std::string name_;
    std::vector<ProposalTransforms> proposals_;
};

} // namespace

std::vector<ProposalTransforms> proposalsOf(const common::PayloadPtr& association, const std::string& name)
{
    Reader reader(name);
    if (association)
        association->accept(reader);
    return reader.proposals();
}

} // namespace norvale::tamber::systemdata::ipseccfg::programs

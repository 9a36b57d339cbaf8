// From the text of a message to its pieces and back.

#include "Document.h"

#include "parser_support.h"

namespace tests {

const std::vector<std::string> MEMBER_NAMES = {"table-id",     "scenario",      "setting-file-path",
                                               "fips-mode",    "ns-name",       "phase-id",
                                               "proposal-id",  "transform-id",  "enc-algo",
                                               "key-length",   "hash-algo",     "auth-method",
                                               "group-dsc",    "life-type",     "life-duration",
                                               "filter-id",    "filter-type",   "src-addr",
                                               "dst-addr",     "identity-type", "src-identity",
                                               "dst-identity", "priority",      "cert-kind",
                                               "cert-path",    "pkey-path",     "status",
                                               "detail"};

namespace {

Type typeOf(const DocumentMember& member)
{
    const bool number = !member.values.empty() && !member.values.front().empty() &&
                        member.values.front().find_first_not_of("0123456789") == std::string::npos;
    return number && !member.array ? Type::integer : Type::string;
}

} // namespace

std::optional<Document> documentOf(const std::string& text)
{
    CArrayParser message;
    if (parseText(message, text) != 0)
        return std::nullopt;
    Document document;
    for (const Structure& structure : structuresOf(message)) {
        document.emplace_back();
        for (const auto& [name, values] : structure)
            document.back().push_back({name, values, values.size() != 1});
    }
    return document;
}

std::string textOf(const Document& document)
{
    CArrayParser message;
    message.setCommand("/server");
    for (const DocumentStructure& members : document) {
        auto structure = std::make_unique<CParser>();
        for (const DocumentMember& member : members) {
            if (member.array)
                structure->addArrayMember(member.name, member.values, typeOf(member), false);
            else
                structure->addMember(member.name, member.values.front(), typeOf(member), false);
        }
        message.addElement(structure.get());
        static_cast<void>(structure.release());
    }
    std::ostringstream stream;
    COStream out(stream);
    return message.serialize(out) == 0 ? stream.str() : std::string();
}

} // namespace tests

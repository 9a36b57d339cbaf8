// A structured message: an XML-RPC array of structures as a request, an answer or a fault.

#include "CArrayParser.h"

#include "XmlRpcReader.h"
#include "XmlRpcWriter.h"

#include <stdexcept>
#include <utility>

namespace norvale::tamber::systemdata::parser {

CArrayParser::CArrayParser() = default;

CArrayParser::~CArrayParser()
{
    for (CParser* element : elements_)
        delete element;
}

void CArrayParser::setCommand(const std::string& name)
{
    command_ = name;
}

void CArrayParser::addElement(CParser* element)
{
    if (element == nullptr)
        throw std::invalid_argument("CArrayParser: no structure");
    elements_.push_back(element);
}

std::vector<CParser*>& CArrayParser::getElements()
{
    return elements_;
}

void CArrayParser::setPrettyPrint(bool on)
{
    prettyPrint_ = on;
}

int CArrayParser::serialize(COStream& out)
{
    return XmlRpcWriter(out, prettyPrint_).write(command_, elements_, fault_) ? 0 : 1;
}

int CArrayParser::parse(CIStream& in)
{
    CArrayParser message;
    if (!XmlRpcReader(message).read(in.in_))
        return 1;
    command_.swap(message.command_);
    elements_.swap(message.elements_);
    std::swap(fault_, message.fault_);
    return 0;
}

CFault& CArrayParser::getFault()
{
    return fault_;
}

} // namespace norvale::tamber::systemdata::parser

// The visitor interface's home for its virtual table.

#include "PayloadVisitor.h"

namespace norvale::tamber::systemdata::ipseccfg::common {

PayloadVisitor::~PayloadVisitor() = default;

} // namespace norvale::tamber::systemdata::ipseccfg::common

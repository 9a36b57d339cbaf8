// The engine's status as text for people.

#include "StatusView.h"

#include "Text.h"
#include "TextTable.h"

#include <algorithm>

namespace norvale::tamber::systemdata::ipseccfg::client {

std::string viewOf(const std::vector<RuleStatus>& rules)
{
    if (rules.empty())
        return "";
    std::vector<Row> rows = {{"priority", "action", "source", "destination", "state", "peer", "suite",
                              "bytes in/out", "packets in/out", "rekey"}};
    for (const RuleStatus& rule : rules) {
        Row row = {std::to_string(rule.priority), rule.action, rule.source, rule.destination,
                   rule.state + (rule.reason.empty() ? "" : ": " + rule.reason)};
        if (rule.tunnel)
            for (const std::string& text :
                 {rule.tunnel->peer, rule.tunnel->suite,
                  std::to_string(rule.tunnel->bytesIn) + "/" + std::to_string(rule.tunnel->bytesOut),
                  std::to_string(rule.tunnel->packetsIn) + "/" + std::to_string(rule.tunnel->packetsOut),
                  std::to_string(rule.tunnel->rekeySeconds) + " s"})
                row.push_back(text);
        while (row.size() < rows.front().size())
            row.push_back(cell(""));
        std::transform(row.begin(), row.end(), row.begin(), programs::printable);
        rows.push_back(row);
    }
    return aligned(rows);
}

} // namespace norvale::tamber::systemdata::ipseccfg::client

#ifndef TESTS_FUZZ_DOCUMENT_H
#define TESTS_FUZZ_DOCUMENT_H

// A structured message as a value that can be changed piece by piece.

#include <optional>
#include <string>
#include <vector>

namespace tests {

struct DocumentMember {
    std::string name;
    std::vector<std::string> values; ///< of a scalar the one
    bool array = false;
};

using DocumentStructure = std::vector<DocumentMember>;
using Document = std::vector<DocumentStructure>;

/// Every name that a member of the five messages has.
extern const std::vector<std::string> MEMBER_NAMES;

/// Nothing if the text is no message. All values are taken for texts or, if they look so, for numbers.
std::optional<Document> documentOf(const std::string& text);

/// The message's text; empty if XML cannot carry it.
std::string textOf(const Document& document);

} // namespace tests

#endif

#ifndef SYSTEMDATA_PARSER_XMLTEXT_H
#define SYSTEMDATA_PARSER_XMLTEXT_H

/// @file
/// What XML 1.0 (https://www.w3.org/TR/xml/) says about text: which characters it can carry, and what is
/// white space.

#include <cstddef>
#include <string_view>

namespace norvale::tamber::systemdata::parser {

/// Whether an XML 1.0 document in UTF-8 can carry the text: valid UTF-8 of the characters of the production
/// `Char`.
bool isXmlText(std::string_view text);

/// Whether the text is nothing but printable ASCII characters other than `&`, `<` and `>`, which stand for themselves wherever
/// they are.
bool isPlainText(std::string_view text);

/// Whether the text is nothing but white space (the production `S`), or empty.
bool isWhiteSpace(std::string_view text);

/// The text from its first character on that is not white space.
std::string_view withoutLeadingWhiteSpace(std::string_view text);

} // namespace norvale::tamber::systemdata::parser

#endif

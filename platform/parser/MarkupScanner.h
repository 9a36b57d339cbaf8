#ifndef SYSTEMDATA_PARSER_MARKUPSCANNER_H
#define SYSTEMDATA_PARSER_MARKUPSCANNER_H

/// @file
/// Finds where the markup of an XML text ends, so that an XML parser need never see half of a token.

#include <cstddef>

namespace norvale::tamber::systemdata::parser {

/// Follows an XML text, in pieces of any size, from token to token.
///
/// Why: an Expat that is given an unfinished token starts over at its beginning with every piece that
/// follows, which makes reading quadratic, or (since 2.6) lets it lie although it is finished, which would
/// keep the end of a message from being seen. Whoever holds back held() bytes gives Expat only whole tokens,
/// and both cannot happen.
///
/// Judges nothing that an XML parser will judge, except what must not get that far.
class MarkupScanner {
public:
    /// Reads on.
    void scan(const char* bytes, std::size_t size);

    /// How many of the bytes read last belong to a token that has not ended. Text and the contents of a CDATA
    /// section are no tokens: they may be passed on as they come. Once the text is refused, all from the
    /// refused token on.
    std::size_t held() const;

    /// Whether something came that must not get to an XML parser: a declaration (`<!DOCTYPE`, `<!ENTITY`,
    /// ...), a reference that cannot be one to a character or a predefined entity, or a NUL, the sign of
    /// UTF-16.
    bool refused() const;

private:
    enum class State {
        text,           ///< between markup
        opening,        ///< after "<"
        tag,            ///< in a start, end or empty-element tag
        quoted,         ///< in an attribute's value, up to quote_
        instruction,    ///< after "<?", up to "?>"
        exclamation,    ///< after "<!"
        commentOpening, ///< after "<!-"
        comment,        ///< after "<!--", up to "-->"
        cdataOpening,   ///< after "<![", matched_ characters of "CDATA[" read
        cdata,          ///< after "<![CDATA[", up to "]]>"
        reference,      ///< after "&", up to ";"
        refused
    };

    bool isToken_() const;
    /// Skips ahead to the first byte that can change the state.
    const char* skip_(const char* at, const char* end) const;
    void take_(char byte);
    void open_(char byte);
    void declare_(char byte);
    void openCdata_(char byte);
    void refer_(char byte);
    void inTag_(char byte);
    void closeAfter_(char byte, char mark, unsigned marks);
    void enter_(State state);

    State state_ = State::text;
    std::size_t held_ = 0;
    char quote_ = '"';
    unsigned matched_ = 0;
};

} // namespace norvale::tamber::systemdata::parser

#endif

// Pieces of messages.

#include "Wording.h"

#include "Text.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

// Longer words are no slips, and comparing them would take time.
constexpr std::size_t LONGEST_SLIP = 64;

std::string folded(std::string word)
{
    for (char& character : word) {
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
        else if (character == '_')
            character = '-';
    }
    return word;
}

// The number of letters to insert, to leave out, to change or to let change places with their neighbour (Levenshtein's
// distance, with Damerau's extension), row by row.
std::size_t distanceBetween(const std::string& one, const std::string& other)
{
    std::vector<std::size_t> above;
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::vector<std::size_t> next = {i + 1};
        for (std::size_t j = 0; j < other.size(); ++j) {
            const std::size_t changed = row[j] + (one[i] == other[j] ? 0 : 1);
            next.push_back(std::min({changed, row[j + 1] + 1, next[j] + 1}));
            if (i > 0 && j > 0 && one[i] == other[j - 1] && one[i - 1] == other[j])
                next.back() = std::min(next.back(), above[j - 1] + 1);
        }
        above = std::exchange(row, next);
    }
    return row.back();
}

// Whether a word is one that somebody has not written to its end.
bool isBeginning(const std::string& word, const std::string& candidate)
{
    constexpr std::size_t SHORTEST_BEGINNING = 3;
    return word.size() >= SHORTEST_BEGINNING && candidate.compare(0, word.size(), word) == 0;
}

} // namespace

std::string quoted(const std::string& text)
{
    return "'" + programs::printable(text) + "'";
}

std::string listed(const std::vector<std::string>& words)
{
    std::string list;
    for (const std::string& word : words)
        list += (list.empty() ? "" : ", ") + word;
    return list;
}

std::string suggestion(const std::string& word, const std::vector<std::string>& known)
{
    if (word.size() > LONGEST_SLIP)
        return std::string();
    const std::string* nearest = nullptr;
    std::pair<std::size_t, std::size_t> least; // slips, and letters that differ: nobody slips in a beginning
    for (const std::string& candidate : known) {
        const std::size_t distance = distanceBetween(folded(word), folded(candidate));
        const bool begins = isBeginning(folded(word), folded(candidate));
        const std::pair<std::size_t, std::size_t> found = {begins ? 0 : distance, distance};
        if ((begins || distance <= candidate.size() / 3) && (nearest == nullptr || found < least)) {
            nearest = &candidate;
            least = found;
        }
    }
    return nearest == nullptr ? std::string() : " (did you mean " + quoted(*nearest) + "?)";
}

std::string counted(std::size_t count, const std::string& noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace norvale::tamber::systemdata::ipseccfg::client

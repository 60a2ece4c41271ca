// The grammar of a channel specification such as "Fz-Cz", "A1/2+A2/2" or
// "-C3*2/3": terms one after another, each [+][-]source[*factor][/divisor].
// Every "+" or "-" after the first character starts a new term, so there are
// no parentheses, no precedence, and no signed exponents in numbers ("1e-3"
// cannot be a factor).
#pragma once

#include <string>

namespace QVT {

struct ChannelTerm {
  std::string source;  // a reference for Headset::MatchSource, not yet resolved
  double weight;
};

// Cuts the next term off the front of text: everything before the first "+"
// or "-" that is not text's first character. text keeps the rest, beginning
// with its sign (or becomes empty).
std::string CutChannelTerm(std::string& text);

// Reads one term; multiplier is the weight of an unsigned term without factor
// or divisor. Throws "could not interpret \"<term>\" as a valid channel
// specification" (with the trimmed term) for a malformed term or a zero
// divisor.
ChannelTerm ReadChannelTerm(const std::string& term, double multiplier);

}  // namespace QVT

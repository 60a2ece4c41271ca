#include "model/ChannelSpecification.h"

#include <vector>

#include "util/Text.h"

namespace QVT {

std::string CutChannelTerm(std::string& text) {
  const std::size_t end = text.find_first_of("+-", 1);
  std::string term;
  if (end == std::string::npos) {
    term.swap(text);
  } else {
    term = text.substr(0, end);
    text.erase(0, end);
  }
  return term;
}

ChannelTerm ReadChannelTerm(const std::string& rawTerm, double multiplier) {
  const std::string term = Trim(rawTerm);
  const auto fail = [&term]() -> std::string {
    return "could not interpret \"" + term + "\" as a valid channel specification";
  };

  const std::vector<std::string> quotient = Split(term, "/");
  if (quotient.empty() || quotient.size() > 2) throw fail();
  const std::vector<std::string> product = Split(quotient[0], "*");
  if (product.empty() || product.size() > 2) throw fail();

  ChannelTerm result{product[0], multiplier};
  Chomp(result.source, "+");
  if (Chomp(result.source, "-")) result.weight = -multiplier;
  if (product.size() == 2) {
    double factor = 0.0;
    if (!String2Double(product[1], factor)) throw fail();
    result.weight *= factor;
  }
  if (quotient.size() == 2) {
    double divisor = 0.0;
    if (!String2Double(quotient[1], divisor) || divisor == 0.0) throw fail();
    result.weight /= divisor;
  }
  return result;
}

}  // namespace QVT

// The texts of a BDF+ header: printable ASCII only, in fields of a fixed
// width, so names are spelled out in plain letters rather than mangled.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace QVT::Record {

// UTF-8 text as printable ASCII: accented Latin letters lose their accent
// (German umlauts become ae, oe, ue; ß ss; Æ AE), a few marks become their
// plain form, and anything else becomes '?'. Invalid UTF-8 counts as
// anything else; control characters become blanks.
std::string AsciiText(std::string_view utf8);

struct HeaderField {
  std::string text;  // ASCII, blanks as '_', at most the width asked for
  bool cut = false;  // whether the text had to be shortened to fit
};

// One subfield of the header's subject or recording field, which separates
// its subfields with blanks.
HeaderField FitHeaderField(std::string_view utf8, std::size_t width);

}  // namespace QVT::Record

#include "model/ChannelLookup.h"

#include "util/Text.h"

namespace QVT {

namespace {

bool SourceNameMatches(const Channel& channel, const std::string& key, bool includeAliases) {
  const Source* s = channel.MaxPositiveSource();
  return s && s->NameMatches(key, includeAliases);
}

bool FormulaMatches(const Channel& channel, const std::string& key) {
  return Upper(Trim(channel.String(true))) == key;
}

}  // namespace

Channel* GetChannelByName(const std::vector<Channel*>& channels, const std::string& name, bool mustMatch) {
  const std::string t = Trim(name);
  const std::string key = Upper(t);
  for (int pass = 1; pass <= 3; ++pass) {
    Channel* found = nullptr;
    for (Channel* c : channels) {
      if (!c) continue;
      const bool matches = pass == 2 ? FormulaMatches(*c, key) : SourceNameMatches(*c, key, pass == 3);
      if (matches) found = c;
    }
    if (found) return found;
  }
  if (!mustMatch) return nullptr;

  std::string known;
  for (const Channel* c : channels) {
    if (!c) continue;
    if (!known.empty()) known += ", ";
    known += c->Name();
  }
  throw "Could not match Channel \"" + t + "\" (known names are: " + known + ")";
}

}  // namespace QVT

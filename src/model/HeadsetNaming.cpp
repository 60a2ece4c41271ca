// Finding, renaming and listing a headset's sources by name.
#include <sstream>

#include "core/Headset.h"
#include "model/NamingScheme.h"
#include "model/SourceNameFilter.h"
#include "util/Text.h"

namespace QVT {

namespace {

// "CH3" and "SRC3" are the same reference as "3".
std::string WithoutNumberPrefix(const std::string& key) {
  int ignored = 0;
  for (const char* prefix : {"CH", "SRC"}) {
    std::string rest = key;
    if (Chomp(rest, prefix) && String2Integer(rest, ignored)) return rest;
  }
  return key;
}

bool PassesNameFilter(SourceID::Code c, SourceID::Code factoryReference, unsigned short flags) {
  using namespace SourceID;
  using namespace SourceNameFilter;
  const auto has = [flags](unsigned short bit) { return (flags & bit) != 0; };
  if (!has(kEmptySlots) && (c == NR || c == NC)) return false;
  if (c == TRG) return has(kTriggerWord) && (factoryReference != TRG || has(kFactoryReference));
  if (c >= TRG0 && c <= TRG7 && !has(kTriggerBits)) return false;
  if ((c == SND || c == RCV) && !has(kSendReceive)) return false;
  if (c == factoryReference && !has(kFactoryReference)) return false;
  if (c == CM) return has(kCommonMode);
  if (c == NUL) return has(kNull);
  if (c >= ACCX && c <= ACCZ) return has(kAccelerometerAxes);
  if (c == ACCT || c == JERK) return has(kAccelerometerExtras);
  return true;
}

}  // namespace

Source* Headset::MatchSource(SourceID::Code code) const {
  for (const auto& s : sources)
    if (s->id == code) return s.get();
  return nullptr;
}

Source* Headset::MatchSource(std::string name, bool mustMatch) const {
  const std::string t = Trim(std::move(name));
  const std::string key = WithoutNumberPrefix(Upper(t));

  int n = 0;
  if (String2Integer(key, n)) {
    if (n >= 1 && static_cast<std::size_t>(n) <= sources.size()) return sources[n - 1].get();
    std::ostringstream message;
    message << "Invalid source number " << n << " (use names, or numbers from 1 to " << sources.size()
            << ").";
    throw message.str();
  }

  // Aliases count only when no name fits.
  Source* found = nullptr;
  for (bool includeAliases : {false, true}) {
    for (const auto& s : sources) {
      if (s->id == SourceID::NR || s->id == SourceID::NC) continue;
      if (!s->NameMatches(key, includeAliases)) continue;
      if (found && found != s.get()) throw "The name \"" + t + "\" matches more than one source.";
      found = s.get();
    }
    if (found) return found;
  }
  if (!mustMatch) return nullptr;

  // A list of separators alone still holds a word: the empty one after them.
  if (Split(SourceNames(SourceNameFilter::kPlain), kListSeparators).empty())
    throw "Failed to match desired source \"" + t +
        "\". Unfortunately, the flash memory of this headset contains no information about source IDs - "
        "but you can still use numbers or strings like \"SRC01\" instead of names.";
  throw "Failed to match desired source \"" + t + "\" - known names are: \"" +
      SourceNames(SourceNameFilter::kKnownNames) + "\"";
}

bool Headset::RenameSource(const std::string& oldName, const std::string& newName) {
  Source* s = MatchSource(oldName, false);
  if (!s) return false;
  const Source* other = MatchSource(newName, false);
  if (other && other != s)
    throw "cannot rename Source " + oldName + " to " + newName +
        " because there is another Source already called " + newName;
  s->name = newName;
  return true;
}

void Headset::UseNamingScheme(const std::string& scheme) {
  static constexpr std::array<const char*, 4> kNames1020 = {"T3", "T4", "T5", "T6"};
  static constexpr std::array<const char*, 4> kNames1010 = {"T7", "T8", "P7", "P8"};
  const std::array<const char*, 4>* from = nullptr;
  const std::array<const char*, 4>* to = nullptr;
  if (scheme == "10-10" || scheme == "1010") {
    from = &kNames1020;
    to = &kNames1010;
  } else if (scheme == "10-20" || scheme == "1020") {
    from = &kNames1010;
    to = &kNames1020;
  } else {
    throw "Unrecognized electrode naming scheme \"" + scheme + "\"";
  }
  // A headset without one of these positions simply skips its rename.
  for (std::size_t i = 0; i < from->size(); ++i) RenameSource((*from)[i], (*to)[i]);
  namingScheme = scheme;
}

bool Headset::AddSourceAliases(const std::string& list) {
  const std::vector<std::string> words = Split(list, kListSeparators);
  if (words.empty()) return false;
  Source* target = nullptr;
  for (const std::string& word : words) {
    Source* s = MatchSource(word, false);
    if (!s) continue;
    if (target && target != s)
      throw "\"" + list + "\" matches more than one Source, and hence cannot be set as a list of aliases ";
    target = s;
  }
  if (!target) return false;
  for (const std::string& word : words) {
    const std::string w = Trim(word);
    const std::string key = Upper(w);
    bool known = false;
    for (const std::string& alias : target->aliases) known = known || Trim(Upper(alias)) == key;
    if (!known) target->aliases.push_back(w);
  }
  return true;
}

std::string Headset::SourceNames(unsigned short flags) const {
  std::string names;
  bool first = true;
  for (const auto& s : sources) {
    if (!PassesNameFilter(s->id, factoryReferenceCode, flags)) continue;
    if (!first) names += ' ';
    names += s->name;
    first = false;
  }
  return names;
}

}  // namespace QVT

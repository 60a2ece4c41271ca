// Finding a channel by name among the montage's or a processing stage's
// channels.
#pragma once

#include <string>
#include <vector>

#include "model/Channel.h"

namespace QVT {

// Case-blind, ignoring surrounding whitespace. Three passes, each returning
// the last channel it matched: the name of the channel's largest positive
// source; the channel's formula; that source's aliases. Null channels are
// skipped. With mustMatch a miss throws, listing the channels' names.
Channel* GetChannelByName(const std::vector<Channel*>& channels, const std::string& name, bool mustMatch);

}  // namespace QVT

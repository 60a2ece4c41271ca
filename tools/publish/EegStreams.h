// The two streams a headset is published as: its signal ("EEG", float32 µV,
// the montage with the trigger, described the way recorders and analysis
// programs read it) and its events ("Markers", text, irregular). Their
// identities come from the headset's model and serial number, so that an
// inlet finds the same stream again after a restart.
#pragma once

#include <string>

#include "Part.h"
#include "StreamInfo.h"

namespace QVT::Publish {

// "qvt <model> <serial>" unless a name is given.
std::string StreamName(const Session::SessionStart& start, const std::string& name);

// The EEG stream: name, source id "qvt-<model>-<serial>", and a <desc> with
// channels (label, unit, type, location in mm for 10-20/10-10 electrodes,
// the impedance measured at start in kOhm), reference, acquisition,
// impedance and synchronization.
Lsl::StreamInfo EegStream(const Session::SessionStart& start, const std::string& name);

// "<name> Markers", one string channel, its own source id.
Lsl::StreamInfo MarkerStream(const Session::SessionStart& start, const std::string& name);

}  // namespace QVT::Publish

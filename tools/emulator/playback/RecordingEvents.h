// What a recording's annotations ask of the virtual headset: trigger
// pulses ("TRG 5", or a number alone) and electrode impedances
// ("Z Fp1 12.5 kOhm"). Other annotations are not the headset's business.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace QVT::emulator {

// The trigger value an annotation carries: 1 to 255.
std::optional<int> AnnotatedTrigger(std::string_view text);

struct AnnotatedImpedance {
  std::string electrode;
  double kiloOhms = 0.0;
};
std::optional<AnnotatedImpedance> AnnotatedImpedanceOf(std::string_view text);

}  // namespace QVT::emulator

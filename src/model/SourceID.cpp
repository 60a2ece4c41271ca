#include "model/SourceID.h"

#include <algorithm>
#include <array>

namespace QVT {

namespace SourceID {

namespace {

constexpr std::array<NamedCode, 147> kTable{{
    {NR, "NR"},     {Fp1, "Fp1"},   {Fpz, "Fpz"},   {Fp2, "Fp2"},   {F7, "F7"},     {F3, "F3"},
    {Fz, "Fz"},     {F4, "F4"},     {F8, "F8"},     {M1, "M1"},     {T3, "T3"},     {C3, "C3"},
    {Cz, "Cz"},     {C4, "C4"},     {T4, "T4"},     {M2, "M2"},     {T5, "T5"},     {P3, "P3"},
    {CM, "CM"},     {P4, "P4"},     {T6, "T6"},     {O1, "O1"},     {O2, "O2"},     {X1, "X1"},
    {X2, "X2"},     {X3, "X3"},     {S1, "S1"},     {S2, "S2"},     {S3, "S3"},     {S4, "S4"},
    {S5, "S5"},     {S6, "S6"},     {S7, "S7"},     {Pz, "Pz"},     {A1, "A1"},     {A2, "A2"},
    {A1A2, "A1A2"}, {M1M2, "M1M2"}, {ECG, "ECG"},   {EMG, "EMG"},   {EOG, "EOG"},   {Oz, "Oz"},
    {AFz, "AFz"},   {AF3, "AF3"},   {AF4, "AF4"},   {AF7, "AF7"},   {AF8, "AF8"},   {F1, "F1"},
    {F2, "F2"},     {F5, "F5"},     {F6, "F6"},     {F9, "F9"},     {F10, "F10"},   {FCz, "FCz"},
    {FC1, "FC1"},   {FC2, "FC2"},   {FC3, "FC3"},   {FC4, "FC4"},   {FC5, "FC5"},   {FC6, "FC6"},
    {FT7, "FT7"},   {FT8, "FT8"},   {FT9, "FT9"},   {FT10, "FT10"}, {C1, "C1"},     {C2, "C2"},
    {C5, "C5"},     {C6, "C6"},     {T9, "T9"},     {T10, "T10"},   {CPz, "CPz"},   {CP1, "CP1"},
    {CP2, "CP2"},   {CP3, "CP3"},   {CP4, "CP4"},   {CP5, "CP5"},   {CP6, "CP6"},   {TP7, "TP7"},
    {TP8, "TP8"},   {P1, "P1"},     {P2, "P2"},     {P5, "P5"},     {P6, "P6"},     {P9, "P9"},
    {P10, "P10"},   {POz, "POz"},   {PO3, "PO3"},   {PO4, "PO4"},   {PO7, "PO7"},   {PO8, "PO8"},
    {Iz, "Iz"},     {Nz, "Nz"},     {T7, "T7"},     {T8, "T8"},     {P7, "P7"},     {P8, "P8"},
    {TP9, "TP9"},   {TP10, "TP10"}, {Xa, "Xa"},     {GSR, "GSR"},   {RSP, "RSP"},   {TMP1, "TMP1"},
    {TMP2, "TMP2"}, {U103, "U103"}, {U104, "U104"}, {U105, "U105"}, {L1, "L1"},     {L2, "L2"},
    {L3, "L3"},     {L4, "L4"},     {L4a, "L4a"},   {L4b, "L4b"},   {L5, "L5"},     {L6, "L6"},
    {L7, "L7"},     {L8, "L8"},     {R1, "R1"},     {R2, "R2"},     {R3, "R3"},     {R4, "R4"},
    {R4a, "R4a"},   {R4b, "R4b"},   {R5, "R5"},     {R6, "R6"},     {R7, "R7"},     {R8, "R8"},
    {G, "G"},       {U127, "U127"}, {U128, "U128"}, {NC, "NC"},     {TRG, "TRG"},   {SND, "SND"},
    {RCV, "RCV"},   {NUL, "NUL"},   {TRG0, "TRG0"}, {TRG1, "TRG1"}, {TRG2, "TRG2"}, {TRG3, "TRG3"},
    {TRG4, "TRG4"}, {TRG5, "TRG5"}, {TRG6, "TRG6"}, {TRG7, "TRG7"}, {ACCT, "ACCT"}, {ACCX, "ACCX"},
    {ACCY, "ACCY"}, {ACCZ, "ACCZ"}, {JERK, "JERK"},
}};

}  // namespace

std::span<const NamedCode> Table() { return kTable; }

}  // namespace SourceID

const char* SourceIDName(long code) {
  const auto row = std::find_if(SourceID::kTable.begin(), SourceID::kTable.end(),
                                [code](const SourceID::NamedCode& r) { return r.code == code; });
  return row == SourceID::kTable.end() ? "UnknownSourceID" : row->name;
}

}  // namespace QVT

// Identity codes of the headset's sources. Codes 0 to 128 name the input
// slots that calibration memory can assign; 255 to 272 are sources the host
// makes itself (trigger word and bits, accelerometer axes, fixed signals).
#pragma once

#include <cstdint>
#include <span>

namespace QVT {

namespace SourceID {

enum Code : std::int32_t {
  NR = 0,  // no source in this slot
  Fp1 = 1,
  Fpz = 2,
  Fp2 = 3,
  F7 = 4,
  F3 = 5,
  Fz = 6,
  F4 = 7,
  F8 = 8,
  M1 = 9,
  T3 = 10,
  C3 = 11,
  Cz = 12,
  C4 = 13,
  T4 = 14,
  M2 = 15,
  T5 = 16,
  P3 = 17,
  CM = 18,  // common-mode electrode
  P4 = 19,
  T6 = 20,
  O1 = 21,
  O2 = 22,
  X1 = 23,
  X2 = 24,
  X3 = 25,
  S1 = 26,
  S2 = 27,
  S3 = 28,
  S4 = 29,
  S5 = 30,
  S6 = 31,
  S7 = 32,
  Pz = 33,  // default factory reference
  A1 = 34,
  A2 = 35,
  A1A2 = 36,
  M1M2 = 37,
  ECG = 38,
  EMG = 39,
  EOG = 40,
  Oz = 41,
  AFz = 42,
  AF3 = 43,
  AF4 = 44,
  AF7 = 45,
  AF8 = 46,
  F1 = 47,
  F2 = 48,
  F5 = 49,
  F6 = 50,
  F9 = 51,
  F10 = 52,
  FCz = 53,
  FC1 = 54,
  FC2 = 55,
  FC3 = 56,
  FC4 = 57,
  FC5 = 58,
  FC6 = 59,
  FT7 = 60,
  FT8 = 61,
  FT9 = 62,
  FT10 = 63,
  C1 = 64,
  C2 = 65,
  C5 = 66,
  C6 = 67,
  T9 = 68,
  T10 = 69,
  CPz = 70,
  CP1 = 71,
  CP2 = 72,
  CP3 = 73,
  CP4 = 74,
  CP5 = 75,
  CP6 = 76,
  TP7 = 77,
  TP8 = 78,
  P1 = 79,
  P2 = 80,
  P5 = 81,
  P6 = 82,
  P9 = 83,
  P10 = 84,
  POz = 85,
  PO3 = 86,
  PO4 = 87,
  PO7 = 88,
  PO8 = 89,
  Iz = 90,
  Nz = 91,
  T7 = 92,
  T8 = 93,
  P7 = 94,
  P8 = 95,
  TP9 = 96,
  TP10 = 97,
  Xa = 98,
  GSR = 99,
  RSP = 100,
  TMP1 = 101,
  TMP2 = 102,
  U103 = 103,
  U104 = 104,
  U105 = 105,
  L1 = 106,
  L2 = 107,
  L3 = 108,
  L4 = 109,
  L4a = 110,
  L4b = 111,
  L5 = 112,
  L6 = 113,
  L7 = 114,
  L8 = 115,
  R1 = 116,
  R2 = 117,
  R3 = 118,
  R4 = 119,
  R4a = 120,
  R4b = 121,
  R5 = 122,
  R6 = 123,
  R7 = 124,
  R8 = 125,
  G = 126,
  U127 = 127,
  U128 = 128,
  NC = 255,   // not connected
  TRG = 256,  // trigger word
  SND = 257,
  RCV = 258,
  NUL = 259,  // always zero
  TRG0 = 260,
  TRG1 = 261,
  TRG2 = 262,
  TRG3 = 263,
  TRG4 = 264,
  TRG5 = 265,
  TRG6 = 266,
  TRG7 = 267,
  ACCT = 268,
  ACCX = 269,
  ACCY = 270,
  ACCZ = 271,
  JERK = 272,
};

struct NamedCode {
  Code code;
  const char* name;
};

// Every named code once, in ascending order of code.
std::span<const NamedCode> Table();

}  // namespace SourceID

// The name of a code, or "UnknownSourceID" for a code the table lacks.
const char* SourceIDName(long code);

}  // namespace QVT

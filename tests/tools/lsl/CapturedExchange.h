// What the reference outlet sent its inlets on one machine, copied from a
// capture of their traffic: the fixtures our outlet's bytes are held to.
#pragma once

#include <cstdlib>
#include <string>
#include <string_view>

namespace QVT::Lsl::Captured {

// Bytes from "02 c9 76 ..." as the capture prints them.
inline std::string Bytes(std::string_view hex) {
  std::string bytes;
  for (std::size_t at = 0; at + 1 < hex.size(); at += 3)
    bytes += static_cast<char>(std::strtoul(std::string(hex.substr(at, 2)).c_str(), nullptr, 16));
  return bytes;
}

// The EEG outlet: "TestEEG", 8 float32 channels at 100 Hz, on port 16572.
constexpr const char* kEEGUid = "bd8d6d38-ee0a-4707-acde-dbaab88e29f9";
constexpr const char* kEEGCreatedAt = "1140.626543276000";
constexpr const char* kEEGHostname = "vm";
constexpr const char* kEEGLabels[] = {"C3", "C4", "Cz", "FPz", "POz", "CPz", "O1", "O2"};

constexpr std::string_view kEEGInfoHead =
    "<?xml version=\"1.0\"?>\n"
    "<info>\n"
    "\t<name>TestEEG</name>\n"
    "\t<type>EEG</type>\n"
    "\t<channel_count>8</channel_count>\n"
    "\t<channel_format>float32</channel_format>\n"
    "\t<source_id>TestEEGEEG</source_id>\n"
    "\t<nominal_srate>100.0000000000000</nominal_srate>\n"
    "\t<version>1.100000000000000</version>\n"
    "\t<created_at>1140.626543276000</created_at>\n"
    "\t<uid>bd8d6d38-ee0a-4707-acde-dbaab88e29f9</uid>\n"
    "\t<session_id>default</session_id>\n"
    "\t<hostname>vm</hostname>\n"
    "\t<v4address></v4address>\n"
    "\t<v4data_port>16572</v4data_port>\n"
    "\t<v4service_port>16572</v4service_port>\n"
    "\t<v6address></v6address>\n"
    "\t<v6data_port>0</v6data_port>\n"
    "\t<v6service_port>0</v6service_port>\n";

inline std::string EEGShortInfo() { return std::string(kEEGInfoHead) + "\t<desc />\n</info>\n"; }

inline std::string EEGFullInfo() {
  std::string info = std::string(kEEGInfoHead) + "\t<desc>\n\t\t<manufacturer>LSL</manufacturer>\n\t\t<channels>\n";
  for (const char* label : kEEGLabels)
    info += std::string("\t\t\t<channel>\n\t\t\t\t<label>") + label +
            "</label>\n\t\t\t\t<unit>microvolts</unit>\n\t\t\t\t<type>EEG</type>\n\t\t\t</channel>\n";
  return info + "\t\t</channels>\n\t</desc>\n</info>\n";
}

constexpr std::string_view kEEGFeedRequest =
    "LSL:streamfeed/110 bd8d6d38-ee0a-4707-acde-dbaab88e29f9\r\n"
    "Native-Byte-Order: 1234\r\n"
    "Endian-Performance: 8.85555e+06\r\n"
    "Has-IEEE754-Floats: 1\r\n"
    "Supports-Subnormals: 1\r\n"
    "Value-Size: 4\r\n"
    "Data-Protocol-Version: 110\r\n"
    "Max-Buffer-Length: 36000\r\n"
    "Max-Chunk-Length: 0\r\n"
    "Hostname: vm\r\n"
    "Source-Id: TestEEGEEG\r\n"
    "Session-Id: default\r\n"
    "\r\n";

constexpr std::string_view kEEGFeedReply =
    "LSL/110 200 OK\r\n"
    "UID: bd8d6d38-ee0a-4707-acde-dbaab88e29f9\r\n"
    "Byte-Order: 1234\r\n"
    "Suppress-Subnormals: 0\r\n"
    "Data-Protocol-Version: 110\r\n"
    "\r\n";

inline std::string EEGTestPattern() {
  return Bytes(
      "02 c9 76 be 9f 0c 24 fe 40 00 00 80 40 00 00 a0 c0 00 00 c0 40 00 00 e0 c0 00 00 00 41 00 00 10 c1 00 00 20 41 "
      "00 00 30 c1 02 c9 76 be 9f 0c 24 fe 40 00 00 00 40 00 00 40 c0 00 00 80 40 00 00 a0 c0 00 00 c0 40 00 00 e0 c0 "
      "00 00 00 41 00 00 10 c1");
}

// The first two samples after the test pattern, and what they carry.
inline std::string EEGFirstSamples() {
  return Bytes(
      "02 fa 2a 96 ae 96 d6 91 40 50 8d 57 3f f4 fd 54 3d 2f dd 84 3f 6f 12 83 bd 39 b4 c8 bd 12 83 c0 bd 04 56 4e 3f "
      "17 d9 ae 3f 02 5c 89 ea f4 a0 d6 91 40 b2 9d 2f bf f4 fd 14 bf cb a1 85 bf 42 60 e5 3d 31 08 8c 3f 8f c2 75 bd "
      "fa 7e aa bf 17 d9 8e 3f");
}
constexpr double kEEGFirstStamps[] = {1141.64715037, 1141.657184281};
constexpr float kEEGFirstValues[2][8] = {{0.842f, 0.052f, 1.038f, -0.064f, -0.098f, -0.094f, 0.806f, 1.366f},
                                         {-0.686f, -0.582f, -1.044f, 0.112f, 1.094f, -0.06f, -1.332f, 1.116f}};

// The marker outlet: one string channel.
inline std::string MarkerTestPattern() {
  return Bytes("02 c9 76 be 9f 0c 24 fe 40 01 02 31 30 02 c9 76 be 9f 0c 24 fe 40 01 02 31 30");
}
inline std::string MarkerSamples() {
  return Bytes("02 e5 8e bf 33 d8 16 92 40 01 04 54 65 73 74 02 f2 3c 7e 90 87 25 92 40 01 03 58 58 58");
}
constexpr double kMarkerStamps[] = {1157.711134904, 1161.382387135};
constexpr const char* kMarkerTexts[] = {"Test", "XXX"};

}  // namespace QVT::Lsl::Captured

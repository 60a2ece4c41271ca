// A program's man page in roff, written from its option table.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

namespace QVT::Tools {

// What a program says about itself beside its options.
struct ProgramText {
  std::string name;         // qvt-record
  std::string version;      // the line --version prints
  std::string summary;      // one line, for the man page's NAME
  std::string description;  // paragraphs under the usage line
  std::vector<std::pair<std::string, std::string>> exitStatuses;  // every status and its meaning
  std::string environment;                                // may be empty
};

// The options shown are those in a group: CLI11 hides the others. The
// synopsis ends with synopsisTail, such as "[-- COMMAND [ARGS...]]".
std::string ManPage(const CLI::App& app, const ProgramText& text, const std::string& synopsisTail);

// Roff source of plain text: backslashes, and lines that would read as
// requests, are escaped.
std::string RoffText(const std::string& text);

}  // namespace QVT::Tools

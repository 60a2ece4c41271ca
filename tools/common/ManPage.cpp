#include "ManPage.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace QVT::Tools {

namespace {

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

// Option names in bold, with roff's minus signs.
std::string Name(const std::string& name) {
  std::string escaped;
  for (const char c : name) escaped += c == '-' ? std::string("\\-") : std::string(1, c);
  return "\\fB" + escaped + "\\fR";
}

std::string OptionHeading(const CLI::Option& option) {
  std::string heading;
  for (const std::string& name : option.get_snames()) heading += (heading.empty() ? "" : ", ") + Name("-" + name);
  for (const std::string& name : option.get_lnames()) heading += (heading.empty() ? "" : ", ") + Name("--" + name);
  if (option.get_expected_max() > 0 && !option.get_type_name().empty())
    heading += " \\fI" + RoffText(option.get_type_name()) + "\\fR";
  return heading;
}

}  // namespace

std::string RoffText(const std::string& text) {
  std::string escaped;
  bool lineStart = true;
  for (const char c : text) {
    if (lineStart && (c == '.' || c == '\'')) escaped += "\\&";
    escaped += c == '\\' ? std::string("\\e") : std::string(1, c);
    lineStart = c == '\n';
  }
  return escaped;
}

std::string ManPage(const CLI::App& app, const ProgramText& text, const std::string& synopsisTail) {
  std::ostringstream page;
  page << ".TH " << Upper(text.name) << " 1 \"\" \"" << RoffText(text.version) << "\" \"User Commands\"\n"
       << ".SH NAME\n"
       << RoffText(text.name) << " \\- " << RoffText(text.summary) << "\n"
       << ".SH SYNOPSIS\n"
       << ".B " << text.name << "\n"
       << "[\\fIOPTIONS\\fR]";
  const auto positionals = app.get_options([](const CLI::Option* option) { return option->get_positional(); });
  for (const CLI::Option* option : positionals)
    page << (option->get_required() ? " \\fI" : " [\\fI") << RoffText(option->get_name(true))
         << (option->get_required() ? "\\fR" : "\\fR]");
  if (!synopsisTail.empty()) page << " " << RoffText(synopsisTail);
  page << "\n.SH DESCRIPTION\n";
  // Paragraphs are separated by blank lines.
  std::istringstream description(text.description);
  for (std::string line; std::getline(description, line);) page << (line.empty() ? ".PP" : RoffText(line)) << "\n";
  page << ".SH OPTIONS\n";
  // The arguments first, then the options.
  auto shown = app.get_options([](const CLI::Option* option) { return !option->get_group().empty(); });
  std::stable_partition(shown.begin(), shown.end(), [](const CLI::Option* option) { return option->get_positional(); });
  for (const CLI::Option* option : shown) {
    page << ".TP\n";
    if (option->get_positional())
      page << "\\fI" << RoffText(option->get_name(true)) << "\\fR\n";
    else
      page << OptionHeading(*option) << "\n";
    page << RoffText(option->get_description()) << "\n";
  }
  page << ".SH EXIT STATUS\n";
  for (const auto& [status, meaning] : text.exitStatuses) page << ".TP\n.B " << status << "\n" << RoffText(meaning) << "\n";
  if (!text.environment.empty()) page << ".SH ENVIRONMENT\n" << RoffText(text.environment) << "\n";
  return page.str();
}

}  // namespace QVT::Tools

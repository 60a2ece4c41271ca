#include "CommandLine.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "OutputFile.h"

namespace QVT::Tools {
namespace {

struct Parsed {
  std::string port = "DEFAULT";
  double seconds = 0.0;
  double impedance = 0.0;
  int level = 2;
  std::vector<std::string> command;
  std::optional<std::string> output;
};

ProgramText Text() { return {"qvt-test", "qvt-test 1.0", "test the convention", "A line.\n\n.Dotted line", {{"0", "fine"}}, ""}; }

Parsed Parse(const std::vector<std::string>& arguments) {
  Parsed parsed;
  CommandLine line(Text());
  line.AddPort(parsed.port);
  line.AddSeconds(parsed.seconds, "run");
  line.AddImpedance(parsed.impedance);
  line.AddVerbosity(parsed.level);
  line.App().add_option("--hidden", parsed.seconds)->group("");
  line.TakeCommandAfterDashes(parsed.command);
  parsed.output = line.Parse(arguments);
  return parsed;
}

TEST(CommandLine, SharedOptionsTakeShortAndLongSpellingsAndCountVerbosity) {
  const Parsed defaults = Parse({});
  EXPECT_EQ(defaults.port, "DEFAULT");
  EXPECT_EQ(defaults.seconds, 0.0);
  EXPECT_EQ(defaults.level, 2);
  EXPECT_FALSE(defaults.output);

  const Parsed parsed = Parse({"-p", "/dev/ttyX", "--seconds=2.5", "-i", "1", "-vv", "--", "prog", "-v", "--"});
  EXPECT_EQ(parsed.port, "/dev/ttyX");
  EXPECT_EQ(parsed.seconds, 2.5);
  EXPECT_EQ(parsed.impedance, 1.0);
  EXPECT_EQ(parsed.level, 4);
  EXPECT_EQ(parsed.command, (std::vector<std::string>{"prog", "-v", "--"}));

  EXPECT_EQ(Parse({"--verbose", "-v", "--log-level", "0"}).level, 0);
  EXPECT_EQ(Parse({"-vvvvvvvv"}).level, 7);
}

// Each error is one line naming the option or argument at fault.
TEST(CommandLine, RefusesBadValuesUnknownOptionsAndShortImpedanceChecks) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> refused = {
      {{"--seconds", "-1"}, "seconds"},   {{"--seconds", "x"}, "seconds"},       {{"-s", "2s"}, "seconds"},
      {{"--seconds", "nan"}, "seconds"},  {{"--seconds", "1e9"}, "seconds"},     {{"--seconds"}, "seconds"},
      {{"--impedance", "0.3"}, "averaging"}, {{"-i", "-1"}, "impedance"},       {{"--port="}, "port"},
      {{"--log-level", "8"}, "log-level"}, {{"--log-level", "2.5"}, "log-level"}, {{"--sconds", "3"}, "sconds"},
      {{"stray"}, "stray"},               {{"--verbose", "0"}, "0"},
  };
  for (const auto& [arguments, named] : refused) {
    SCOPED_TRACE(arguments.front());
    try {
      Parse(arguments);
      ADD_FAILURE() << "accepted";
    } catch (const UsageError& error) {
      const std::string message = error.what();
      EXPECT_NE(message.find(named), std::string::npos) << message;
      EXPECT_EQ(message.find('\n'), std::string::npos) << message;
    }
  }
}

TEST(CommandLine, HelpVersionAndManPageWinOverOtherMistakes) {
  const std::string help = *Parse({"--seconds", "x", "-h"}).output;
  for (const char* expected : {"Usage: qvt-test [OPTIONS] [-- COMMAND [ARGS...]]\n", "-s,--seconds", "--log-level",
                               "Exit status:\n  0    fine"})
    EXPECT_NE(help.find(expected), std::string::npos) << expected << " in\n" << help;
  EXPECT_EQ(help.find("--hidden"), std::string::npos);
  EXPECT_EQ(*Parse({"stray", "-V"}).output, "qvt-test 1.0\n");

  const std::string page = *Parse({"--man"}).output;
  for (const char* expected : {".SH NAME\nqvt-test \\- test the convention", ".SH SYNOPSIS", ".PP\n\\&.Dotted",
                               "\\fB\\-s\\fR, \\fB\\-\\-seconds\\fR \\fISECONDS\\fR", ".SH EXIT STATUS"})
    EXPECT_NE(page.find(expected), std::string::npos) << expected << " in\n" << page;
  EXPECT_EQ(page.find("hidden"), std::string::npos);
}

TEST(OutputFile, ExistingFilesNeedOverwriteAndUncreatableOnesAreRefusedWithTheReason) {
  const std::string directory = testing::TempDir();
  const std::string existing = directory + "/qvt_output_exists.bdf";
  const std::string fresh = directory + "/qvt_output_fresh.bdf";
  std::ofstream(existing) << "kept";
  std::remove(fresh.c_str());

  EXPECT_THROW(CheckOutputFile(existing, false), UsageError);
  EXPECT_NO_THROW(CheckOutputFile(existing, true));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(std::ifstream(existing).rdbuf()), {}), "kept");
  EXPECT_NO_THROW(CheckOutputFile(fresh, false));
  EXPECT_NE(access(fresh.c_str(), F_OK), 0) << "the check left the file behind";
  try {
    CheckOutputFile(directory + "/no/such/dir.bdf", false);
    ADD_FAILURE() << "accepted";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find("No such file or directory"), std::string::npos) << error.what();
  }
  std::remove(existing.c_str());
}

}  // namespace
}  // namespace QVT::Tools

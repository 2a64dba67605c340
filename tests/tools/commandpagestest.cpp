// The manual pages and the completion that the commands' descriptions make.
#include "tools/commandpages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/commandparser.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class CommandPages : public testing::Test {
 protected:
  tools::Command Program() {
    const tools::Command read = {
        .name = "read",
        .summary = "Read files",
        .footer =
            "Examples:\n"
            "  prog data read a.txt           one file,\n"
            "                                 in colour\n"
            "  prog data read --count 3 'b c'\n"
            "      Another one.\n"
            "  prog data read -\n"
            "\n"
            "Reads C:\\Logs\n"
            ".cfg files.\n"
            "\n"
            "Twice.\n"
            "Exit status: 0 done,\n"
            "3 wrong usage.",
        .options =
            {{.name = "FILE", .target = &m_files, .help = "What to read", .required = true},
             {.name = "-o,--output",
              .target = &m_output,
              .help = "Where to write",
              .valueName = "FILE"},
             {.name = "--level", .target = &m_level, .help = "How much", .oneOf = {"low", "high"}},
             {.name = "--name", .target = &m_name, .help = "Any name", .valueName = "NAME"},
             {.name = "--count",
              .target = &m_count,
              .help = "How many",
              .showsDefault = true,
              .excludes = "--all"},
             {.name = "--all", .target = &m_all, .help = "All of them"}},
        .run = [] { return 0; },
    };
    return {.name = "prog",
            .summary = "A program\nfor tests",
            .footer = "",
            .subcommands =
                {{.name = "data", .summary = "Work on data", .footer = "", .subcommands = {read}}},
            .version = "1.2.3"};
  }

  std::vector<std::string> m_files;
  std::string m_output;
  std::string m_level;
  std::string m_name;
  std::size_t m_count = 7;
  bool m_all = false;
};

TEST_F(CommandPages, EveryCommandHasAPage) {
  std::vector<std::string> names;
  for (const tools::ManualPage& page : tools::ManualPages(Program())) names.push_back(page.name);
  EXPECT_THAT(names, testing::ElementsAre("prog", "prog-data", "prog-data-read"));
}

TEST_F(CommandPages, APageShowsAllThatTheDescriptionSays) {
  EXPECT_EQ(tools::ManualPages(Program()).at(2).text,
            ".TH PROG\\-DATA\\-READ 1 \"\" \"prog 1.2.3\"\n"
            ".nh\n.ad l\n"
            ".SH NAME\n"
            "prog\\-data\\-read \\- Read files\n"
            ".SH SYNOPSIS\n"
            "\\fBprog data read\\fR [\\fIOPTION\\fR]... \\fIFILE\\fR...\n"
            ".SH DESCRIPTION\n"
            "Reads C:\\eLogs .cfg files.\n"
            ".PP\n"
            "Twice.\n"
            ".SH OPTIONS\n"
            ".TP\n\\fIFILE\\fR\nWhat to read.\n"
            ".TP\n\\fB\\-o\\fR, \\fB\\-\\-output\\fR \\fIFILE\\fR\nWhere to write.\n"
            ".TP\n\\fB\\-\\-level\\fR \\fITEXT\\fR\nHow much. One of: low, high.\n"
            ".TP\n\\fB\\-\\-name\\fR \\fINAME\\fR\nAny name.\n"
            ".TP\n\\fB\\-\\-count\\fR \\fINUMBER\\fR\n"
            "How many. The default is 7. Can\\(aqt be used with \\-\\-all.\n"
            ".TP\n\\fB\\-\\-all\\fR\nAll of them.\n"
            ".TP\n\\fB\\-h\\fR, \\fB\\-\\-help\\fR\nPrint the help and exit.\n"
            ".SH EXAMPLES\n"
            ".TP\n\\fBprog data read a.txt\\fR\none file, in colour\n"
            ".TP\n\\fBprog data read \\-\\-count 3 \\(aqb c\\(aq\\fR\nAnother one.\n"
            ".PP\n\\fBprog data read \\-\\fR\n"
            ".SH EXIT STATUS\n"
            "0 done, 3 wrong usage.\n"
            ".SH SEE ALSO\n"
            "\\fBprog\\-data\\fR(1)\n");
}

TEST_F(CommandPages, AProgramsPageListsItsCommandsAndRefersToTheirPages) {
  const std::string text = tools::ManualPages(Program()).at(0).text;
  EXPECT_THAT(text, HasSubstr("prog \\- A program for tests\n"));
  EXPECT_THAT(text, HasSubstr("\\fBprog\\fR \\fICOMMAND\\fR ...\n"));
  EXPECT_THAT(text, HasSubstr(".SH COMMANDS\n.TP\n\\fBprog data\\fR\nWork on data.\n"));
  EXPECT_THAT(text, HasSubstr("\\fB\\-\\-version\\fR\n"));
  EXPECT_THAT(text, HasSubstr(".SH SEE ALSO\n\\fBprog\\-data\\fR(1)\n"));
}

// scripts/tests/commandline.sh runs the real program's completion in bash.
TEST_F(CommandPages, TheCompletionKnowsWhatFollowsEachCommandAndOption) {
  const std::string script = tools::BashCompletion(Program());
  EXPECT_THAT(script, HasSubstr("\"prog data\" | \"prog data read\")\n"));
  EXPECT_THAT(script, HasSubstr("\"prog\") words=\"data\" options=\"-h --help --version\" ;;\n"));
  EXPECT_THAT(script, HasSubstr("\"prog data read\") words=\"\" options=\"-h --help -o --output "
                                "--level --name --count --all\" files=yes ;;\n"));
  EXPECT_THAT(script, HasSubstr("\"prog data read --level\") words=\"low high\" ;;\n"));
  EXPECT_THAT(script, HasSubstr("\"prog data read -o\" | \"prog data read --output\") files=yes"));
  EXPECT_THAT(script, HasSubstr("\"prog data read --name\" | \"prog data read --count\") return"));
  EXPECT_THAT(script, HasSubstr("\ncomplete -F _prog prog\n"));
}

TEST_F(CommandPages, AMisspeltCommandOrOptionGetsASuggestion) {
  const auto complaint = [this](const std::vector<std::string>& arguments) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(tools::RunCommandLine(Program(), arguments), tools::kStatusUsage);
    return testing::internal::GetCapturedStderr();
  };
  EXPECT_EQ(complaint({"dtaa", "read"}),
            "prog: unknown command \"dtaa\"; did you mean \"data\"?\n"
            "Run \"prog --help\" for the list of commands.\n");
  EXPECT_EQ(complaint({"data", "raed", "a"}),
            "prog data: unknown command \"raed\"; did you mean \"read\"?\n"
            "Run \"prog data --help\" for the list of commands.\n");
  EXPECT_EQ(complaint({"fly"}),
            "prog: unknown command \"fly\"\n"
            "Run \"prog --help\" for the list of commands.\n");
  EXPECT_EQ(complaint({"data", "read", "a", "--cuont=3"}),
            "prog data read: unknown option \"--cuont\"; did you mean \"--count\"?\n"
            "Run \"prog data read --help\" for its options.\n");
  EXPECT_EQ(complaint({"data", "read", "a", "--nonsense"}),
            "prog data read: unknown option \"--nonsense\"\n"
            "Run \"prog data read --help\" for its options.\n");
  EXPECT_THAT(complaint({"data", "read"}), HasSubstr("FILE is required"));
  EXPECT_THAT(complaint({}), Not(HasSubstr("unknown")));
}

}  // namespace

// SPDX-License-Identifier: MIT
// Manual pages and completion of a small command line that has every kind of option.

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <vector>

#include "manual/bash_completion.h"
#include "manual/command_tree.h"
#include "manual/help_formatter.h"
#include "manual/man_page.h"
#include "manual/roff.h"

namespace rydecon {
namespace {

using Words = std::vector<std::string>;

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(HelpText, PartsParagraphsAndTerms) {
    const auto blocks = ReadHelpText(
        "One line\nand another:\n  first: its text\n    goes on\n  other   columns apart\nBehind the "
        "list.\n\n\nLast.\n");
    ASSERT_EQ(blocks.size(), 3U);
    EXPECT_EQ(blocks[0].paragraph, "One line and another:");
    ASSERT_EQ(blocks[0].terms.size(), 2U);
    EXPECT_EQ(blocks[0].terms[0].name, "first");
    EXPECT_EQ(blocks[0].terms[0].text, "its text goes on");
    EXPECT_EQ(blocks[0].terms[1].name, "other");
    EXPECT_EQ(blocks[0].terms[1].text, "columns apart");
    EXPECT_EQ(blocks[1].paragraph, "Behind the list.");
    EXPECT_TRUE(blocks[1].terms.empty());
    EXPECT_EQ(blocks[2].paragraph, "Last.");
    EXPECT_TRUE(ReadHelpText("").empty());
    EXPECT_TRUE(ReadHelpText("\n \n").empty());
}

TEST(HelpText, WrapsAtBlanksOnly) {
    EXPECT_EQ(WrapWords("aa bb  cc", 5), (Words{"aa bb", "cc"}));
    EXPECT_EQ(WrapWords(" averylongword b", 5), (Words{"averylongword", "b"}));
    EXPECT_EQ(WrapWords("a b", 0), (Words{"a", "b"}));
    EXPECT_TRUE(WrapWords("  ", 5).empty());
}

TEST(Roff, CharactersComeOutAsTheyStand) {
    EXPECT_EQ(RoffText("a\\b 'c' \"d\" ^e ~f `g`"),
              "a\\(rsb \\(aqc\\(aq \\(dqd\\(dq \\(hae \\(tif \\(gag\\(ga");
    EXPECT_EQ(RoffText("\xC2\xB5m \xE2\x89\xA4 \xF0\x9F\x94\xAC"), "\\[u00B5]m \\[u2264] \\[u1F52C]");
    EXPECT_EQ(RoffText("cut \xE2\x89"), "cut \\[u00E2]\\[u0089]");
    EXPECT_EQ(RoffLiteral("--a-b"), "\\-\\-a\\-b");
}

TEST(Roff, OptionsAndNegativeNumbersInProseAreLiterals) {
    EXPECT_EQ(RoffProse("wide-field, --stop-ratio (-q): from -1.5 - or -x."),
              "wide-field, \\fB\\-\\-stop\\-ratio\\fP (\\fB\\-q\\fP): from \\-1.5 - or \\fB\\-x\\fP.\n");
}

TEST(Roff, NoLineOfProseIsARequest) {
    const std::string lines = RoffProse(".TH 'x' " + std::string(90, 'w') + " .SH \\fB");
    EXPECT_EQ(lines, "\\&.TH \\(aqx\\(aq\n" + std::string(90, 'w') + "\n\\&.SH \\(rsfB\n");
}

/// A program "try-it" with the commands make and see.
class SmallProgram : public ::testing::Test {
  protected:
    SmallProgram() {
        app_.formatter(std::make_shared<HelpFormatter>());
        app_.footer("Common words.");
        app_.set_help_flag("-h,--help", "Print help");
        app_.set_version_flag("--version", "try-it 7.8.9");
        app_.add_flag("-q,--quiet", quiet_, "Say nothing");
        CLI::App* const make = app_.add_subcommand("make", "Makes a thing. And another");
        make->footer("Reads it:\n  rule  meaning\n\nCommon words.");
        make->add_option("input", text_, "What to read")->required()->type_name("IN.tif");
        make->add_option("more", text_, "A folder")->type_name("DIR");
        make->add_option("-o,--output", text_, "Where to write")->required()->type_name("OUT.tif");
        CLI::Option* const kind =
            make->add_option("--kind", kind_, "Which.\n  dull: not sharp\n  keen: sharp");
        kind->type_name("NAME")->capture_default_str();
        make->add_option("--level", number_, "How much")->type_name("N")->check(CLI::Range(0, 4));
        make->add_option("--step", number_, "Steps")->type_name("N")->check(CLI::IsMember({1, 10}));
        make->add_option("--guard", number_, "Keeps")
            ->transform(CLI::CheckedTransformer(std::map<std::string, int>{{"off", 0}, {"0.3", 1}}));
        make->add_option("--tiles", text_, "Parts")->type_name("auto|XxY")->group("Big ones")->excludes(kind);
        make->add_option("--sides", sides_, "Three")->type_name("X Y Z");
        make->add_option("--more", list_, "One at a time")->type_name("FILE")->allow_extra_args(false);
        make->add_option("--hidden", text_, "Nobody sees it")->group("");
        make->add_flag("--fast", quiet_, "Hurry")->needs(kind);
        CLI::App* const see = app_.add_subcommand("see", "Shows");
        see->footer("Common words.");
        see->add_option("files", list_, "What to show")->type_name("FILE...");
        program_ = DescribeCommand(app_);
    }
    const OptionEntry& Option(const std::string& name) const {
        for (const OptionGroup& group : program_.commands.at(0).groups) {
            for (const OptionEntry& option : group.options) {
                if (option.names.back() == name) return option;
            }
        }
        throw std::runtime_error("no option " + name);
    }
    std::string Page(std::size_t index) const {
        return MakeManPages(program_,
                            {"try-it 7.8.9", "2026-02-03", {{"0", "done"}, {"3", "stopped"}}, "It\nspeaks."})
            .at(index)
            .text;
    }

    CLI::App app_{"Tries things.", "try-it"};
    std::string text_;
    std::string kind_ = "dull";
    std::array<int, 3> sides_{};
    std::vector<std::string> list_;
    int number_ = 0;
    bool quiet_ = false;
    CommandEntry program_;
};

TEST_F(SmallProgram, IsReadWhole) {
    ASSERT_EQ(program_.commands.size(), 2U);
    EXPECT_EQ(program_.name, "try-it");
    EXPECT_TRUE(program_.details.empty());
    const CommandEntry& make = program_.commands[0];
    ASSERT_EQ(make.details.size(), 1U);
    EXPECT_EQ(make.details[0].terms.at(0).name, "rule");
    ASSERT_EQ(make.arguments.size(), 2U);
    EXPECT_TRUE(make.arguments[0].takesFile());
    EXPECT_TRUE(make.arguments[1].takesFolder());
    ASSERT_EQ(make.groups.size(), 2U);
    EXPECT_EQ(make.groups[1].name, "Big ones");
    EXPECT_TRUE(program_.commands[1].details.empty());
    EXPECT_THROW(Option("--hidden"), std::runtime_error);
}

TEST_F(SmallProgram, ChoicesComeFromTermsChecksAndAlternatives) {
    EXPECT_EQ(Option("--kind").choices, (Words{"dull", "keen"}));
    EXPECT_EQ(Option("--step").choices, (Words{"1", "10"}));
    EXPECT_EQ(Option("--guard").choices, (Words{"0.3", "off"}));
    EXPECT_EQ(Option("--tiles").choices, (Words{"auto"}));
    EXPECT_TRUE(Option("--level").choices.empty());
    EXPECT_EQ(Option("--level").value, "N");
    EXPECT_EQ(Option("--sides").words, 3);
    EXPECT_EQ(Option("--fast").words, 0);
    EXPECT_EQ(Option("--more").words, 1);
    const OptionEntry& files = program_.commands[1].arguments.at(0);
    EXPECT_EQ(files.words, kManyWords);
    EXPECT_TRUE(files.takesFile());
    EXPECT_TRUE(RemarksOn(files).empty());
}

TEST_F(SmallProgram, RemarksSayWhatTheRecordHolds) {
    EXPECT_EQ(RemarksOn(Option("--output")), (Words{"Required."}));
    EXPECT_EQ(RemarksOn(Option("--step")), (Words{"One of 1, 10."}));
    EXPECT_TRUE(RemarksOn(Option("--sides")).empty());
    EXPECT_EQ(RemarksOn(Option("--level")), (Words{"From 0 to 4."}));
    EXPECT_EQ(RemarksOn(Option("--kind")), (Words{"Default: dull.", "Not with --tiles."}));
    EXPECT_EQ(RemarksOn(Option("--more")), (Words{"May be given again."}));
    EXPECT_EQ(RemarksOn(Option("--fast")), (Words{"Only with --kind."}));
}

TEST_F(SmallProgram, PageOfTheProgramNamesItsCommands) {
    const std::string page = Page(0);
    EXPECT_EQ(page.find(".TH TRY\\-IT 1 2026-02-03 \"try\\-it 7.8.9\" \"User Commands\"\n"), 0U) << page;
    EXPECT_TRUE(Contains(page, ".SH NAME\ntry\\-it \\- tries things\n"));
    EXPECT_TRUE(
        Contains(page, ".TP\n\\fBmake\\fP\nmakes a thing. And another; see\n\\fBtry\\-it\\-make\\fP(1).\n"))
        << page;
    EXPECT_TRUE(
        Contains(page, ".TP\n\\fB0\\fP\ndone\n.TP\n\\fB3\\fP\nstopped\n.SH DIAGNOSTICS\nIt speaks.\n"));
}

TEST_F(SmallProgram, PageOfACommandHasEachOptionOnce) {
    const std::string page = Page(1);
    EXPECT_TRUE(Contains(page,
                         ".SH SYNOPSIS\n\\fBtry\\-it make\\fP\n\\fIIN.tif\\fP\n[\\fIDIR\\fP]\n"
                         "\\fB\\-\\-output\\fP \\fIOUT.tif\\fP\n[\\fIOPTION\\fP]...\n"))
        << page;
    EXPECT_TRUE(Contains(
        page, ".TP\n\\fB\\-o\\fP, \\fB\\-\\-output\\fP \\fIOUT.tif\\fP\nWhere to write. Required.\n"));
    EXPECT_TRUE(Contains(page,
                         "Which.\n.RS\n.TP\n\\fBdull\\fP\nnot sharp\n.TP\n\\fBkeen\\fP\nsharp\n.RE\n.IP\n"
                         "Default: dull. Not with \\fB\\-\\-tiles\\fP.\n"))
        << page;
    EXPECT_TRUE(Contains(page, ".SS \"Big ones\"\n.TP\n\\fB\\-\\-tiles\\fP \\fIauto|XxY\\fP\n"));
    EXPECT_TRUE(Contains(page, "Reads it:\n.RS\n.TP\n\\fBrule\\fP\nmeaning\n.RE\n"));
    EXPECT_FALSE(Contains(page, "Common words"));
    EXPECT_FALSE(Contains(page, "hidden"));
    EXPECT_TRUE(Contains(page, ".SH \"SEE ALSO\"\n\\fBtry\\-it\\fP(1),\n\\fBtry\\-it\\-see\\fP(1)\n"));
}

TEST_F(SmallProgram, HelpFitsTheTerminal) {
    EXPECT_EQ(app_.help(),
              "Tries things.\n\n"
              "Usage: try-it [OPTION]... COMMAND [ARGUMENT]...\n\n"
              "Commands:\n"
              "  make                    Makes a thing. And another.\n"
              "  see                     Shows.\n"
              "  'try-it COMMAND --help' explains a command.\n\n"
              "Options:\n"
              "  -h, --help              Print help.\n"
              "  --version               Display program version information and exit.\n"
              "  -q, --quiet             Say nothing.\n\n"
              "Common words.\n");
    const std::string help = app_.get_subcommand("make")->help("try-it");
    EXPECT_TRUE(Contains(help, "Usage: try-it make IN.tif [DIR] -o OUT.tif [OPTION]...\n")) << help;
    EXPECT_TRUE(Contains(help, "\nArguments:\n  IN.tif                  What to read. Required.\n"));
    EXPECT_TRUE(Contains(help,
                         "  --kind NAME             Which.\n"
                         "                            dull: not sharp\n"
                         "                            keen: sharp\n"
                         "                          Default: dull. Not with --tiles.\n"))
        << help;
    EXPECT_TRUE(Contains(help, "\nReads it:\n  rule: meaning\n\nCommon words.\n")) << help;
    EXPECT_FALSE(Contains(help, "hidden"));
    const std::string see = app_.get_subcommand("see")->help("try-it");
    EXPECT_TRUE(Contains(see, "Usage: try-it see [FILE...] [OPTION]...\n")) << see;
    EXPECT_TRUE(Contains(see, "\n  FILE...                 What to show.\n")) << see;
}

TEST(HelpLines, LongTagsStandAlone) {
    OptionEntry option;
    option.names = {"-l", "--a-long-name-of-an-option"};
    option.value = "VALUE";
    option.text = ReadHelpText(std::string(11, 'w') + std::string(" 12345678") +
                               " 12345678 12345678 12345678 123456789");
    OptionEntry mute;
    mute.names = {"--mute"};
    const CommandEntry command{"c", "Does.", {}, {}, {{"Options", {option, mute}}}, {}};
    EXPECT_EQ(MakeHelp(command, "c", {}),
              "Does.\n\nUsage: c [OPTION]...\n\nOptions:\n"
              "  -l, --a-long-name-of-an-option VALUE\n"
              "                          wwwwwwwwwww 12345678 12345678 12345678 12345678\n"
              "                          123456789.\n"
              "  --mute\n");
}

TEST(CommandTree, GroupsWithWhatMustBeGivenGoFirst) {
    CLI::App app("Does.", "c");
    app.set_help_flag("-h,--help", "Help");
    std::string text;
    CLI::Option* const whole = app.add_option("--whole", text)->group("A");
    for (const char* part : {"--left", "--right"}) app.add_option(part, text)->group("A")->excludes(whole);
    app.add_option("--out", text)->required()->group("B");
    const CommandEntry entry = DescribeCommand(app);
    ASSERT_EQ(entry.groups.size(), 3U);
    EXPECT_EQ(entry.groups[0].name, "B");
    EXPECT_EQ(entry.groups[1].name, "A");
    EXPECT_EQ(entry.groups[2].name, "Options");
    EXPECT_EQ(entry.groups[1].options[0].excludes, (Words{"--left", "--right"}));
    EXPECT_TRUE(entry.groups[1].options[1].excludes.empty());
}

TEST_F(SmallProgram, CompletionNamesFunctionsAsBashAllows) {
    const std::string script = MakeBashCompletion(program_, "try-it 7.8.9");
    EXPECT_EQ(script.find("# bash completion for try-it 7.8.9\n"), 0U);
    EXPECT_TRUE(Contains(script, "complete -F _try_it try-it\n"));
    EXPECT_TRUE(Contains(script, "'make --kind') count=1 words='dull keen' ;;"));
    EXPECT_TRUE(Contains(script, "'make -o' | 'make --output') count=1 kind=file ;;"));
    EXPECT_TRUE(Contains(script, "'make 1') count=1 kind=folder ;;"));
    EXPECT_TRUE(Contains(script, "'make --more') count=1 kind=file ;;"));
    EXPECT_TRUE(Contains(script, "'see '[0-9]*) count=1000 kind=file ;;"));
    EXPECT_TRUE(Contains(script, "'see') words='-h --help -q --quiet' ;;")) << script;
    EXPECT_FALSE(Contains(script, "hidden"));
    EXPECT_FALSE(Contains(script, "PROGRAM"));
}

}  // namespace
}  // namespace rydecon

// The programs of the build that make the manuals and the completions: what they say when they cannot.
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/shell/run_command.h"

namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;

class Maker : public ::testing::Test {
 protected:
   Maker()
   {
      char pattern[] = "/tmp/maker_test.XXXXXX";
      folder = mkdtemp(pattern);
   }
   ~Maker() override { fs::remove_all(folder); }

   // The program with these arguments, in the folder.
   CommandResult Run(const std::string &program, const std::string &arguments) const
   {
      return RunCommand("cd " + folder.string() + " && " + program + ' ' + arguments);
   }
   void Write(const char *name, const std::string &text) const { std::ofstream(folder / name) << text; }
   std::string Read(const char *name) const
   {
      std::ifstream file(folder / name);
      std::ostringstream text;
      text << file.rdbuf();
      return text.str();
   }
   // A program with subcommands, by what it prints for --help and for each subcommand's.
   void WriteProgram(const char *name, const std::string &script) const
   {
      Write(name, "#!/bin/sh\n" + script);
      fs::permissions(folder / name, fs::perms::owner_all);
   }

   fs::path folder;
};

TEST_F(Maker, OfManualsMakesAPage)
{
   Write("page.8.in", "@title memory reports\n.SH NOTES\nNone.\n");
   const CommandResult run = Run(MAKE_MANUAL, "hostmem 1.0 2026-01-02 page.8.in page.8");
   EXPECT_EQ(run.exitStatus, 0) << run.output;
   EXPECT_THAT(Read("page.8"), HasSubstr(".SH NOTES\nNone.\n"));
}

TEST_F(Maker, OfManualsNamesTheSourceAndWhatIsWrongWithIt)
{
   CommandResult run = Run(MAKE_MANUAL, "hostmem 1.0 2026-01-02 page.8.in");
   EXPECT_EQ(run.exitStatus, 2);
   EXPECT_EQ(run.output, "usage: " MAKE_MANUAL " NAME VERSION DATE SOURCE PAGE\n");
   run = Run(MAKE_MANUAL, "hostmem 1.0 2026-01-02 missing.8.in page.8");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.output, "missing.8.in: cannot be read\n");
   Write("open.8.in", "@columns\nname |\n");
   run = Run(MAKE_MANUAL, "hostmem 1.0 2026-01-02 open.8.in page.8");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.output, "open.8.in: @columns has no @end\n");
   Write("unknown.8.in", "@nonsense\n");
   run = Run(MAKE_MANUAL, "hostmem 1.0 2026-01-02 unknown.8.in page.8");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_THAT(run.output, AllOf(::testing::StartsWith("unknown.8.in: "), HasSubstr("@nonsense")));
   EXPECT_FALSE(fs::exists(folder / "page.8"));
}

TEST_F(Maker, OfManualsFailsWhereThePageCannotBeWritten)
{
   Write("page.8.in", "Text.\n");
   const CommandResult run = Run(MAKE_MANUAL, "hostmem 1.0 2026-01-02 page.8.in /dev/full");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.output, "/dev/full: cannot be written\n");
}

TEST_F(Maker, OfTheColumnReferenceNamesWhatIsWrong)
{
   const std::string usage = "usage: " MAKE_COLUMN_REFERENCE " FOLDER PAGE\n";
   EXPECT_EQ(Run(MAKE_COLUMN_REFERENCE, ".").output, usage);
   EXPECT_EQ(Run(MAKE_COLUMN_REFERENCE, ".").exitStatus, 2);
   CommandResult run = Run(MAKE_COLUMN_REFERENCE, "missing columns.md");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_THAT(run.output, ::testing::StartsWith("missing: No such file or directory\n"));
   Write("hostmem-vm-stats.8.in", "@columns\nname |\n");
   run = Run(MAKE_COLUMN_REFERENCE, ". columns.md");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_THAT(run.output, AllOf(HasSubstr(".: hostmem-vm-stats.8.in: @columns has no @end\n"),
                                 HasSubstr(".: no page for swap-stats\n")));
   EXPECT_FALSE(fs::exists(folder / "columns.md"));
   run = Run(MAKE_COLUMN_REFERENCE, MANUAL_SOURCES_FOLDER " /dev/full");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.output, "/dev/full: cannot be written\n");
}

TEST_F(Maker, OfCompletionsNamesWhatItHasNoTablesFor)
{
   Write("template", "@TABLES@\n");
   CommandResult run = Run(MAKE_COMPLETION, "bash hostmem template");
   EXPECT_EQ(run.exitStatus, 2);
   EXPECT_EQ(run.output, "usage: " MAKE_COMPLETION " SHELL PROGRAM TEMPLATE SCRIPT\n");
   const std::string nothing = MAKE_COMPLETION ": no tables for ";
   for (const char *arguments : {"tcsh hostmem template script", "bash hostmem missing script"}) {
      run = Run(MAKE_COMPLETION, arguments);
      EXPECT_EQ(run.exitStatus, 1) << arguments;
      EXPECT_EQ(run.output, nothing + "hostmem, or no template\n") << arguments;
   }
   run = Run(MAKE_COMPLETION, "bash hostmem template /dev/full");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.output, "/dev/full: cannot be written\n");
   // Programs that say nothing, without help, and with one that has none for a subcommand.
   WriteProgram("silent", "exit 0\n");
   WriteProgram("mute", "exit 1\n");
   WriteProgram("half", "[ $1 = --help ] || exit 1; echo Subcommands:; echo '  make  Makes it'\n");
   for (const std::string program : {"silent", "mute", "half"}) {
      run = Run(MAKE_COMPLETION, "bash ./" + program + " template script");
      EXPECT_EQ(run.exitStatus, 1) << program;
      EXPECT_EQ(run.output, nothing + "./" + program + ", or no template\n");
   }
   WriteProgram("whole", "[ $1 = --help ] || exit 0; echo Subcommands:; echo '  make  Makes it'\n");
   EXPECT_EQ(Run(MAKE_COMPLETION, "tcsh ./whole template script").exitStatus, 1);
   EXPECT_EQ(Run(MAKE_COMPLETION, "bash ./whole template script").exitStatus, 0);
   WriteProgram("plain", "echo Options:; echo '  -x  One'\n");
   EXPECT_EQ(Run(MAKE_COMPLETION, "bash ./plain template script").exitStatus, 0);
}

TEST_F(Maker, OfCompletionsTakesHelpThatGoesOnBelowItsTerm)
{
   Write("template", "before\n@TABLES@\nafter\n");
   WriteProgram("tool", "cat <<'END'\n"
                        "Makes things\n"
                        "Options:\n"
                        "  -h,--help                   Print this help\n"
                        "\n"
                        "Subcommands:\n"
                        "  make                        Makes one thing\n"
                        "                              after another\n"
                        "  rest\n"
                        "END\n");
   const CommandResult run = Run(MAKE_COMPLETION, "fish ./tool template script");
   EXPECT_EQ(run.exitStatus, 0) << run.output;
   const std::string script = Read("script");
   EXPECT_THAT(script, ::testing::StartsWith("before\n"));
   EXPECT_THAT(script, ::testing::EndsWith("after\n"));
   EXPECT_THAT(script, HasSubstr("Makes one thing after another"));
   EXPECT_THAT(script, HasSubstr("rest"));
}

} // namespace

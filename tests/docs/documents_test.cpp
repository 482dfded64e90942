// README and docs/: that every command runs as it stands in a clone and prints what is shown, that links lead
// somewhere, and that readers find what they look for.
#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/docs/document.h"
#include "tests/shell/run_command.h"

namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const fs::path kSource = SOURCE_FOLDER;

// README.md, CONTRIBUTING.md and docs/*.md, from the top folder.
std::vector<std::string> Documents()
{
   std::vector<std::string> documents = {"README.md", "CONTRIBUTING.md"};
   for (const auto &entry : fs::directory_iterator(kSource / "docs")) {
      if (entry.path().extension() == ".md") {
         documents.push_back(entry.path().lexically_relative(kSource));
      }
   }
   std::ranges::sort(documents);
   return documents;
}

// How commands begin that are not run here, and why.
constexpr struct {
   const char *start;
   const char *reason;
} kNotRun[] = {
   {"make", "builds, tests or installs"},
   {"sudo ", "changes the machine"},
   {"cmake ", "builds"},
   {"ctest ", "runs these tests"},
   {"cc ", "builds a reader's own program"},
   {"ldconfig ", "shows what is installed"},
   {"git clone ", "needs the network"},
   {"packaging/", "installs packages"},
   {"build/platform/", "needs a platform's own library"},
   {"echo /opt/platform", "needs a platform's own library"},
   {"LD_LIBRARY_PATH=/opt/platform", "needs a platform's own library"},
   {"LD_PRELOAD=/opt/platform", "needs a platform's own library"},
   {"build/release/tests/", "runs these tests"},
   {"build/fuzz/", "needs a fuzzing build"},
   {"fuzz/", "needs a fuzzing build"},
   {"tests/", "runs tests"},
};

// Programs of other packages, which a reader may have to install.
constexpr const char *kOthers[] = {"flatc", "jq", "man"};

bool IsRun(const std::string &command)
{
   for (const auto &exception : kNotRun) {
      if (command.starts_with(exception.start)) {
         return false;
      }
   }
   if (command.starts_with("PYTHONPATH=")) {
      return RunCommand("/usr/bin/python3 -c 'import flatbuffers'").exitStatus == 0;
   }
   for (const std::string other : kOthers) {
      if (command.starts_with(other + " ")) {
         return IsInstalled(other);
      }
   }
   return true;
}

// A clone that was built, where commands may leave files.
class Clone {
 public:
   Clone()
   {
      std::string name = ::testing::TempDir() + "clone.XXXXXX";
      folder = mkdtemp(name.data());
      for (const auto &entry : fs::directory_iterator(kSource)) {
         if (!entry.path().filename().string().starts_with("build")) {
            fs::create_symlink(entry.path(), folder / entry.path().filename());
         }
      }
      fs::create_directory(folder / "build");
      fs::create_symlink(BUILD_FOLDER, folder / "build" / "release");
   }
   ~Clone() { fs::remove_all(folder); }
   Clone(const Clone &) = delete;
   Clone &operator=(const Clone &) = delete;

   CommandResult Run(const std::string &command) const
   {
      return RunCommand("cd " + ShellWord(folder) + " && export TZ=UTC LC_ALL=C.UTF-8 PATH=" +
                        ShellWord(BIN_FOLDER) + ":$PATH\n" + command);
   }

 private:
   fs::path folder;
};

class EveryDocument : public ::testing::TestWithParam<std::string> {
 protected:
   static std::string Path() { return kSource / GetParam(); }
};
class DocumentRunHere : public EveryDocument {};

TEST_P(DocumentRunHere, HasCommandsThatPrintWhatItShows)
{
   const Clone clone;
   for (const DocumentedCommand &documented : ReadCommands(Path())) {
      if (!IsRun(documented.command)) {
         continue;
      }
      const CommandResult run = clone.Run(documented.command);
      const bool mayDiffer = documented.command.find("hostmem-snapshot diff ") != std::string::npos;
      EXPECT_TRUE(run.exitStatus == 0 || (mayDiffer && run.exitStatus == 1))
         << GetParam() << ":" << documented.line << ": " << documented.command << "\n"
         << run.output;
      if (documented.showsOutput) {
         EXPECT_EQ(WithoutTimes(run.output), WithoutTimes(documented.output))
            << GetParam() << ":" << documented.line << ": " << documented.command;
      }
   }
}

TEST_P(EveryDocument, SaysWhichOfItsBlocksHoldCommands)
{
   EXPECT_THAT(FindUnmarkedCommands(Path()), IsEmpty()) << "in blocks that are neither sh, console nor text";
}

TEST_P(EveryDocument, LinksToPlacesThatAreThere)
{
   for (const std::string &link : ReadLinks(Path())) {
      if (link.starts_with("https://")) {
         continue;
      }
      const std::string file = link.substr(0, link.find('#'));
      const fs::path target = file.empty() ? fs::path(Path()) : fs::path(Path()).parent_path() / file;
      EXPECT_TRUE(fs::exists(target)) << link;
      if (link.find('#') != std::string::npos) {
         EXPECT_THAT(ReadAnchors(target), Contains(link.substr(link.find('#') + 1))) << link;
      }
   }
}

std::string TestName(const ::testing::TestParamInfo<std::string> &info)
{
   std::string name = fs::path(info.param).stem();
   std::ranges::replace(name, '-', '_');
   return name;
}

// The guide to incidents is run by the tests of recordings, which make the one that it is about; the page on
// many hosts by the test of the fleet, before the engines that it is about.
std::vector<std::string> DocumentsRunHere()
{
   std::vector<std::string> documents = Documents();
   std::erase(documents, "docs/after-an-incident.md");
   std::erase(documents, "docs/fleet.md");
   return documents;
}

INSTANTIATE_TEST_SUITE_P(Documents, EveryDocument, ::testing::ValuesIn(Documents()), TestName);
INSTANTIATE_TEST_SUITE_P(Documents, DocumentRunHere, ::testing::ValuesIn(DocumentsRunHere()), TestName);

TEST(Cookbook, HasTwentyQuestionsThatFitATerminal)
{
   const std::string path = kSource / "docs/cookbook.md";
   EXPECT_EQ(std::ranges::count_if(ReadAnchors(path),
                                   [](const std::string &anchor) { return std::isdigit(anchor[0]) != 0; }),
             20);
   for (const DocumentedCommand &documented : ReadCommands(path)) {
      for (const std::string &line : SplitLines(documented.command)) {
         EXPECT_LE(line.size() + sizeof "$ " - 1, 80u) << "cookbook.md:" << documented.line << ": " << line;
      }
      for (const std::string &line : SplitLines(documented.output)) {
         EXPECT_LE(line.size(), 80u) << "cookbook.md:" << documented.line << ": " << line;
      }
   }
}

// The pages that a reader of README reaches with one click, and with one more.
TEST(Readme, LeadsToEveryPageInTwoClicks)
{
   std::set<fs::path> reached;
   for (const std::string &link : ReadLinks(kSource / "README.md")) {
      const fs::path first = (kSource / link.substr(0, link.find('#'))).lexically_normal();
      reached.insert(first);
      if (first.extension() == ".md" && fs::exists(first)) {
         for (const std::string &next : ReadLinks(first)) {
            reached.insert((first.parent_path() / next.substr(0, next.find('#'))).lexically_normal());
         }
      }
   }
   for (const std::string &document : Documents()) {
      EXPECT_TRUE(document == "README.md" || reached.contains(kSource / document)) << document;
   }
}

TEST(Readme, AnswersWhatReadersAskFirstOrLinksToIt)
{
   const std::string path = kSource / "README.md";
   EXPECT_THAT(ReadInlineCode(path, "hostmem -"), Contains(HasSubstr(":swapped"))); // who swaps
   EXPECT_THAT(ReadLinks(path), Contains("docs/columns.md"));                       // what a column means
   EXPECT_THAT(ReadAnchors(path), Contains("what-needs-root"));
   EXPECT_THAT(ReadLinks(path), Contains("CONTRIBUTING.md#how-to-add-a-report"));
}

TEST(Readme, AnswersItsQuestionsOnThisHost)
{
   const Clone clone;
   const std::vector<std::string> commands = ReadInlineCode(kSource / "README.md", "hostmem -");
   EXPECT_GE(commands.size(), 8u);
   for (const std::string &command : commands) {
      const CommandResult run = clone.Run(command);
      EXPECT_EQ(run.exitStatus, 0) << command << "\n" << run.output;
   }
}

TEST(Document, CommandsAreThoseOfMarkedBlocks)
{
   const std::string path = ::testing::TempDir() + "document_test.md";
   EXPECT_EQ(
      RunCommand("cat >" + ShellWord(path) +
                 " <<'END'\n# A page: `x_y`\n[a](b.md) and [c](#d)\n```sh\none \\\n   more\n\ntwo\n```\n"
                 "```console\n$ three\n> more\nout\n\n> out\n```\n```\nhostmem -r four\nplain\n```\n"
                 "```text\nhostmem -r five\n```\n## A page: x_y\nEND")
         .exitStatus,
      0);
   const std::vector<DocumentedCommand> commands = ReadCommands(path);
   ASSERT_EQ(commands.size(), 3u);
   EXPECT_EQ(commands[0].command, "one \\\n   more");
   EXPECT_EQ(commands[1].command, "two");
   EXPECT_EQ(commands[1].line, 7u);
   EXPECT_EQ(commands[2].command, "three\nmore");
   EXPECT_TRUE(commands[2].showsOutput);
   EXPECT_EQ(commands[2].output, "out\n\n> out\n");
   EXPECT_THAT(FindUnmarkedCommands(path), ::testing::ElementsAre("hostmem -r four"));
   EXPECT_THAT(ReadLinks(path), ::testing::ElementsAre("b.md", "#d"));
   EXPECT_THAT(ReadAnchors(path), ::testing::ElementsAre("a-page-x_y", "a-page-x_y-1"));
   EXPECT_THAT(ReadInlineCode(path, "x"), ::testing::ElementsAre("x_y"));
   EXPECT_THAT(ReadInlineCode(path, "y"), IsEmpty());
   fs::remove(path);
}

} // namespace

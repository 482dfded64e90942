#include "nevra/snapshot/replace_file.h"

#include <climits>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class ReplaceFileTest : public testing::Test {
 protected:
   ReplaceFileTest()
   {
      char pattern[] = "/tmp/replace_file_test.XXXXXX";
      folder = mkdtemp(pattern);
      path = folder / "target";
   }
   ~ReplaceFileTest() override { fs::remove_all(folder); }

   bool Replace(const std::string &content) { return Write(content, nevra::IfExists::Replace); }
   bool Write(const std::string &content, nevra::IfExists ifExists,
              const std::function<void(uint64_t)> &progress = nullptr)
   {
      const std::span<const uint8_t> bytes(reinterpret_cast<const uint8_t *>(content.data()), content.size());
      const std::span<const uint8_t> parts[] = {bytes.first(bytes.size() / 2),
                                                bytes.subspan(bytes.size() / 2)};
      return nevra::ReplaceFile(path.c_str(), parts, ifExists, &problem, progress);
   }
   std::string Content() const
   {
      std::ifstream file(path);
      return {std::istreambuf_iterator<char>(file), {}};
   }
   std::vector<std::string> Names() const
   {
      std::vector<std::string> names;
      for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
         names.push_back(entry.path().filename());
      }
      return names;
   }

   fs::path folder;
   fs::path path;
   std::string problem;
};

TEST_F(ReplaceFileTest, MakesAFileOfItsParts)
{
   EXPECT_TRUE(Replace("one and two")) << problem;
   EXPECT_EQ(Content(), "one and two");
   EXPECT_THAT(Names(), testing::ElementsAre("target"));
}

TEST_F(ReplaceFileTest, TheFileIsItsOwnersAlone)
{
   const mode_t former = umask(0);
   EXPECT_TRUE(Write("new", nevra::IfExists::Keep)) << problem;
   EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
   fs::permissions(path, fs::perms(0666));
   EXPECT_TRUE(Replace("newer")) << problem;
   EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
   EXPECT_EQ(Content(), "newer");
   umask(former);
}

TEST_F(ReplaceFileTest, KeepsWhatIsThereUnlessItIsToBeReplaced)
{
   std::ofstream(path) << "old";
   EXPECT_FALSE(Write("new", nevra::IfExists::Keep));
   EXPECT_EQ(problem, "already exists; --force replaces it");
   EXPECT_FALSE(CheckTarget(path.c_str(), nevra::IfExists::Keep, &problem));
   EXPECT_TRUE(CheckTarget(path.c_str(), nevra::IfExists::Replace, &problem));
   EXPECT_EQ(Content(), "old");
   EXPECT_THAT(Names(), testing::ElementsAre("target"));
}

TEST_F(ReplaceFileTest, KeepsWhatComesWhileItIsWritten)
{
   EXPECT_FALSE(Write("new", nevra::IfExists::Keep, [&](uint64_t) { std::ofstream(path) << "other"; }));
   EXPECT_EQ(problem, "already exists; --force replaces it");
   EXPECT_EQ(Content(), "other");
   EXPECT_THAT(Names(), testing::ElementsAre("target"));
}

TEST_F(ReplaceFileTest, NeverFollowsALink)
{
   std::ofstream(folder / "real") << "old";
   for (const char *destination : {"real", "missing"}) {
      fs::create_symlink(destination, path);
      for (const nevra::IfExists ifExists : {nevra::IfExists::Keep, nevra::IfExists::Replace}) {
         EXPECT_FALSE(Write("new", ifExists));
         EXPECT_EQ(problem, "cannot be written: not a regular file");
      }
      EXPECT_TRUE(fs::is_symlink(path));
      fs::remove(path);
   }
   // One that comes later is replaced itself.
   EXPECT_TRUE(Write("new", nevra::IfExists::Replace, [&](uint64_t) {
      if (!fs::is_symlink(path)) {
         fs::create_symlink("real", path);
      }
   })) << problem;
   EXPECT_FALSE(fs::is_symlink(path));
   EXPECT_EQ(Content(), "new");
   path = folder / "real";
   EXPECT_EQ(Content(), "old");
   EXPECT_THAT(Names(), testing::UnorderedElementsAre("real", "target"));
}

TEST_F(ReplaceFileTest, LeavesWhatIsNoRegularFileAlone)
{
   ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
   EXPECT_FALSE(Replace("new"));
   EXPECT_EQ(problem, "cannot be written: not a regular file");
   EXPECT_TRUE(fs::is_fifo(path));
}

TEST_F(ReplaceFileTest, FolderThatIsMissingIsAProblem)
{
   path = folder / "missing" / "target";
   EXPECT_FALSE(Replace("new"));
   EXPECT_EQ(problem, "cannot be written: No such file or directory");
   EXPECT_THAT(Names(), testing::IsEmpty());
}

TEST_F(ReplaceFileTest, PathsThatNoSystemTakesAreAProblem)
{
   std::ofstream(folder / "file") << "no folder";
   path = folder / "file" / "target";
   EXPECT_FALSE(Replace("new"));
   EXPECT_EQ(problem, "cannot be written: Not a directory");
   path = folder / std::string(255, 'x'); // with what makes it temporary it is too long
   EXPECT_FALSE(Replace("new"));
   EXPECT_EQ(problem, "cannot be written: File name too long");
   EXPECT_THAT(Names(), testing::ElementsAre("file"));
}

TEST_F(ReplaceFileTest, PathAsLongAsTheSystemTakesHasNoRoomForATemporaryOne)
{
   // Folders of 200 characters, up to the longest path that can be opened.
   fs::path deep = folder;
   while (deep.native().size() + 201 < PATH_MAX - 8) {
      deep /= std::string(200, 'd');
      fs::create_directory(deep);
   }
   path = deep / std::string(PATH_MAX - 2 - deep.native().size(), 'f');
   ASSERT_EQ(path.native().size(), size_t{PATH_MAX - 1});
   EXPECT_FALSE(Replace("new"));
   EXPECT_EQ(problem, "cannot be written: File name too long");
   EXPECT_FALSE(fs::exists(path));
}

TEST_F(ReplaceFileTest, SignalThatTheProgramIgnoresStaysIgnored)
{
   const auto former = std::signal(SIGHUP, SIG_IGN);
   EXPECT_TRUE(Write("new", nevra::IfExists::Keep, [](uint64_t) { raise(SIGHUP); })) << problem;
   EXPECT_EQ(std::signal(SIGHUP, former), SIG_IGN);
   EXPECT_EQ(Content(), "new");
}

TEST_F(ReplaceFileTest, WriteThatFailsLeavesTheOldFile)
{
   std::ofstream(path) << "old";
   rlimit former;
   ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &former), 0);
   rlimit small = former;
   small.rlim_cur = 1000;
   ASSERT_EQ(std::signal(SIGXFSZ, SIG_DFL), SIG_DFL);
   ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
   const bool replaced = Replace(std::string(5000, 'n'));
   ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &former), 0);
   EXPECT_EQ(std::signal(SIGXFSZ, SIG_DFL), SIG_DFL);
   EXPECT_FALSE(replaced);
   EXPECT_EQ(problem, "cannot be written: File too large");
   EXPECT_EQ(Content(), "old");
   EXPECT_THAT(Names(), testing::ElementsAre("target"));
}

TEST_F(ReplaceFileTest, InterruptLeavesNothingBehind)
{
   const pid_t child = fork();
   if (child == 0) {
      const std::vector<uint8_t> megabyte(1 << 20, 'x');
      const std::vector<std::span<const uint8_t>> parts(4096, megabyte);
      nevra::ReplaceFile(path.c_str(), parts, nevra::IfExists::Keep, &problem);
      _exit(0);
   }
   while (Names().empty()) {
      usleep(100);
   }
   kill(child, SIGINT);
   int status;
   ASSERT_EQ(waitpid(child, &status, 0), child);
   EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT);
   EXPECT_THAT(Names(), testing::IsEmpty());
}

TEST_F(ReplaceFileTest, SignalThatEndsTheProgramLeavesNothingBehind)
{
   for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGXCPU}) {
      const pid_t child = fork();
      if (child == 0) {
         const rlimit noCore = {};
         setrlimit(RLIMIT_CORE, &noCore);
         std::signal(signal, SIG_DFL);
         Write("new", nevra::IfExists::Keep, [=](uint64_t) { raise(signal); });
         _exit(0);
      }
      int status;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal;
      EXPECT_THAT(Names(), testing::IsEmpty()) << signal;
   }
}

} // namespace

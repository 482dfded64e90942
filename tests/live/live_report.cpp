#include "tests/live/live_report.h"

#include <algorithm>
#include <sstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// A file without a name takes any amount of output without a reader.
std::string TakeText(int file)
{
   std::string text;
   char buffer[65536];
   off_t at = 0;
   for (ssize_t length; (length = pread(file, buffer, sizeof buffer, at)) > 0; at += length) {
      text.append(buffer, static_cast<size_t>(length));
   }
   close(file);
   return text;
}

std::vector<std::string> SplitFields(const std::string &line)
{
   std::vector<std::string> fields;
   size_t start = 0;
   for (size_t comma; (comma = line.find(',', start)) != std::string::npos; start = comma + 1) {
      fields.push_back(line.substr(start, comma - start));
   }
   fields.push_back(line.substr(start));
   return fields;
}

// Returns the status that waitpid gives.
int RunProgram(std::vector<std::string> words, int out, int err)
{
   std::vector<char *> argv;
   for (std::string &word : words) {
      argv.push_back(word.data());
   }
   argv.push_back(nullptr);
   const pid_t child = fork();
   if (child == 0) {
      dup2(out, STDOUT_FILENO);
      dup2(err, STDERR_FILENO);
      execv(argv[0], argv.data());
      _exit(127);
   }
   int status = -1;
   waitpid(child, &status, 0);
   return status;
}

size_t ColumnIndex(const LiveReport &report, const std::string &column)
{
   const auto found = std::find(report.columns.begin(), report.columns.end(), column);
   return static_cast<size_t>(found - report.columns.begin());
}

// Without the lines on what the kernel of this machine does not show: "/proc/PID/smaps_rollup: Permission
// denied; ...".
std::string WithoutRefusals(const std::string &messages)
{
   std::istringstream text(messages);
   std::string others;
   std::string line;
   while (std::getline(text, line)) {
      const bool isRefusal = line.starts_with("/proc") || line.starts_with("/sys");
      others += isRefusal ? "" : line + '\n';
   }
   return others;
}

} // namespace

LiveReport RunLiveReport(const std::string &report, const std::vector<std::string> &arguments)
{
   std::vector<std::string> words = {HOSTMEM_PROGRAM, "-r", report, "-q"};
   words.insert(words.end(), arguments.begin(), arguments.end());
   const int out = memfd_create("out", MFD_CLOEXEC);
   const int err = memfd_create("err", MFD_CLOEXEC);
   EXPECT_EQ(RunProgram(words, out, err), 0) << report;
   EXPECT_EQ(WithoutRefusals(TakeText(err)), "") << report;
   std::istringstream text(TakeText(out));
   LiveReport result;
   std::string line;
   std::getline(text, line);
   result.columns = SplitFields(line);
   EXPECT_GT(result.columns.size(), 1u) << report << ": " << line;
   while (std::getline(text, line)) {
      std::vector<std::string> fields = SplitFields(line);
      EXPECT_EQ(fields.size(), result.columns.size()) << report << ": " << line;
      fields.resize(result.columns.size());
      result.rows.push_back(std::move(fields));
   }
   return result;
}

std::string LiveReport::Text(const std::vector<std::string> &row, const std::string &column) const
{
   const size_t index = ColumnIndex(*this, column);
   EXPECT_LT(index, row.size()) << column;
   return index < row.size() ? row[index] : "";
}

int64_t LiveReport::Figure(const std::vector<std::string> &row, const std::string &column) const
{
   const std::string text = Text(row, column);
   const bool isNumber =
      !text.empty() && text.find_first_not_of("0123456789", text[0] == '-' ? 1 : 0) == std::string::npos;
   EXPECT_TRUE(isNumber) << column << ": " << text;
   return isNumber ? std::stoll(text) : -2;
}

const std::vector<std::string> *LiveReport::Find(const std::string &column, const std::string &text) const
{
   const size_t index = ColumnIndex(*this, column);
   for (const std::vector<std::string> &row : rows) {
      if (index < row.size() && row[index] == text) {
         return &row;
      }
   }
   return nullptr;
}

std::string ProcessGroup(pid_t pid)
{
   return std::to_string(0x40000000LL + pid);
}

std::string VmmGroup(pid_t pid)
{
   return std::to_string(0x20000000LL + pid);
}

std::string EmulatorGroup(pid_t pid)
{
   return std::to_string(0x60000000LL + pid);
}

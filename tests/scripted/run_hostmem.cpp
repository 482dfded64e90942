// Runs hostmem on a scenario and gathers what it did.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/scripted/scenario.h"
#include "tests/scripted/script_format.h"

extern char **environ;

namespace scripted {

namespace {

using Clock = std::chrono::steady_clock;

std::string NewPath()
{
   static std::atomic<unsigned> count = 0;
   return testing::TempDir() + "hostmem-script." + std::to_string(getpid()) + '.' + std::to_string(count++);
}

// The script and its trace; gone with this object.
class ScriptFile {
 public:
   explicit ScriptFile(const std::string &text) : path(NewPath()) { std::ofstream(path) << text; }
   ~ScriptFile()
   {
      std::error_code ignored;
      std::filesystem::remove(path, ignored);
      std::filesystem::remove(TracePath(), ignored);
   }
   ScriptFile(const ScriptFile &) = delete;
   ScriptFile &operator=(const ScriptFile &) = delete;

   std::string TracePath() const { return path + ".trace"; }

   std::string path;
};

std::vector<char *> Pointers(std::vector<std::string> &texts)
{
   std::vector<char *> pointers;
   for (std::string &text : texts) {
      pointers.push_back(text.data());
   }
   pointers.push_back(nullptr);
   return pointers;
}

std::vector<std::string> Environment(const std::string &scriptPath, const RunOptions &options)
{
   std::vector<std::string> environment;
   for (char **variable = environ; *variable != nullptr; variable++) {
      const std::string_view text = *variable;
      if (!text.starts_with("LD_") && !text.starts_with("TZ=") && !text.starts_with("POSIXLY_CORRECT") &&
          !text.starts_with("ASAN_OPTIONS=")) {
         environment.emplace_back(text);
      }
   }
   environment.push_back(options.interposition == Interposition::Preload
                            ? "LD_PRELOAD=" SCRIPTED_DIRECTORY "/libnevra.so.1"
                            : "LD_LIBRARY_PATH=" SCRIPTED_DIRECTORY);
   environment.push_back("TZ=UTC");
   environment.push_back("ASAN_OPTIONS=verify_asan_link_order=0");
   environment.push_back(std::string(kScriptVariable) + '=' + scriptPath);
   environment.insert(environment.end(), options.environment.begin(), options.environment.end());
   return environment;
}

struct Child {
   pid_t process;
   int out;
   int err;
};

Child Start(const std::vector<std::string> &arguments, const std::string &scriptPath,
            const RunOptions &options)
{
   const std::string executable = options.executable.empty() ? HOSTMEM_PROGRAM : options.executable;
   std::vector<std::string> words = {options.program.empty() ? executable : options.program};
   words.insert(words.end(), arguments.begin(), arguments.end());
   std::vector<std::string> environment = Environment(scriptPath, options);
   const std::vector<char *> argv = Pointers(words);
   const std::vector<char *> envp = Pointers(environment);
   int out[2];
   int err[2];
   if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
      ADD_FAILURE() << "no pipes";
      return {-1, -1, -1};
   }
   const pid_t process = fork();
   if (process == 0) {
      dup2(options.standardOutput >= 0 ? options.standardOutput : out[1], STDOUT_FILENO);
      dup2(err[1], STDERR_FILENO);
      for (const int stream : options.closedStreams) {
         close(stream);
      }
      if (options.workingDirectory.empty() || chdir(options.workingDirectory.c_str()) == 0) {
         execve(executable.c_str(), argv.data(), envp.data());
      }
      _exit(127);
   }
   close(out[1]);
   close(err[1]);
   return {process, out[0], err[0]};
}

// Appends what can be read; false at the end of the file.
bool ReadSome(int file, std::string *text)
{
   char buffer[65536];
   const ssize_t count = read(file, buffer, sizeof buffer);
   if (count > 0) {
      text->append(buffer, static_cast<size_t>(count));
   }
   return count > 0 || (count < 0 && errno == EINTR);
}

// Reads both outputs until they end, or until the time is up and the process is ended.
void Gather(const Child &child, std::chrono::milliseconds timeout, RunResult *run)
{
   const Clock::time_point deadline = Clock::now() + timeout;
   pollfd files[] = {{child.out, POLLIN, 0}, {child.err, POLLIN, 0}};
   std::string *texts[] = {&run->out, &run->err};
   while (files[0].fd >= 0 || files[1].fd >= 0) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      if (left.count() <= 0) {
         run->timedOut = true;
         kill(child.process, SIGKILL);
         return;
      }
      poll(files, 2, static_cast<int>(left.count()));
      for (size_t i = 0; i < 2; i++) {
         if (files[i].fd >= 0 && files[i].revents != 0 && !ReadSome(files[i].fd, texts[i])) {
            files[i].fd = -1;
         }
      }
   }
}

void ReadTrace(const std::string &path, RunResult *run)
{
   std::ifstream file(path);
   for (std::string line; std::getline(file, line);) {
      if (line == kEndOfTrace) {
         run->traceEnded = true;
      } else if (line.starts_with(kMisusePrefix)) {
         run->leaks += line.starts_with(kLeakPrefix);
         run->misuse.push_back(line);
      } else {
         run->trace.push_back(line);
      }
   }
}

std::string_view Operation(std::string_view line)
{
   return line.substr(0, line.find('('));
}

} // namespace

std::vector<std::string> SplitLines(std::string_view text)
{
   std::vector<std::string> lines;
   while (!text.empty()) {
      const size_t end = text.find('\n');
      lines.emplace_back(text.substr(0, end));
      text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
   }
   return lines;
}

std::string JoinLines(const std::vector<std::string> &lines)
{
   std::string text;
   for (const std::string &line : lines) {
      text += line + '\n';
   }
   return text;
}

std::vector<std::string> RunResult::OutLines() const
{
   return SplitLines(out);
}

std::vector<std::string> RunResult::ErrLines() const
{
   return SplitLines(err);
}

std::vector<std::string> RunResult::Calls(const std::vector<std::string> &operations) const
{
   std::vector<std::string> calls;
   for (const std::string &line : trace) {
      if (std::find(operations.begin(), operations.end(), Operation(line)) != operations.end()) {
         calls.push_back(line);
      }
   }
   return calls;
}

unsigned RunResult::Count(std::string_view operation) const
{
   return static_cast<unsigned>(std::count_if(
      trace.begin(), trace.end(), [operation](const auto &line) { return Operation(line) == operation; }));
}

RunResult RunHostmem(const Scenario &scenario, const std::vector<std::string> &arguments,
                     const RunOptions &options)
{
   const ScriptFile script(scenario.Text());
   RunResult run;
   run.arguments = arguments;
   const Child child = Start(arguments, script.path, options);
   if (child.process < 0) {
      return run;
   }
   Gather(child, options.timeout, &run);
   int status = 0;
   while (waitpid(child.process, &status, 0) < 0 && errno == EINTR) {
   }
   close(child.out);
   close(child.err);
   if (WIFEXITED(status)) {
      run.exitStatus = WEXITSTATUS(status);
   } else if (WIFSIGNALED(status)) {
      run.signal = WTERMSIG(status);
   }
   ReadTrace(script.TracePath(), &run);
   return run;
}

namespace {

// Every fault that the clean run has room for.
std::vector<Fault> PossibleFaults(const RunResult &clean)
{
   std::vector<Fault> faults;
   std::map<std::string, unsigned> calls;
   for (size_t i = 0; i < clean.trace.size(); i++) {
      const std::string operation(Operation(clean.trace[i]));
      if (std::find(kFallibleOperations.begin(), kFallibleOperations.end(), operation) ==
          kFallibleOperations.end()) {
         continue;
      }
      const unsigned call = ++calls[operation];
      const bool givesNull =
         operation.starts_with("Nevra_ParamListCreate") || operation == "Nevra_ParamListGetParam";
      std::vector<NevraStatus> statuses = kFaultStatuses;
      if (givesNull) {
         statuses = {NEVRA_FAILURE};
      } else if (kAreFaultsSampled) {
         statuses = {kFaultStatuses[call % kFaultStatuses.size()]};
      }
      for (const NevraStatus status : statuses) {
         faults.push_back({operation, call, status, i, clean.trace[i]});
      }
   }
   return faults;
}

void CheckFault(const Fault &fault, const RunResult &clean, const RunResult &run,
                const ExpectedFault &expected)
{
   EXPECT_THAT(run, RanCleanly());
   const std::vector<std::string> before(clean.trace.begin(),
                                         clean.trace.begin() + static_cast<ptrdiff_t>(fault.traceIndex));
   const size_t common = std::min(before.size(), run.trace.size());
   EXPECT_EQ(JoinLines({run.trace.begin(), run.trace.begin() + static_cast<ptrdiff_t>(common)}),
             JoinLines(before))
      << "before the fault";
   if (expected.exitStatus) {
      EXPECT_EQ(run.exitStatus, *expected.exitStatus);
   }
   if (expected.err) {
      EXPECT_EQ(run.err, *expected.err);
   }
   if (expected.out) {
      EXPECT_EQ(run.out, *expected.out);
   }
}

} // namespace

unsigned CheckEveryFault(const Scenario &scenario, const std::vector<std::string> &arguments,
                         const std::function<ExpectedFault(const Fault &)> &expect, const RunOptions &options)
{
   const RunResult clean = RunHostmem(scenario, arguments, options);
   EXPECT_THAT(clean, RanCleanly());
   const std::vector<Fault> faults = PossibleFaults(clean);
   EXPECT_FALSE(faults.empty());
   for (const Fault &fault : faults) {
      std::ostringstream what;
      what << "call " << fault.call << " of " << fault.operation << " fails with 0x" << std::hex
           << fault.status << ": " << fault.line;
      SCOPED_TRACE(what.str());
      Scenario faulty = scenario;
      faulty.Fail(fault.operation, fault.call, fault.status);
      CheckFault(fault, clean, RunHostmem(faulty, arguments, options),
                 expect ? expect(fault) : ExpectedFault());
      if (testing::Test::HasFatalFailure()) {
         break;
      }
   }
   return static_cast<unsigned>(faults.size());
}

} // namespace scripted

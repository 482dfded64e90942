#include "bench/process.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

size_t AnonymousKB(pid_t pid)
{
   std::ifstream status("/proc/" + std::to_string(pid) + "/status");
   for (std::string line; std::getline(status, line);) {
      if (line.rfind("RssAnon:", 0) == 0) {
         return std::strtoul(line.c_str() + 8, nullptr, 10);
      }
   }
   return 0;
}

double Seconds(const timeval &time)
{
   return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

std::string ReadAll(int file)
{
   std::string text;
   char buffer[4096];
   for (ssize_t count; (count = read(file, buffer, sizeof buffer)) > 0;) {
      text.append(buffer, static_cast<size_t>(count));
   }
   return text;
}

} // namespace

ProcessRun RunProcess(const std::vector<std::string> &arguments, const std::string &outputPath,
                      bool sampleMemory)
{
   std::vector<char *> argv;
   argv.reserve(arguments.size() + 1);
   for (const std::string &argument : arguments) {
      argv.push_back(const_cast<char *>(argument.c_str()));
   }
   argv.push_back(nullptr);

   int errorPipe[2];
   if (pipe2(errorPipe, O_CLOEXEC) != 0) {
      std::perror("pipe2");
      std::exit(1);
   }
   posix_spawn_file_actions_t actions;
   posix_spawn_file_actions_init(&actions);
   posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                    0644);
   posix_spawn_file_actions_adddup2(&actions, errorPipe[1], STDERR_FILENO);

   ProcessRun run;
   pid_t pid;
   const auto start = std::chrono::steady_clock::now();
   if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
      std::fprintf(stderr, "cannot run %s\n", argv[0]);
      std::exit(1);
   }
   close(errorPipe[1]);
   int status = 0;
   rusage usage = {};
   while (sampleMemory && wait4(pid, &status, WNOHANG, &usage) == 0) {
      run.peakAnonymousKB = std::max(run.peakAnonymousKB, AnonymousKB(pid));
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
   }
   if (!sampleMemory) {
      run.standardError = ReadAll(errorPipe[0]);
      wait4(pid, &status, 0, &usage);
   }
   run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
   run.cpuSeconds = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
   run.peakResidentKB = static_cast<size_t>(usage.ru_maxrss);
   run.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
   close(errorPipe[0]);
   posix_spawn_file_actions_destroy(&actions);
   return run;
}

namespace {

void EndUnlessDone(const std::vector<std::string> &command, const ProcessRun &run)
{
   if (run.exitStatus != 0) {
      std::fprintf(stderr, "%s exited with status %d: %s\n", command[0].c_str(), run.exitStatus,
                   run.standardError.c_str());
      std::exit(1);
   }
}

Figures RunContender(const Contender &contender)
{
   const ProcessRun run = RunProcess(contender.command, contender.outputPath);
   EndUnlessDone(contender.command, run);
   if (!contender.timesItself) {
      return {run.seconds, run.cpuSeconds};
   }
   long long wall = 0;
   long long cpu = 0;
   // NOLINTNEXTLINE(cert-err34-c): our own program wrote them
   if (std::sscanf(run.standardError.c_str(), "%lld %lld", &wall, &cpu) != 2 || wall <= 0) {
      std::fprintf(stderr, "%s: no times: %s\n", contender.command[0].c_str(), run.standardError.c_str());
      std::exit(1);
   }
   return {static_cast<double>(wall) * 1e-9, static_cast<double>(cpu) * 1e-9};
}

} // namespace

std::vector<Figures> RunInTurn(const std::vector<Contender> &contenders, const Rounds &rounds)
{
   std::vector<Figures> least;
   const auto start = std::chrono::steady_clock::now();
   const std::chrono::duration<double> time(rounds.seconds);
   for (int round = 0; round < rounds.most; round++) {
      if (round >= rounds.least && std::chrono::steady_clock::now() - start > time) {
         break;
      }
      for (size_t i = 0; i < contenders.size(); i++) {
         const Figures run = RunContender(contenders[i]);
         if (round == 0) {
            least.push_back(run);
         }
         least[i].seconds = std::min(least[i].seconds, run.seconds);
         least[i].cpuSeconds = std::min(least[i].cpuSeconds, run.cpuSeconds);
      }
   }
   return least;
}

void RunOnce(const std::vector<std::string> &arguments, const std::string &outputPath)
{
   EndUnlessDone(arguments, RunProcess(arguments, outputPath));
}

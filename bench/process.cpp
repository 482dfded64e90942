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
   run.peakResidentKB = static_cast<size_t>(usage.ru_maxrss);
   run.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
   close(errorPipe[0]);
   posix_spawn_file_actions_destroy(&actions);
   return run;
}

ProcessRun FastestRun(const std::vector<std::string> &arguments, const std::string &outputPath, int runs)
{
   ProcessRun fastest;
   for (int i = 0; i < runs; i++) {
      const ProcessRun run = RunProcess(arguments, outputPath);
      if (run.exitStatus != 0) {
         std::fprintf(stderr, "%s exited with status %d: %s\n", arguments[0].c_str(), run.exitStatus,
                      run.standardError.c_str());
         std::exit(1);
      }
      if (i == 0 || run.seconds < fastest.seconds) {
         fastest = run;
      }
   }
   return fastest;
}

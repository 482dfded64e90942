#include "bench/sleeping_processes.h"

#include <csignal>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

SleepingProcesses::SleepingProcesses(unsigned count)
{
   for (unsigned i = 0; i < count; i++) {
      const pid_t pid = fork();
      if (pid == 0) {
         prctl(PR_SET_PDEATHSIG, SIGKILL);
         pause();
         _exit(0);
      }
      if (pid > 0) {
         pids.push_back(pid);
      }
   }
}

SleepingProcesses::~SleepingProcesses()
{
   for (const pid_t pid : pids) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
   }
}

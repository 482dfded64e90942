// Processes that do nothing, to make a host busier than it is.
#ifndef BENCH_SLEEPING_PROCESSES_H
#define BENCH_SLEEPING_PROCESSES_H

#include <cstddef>
#include <vector>

#include <sys/types.h>

// They end with this object, and with the program that made it.
class SleepingProcesses {
 public:
   explicit SleepingProcesses(unsigned count);
   ~SleepingProcesses();
   SleepingProcesses(const SleepingProcesses &) = delete;
   SleepingProcesses &operator=(const SleepingProcesses &) = delete;
   size_t Count() const { return pids.size(); } // fewer than asked for, where the system allows no more

 private:
   std::vector<pid_t> pids;
};

#endif

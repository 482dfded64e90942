// In a coverage build, a process writes its counters before _exit() and before it becomes another program, as
// it does before exit(). They are those of the program or library that calls.
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
void __gcov_dump();
void __gcov_reset();
[[noreturn]] void __real__exit(int status);
int __real_execv(const char *path, char *const *words);
int __real_execvp(const char *name, char *const *words);
}

namespace {

// Another process writes them, in a session of its own: who ends the process and its group does not end that
// one halfway, and nobody waits for it or hears from it.
void WriteCounters()
{
   const pid_t child = fork();
   if (child == 0) {
      setsid();
      if (fork() == 0) {
         close_range(0, ~0U, 0);
         __gcov_dump();
      }
      __real__exit(0);
   }
   if (child > 0) {
      waitpid(child, nullptr, 0);
   }
   __gcov_reset();
}

} // namespace

extern "C" {

[[noreturn]] void __wrap__exit(int status)
{
   WriteCounters();
   __real__exit(status);
}

int __wrap_execv(const char *path, char *const *words)
{
   WriteCounters();
   return __real_execv(path, words);
}

int __wrap_execvp(const char *name, char *const *words)
{
   WriteCounters();
   return __real_execvp(name, words);
}
}

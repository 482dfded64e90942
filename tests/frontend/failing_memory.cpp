// Loaded before a program: its HOSTMEM_FAILING_ALLOCATION-th allocation fails, and HOSTMEM_FAILED_MARK is
// made to tell that there was one.
#include <cstddef>
#include <cstdlib>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

using Main = int (*)(int, char **, char **);

Main programMain = nullptr;
bool isInMain = false;
long number = 0; // of the allocation that fails, from 1
long calls = 0;

int CountedMain(int argc, char **argv, char **environment)
{
   const char *text = std::getenv("HOSTMEM_FAILING_ALLOCATION");
   number = text != nullptr ? std::atol(text) : 0;
   isInMain = true;
   const int status = programMain(argc, argv, environment);
   isInMain = false;
   return status;
}

bool IsTheOne()
{
   if (!isInMain || ++calls != number) {
      return false;
   }
   const int mark = open(std::getenv("HOSTMEM_FAILED_MARK"), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
   close(mark);
   return true;
}

template <typename Function> Function *Next(const char *name)
{
   return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

// The C library's own; it calls main.
int __libc_start_main(Main main, int argc, char **argv, void (*init)(), void (*fini)(), void (*loaderFini)(),
                      void *stackEnd)
{
   programMain = main;
   using Start = int(Main, int, char **, void (*)(), void (*)(), void (*)(), void *);
   return Next<Start>("__libc_start_main")(CountedMain, argc, argv, init, fini, loaderFini, stackEnd);
}

void *malloc(size_t size)
{
   static const auto next = Next<void *(size_t)>("malloc");
   return IsTheOne() ? nullptr : next(size);
}

void *calloc(size_t nmemb, size_t size)
{
   static const auto next = Next<void *(size_t, size_t)>("calloc");
   return IsTheOne() ? nullptr : next(nmemb, size);
}

void *realloc(void *ptr, size_t size)
{
   static const auto next = Next<void *(void *, size_t)>("realloc");
   return IsTheOne() ? nullptr : next(ptr, size);
}

} // extern "C"

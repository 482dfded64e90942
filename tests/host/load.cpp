// A process that holds a known kind of memory until it is killed. It goes to the background once the memory
// is there, so that whoever starts it can go on when it returns. usage: load NAME KIND MB [FILE]
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr size_t kPage = 4096;

char *Map(size_t bytes, int flags, int file = -1)
{
   void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, flags, file, 0);
   if (memory == MAP_FAILED) {
      perror("mmap");
      exit(1);
   }
   return static_cast<char *>(memory);
}

// Each page is written with its number and `salt`, so that no two pages of a process are alike.
void Touch(char *memory, size_t bytes, unsigned salt)
{
   for (size_t at = 0; at < bytes; at += kPage) {
      const size_t words[] = {at / kPage + 1, salt};
      std::memcpy(memory + at, words, sizeof words);
   }
}

bool Hold(const std::string &kind, size_t bytes, const char *file)
{
   constexpr int kPrivate = MAP_PRIVATE | MAP_ANONYMOUS;
   if (kind == "anon") {
      Touch(Map(bytes, kPrivate), bytes, 1);
   } else if (kind == "alike") { // every process of this kind has the same pages
      char *memory = Map(bytes, kPrivate);
      madvise(memory, bytes, MADV_NOHUGEPAGE);
      madvise(memory, bytes, MADV_MERGEABLE);
      Touch(memory, bytes, 2);
   } else if (kind == "zero") {
      char *memory = Map(bytes, kPrivate);
      madvise(memory, bytes, MADV_NOHUGEPAGE);
      madvise(memory, bytes, MADV_MERGEABLE);
      std::memset(memory, 0, bytes);
   } else if (kind == "shared") {
      Touch(Map(bytes, MAP_SHARED | MAP_ANONYMOUS), bytes, 3);
   } else if (kind == "file") {
      const int descriptor = open(file, O_RDWR | O_CREAT, 0600);
      if (descriptor < 0 || ftruncate(descriptor, static_cast<off_t>(bytes)) != 0) {
         perror(file);
         return false;
      }
      Touch(Map(bytes, MAP_SHARED, descriptor), bytes, 4);
   } else if (kind == "locked") {
      char *memory = Map(bytes, kPrivate);
      return mlock2(memory, bytes, MLOCK_ONFAULT) == 0;
   } else if (kind == "large") {
      constexpr size_t kLarge = size_t{2} << 20;
      char *memory = Map(bytes + kLarge, kPrivate);
      memory += kLarge - reinterpret_cast<size_t>(memory) % kLarge;
      madvise(memory, bytes, MADV_HUGEPAGE);
      Touch(memory, bytes, 5);
   } else {
      return false;
   }
   return true;
}

} // namespace

int main(int argc, char **argv)
{
   if (argc < 4) {
      return 1;
   }
   int ready[2];
   if (pipe(ready) != 0) {
      return 1;
   }
   if (fork() != 0) {
      close(ready[1]);
      char answer = 1;
      return read(ready[0], &answer, 1) == 1 ? answer : 1;
   }
   prctl(PR_SET_NAME, argv[1]);
   const size_t bytes = strtoul(argv[3], nullptr, 10) << 20;
   const char answer = Hold(argv[2], bytes, argc > 4 ? argv[4] : "") ? 0 : 1;
   if (write(ready[1], &answer, 1) != 1 || answer != 0) {
      return 1;
   }
   close(ready[0]);
   close(ready[1]);
   for (int descriptor = 0; descriptor < 3; descriptor++) {
      close(descriptor);
   }
   for (;;) {
      pause();
   }
}

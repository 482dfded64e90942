// Runs a command as another user, with no groups and no privileges.
// usage: as_user UID COMMAND...
#include <cstdlib>

#include <grp.h>
#include <unistd.h>

int main(int argc, char **argv)
{
   const unsigned user = argc > 2 ? static_cast<unsigned>(strtoul(argv[1], nullptr, 10)) : 0;
   if (user == 0 || setgroups(0, nullptr) != 0 || setgid(user) != 0 || setuid(user) != 0) {
      return 126;
   }
   execv(argv[2], argv + 2);
   return 127;
}

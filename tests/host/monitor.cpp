// Gives commands to a VM's monitor, a UNIX socket, and waits for its prompt after each.
// usage: monitor SOCKET COMMAND...
#include <cstring>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

bool WaitForPrompt(int monitor)
{
   std::string text;
   char byte = 0;
   while (!text.ends_with("(qemu) ")) {
      if (read(monitor, &byte, 1) != 1) {
         return false;
      }
      text += byte;
   }
   return text.find("Error") == std::string::npos;
}

} // namespace

int main(int argc, char **argv)
{
   sockaddr_un address = {.sun_family = AF_UNIX};
   if (argc < 3 || std::strlen(argv[1]) >= sizeof address.sun_path) {
      return 1;
   }
   std::strcpy(address.sun_path, argv[1]);
   const int monitor = socket(AF_UNIX, SOCK_STREAM, 0);
   if (connect(monitor, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
       !WaitForPrompt(monitor)) {
      return 1;
   }
   for (int i = 2; i < argc; i++) {
      const std::string line = std::string(argv[i]) + "\n";
      if (write(monitor, line.data(), line.size()) != static_cast<ssize_t>(line.size()) ||
          !WaitForPrompt(monitor)) {
         return 1;
      }
   }
   return 0;
}

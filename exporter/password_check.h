// Whether a client knows a password.
#ifndef EXPORTER_PASSWORD_CHECK_H
#define EXPORTER_PASSWORD_CHECK_H

#include <chrono>
#include <map>
#include <string>

namespace exporter {

// Whether a text is a bcrypt hash: $2y$10$...
bool IsPasswordHash(const std::string &hash);

class PasswordCheck {
 public:
   using Clock = std::chrono::steady_clock;

   enum class Answer { Right, Wrong, TooSoon };

   // Names and bcrypt hashes.
   explicit PasswordCheck(std::map<std::string, std::string> users);

   bool IsNeeded() const { return !hashes.empty(); }

   // A hash takes the processor a tenth of a second, on purpose. So a password that was right is kept, and of
   // others ten a second are looked at: who guesses does not keep the rest waiting. A name that is not there
   // takes as long as one that is.
   Answer Check(const std::string &name, const std::string &password, Clock::time_point now);

 private:
   std::map<std::string, std::string> hashes;
   std::map<std::string, std::string> known; // passwords that were right
   Clock::time_point next{};                 // when one is looked at again
};

} // namespace exporter

#endif

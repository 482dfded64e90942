// Whether a client knows a password.
#ifndef EXPORTER_PASSWORD_CHECK_H
#define EXPORTER_PASSWORD_CHECK_H

#include <chrono>
#include <map>
#include <string>

namespace exporter {

// The highest cost of a hash that is taken: each step doubles the time that a look at a password takes, which
// is about a second at this one.
inline constexpr int kHighestCost = 14;

// Whether a text is a bcrypt hash: $2y$10$...
bool IsPasswordHash(const std::string &hash);
// The 10 in it.
int CostOf(const std::string &hash);

class PasswordCheck {
 public:
   using Clock = std::chrono::steady_clock;

   enum class Answer { Right, Wrong, TooSoon };

   // Names and bcrypt hashes.
   explicit PasswordCheck(std::map<std::string, std::string> users);

   bool IsNeeded() const { return !hashes.empty(); }

   // A hash takes the processor a tenth of a second or more, on purpose. So a password that was right is
   // kept, and of others at most ten a second are checked, and fewer where that would take more than half of
   // the time: guessing slows nobody down who is known. A name that does not exist takes as long as the
   // costliest one that does.
   Answer Check(const std::string &name, const std::string &password, Clock::time_point now);

 private:
   std::map<std::string, std::string> hashes;
   std::string costliest;                    // of the hashes
   std::map<std::string, std::string> known; // passwords that were right
   Clock::time_point next{};                 // when one is checked again
};

} // namespace exporter

#endif

#include "exporter/password_check.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <string_view>
#include <utility>

#include <crypt.h>

namespace exporter {

namespace {

// Takes as long for a wrong text as for a right one.
bool IsSame(std::string_view one, std::string_view other)
{
   unsigned different = one.size() != other.size();
   for (size_t i = 0; i < one.size() && i < other.size(); i++) {
      different |= static_cast<unsigned char>(one[i]) ^ static_cast<unsigned char>(other[i]);
   }
   return different == 0;
}

bool HasHash(const std::string &password, const std::string &hash)
{
   const auto data = std::make_unique<crypt_data>();
   const char *computed = crypt_r(password.c_str(), hash.c_str(), data.get());
   return computed != nullptr && IsSame(computed, hash);
}

} // namespace

bool IsPasswordHash(const std::string &hash)
{
   constexpr size_t kLength = 60;
   return hash.size() == kLength && hash.starts_with("$2") && crypt_checksalt(hash.c_str()) == CRYPT_SALT_OK;
}

int CostOf(const std::string &hash)
{
   constexpr size_t kPlace = 4; // after $2y$
   int cost = 0;
   std::from_chars(hash.data() + kPlace, hash.data() + kPlace + 2, cost);
   return cost;
}

PasswordCheck::PasswordCheck(std::map<std::string, std::string> users) : hashes(std::move(users))
{
   for (const auto &[name, hash] : hashes) {
      if (costliest.empty() || CostOf(hash) > CostOf(costliest)) {
         costliest = hash;
      }
   }
}

PasswordCheck::Answer PasswordCheck::Check(const std::string &name, const std::string &password,
                                           Clock::time_point now)
{
   if (const auto right = known.find(name); right != known.end() && IsSame(right->second, password)) {
      return Answer::Right;
   }
   if (now < next) {
      return Answer::TooSoon;
   }
   const auto hash = hashes.find(name);
   const Clock::time_point start = Clock::now();
   // Hashing ends at a zero byte.
   const bool isRight = HasHash(password, hash != hashes.end() ? hash->second : costliest) &&
                        hash != hashes.end() && password.find('\0') == std::string::npos;
   const Clock::duration taken = Clock::now() - start;
   next = now + std::max<Clock::duration>(std::chrono::milliseconds(100), 2 * taken);
   if (isRight) {
      known[name] = password;
   }
   return isRight ? Answer::Right : Answer::Wrong;
}

} // namespace exporter

// A figure that is asked for when it is first needed, and kept.
#ifndef NEVRA_LINUX_ONCE_H
#define NEVRA_LINUX_ONCE_H

#include <optional>

namespace nevra {

// Kept for good. Where the answer may be that there is none, T is an optional.
template <typename T> class Once {
 public:
   template <typename Ask> const T &Get(Ask ask)
   {
      if (!answer.has_value()) {
         answer.emplace(ask());
      }
      return *answer;
   }

 private:
   std::optional<T> answer;
};

// Kept until another key is asked for.
template <typename Key, typename T> class OnceInARow {
 public:
   template <typename Ask> T &Get(const Key &wanted, Ask ask)
   {
      if (!answer.has_value() || key != wanted) {
         answer.reset(); // what it held is not to be taken for the new key's when ask() throws
         answer.emplace(ask());
         key = wanted;
      }
      return *answer;
   }

 private:
   Key key{};
   std::optional<T> answer;
};

// What a pointer to an optional answer is: null when there is none.
template <typename T> const T *OrNull(const std::optional<T> &value)
{
   return value.has_value() ? &*value : nullptr;
}

} // namespace nevra

#endif

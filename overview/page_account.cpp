#include "overview/page_account.h"

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "overview/page_text.h"

namespace overview {

namespace {

// An item at one moment or both.
struct Pair {
   const AccountItem *now = nullptr; // null: it has gone
   const AccountItem *before = nullptr;

   const AccountItem &Any() const { return now != nullptr ? *now : *before; }
   int64_t Kb() const { return now != nullptr ? now->kb : 0; }
   int64_t KbBefore() const { return before != nullptr ? before->kb : 0; }
   uint64_t Size() const { return std::max(Magnitude(Kb()), Magnitude(KbBefore())); }

 private:
   static uint64_t Magnitude(int64_t kb)
   {
      return kb < 0 ? uint64_t{0} - static_cast<uint64_t>(kb) : static_cast<uint64_t>(kb);
   }
};

// Whether an amount at one moment has no parts: then those of the other moment do not add up to it.
bool IsWhole(const AccountItem *item)
{
   return item != nullptr && item->kb != 0 && item->parts.empty();
}

// Amounts come from files: sums wrap, whatever they are.
int64_t Plus(int64_t a, int64_t b)
{
   return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

// Parts belong together by their names, groups by names and IDs.
using PartKey = std::tuple<std::string, bool, std::optional<uint64_t>>;

std::vector<Pair> PartsOf(const Pair &whole)
{
   std::multimap<PartKey, const AccountItem *> former;
   if (whole.before != nullptr) {
      for (const AccountItem &part : whole.before->parts) {
         former.emplace(PartKey(part.name, part.isDifference, part.group), &part);
      }
   }
   std::vector<Pair> parts;
   if (whole.now != nullptr) {
      for (const AccountItem &part : whole.now->parts) {
         const auto found = former.find({part.name, part.isDifference, part.group});
         parts.push_back({&part, found != former.end() ? found->second : nullptr});
         if (found != former.end()) {
            former.erase(found);
         }
      }
   }
   for (const auto &[key, part] : former) {
      parts.push_back({nullptr, part});
   }
   return parts;
}

class AccountWriter {
 public:
   AccountWriter(JsonWriter *writer, AccountBounds most, bool isExplained)
       : out(*writer), bounds(most), hasExplanations(isExplained)
   {
   }

   void WriteRoot(const Pair &pair)
   {
      counted = 1;
      Write(pair, pair.before != nullptr);
   }

 private:
   // `hasBefore`: what was before is known, and written.
   void Write(const Pair &pair, bool hasBefore)
   {
      const AccountItem &item = pair.Any();
      Begin(item.name, hasExplanations ? item.explanation : std::string(), pair.Kb(),
            hasBefore ? std::optional(pair.KbBefore()) : std::nullopt);
      if (item.isDifference) {
         out.Key("isDifference");
         out.Bool(true);
      }
      if (item.group.has_value()) {
         out.Key("group");
         WriteUnsigned(out, *item.group);
      }
      if (!IsWhole(pair.now)) {
         const bool arePartsKnown = hasBefore && !IsWhole(pair.before);
         WriteParts(PartsOf({pair.now, arePartsKnown ? pair.before : nullptr}), arePartsKnown);
      }
      out.EndObject();
   }

   void Begin(const std::string &name, const std::string &explanation, int64_t kb,
              std::optional<int64_t> kbBefore)
   {
      out.StartObject();
      WriteTextMember(out, "name", name);
      if (!explanation.empty()) {
         WriteTextMember(out, "explanation", explanation);
      }
      out.Key("kb");
      out.Int64(kb);
      if (kbBefore.has_value()) {
         out.Key("before");
         out.Int64(*kbBefore);
      }
   }

   void WriteParts(std::vector<Pair> parts, bool hasBefore)
   {
      const size_t count = std::min(parts.size(), bounds.parts);
      if (parts.empty() || counted + count > bounds.items) {
         return;
      }
      counted += count; // before those below them
      size_t shown = parts.size();
      if (shown > bounds.parts) {
         shown = bounds.parts - 1;
         std::ranges::stable_sort(parts, std::greater(), &Pair::Size);
      }
      out.Key("parts");
      out.StartArray();
      for (size_t i = 0; i < shown; i++) {
         Write(parts[i], hasBefore);
      }
      if (shown < parts.size()) {
         WriteOthers(std::span(parts).subspan(shown), hasBefore);
      }
      out.EndArray();
   }

   // One part for many, so that all add up as before.
   void WriteOthers(std::span<const Pair> parts, bool hasBefore)
   {
      int64_t kb = 0;
      int64_t kbBefore = 0;
      for (const Pair &part : parts) {
         kb = Plus(kb, part.Kb());
         kbBefore = Plus(kbBefore, part.KbBefore());
      }
      Begin(std::to_string(parts.size()) + " others", "the smallest ones together", kb,
            hasBefore ? std::optional(kbBefore) : std::nullopt);
      out.EndObject();
   }

   JsonWriter &out;
   AccountBounds bounds;
   bool hasExplanations;
   size_t counted = 0; // items that are or will be written
};

} // namespace

void WriteAccount(JsonWriter &out, const AccountItem &now, const AccountItem *before, AccountBounds bounds,
                  bool isExplained)
{
   AccountWriter(&out, bounds, isExplained).WriteRoot({&now, before});
}

} // namespace overview

#include "overview/page_account.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "overview/page_text.h"

namespace overview {

namespace {

const AccountItem &AnyOf(const ItemPair &pair)
{
   return pair.now != nullptr ? *pair.now : *pair.before;
}

int64_t KbOf(const AccountItem *item)
{
   return item != nullptr ? item->kb : 0;
}

uint64_t Magnitude(int64_t kb)
{
   return kb < 0 ? uint64_t{0} - static_cast<uint64_t>(kb) : static_cast<uint64_t>(kb);
}

uint64_t SizeOf(const ItemPair &pair)
{
   return std::max(Magnitude(KbOf(pair.now)), Magnitude(KbOf(pair.before)));
}

// Whether an amount at one moment has no parts: then those of the other moment do not add up to it.
bool IsWhole(const AccountItem *item)
{
   return item != nullptr && item->kb != 0 && item->parts.empty();
}

class AccountWriter {
 public:
   AccountWriter(JsonWriter *writer, AccountBounds most, bool isExplained)
       : out(*writer), bounds(most), hasExplanations(isExplained)
   {
   }

   void WriteRoot(const ItemPair &pair)
   {
      counted = 1;
      Write(pair, pair.before != nullptr);
   }

 private:
   // `hasBefore`: what was before is known, and written.
   void Write(const ItemPair &pair, bool hasBefore)
   {
      const AccountItem &item = AnyOf(pair);
      Begin(item.name, hasExplanations ? item.explanation : std::string(), KbOf(pair.now),
            hasBefore ? std::optional(KbOf(pair.before)) : std::nullopt);
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
         WriteParts(PairParts({pair.now, arePartsKnown ? pair.before : nullptr}), arePartsKnown);
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

   void WriteParts(std::vector<ItemPair> parts, bool hasBefore)
   {
      const size_t count = std::min(parts.size(), bounds.parts);
      if (parts.empty() || counted + count > bounds.items) {
         return;
      }
      counted += count; // before those below them
      size_t shown = parts.size();
      if (shown > bounds.parts) {
         shown = bounds.parts - 1;
         std::ranges::stable_sort(parts, std::greater(), SizeOf);
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
   void WriteOthers(std::span<const ItemPair> parts, bool hasBefore)
   {
      int64_t kb = 0;
      int64_t kbBefore = 0;
      for (const ItemPair &part : parts) {
         kb = SumOfAmounts(kb, KbOf(part.now));
         kbBefore = SumOfAmounts(kbBefore, KbOf(part.before));
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

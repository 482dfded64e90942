#include "overview/account.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "nevra/values.h"
#include "overview/group_kind.h"

namespace overview {

namespace {

int64_t Minus(int64_t a, int64_t b)
{
   return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

int64_t SumOf(const std::vector<AccountItem> &parts)
{
   int64_t sum = 0;
   for (const AccountItem &part : parts) {
      sum = SumOfAmounts(sum, part.kb);
   }
   return sum;
}

AccountItem Item(const char *name, const char *explanation, uint64_t kb)
{
   return {
      .name = name, .explanation = explanation, .kb = static_cast<int64_t>(kb), .parts = {}, .group = {}};
}

// Adds a part, unless there is nothing of it.
void Add(AccountItem *item, AccountItem part)
{
   if (part.kb != 0 || !part.parts.empty()) {
      item->parts.push_back(std::move(part));
   }
}

// What a difference is called, and why it may be there.
struct Difference {
   const char *name;
   const char *explanation;
};

constexpr Difference kNotSaid = {kUnaccounted, "the kernel does not say what it is used for"};
constexpr Difference kTwice = {kCountedTwice, "memory that several parts hold together, taken off again"};

// Adds the part that makes the parts add up; none where they do, or where there are none.
void Close(AccountItem *item, const Difference &rest, const Difference &excess)
{
   const int64_t difference = Minus(item->kb, SumOf(item->parts));
   if (difference == 0 || item->parts.empty()) {
      return;
   }
   const Difference &kind = difference > 0 ? rest : excess;
   item->parts.push_back({.name = kind.name,
                          .explanation = kind.explanation,
                          .kb = difference,
                          .isDifference = true,
                          .parts = {},
                          .group = {}});
}

void AddHeaps(const HostRows &rows, AccountItem *item)
{
   for (const HeapRow &heap : rows.heaps) {
      Add(item, Item(heap.name.c_str(), "a heap of the kernel", heap.size));
   }
   std::ranges::stable_sort(item->parts, std::greater(), &AccountItem::kb);
}

constexpr Difference kReadLater = {
   "changed meanwhile", "the kernel's files were read one after the other, while the host went on"};

AccountItem SlabItem(const HostRows &rows, const KernelDetail &detail)
{
   AccountItem slab = Item("slab", "caches of kernel objects", detail.Of("Slab"));
   AddHeaps(rows, &slab);
   if (slab.parts.empty()) {
      Add(&slab, Item("reclaimable",
                      "what the kernel gives back when memory is short: mostly inodes and names of files",
                      detail.Of("SReclaimable")));
      Add(&slab, Item("not reclaimable", "kernel objects in use", detail.Of("SUnreclaim")));
   }
   Close(&slab, kNotSaid, kReadLater);
   return slab;
}

AccountItem DataAndHeapItem(const HostRows &rows, const KernelDetail *detail)
{
   AccountItem item = Item("data and heap", "what the kernel allocates for itself", rows.host->dataAndHeap);
   if (detail == nullptr) {
      AddHeaps(rows, &item);
      Close(&item, kNotSaid, kTwice);
      return item;
   }
   Add(&item, SlabItem(rows, *detail));
   Add(&item, Item("page tables", "of processes", detail->Of("PageTables")));
   Add(&item, Item("page tables of guests", "and of devices", detail->Of("SecPageTables")));
   Add(&item, Item("kernel stacks", "one for each thread", detail->Of("KernelStack")));
   Add(&item, Item("per CPU", "data that each CPU has a copy of", detail->Of("Percpu")));
   Close(&item, {"static data", "what the kernel was loaded with"}, kReadLater);
   return item;
}

AccountItem KernelItem(const HostRows &rows, const KernelDetail *detail)
{
   const HostFigures &host = *rows.host;
   AccountItem item = Item("kernel", "what the kernel itself takes", 0);
   Add(&item, DataAndHeapItem(rows, detail));
   Add(&item, Item("page descriptors", "what the kernel keeps about each page of memory", host.buddyOvhd));
   Add(&item, Item("code", "of the kernel", host.kernelCode));
   item.kb = SumOf(item.parts);
   return item;
}

AccountItem FirmwareItem(const HostFigures &host)
{
   AccountItem item = Item("firmware", "what never came to the kernel's memory management", 0);
   Add(&item, Item("discarded", "kept by the firmware, or reserved when the host booted", host.discarded));
   Add(&item, Item("low memory", "reserved for devices that reach no other", host.rsvdLow));
   item.kb = SumOf(item.parts);
   return item;
}

uint64_t FreeLargePages(const HostRows &rows)
{
   uint64_t kb = 0;
   for (const LargePagePool &pool : rows.pools) {
      kb += pool.free;
   }
   return kb;
}

AccountItem ProcessesItem(const HostRows &rows, const KernelDetail &detail)
{
   AccountItem item =
      Item("VMs and processes", "memory that programs have allocated or share", rows.host->otherClients);
   AccountItem anonymous = Item("anonymous", "heaps, stacks, the memory of guests", detail.Of("AnonPages"));
   if (detail.Of("AnonHugePages") > 0) {
      Add(&anonymous, Item("in large pages", "transparent ones", detail.Of("AnonHugePages")));
      Close(&anonymous, {"in small pages", "the rest"}, kReadLater);
   }
   Add(&item, std::move(anonymous));
   Add(&item, Item("shared memory", "and files in memory (tmpfs)", detail.Of("Shmem")));
   AccountItem large = Item("large pages", "set aside for whoever asks for them", detail.Of("Hugetlb"));
   Add(&large, Item("free", "set aside and not used", large.kb > 0 ? FreeLargePages(rows) : 0));
   Close(&large, {"in use", "the rest"}, kTwice);
   Add(&item, std::move(large));
   Close(&item, kNotSaid, kReadLater);
   return item;
}

AccountItem CachesItem(const HostFigures &host, const KernelDetail &detail)
{
   AccountItem item =
      Item("caches and drivers", "files in memory, and buffers of drivers", host.kernelClients);
   const int64_t files =
      Minus(static_cast<int64_t>(detail.Of("Cached")), static_cast<int64_t>(detail.Of("Shmem")));
   Add(&item, Item("page cache", "files that were read or written", static_cast<uint64_t>(files)));
   Add(&item, Item("buffers", "the page cache of disks and file systems", detail.Of("Buffers")));
   Add(&item, Item("swap cache", "memory that is in swap as well", detail.Of("SwapCached")));
   const uint64_t mapped = detail.Of("VmallocUsed");
   const uint64_t stacks = detail.Of("KernelStack");
   Add(&item, Item("mapped by page", "memory that the kernel maps page by page, except its stacks",
                   mapped > stacks ? mapped - stacks : 0));
   Close(&item, {kUnaccounted, "drivers, the network, free pages on the lists of the CPUs"}, kTwice);
   return item;
}

// What runs, where the kernel says no more than who it is.
AccountItem ClientsItem(const HostRows &rows)
{
   const HostFigures &host = *rows.host;
   AccountItem item =
      Item("in use", "by VMs, processes, their files and buffers", host.kernelClients + host.otherClients);
   const ConsumedByKind consumed = SumByKind(rows.groups);
   Add(&item, Item("VMs", "", consumed.vms));
   Add(&item, Item("processes", "that serve no VM", consumed.processes));
   Add(&item, Item("system worlds", "threads of the kernel", consumed.system));
   Close(&item, {kUnaccounted, "files in memory, buffers, and what belongs to no VM and no process"}, kTwice);
   return item;
}

AccountItem MakeByUse(const HostRows &rows, const KernelDetail *detail)
{
   const HostFigures &host = *rows.host;
   AccountItem whole = Item("memory", "of the host", host.total);
   if (detail != nullptr) {
      Add(&whole, ProcessesItem(rows, *detail));
      Add(&whole, CachesItem(host, *detail));
   } else {
      Add(&whole, ClientsItem(rows));
   }
   Add(&whole, KernelItem(rows, detail));
   Add(&whole, FirmwareItem(host));
   Add(&whole, Item("free", "", host.free));
   Close(&whole, kNotSaid,
         {kBeyondTotal, "the parts hold memory that is not in the total, or count some twice"});
   return whole;
}

constexpr Difference kOwn = {kUnaccounted,
                             "counted for the group, and for none below it: files in memory, kernel objects, "
                             "memory that is left of processes that have ended"};

// No deeper than any host nests groups; what a file nests deeper is a part of the whole.
constexpr uint32_t kDeepest = 64;

// The position of each group's parent, which comes before it; that of the first group where it has none.
std::vector<size_t> FindParents(const std::vector<GroupRow> &groups)
{
   std::unordered_map<int64_t, size_t> positions;
   std::vector<size_t> parents(groups.size(), 0);
   std::vector<uint32_t> depths(groups.size(), 0);
   for (size_t i = 0; i < groups.size(); i++) {
      const auto found = positions.find(groups[i].parent);
      const size_t parent = found != positions.end() && depths[found->second] < kDeepest ? found->second : 0;
      parents[i] = parent;
      depths[i] = i > 0 ? depths[parent] + 1 : 0;
      positions.emplace(static_cast<int64_t>(groups[i].gid), i);
   }
   return parents;
}

AccountItem MakeByGroup(const std::vector<GroupRow> &groups)
{
   if (groups.empty()) {
      return Item("host", "", 0);
   }
   const std::vector<size_t> parents = FindParents(groups);
   std::vector<AccountItem> items;
   items.reserve(groups.size());
   for (const GroupRow &group : groups) {
      items.push_back(Item(group.name.c_str(), KindWord(KindOf(group)), group.consumed));
      items.back().group = group.gid;
   }
   for (size_t i = items.size(); i-- > 0;) { // children before their parents
      std::ranges::reverse(items[i].parts);
      Close(&items[i], kOwn, kTwice);
      if (i > 0) {
         items[parents[i]].parts.push_back(std::move(items[i]));
      }
   }
   return std::move(items.front());
}

// Of a part that only one of two moments takes apart.
constexpr Difference kTakenApartOnce = {"not taken apart",
                                        "at one of the moments nothing was said of the parts"};

using PartKey = std::tuple<std::string_view, bool, std::optional<uint64_t>>;

PartKey KeyOf(const AccountItem &part)
{
   return {part.name, part.isDifference, part.group};
}

AccountItem ChangeOfPair(const ItemPair &pair)
{
   const AccountItem &any = pair.now != nullptr ? *pair.now : *pair.before;
   AccountItem change = {
      .name = any.name,
      .explanation = any.explanation,
      .kb = Minus(pair.now != nullptr ? pair.now->kb : 0, pair.before != nullptr ? pair.before->kb : 0),
      .isDifference = any.isDifference,
      .parts = {},
      .group = any.group};
   for (const ItemPair &part : PairParts(pair)) {
      change.parts.push_back(ChangeOfPair(part));
   }
   Close(&change, kTakenApartOnce, kTakenApartOnce);
   return change;
}

} // namespace

Account MakeAccount(const HostRows &rows, const KernelDetail *detail)
{
   const bool fits = detail != nullptr && rows.host.has_value() && IsDetailOf(*rows.host, *detail);
   Account account;
   account.byUse = rows.host.has_value() ? MakeByUse(rows, fits ? detail : nullptr) : Item("memory", "", 0);
   account.byGroup = MakeByGroup(rows.groups);
   if (fits && detail->Has("MemAvailable")) {
      account.available = static_cast<int64_t>(detail->Of("MemAvailable"));
   }
   return account;
}

bool AddsUp(const AccountItem &item)
{
   return item.parts.empty() || (SumOf(item.parts) == item.kb && std::ranges::all_of(item.parts, AddsUp));
}

int64_t SumOfAmounts(int64_t a, int64_t b)
{
   return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

std::vector<ItemPair> PairParts(const ItemPair &whole)
{
   std::multimap<PartKey, const AccountItem *> former;
   if (whole.before != nullptr) {
      for (const AccountItem &part : whole.before->parts) {
         former.emplace(KeyOf(part), &part);
      }
   }
   std::vector<ItemPair> pairs;
   if (whole.now != nullptr) {
      for (const AccountItem &part : whole.now->parts) {
         const auto found = former.find(KeyOf(part));
         pairs.push_back({&part, found != former.end() ? found->second : nullptr});
         if (found != former.end()) {
            former.erase(found);
         }
      }
   }
   for (const auto &[key, part] : former) {
      pairs.push_back({nullptr, part});
   }
   return pairs;
}

AccountItem ChangeOf(const AccountItem &before, const AccountItem &now)
{
   return ChangeOfPair({&now, &before});
}

} // namespace overview

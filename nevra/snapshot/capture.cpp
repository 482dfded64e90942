#include "nevra/snapshot/capture.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "nevra/records.h"
#include "nevra/shown_text.h"
#include "nevra/snapshot/snapshot_check.h"
#include "nevra/snapshot/snapshot_format.h"
#include "nevra/values.h"

namespace nevra {

namespace {

using Words = std::vector<uint64_t>;
using Domains = std::span<const KeyDomain>;

struct ListDeleter {
   void operator()(Nevra_ParamList *list) const { Nevra_ParamList::Destroy(list); }
};
using ListPtr = std::unique_ptr<Nevra_ParamList, ListDeleter>;

// The flags of groups that have a leader: VMs and user worlds.
constexpr uint32_t kFlagsWithLeader = GROUP_VM | GROUP_USER_WORLD;

constexpr size_t kDomainCount = static_cast<size_t>(KeyDomain::PciRegister) + 1;

struct Capture {
   Source &source;
   SnapshotTree *tree;
   const std::function<void(uint64_t)> &progress;
   uint64_t limit;

   std::set<int64_t> known[kDomainCount];             // by domain, the values met so far
   std::vector<std::pair<KeyDomain, int64_t>> unread; // those whose records are still to be read
   std::map<std::pair<NodeId, Words>, Words> lists;
   uint32_t groupFlags = 0; // of the group that is being read
   uint64_t answers = 0;
   bool isTooLarge = false;
   NevraStatus shortage = NEVRA_OK; // of descriptors or memory: an answer was lost that the host has
};

bool IsOver(const Capture &capture)
{
   return capture.isTooLarge || capture.shortage != NEVRA_OK;
}

// Whether an answer is none of the host's: this process was short of something.
bool IsShortage(NevraStatus status)
{
   return status == NEVRA_TOO_MANY_OPEN_FILES || status == NEVRA_OUT_OF_MEMORY;
}

std::set<int64_t> &Known(Capture &capture, KeyDomain domain)
{
   return capture.known[static_cast<size_t>(domain)];
}

void CountAnswer(Capture &capture)
{
   constexpr uint64_t kBetweenChecks = 4096;
   if (++capture.answers % kBetweenChecks == 0) {
      capture.isTooLarge = EstimateSnapshotBytes(*capture.tree) > capture.limit;
   }
   capture.progress(capture.answers);
}

ListPtr ListOfKeys(const Capture &capture, Domains domains, const Words &words)
{
   ListPtr keys(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, kMaxKeys));
   for (size_t i = 0; keys != nullptr && i < domains.size(); i++) {
      if (IsTextKey(domains[i])) {
         keys->AddLastingText(capture.tree->texts[words[i]].c_str());
      } else {
         keys->AddInt(static_cast<int64_t>(words[i]));
      }
   }
   return keys;
}

// ---- listings

// A text that a snapshot cannot hold as a key.
bool IsUnfit(std::string_view text)
{
   return text.size() > kMaxSnapshotText || !IsShownText(text);
}

// The words of a list; "Failure" when it has entries of another type than the node lists, "Limit exceeded"
// when it has names that are no names.
NevraStatus WordsOfList(Capture &capture, const Nevra_ParamList &list, bool isText, Words *words)
{
   for (uint32_t i = 0; i < list.Used(); i++) {
      if ((list[i].text != nullptr) != isText) {
         return NEVRA_FAILURE;
      }
      if (isText && IsUnfit(list[i].text)) {
         return NEVRA_LIMIT_EXCEEDED;
      }
      words->push_back(isText ? InternText(capture.tree, list[i].text)
                              : static_cast<uint64_t>(list[i].integer));
   }
   return NEVRA_OK;
}

// Groups, and what their listings and records lead to, are read as they are met.
bool IsReadWhenMet(KeyDomain domain)
{
   return domain == KeyDomain::Group || domain == KeyDomain::GroupLeader || domain == KeyDomain::VmmLeader ||
          domain == KeyDomain::MemClient;
}

// False when the value was met before.
bool Meet(Capture &capture, KeyDomain domain, int64_t value)
{
   const bool isNew = Known(capture, domain).insert(value).second;
   if (isNew && IsReadWhenMet(domain)) {
      capture.unread.emplace_back(domain, value);
   }
   return isNew;
}

// Drops what a listing says again. A group or a client that moved while the listings were read is in the old
// list and in the new one; in a snapshot it is in the list that was read first.
void DropListed(Capture &capture, KeyDomain domain, Words *words)
{
   std::set<int64_t> ofThisList;
   const bool isInOneList = domain == KeyDomain::Group || domain == KeyDomain::MemClient;
   std::erase_if(*words, [&](uint64_t word) {
      const int64_t value = static_cast<int64_t>(word);
      return isInOneList ? !Meet(capture, domain, value) : !ofThisList.insert(value).second;
   });
}

// Memory nodes may be known by their buddies' names only: "memmap-NN-...".
void LearnFromBuddies(Capture &capture, const Words &names)
{
   constexpr std::string_view kPrefix = "memmap-";
   for (const uint64_t name : names) {
      const std::string &text = capture.tree->texts[name];
      uint32_t number;
      if (text.starts_with(kPrefix) &&
          std::from_chars(text.data() + kPrefix.size(), text.data() + text.size(), number).ec ==
             std::errc() &&
          number < kMaxMemNodes) {
         Meet(capture, KeyDomain::MemNode, number);
      }
   }
}

// Captures a listing, once.
const Words &List(Capture &capture, const NevraNodeDef &node, const Words &parent)
{
   const auto [entry, isNew] = capture.lists.try_emplace({node.id, parent});
   Words &words = entry->second;
   if (!isNew) {
      return words;
   }
   const ListPtr keys = ListOfKeys(capture, node.listKeys, parent);
   const ListPtr list(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, Nevra_ParamList::kUnbounded));
   NevraStatus status =
      keys != nullptr && list != nullptr ? capture.source.List(node, *keys, *list) : NEVRA_OUT_OF_MEMORY;
   if (status == NEVRA_OK) {
      status = WordsOfList(capture, *list, IsTextKey(node.listed), &words);
   }
   if (status == NEVRA_OK) {
      DropListed(capture, node.listed, &words);
      AddList(capture.tree, node, parent, words);
   } else {
      words.clear();
      if (IsShortage(status)) {
         capture.shortage = status;
         return words;
      }
      AddListFailure(capture.tree, node, parent, status);
   }
   CountAnswer(capture);
   return words;
}

// The node that lists the values of a domain below the keys that come before it, or null.
const NevraNodeDef *ListerOf(Domains before, KeyDomain domain)
{
   for (const NevraNodeDef &node : Definitions()) {
      if (node.listed == domain && std::ranges::equal(node.listKeys, before)) {
         return &node;
      }
   }
   return nullptr;
}

Words ValuesOf(Capture &capture, Domains before, KeyDomain domain, const Words &keys)
{
   const NevraNodeDef *lister = ListerOf(before, domain);
   if (lister == nullptr) {
      const std::set<int64_t> &known = Known(capture, domain);
      return {known.begin(), known.end()};
   }
   Words values = List(capture, *lister, keys);
   std::sort(values.begin(), values.end());
   return values;
}

// Calls visit(keys) for every instance that the domains address, given the keys ahead of them.
template <typename Visit>
void ForEachInstance(Capture &capture, Domains domains, Words *keys, const Visit &visit)
{
   if (IsOver(capture)) {
      return;
   }
   if (keys->size() == domains.size()) {
      visit(*keys);
      return;
   }
   for (const uint64_t value : ValuesOf(capture, domains.first(keys->size()), domains[keys->size()], *keys)) {
      keys->push_back(value);
      ForEachInstance(capture, domains, keys, visit);
      keys->pop_back();
   }
}

// ---- records

template <typename Field> Field Leading(const void *record)
{
   Field field;
   std::memcpy(&field, record, sizeof field);
   return field;
}

// The detail goes with the record that it explains, and is asked for beside it. The platform may stand on a
// Linux that is not the host, which has another amount of memory.
void TakeKernelDetail(Capture &capture, const CompMemMapStats &memory)
{
   KernelFigures figures = capture.source.KernelDetail();
   const KernelFigure *total = FindKernelFigure(figures, "MemTotal");
   if (total != nullptr && total->kb == memory.managedByMemMap) {
      capture.tree->kernelDetail = std::move(figures);
   }
}

// Some records name instances of other nodes.
void LearnFromRecord(Capture &capture, NodeId node, const uint8_t *record)
{
   switch (node) {
   case NodeId::sched_groups_groupFlags:
      capture.groupFlags = Leading<GroupFlagsRecord>(record).flags;
      break;
   case NodeId::sched_groups_groupLeaderID:
      if ((capture.groupFlags & kFlagsWithLeader) != 0) {
         Meet(capture, KeyDomain::GroupLeader, Leading<GroupLeaderIDRecord>(record).leaderID);
      }
      break;
   case NodeId::worldGroups_vmmLeaderID:
      Meet(capture, KeyDomain::VmmLeader, Leading<VmmLeaderIDRecord>(record).vmmLeaderID);
      break;
   case NodeId::memory_memInfo: {
      const uint32_t count = Leading<MemInfoRecord>(record).numMemNodes;
      for (uint32_t i = 0; i < count; i++) {
         Meet(capture, KeyDomain::MemNode, i);
      }
      break;
   }
   case NodeId::memory_comprehensive:
      TakeKernelDetail(capture, Leading<CompMemMapStats>(record));
      break;
   default:
      break;
   }
}

void Read(Capture &capture, const NevraNodeDef &node, const Words &keys)
{
   const ListPtr list = ListOfKeys(capture, node.recordKeys, keys);
   std::vector<uint8_t> record(node.record->size);
   NevraStatus status =
      list != nullptr ? capture.source.Get(node, *list, record.data()) : NEVRA_OUT_OF_MEMORY;
   if (IsShortage(status)) {
      capture.shortage = status;
      return;
   }
   if (status == NEVRA_OK && !CountsHold(node, record.data())) {
      status = NEVRA_LIMIT_EXCEEDED;
   }
   if (status == NEVRA_OK) {
      LearnFromRecord(capture, node.id, record.data());
      AddRecord(capture.tree, node, keys, record.data());
   } else {
      AddFailure(capture.tree, node, keys, status);
   }
   CountAnswer(capture);
}

bool IsCaptured(const NevraNodeDef &node, Domains keys)
{
   return node.record != nullptr && !node.settable && std::ranges::equal(node.recordKeys, keys);
}

// Reads the records of all nodes that have these keys, one instance after the other, given the keys ahead of
// them.
void ReadInstances(Capture &capture, Domains domains, Words keys)
{
   ForEachInstance(capture, domains, &keys, [&](const Words &instance) {
      capture.groupFlags = 0;
      for (const NevraNodeDef &node : Definitions()) {
         if (IsCaptured(node, domains) && !IsOver(capture)) {
            Read(capture, node, instance);
         }
      }
   });
}

// The keys of all nodes, each once. Those of a record that says how many memory nodes there are come first.
std::vector<Domains> KeysInReadingOrder()
{
   std::vector<Domains> order = {Definition(NodeId::memory_memInfo).recordKeys};
   for (const NevraNodeDef &node : Definitions()) {
      const bool isThere =
         std::ranges::any_of(order, [&](Domains keys) { return std::ranges::equal(keys, node.recordKeys); });
      if (node.record != nullptr && !node.settable && !isThere) {
         order.push_back(node.recordKeys);
      }
   }
   return order;
}

// Every group once, from the root down, however the lists may run in circles. What was met last is read
// first: a group is followed by its leaders and its memory clients, so that what is read of one process lies
// close together in time, and a source that keeps the process it was asked for last reads it once.
void ReadGroups(Capture &capture, const std::vector<Domains> &order)
{
   Meet(capture, KeyDomain::Group, 0);
   while (!capture.unread.empty() && !IsOver(capture)) {
      const auto [domain, value] = capture.unread.back();
      capture.unread.pop_back();
      const Words keys = {static_cast<uint64_t>(value)};
      if (domain == KeyDomain::Group) {
         List(capture, Definition(NodeId::sched_groups_members_groups), keys);
         List(capture, Definition(NodeId::sched_groups_members_memClients), keys);
      }
      for (const Domains domains : order) {
         if (!domains.empty() && domains.front() == domain) {
            ReadInstances(capture, domains, keys);
         }
      }
   }
}

void CaptureEverything(Capture &capture)
{
   for (const char *state : std::span(memStateNames).first<kMemStateCount>()) {
      Meet(capture, KeyDomain::MemState, static_cast<int64_t>(InternText(capture.tree, state)));
   }
   Meet(capture, KeyDomain::Cpu, 0);
   const std::vector<Domains> order = KeysInReadingOrder();
   ReadGroups(capture, order);
   LearnFromBuddies(capture, List(capture, Definition(NodeId::system_buddy), {}));
   for (const Domains domains : order) {
      if (domains.empty() || !IsReadWhenMet(domains.front())) {
         ReadInstances(capture, domains, {});
      }
   }
   for (const NevraNodeDef &node : Definitions()) {
      Words keys;
      if (node.listed != KeyDomain::None) {
         ForEachInstance(capture, node.listKeys, &keys,
                         [&](const Words &parent) { List(capture, node, parent); });
      }
   }
}

} // namespace

bool CaptureTree(Source &source, SnapshotTree *tree, const std::function<void(uint64_t)> &progress,
                 std::string *problem, uint64_t limit)
{
   tree->signature = source.Signature();
   tree->kernelBuild = source.KernelBuildText();
   Capture capture = {source, tree, progress, limit, {}, {}, {}, 0, 0, false, NEVRA_OK};
   CaptureEverything(capture);
   if (capture.shortage != NEVRA_OK) {
      *problem = capture.shortage == NEVRA_OUT_OF_MEMORY ? "out of memory" : "too many open files";
   } else if (capture.isTooLarge) {
      *problem = "too large for a snapshot: more than " + std::to_string(limit) + " bytes";
   }
   return !IsOver(capture);
}

} // namespace nevra

#include "tests/scripted/scenario.h"

#include <algorithm>

#include "tests/scripted/script_format.h"

namespace scripted {

namespace {

// The part of a node's identifier after NEVRA_NODE_.
std::string Identifier(NodeId node)
{
   std::string identifier = nevra::Definition(node).path;
   std::replace(identifier.begin(), identifier.end(), '/', '_');
   return identifier;
}

std::string Words(const Keys &keys)
{
   std::string words;
   for (const Key &key : keys) {
      words += ' ' + key.Word();
   }
   return words;
}

std::string Hexadecimal(std::string_view bytes)
{
   static constexpr char kDigits[] = "0123456789abcdef";
   std::string text;
   for (const char c : bytes) {
      const unsigned char byte = static_cast<unsigned char>(c);
      text += {kDigits[byte >> 4], kDigits[byte & 15]};
   }
   return text.empty() ? "-" : text;
}

} // namespace

Key::Key(std::string_view text) : word('s' + EncodeText(text)) {}

Scenario &Scenario::Answer(const char *statement, NodeId node, const Keys &keys, const std::string &answer,
                           bool further)
{
   std::vector<std::string> &inTurn = answers[std::string(statement) + ' ' + Identifier(node) + Words(keys)];
   if (!further) {
      inTurn.clear();
   }
   // "record NODE STATUS BYTES KEY..." and "list NODE STATUS KEY... = INSTANCE..."
   const bool isList = std::string_view(statement) == "list";
   const size_t blank = answer.find(' ');
   inTurn.push_back(
      std::string(statement) + ' ' + Identifier(node) + ' ' +
      (isList ? answer.substr(0, blank) + Words(keys) + answer.substr(blank) : answer + Words(keys)));
   return *this;
}

Scenario &Scenario::RecordBytes(NodeId node, const Keys &keys, std::string_view bytes)
{
   return Answer("record", node, keys, "0 " + Hexadecimal(bytes), false);
}

Scenario &Scenario::ThenRecordBytes(NodeId node, const Keys &keys, std::string_view bytes)
{
   return Answer("record", node, keys, "0 " + Hexadecimal(bytes), true);
}

Scenario &Scenario::FailRead(NodeId node, const Keys &keys, NevraStatus status)
{
   return Answer("record", node, keys, std::to_string(status) + " -", false);
}

Scenario &Scenario::ThenFailRead(NodeId node, const Keys &keys, NevraStatus status)
{
   return Answer("record", node, keys, std::to_string(status) + " -", true);
}

Scenario &Scenario::List(NodeId node, const Keys &keys, const Keys &instances)
{
   return Answer("list", node, keys, "0 =" + Words(instances), false);
}

Scenario &Scenario::ThenList(NodeId node, const Keys &keys, const Keys &instances)
{
   return Answer("list", node, keys, "0 =" + Words(instances), true);
}

Scenario &Scenario::FailList(NodeId node, const Keys &keys, NevraStatus status)
{
   return Answer("list", node, keys, std::to_string(status) + " =", false);
}

Scenario &Scenario::ThenFailList(NodeId node, const Keys &keys, NevraStatus status)
{
   return Answer("list", node, keys, std::to_string(status) + " =", true);
}

Scenario &Scenario::Fail(std::string_view operation, unsigned call, NevraStatus status)
{
   statements.push_back("fail " + std::string(operation) + ' ' + std::to_string(call) + ' ' +
                        std::to_string(status));
   return *this;
}

Scenario &Scenario::AnswerAtRandom(uint64_t seed)
{
   statements.push_back("random " + std::to_string(seed));
   return *this;
}

Scenario &Scenario::SignatureMismatch(NevraStatus status, std::string_view kernelBuild,
                                      std::string_view appBuild)
{
   statements.push_back("checksig " + std::to_string(status) + " s" + EncodeText(kernelBuild) + " s" +
                        EncodeText(appBuild));
   return *this;
}

Scenario &Scenario::CacheStatus(NevraStatus status)
{
   statements.push_back("usecache " + std::to_string(status));
   return *this;
}

Scenario &Scenario::Time(int64_t seconds)
{
   statements.push_back("time " + std::to_string(seconds));
   return *this;
}

std::string Scenario::Text() const
{
   std::string text = "time " + std::to_string(kScriptedTime) + '\n';
   for (const auto &[instance, inTurn] : answers) {
      text += JoinLines(inTurn);
   }
   return text + JoinLines(statements);
}

GroupScript Scenario::Group(int64_t groupID)
{
   GroupScript group(this, groupID);
   if (std::find(groups.begin(), groups.end(), groupID) == groups.end()) {
      groups.push_back(groupID);
      group.Name("").Tag("").Parent(-1).Flags(0).Alloc({}).Capacity({}).MemoryStats({}).Children({});
   }
   return group;
}

GroupScript &GroupScript::Name(std::string_view name)
{
   GroupNameRecord record;
   SetText(record.name, name);
   scenario->Record(NodeId::sched_groups_groupName, {groupID}, record);
   return *this;
}

GroupScript &GroupScript::Tag(std::string_view tag)
{
   GroupTagRecord record;
   SetText(record.tag, tag);
   scenario->Record(NodeId::sched_groups_groupTag, {groupID}, record);
   return *this;
}

GroupScript &GroupScript::Parent(int64_t parentID)
{
   scenario->Record(NodeId::sched_groups_parentGroupID, {groupID}, ParentGroupIDRecord{parentID});
   return *this;
}

GroupScript &GroupScript::Flags(uint32_t flags)
{
   scenario->Record(NodeId::sched_groups_groupFlags, {groupID}, GroupFlagsRecord{flags});
   return *this;
}

GroupScript &GroupScript::Alloc(const GroupAllocRecord &alloc)
{
   scenario->Record(NodeId::sched_groups_memAllocationInKB, {groupID}, alloc);
   return *this;
}

GroupScript &GroupScript::Capacity(const GroupCapacityRecord &capacity)
{
   scenario->Record(NodeId::sched_groups_stats_capacity, {groupID}, capacity);
   return *this;
}

GroupScript &GroupScript::MemoryStats(const GroupMemoryStatsRecord &stats)
{
   scenario->Record(NodeId::sched_groups_stats_memoryStats, {groupID}, stats);
   return *this;
}

GroupScript &GroupScript::Children(const Keys &childIDs)
{
   scenario->List(NodeId::sched_groups_members_groups, {groupID}, childIDs);
   return *this;
}

GroupScript &GroupScript::Leader(uint32_t leaderID)
{
   scenario->Record(NodeId::sched_groups_groupLeaderID, {groupID}, GroupLeaderIDRecord{leaderID});
   return *this;
}

GroupScript &GroupScript::VmmLeader(uint32_t leaderID, uint32_t vmmLeaderID)
{
   scenario->Record(NodeId::worldGroups_vmmLeaderID, {leaderID}, VmmLeaderIDRecord{vmmLeaderID});
   return Leader(leaderID);
}

GroupScript &GroupScript::MemClients(const Keys &clientIDs)
{
   scenario->List(NodeId::sched_groups_members_memClients, {groupID}, clientIDs);
   return *this;
}

GroupScript &GroupScript::FailRead(NodeId node, NevraStatus status)
{
   scenario->FailRead(node, {groupID}, status);
   return *this;
}

GroupScript &GroupScript::FailChildren(NevraStatus status)
{
   scenario->FailList(NodeId::sched_groups_members_groups, {groupID}, status);
   return *this;
}

void FillRecord(const nevra::RecordLayout &layout, void *record, uint64_t start, uint64_t step)
{
   char *bytes = static_cast<char *>(record);
   uint64_t value = start;
   for (const nevra::RecordField &field : layout.fields) {
      for (uint32_t i = 0; i < field.count; i++) {
         char *at = bytes + field.offset + static_cast<size_t>(i) * field.size;
         switch (field.kind) {
         case nevra::FieldKind::Bytes:
            std::memset(at, 0xee, field.size);
            break;
         case nevra::FieldKind::Text:
            std::strncpy(at, field.name, field.size);
            break;
         case nevra::FieldKind::Structure:
            FillRecord(*field.structure, at, value, step);
            value += 2 * step;
            break;
         case nevra::FieldKind::Unsigned:
         case nevra::FieldKind::Signed:
            std::memcpy(at, &value, field.size);
            value += step;
            break;
         }
      }
   }
}

bool Fault::Concerns(NodeId node) const
{
   return line.find('(' + Identifier(node) + ',') != std::string::npos;
}

} // namespace scripted

// The scripted platform: a libnevra.so.1 that answers from a script and records every call.
//
// It shares nothing with the library but the interface: node identifiers and parameter lists are its own. A
// destroyed list is kept as a tombstone, so that a later use of it is reported instead of crashing.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "nevra/nevra.h"
#include "tests/scripted/node_sizes.h"
#include "tests/scripted/script_format.h"

struct NevraNodeDef {
   const char *identifier;
   size_t recordSize; // 0: the node has no records
   bool listsTexts;   // else numbers
};

struct Nevra_Param {
   bool isText;
   int64_t integer;
   std::string text;
};

struct Nevra_ParamList {
   int kind;
   uint32_t most; // entries that it takes
   unsigned slot; // its name in the trace: the lowest that no living list has
   bool alive;
   std::string maker; // the call that made it
   std::vector<Nevra_Param> params;
};

namespace {

using scripted::DecodeText;

// ---- the script

struct Answer {
   NevraStatus status;
   std::string bytes;                  // of a record
   std::vector<Nevra_Param> instances; // of a listing
   bool isHollow = false;              // says success and gives nothing
};

struct Answers {
   std::vector<Answer> inTurn;
   size_t next = 0;

   const Answer &Take() { return inTurn[std::min(next++, inTurn.size() - 1)]; }
};

struct Script {
   std::map<std::string, Answers> records; // by node and keys
   std::map<std::string, Answers> lists;
   std::map<std::string, NevraStatus> failures; // by operation and number of the call
   std::map<std::string, unsigned> calls;       // so far, by operation
   NevraStatus signatureStatus = 0;
   std::string kernelBuild;
   std::string appBuild;
   NevraStatus cacheStatus = 0;
   std::optional<uint64_t> seed; // of answers for instances that no statement mentions
   time_t now = 0;
   int trace = -1;
   std::vector<std::unique_ptr<Nevra_ParamList>> made;
};

std::string KeyText(const Nevra_Param &param)
{
   return param.isText ? 's' + scripted::EncodeText(param.text) : 'i' + std::to_string(param.integer);
}

Nevra_Param ParseKey(const std::string &word)
{
   const std::string rest = word.substr(1);
   if (word[0] == 's') {
      return {true, 0, DecodeText(rest)};
   }
   return {false, std::strtoll(rest.c_str(), nullptr, 10), {}};
}

std::string ParseBytes(const std::string &hex)
{
   std::string bytes;
   for (size_t i = 0; i + 1 < hex.size(); i += 2) {
      bytes += static_cast<char>(std::strtol(hex.substr(i, 2).c_str(), nullptr, 16));
   }
   return bytes;
}

void ReadStatement(const std::string &line, Script *script)
{
   std::istringstream words(line);
   std::string statement;
   std::string name;
   words >> statement >> name;
   if (statement == "record") {
      Answer answer;
      std::string bytes;
      words >> answer.status >> bytes;
      answer.bytes = ParseBytes(bytes);
      for (std::string key; words >> key;) {
         name += ' ' + key;
      }
      script->records[name].inTurn.push_back(answer);
   } else if (statement == "list") {
      Answer answer;
      words >> answer.status;
      std::string key;
      while (words >> key && key != "=") {
         name += ' ' + key;
      }
      while (words >> key) {
         answer.instances.push_back(ParseKey(key));
      }
      script->lists[name].inTurn.push_back(answer);
   } else if (statement == "fail") {
      std::string number;
      NevraStatus status;
      words >> number >> status;
      script->failures[name + ' ' + number] = status;
   } else if (statement == "checksig") {
      std::string kernelBuild;
      std::string appBuild;
      words >> kernelBuild >> appBuild;
      script->signatureStatus = static_cast<NevraStatus>(std::stoul(name));
      script->kernelBuild = DecodeText(kernelBuild.substr(1));
      script->appBuild = DecodeText(appBuild.substr(1));
   } else if (statement == "usecache") {
      script->cacheStatus = static_cast<NevraStatus>(std::stoul(name));
   } else if (statement == "random") {
      script->seed = std::stoull(name);
   } else if (statement == "time") {
      script->now = std::stol(name);
   }
}

// Read at the first call, and freed by AtTheEnd: calls may come after this file's variables are destroyed.
Script *theScript = nullptr;

Script &TheScript()
{
   if (theScript == nullptr) {
      theScript = new Script;
      const char *path = std::getenv(scripted::kScriptVariable);
      if (path == nullptr) {
         std::fprintf(stderr, "the scripted platform has no script\n");
         std::_Exit(99);
      }
      std::ifstream file(path);
      for (std::string line; std::getline(file, line);) {
         ReadStatement(line, theScript);
      }
      theScript->trace =
         open((std::string(path) + ".trace").c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644);
   }
   return *theScript;
}

// ---- the trace

void Trace(std::string line)
{
   line += '\n';
   if (write(TheScript().trace, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
      std::_Exit(98);
   }
}

void Misuse(const std::string &what)
{
   Trace(scripted::kMisusePrefix + what);
}

std::string StatusText(NevraStatus status)
{
   char text[16];
   std::snprintf(text, sizeof text, status == 0 ? "%u" : "%#x", status);
   return text;
}

std::string Quoted(const char *text)
{
   if (text == nullptr) {
      return "null";
   }
   std::string quoted = "\"";
   for (; *text != '\0'; text++) {
      if (*text == '\n') {
         quoted += "\\n";
      } else if (*text == '"' || *text == '\\') {
         quoted += {'\\', *text};
      } else {
         quoted += *text;
      }
   }
   return quoted + '"';
}

std::string ParamText(const Nevra_Param &param)
{
   return param.isText ? Quoted(param.text.c_str()) : std::to_string(param.integer);
}

std::string ParamsText(const std::vector<Nevra_Param> &params)
{
   std::string text = "[";
   for (const Nevra_Param &param : params) {
      text += (text.size() > 1 ? ", " : "") + ParamText(param);
   }
   return text + ']';
}

// ---- parameter lists

std::string Name(const Nevra_ParamList *list)
{
   return list != nullptr ? '#' + std::to_string(list->slot) : "null";
}

std::string NameAndParams(const Nevra_ParamList *list)
{
   return list != nullptr ? Name(list) + ' ' + ParamsText(list->params) : "null";
}

// Whether a list may be used; reports it otherwise.
bool IsUsable(const Nevra_ParamList *list, const char *operation)
{
   if (list == nullptr) {
      Misuse(std::string(operation) + " of a null list");
      return false;
   }
   if (!list->alive) {
      Misuse(std::string(operation) + " of a destroyed list, made by " + list->maker);
      return false;
   }
   return true;
}

Nevra_ParamList *MakeList(int kind, uint32_t most, const std::string &maker)
{
   std::vector<std::unique_ptr<Nevra_ParamList>> &made = TheScript().made;
   unsigned slot = 1;
   while (std::any_of(made.begin(), made.end(),
                      [slot](const auto &list) { return list->alive && list->slot == slot; })) {
      slot++;
   }
   // A tombstone is useful only for a while; the oldest are dropped, so that a long run stays fast.
   constexpr size_t kMostKept = 4096;
   if (made.size() > kMostKept) {
      const auto dead = std::find_if(made.begin(), made.end(), [](const auto &list) { return !list->alive; });
      if (dead != made.end()) {
         made.erase(dead);
      }
   }
   made.push_back(std::make_unique<Nevra_ParamList>(
      Nevra_ParamList{kind, most, slot, true, maker, std::vector<Nevra_Param>()}));
   return made.back().get();
}

// The status with which this call of an operation is to fail; 0 when it is not. A call that is to "fail" with
// 0 is hollow: it reports success and returns nothing.
NevraStatus Failure(const std::string &operation, bool *isHollow = nullptr)
{
   Script &script = TheScript();
   const unsigned number = ++script.calls[operation];
   const auto failure = script.failures.find(operation + ' ' + std::to_string(number));
   const NevraStatus status = failure != script.failures.end() ? failure->second : 0;
   if (isHollow != nullptr) {
      *isHollow = failure != script.failures.end() && status == 0;
   }
   return status;
}

// `most` is how many entries the list takes; a plain list grows past the capacity that it was made for.
Nevra_ParamList *Create(const char *operation, int kind, uint32_t most, const std::string &call)
{
   if (Failure(operation) != 0) {
      Trace(call + " = null");
      return nullptr;
   }
   Nevra_ParamList *list = MakeList(kind, most, call);
   Trace(call + " = " + Name(list));
   return list;
}

NevraStatus Add(const char *operation, Nevra_ParamList *list, const Nevra_Param &param)
{
   if (!IsUsable(list, operation)) {
      return NEVRA_BAD_PARAMETER;
   }
   NevraStatus status = Failure(operation);
   if (status == 0 && list->params.size() >= list->most) {
      Misuse(std::string(operation) + " to a full list");
      status = NEVRA_LIMIT_EXCEEDED;
   }
   Trace(std::string(operation) + '(' + Name(list) + ", " + ParamText(param) + ") = " + StatusText(status));
   if (status == 0) {
      list->params.push_back(param);
   }
   return status;
}

// The entry that a getter asks for. `status` is that of the call.
const Nevra_Param *Entry(const char *operation, const Nevra_ParamList *list, uint32_t index, bool isText,
                         NevraStatus *status)
{
   *status = NEVRA_BAD_PARAMETER;
   if (!IsUsable(list, operation)) {
      return nullptr;
   }
   bool isHollow;
   *status = Failure(operation, &isHollow);
   const Nevra_Param *entry = nullptr;
   if (*status == 0 && !isHollow) {
      if (index >= list->params.size()) {
         Misuse(std::string(operation) + " past the end of a list");
         *status = NEVRA_NOT_FOUND;
      } else if (list->params[index].isText != isText) {
         Misuse(std::string(operation) + " of an entry of another type");
         *status = NEVRA_BAD_PARAMETER;
      } else {
         entry = &list->params[index];
      }
   }
   Trace(std::string(operation) + '(' + Name(list) + ", " + std::to_string(index) +
         ") = " + StatusText(*status) + (entry != nullptr ? ' ' + ParamText(*entry) : ""));
   return entry;
}

template <typename Integer>
NevraStatus GetInteger(const char *operation, const Nevra_ParamList *list, uint32_t index, Integer *value)
{
   NevraStatus status;
   const Nevra_Param *entry = Entry(operation, list, index, false, &status);
   if (entry != nullptr) {
      *value = static_cast<Integer>(entry->integer);
      if (static_cast<int64_t>(*value) != entry->integer) {
         Misuse(std::string(operation) + " of a number that is too large for it");
         return NEVRA_BAD_PARAMETER;
      }
   }
   return status;
}

// ---- nodes

// Whether the listing of a node gives texts.
constexpr bool ListsTexts(std::string_view identifier)
{
   for (const std::string_view node :
        {"sched_memClients_remapTypes", "memory_lpage_nodeList_vmPools", "system_buddy", "system_heaps",
         "memory_pmem_volumes", "memory_pmem_volumes_regionStore_regions"}) {
      if (identifier == node) {
         return true;
      }
   }
   return false;
}

std::string Instance(NevraNode node, const Nevra_ParamList *params)
{
   std::string instance = node->identifier;
   if (params != nullptr) {
      for (const Nevra_Param &param : params->params) {
         instance += ' ' + KeyText(param);
      }
   }
   return instance;
}

// Instances are addressed by a list of instance parameters, or by none at all.
void CheckInstanceParams(const char *operation, const Nevra_ParamList *params)
{
   if (params != nullptr && IsUsable(params, operation) && params->kind != NEVRA_LIST_INSTANCE) {
      Misuse(std::string(operation) + " with a list that is not of instance parameters");
   }
}

// The scripted answer, or null when there is none: the instance does not exist.
const Answer *FindScripted(std::map<std::string, Answers> &answers, const std::string &instance)
{
   const auto found = answers.find(instance);
   return found != answers.end() ? &found->second.Take() : nullptr;
}

// ---- answers at random: anything that a platform may say, the same for the same seed and instance

std::mt19937_64 Generator(const std::string &instance)
{
   return std::mt19937_64(std::hash<std::string>()(instance) + *TheScript().seed);
}

NevraStatus RandomStatus(std::mt19937_64 &generator)
{
   static constexpr NevraStatus kStatuses[] = {NEVRA_FAILURE, NEVRA_NOT_FOUND, NEVRA_NOT_FOUND,
                                               NEVRA_BAD_PARAMETER};
   return generator() % 16 == 0 ? kStatuses[generator() % 4] : 0;
}

// Small and large numbers, zeros and all ones, side by side.
std::string RandomBytes(std::mt19937_64 &generator, size_t size)
{
   std::string bytes;
   while (bytes.size() < size) {
      const uint64_t words[] = {0, UINT64_MAX, generator() % 100, generator(),
                                generator() >> (generator() % 64)};
      const uint64_t word = words[generator() % 5];
      bytes.append(reinterpret_cast<const char *>(&word), 1 + generator() % sizeof word);
   }
   return bytes.substr(0, size);
}

std::string RandomText(std::mt19937_64 &generator)
{
   std::string text(generator() % 8 == 0 ? generator() % 300 : generator() % 20, ' ');
   for (char &c : text) {
      c = static_cast<char>(' ' + generator() % 95);
   }
   return text;
}

Answer RandomRecord(const std::string &instance, size_t size)
{
   std::mt19937_64 generator = Generator("record " + instance);
   return {RandomStatus(generator), RandomBytes(generator, size), {}, generator() % 32 == 0};
}

Answer RandomListing(const std::string &instance, bool listsTexts)
{
   std::mt19937_64 generator = Generator("list " + instance);
   Answer answer = {RandomStatus(generator), {}, {}, generator() % 32 == 0};
   for (uint64_t count = generator() % 4; count > 0; count--) {
      answer.instances.push_back(
         {listsTexts, static_cast<int64_t>(generator() % 1000), RandomText(generator)});
   }
   return answer;
}

// Answers of the scripted or of the random kind; null when there is none. The answer lives until the next.
const Answer *FindRecord(NevraNode node, const Nevra_ParamList *params)
{
   static Answer random;
   Script &script = TheScript();
   const std::string instance = Instance(node, params);
   const Answer *answer = FindScripted(script.records, instance);
   if (answer == nullptr && script.seed) {
      random = RandomRecord(instance, node->recordSize);
      answer = &random;
   }
   return answer;
}

const Answer *FindListing(NevraNode node, const Nevra_ParamList *params)
{
   static Answer random;
   Script &script = TheScript();
   const std::string instance = Instance(node, params);
   const Answer *answer = FindScripted(script.lists, instance);
   if (answer == nullptr && script.seed) {
      random = RandomListing(instance, node->listsTexts);
      answer = &random;
   }
   return answer;
}

// Answers a listing into a list of the caller's or a new one.
NevraStatus List(const char *operation, const std::string &call, NevraNode node,
                 const Nevra_ParamList *params, Nevra_ParamList *into, Nevra_ParamList **made)
{
   CheckInstanceParams(operation, params);
   const Answer *answer = FindListing(node, params);
   bool isHollow;
   NevraStatus status = Failure(operation, &isHollow);
   if (status == 0 && !isHollow) {
      status = answer != nullptr ? answer->status : NEVRA_NOT_FOUND;
      isHollow = status == 0 && answer->isHollow;
   }
   if (status != 0 || isHollow) {
      Trace(call + " = " + StatusText(status) + (answer == nullptr ? " unscripted" : ""));
      return status;
   }
   Nevra_ParamList *list = into;
   if (list == nullptr) {
      list = MakeList(NEVRA_LIST_INSTANCE, UINT32_MAX, call);
      *made = list;
   }
   for (const Nevra_Param &instance : answer->instances) {
      if (list->params.size() < list->most) {
         list->params.push_back(instance);
      }
   }
   Trace(call + " = 0 " + NameAndParams(list));
   return 0;
}

void TraceTheEnd()
{
   for (const std::unique_ptr<Nevra_ParamList> &list : TheScript().made) {
      if (list->alive) {
         Trace(std::string(scripted::kLeakPrefix) + Name(list.get()) + ", made by " + list->maker);
      }
   }
   Trace(scripted::kEndOfTrace);
}

// When the process ends, or unloads this library.
[[gnu::destructor]] void AtTheEnd()
{
   TraceTheEnd();
   close(theScript->trace);
   delete theScript;
   theScript = nullptr;
}

} // namespace

extern "C" {

#define SCRIPTED_IDENTIFIER(node, size)                                                                      \
   static const NevraNodeDef definition_##node = {#node, size, ListsTexts(#node)};                           \
   const NevraNode NEVRA_NODE_##node = &definition_##node;
SCRIPTED_NODES(SCRIPTED_IDENTIFIER)

Nevra_ParamList *Nevra_ParamListCreate(int kind, uint32_t capacity)
{
   return Create("Nevra_ParamListCreate", kind, UINT32_MAX,
                 "Nevra_ParamListCreate(" + std::to_string(kind) + ", " + std::to_string(capacity) + ')');
}

Nevra_ParamList *Nevra_ParamListCreateAndAllocateParams(int kind, uint32_t capacity, size_t storageBytes)
{
   return Create("Nevra_ParamListCreateAndAllocateParams", kind, capacity,
                 "Nevra_ParamListCreateAndAllocateParams(" + std::to_string(kind) + ", " +
                    std::to_string(capacity) + ", " + std::to_string(storageBytes) + ')');
}

NevraStatus Nevra_ParamListAddInt(Nevra_ParamList *list, int64_t value)
{
   return Add("Nevra_ParamListAddInt", list, {false, value, {}});
}

NevraStatus Nevra_ParamListAddString(Nevra_ParamList *list, const char *text)
{
   if (text == nullptr) {
      Misuse("Nevra_ParamListAddString of a null text");
      return NEVRA_BAD_PARAMETER;
   }
   return Add("Nevra_ParamListAddString", list, {true, 0, text});
}

NevraStatus Nevra_ParamListRemoveLastParam(Nevra_ParamList *list)
{
   if (!IsUsable(list, "Nevra_ParamListRemoveLastParam")) {
      return NEVRA_BAD_PARAMETER;
   }
   NevraStatus status = Failure("Nevra_ParamListRemoveLastParam");
   if (status == 0 && list->params.empty()) {
      Misuse("Nevra_ParamListRemoveLastParam of an empty list");
      status = NEVRA_NOT_FOUND;
   }
   Trace("Nevra_ParamListRemoveLastParam(" + Name(list) + ") = " + StatusText(status));
   if (status == 0) {
      list->params.pop_back();
   }
   return status;
}

void Nevra_ParamListDestroy(Nevra_ParamList *list)
{
   if (IsUsable(list, "Nevra_ParamListDestroy")) {
      Trace("Nevra_ParamListDestroy(" + Name(list) + ')');
      list->alive = false;
      // A text lives as long as its list: printing one afterwards prints question marks.
      for (Nevra_Param &param : list->params) {
         std::fill(param.text.begin(), param.text.end(), '?');
      }
   }
}

uint32_t Nevra_ParamListUsedCount(const Nevra_ParamList *list)
{
   if (!IsUsable(list, "Nevra_ParamListUsedCount")) {
      return 0;
   }
   const uint32_t count = static_cast<uint32_t>(list->params.size());
   Trace("Nevra_ParamListUsedCount(" + Name(list) + ") = " + std::to_string(count));
   return count;
}

NevraStatus Nevra_ParamListGetInt64(const Nevra_ParamList *list, uint32_t index, int64_t *value)
{
   return GetInteger("Nevra_ParamListGetInt64", list, index, value);
}

NevraStatus Nevra_ParamListGetInt32(const Nevra_ParamList *list, uint32_t index, int32_t *value)
{
   return GetInteger("Nevra_ParamListGetInt32", list, index, value);
}

NevraStatus Nevra_ParamListGetUInt32(const Nevra_ParamList *list, uint32_t index, uint32_t *value)
{
   return GetInteger("Nevra_ParamListGetUInt32", list, index, value);
}

NevraStatus Nevra_ParamListGetString(const Nevra_ParamList *list, uint32_t index, const char **text)
{
   NevraStatus status;
   const Nevra_Param *entry = Entry("Nevra_ParamListGetString", list, index, true, &status);
   if (entry != nullptr) {
      *text = entry->text.c_str();
   }
   return status;
}

const Nevra_Param *Nevra_ParamListGetParam(const Nevra_ParamList *list, uint32_t index)
{
   NevraStatus status;
   return Entry("Nevra_ParamListGetParam", list, index, false, &status);
}

int64_t Nevra_ParamGetInt(const Nevra_Param *param)
{
   if (param == nullptr) {
      Misuse("Nevra_ParamGetInt of a null parameter");
      return 0;
   }
   Trace("Nevra_ParamGetInt(" + ParamText(*param) + ')');
   return param->integer;
}

NevraStatus Nevra_Get(NevraNode node, const Nevra_ParamList *params, void *record, size_t recordSize)
{
   CheckInstanceParams("Nevra_Get", params);
   const Answer *answer = FindRecord(node, params);
   bool isHollow;
   NevraStatus status = Failure("Nevra_Get", &isHollow);
   if (status == 0 && !isHollow) {
      status = answer != nullptr ? answer->status : NEVRA_NOT_FOUND;
      isHollow = status == 0 && answer->isHollow;
   }
   if (node->recordSize != recordSize) {
      Misuse("Nevra_Get of " + std::string(node->identifier) + " with a record of " +
             std::to_string(recordSize) + " bytes");
      status = NEVRA_BAD_PARAMETER;
   }
   Trace("Nevra_Get(" + std::string(node->identifier) + ", " + NameAndParams(params) + ", " +
         std::to_string(recordSize) + ") = " + StatusText(status) + (answer == nullptr ? " unscripted" : ""));
   if (status == 0 && !isHollow) {
      std::memset(record, 0, recordSize);
      std::memcpy(record, answer->bytes.data(), std::min(recordSize, answer->bytes.size()));
   }
   return status;
}

NevraStatus Nevra_Set(NevraNode node, const Nevra_ParamList *instance, const Nevra_ParamList *values,
                      int reserved1, int reserved2)
{
   CheckInstanceParams("Nevra_Set", instance);
   if (!IsUsable(values, "Nevra_Set")) {
      return NEVRA_BAD_PARAMETER;
   }
   if (values->kind != NEVRA_LIST_VALUES) {
      Misuse("Nevra_Set with a list that is not of values");
   }
   const NevraStatus status = Failure("Nevra_Set");
   Trace("Nevra_Set(" + std::string(node->identifier) + ", " + NameAndParams(instance) + ", " +
         NameAndParams(values) + ", " + std::to_string(reserved1) + ", " + std::to_string(reserved2) +
         ") = " + StatusText(status));
   return status;
}

NevraStatus Nevra_GetInstanceList(NevraNode node, const Nevra_ParamList *params, Nevra_ParamList *list)
{
   if (!IsUsable(list, "Nevra_GetInstanceList")) {
      return NEVRA_BAD_PARAMETER;
   }
   const std::string call = "Nevra_GetInstanceList(" + std::string(node->identifier) + ", " +
                            NameAndParams(params) + ", " + Name(list) + ')';
   return List("Nevra_GetInstanceList", call, node, params, list, nullptr);
}

NevraStatus Nevra_GetInstanceListAlloc(NevraNode node, const Nevra_ParamList *params, Nevra_ParamList **list)
{
   const std::string call =
      "Nevra_GetInstanceListAlloc(" + std::string(node->identifier) + ", " + NameAndParams(params) + ')';
   return List("Nevra_GetInstanceListAlloc", call, node, params, nullptr, list);
}

NevraStatus Nevra_GetInstanceListAllocHint(NevraNode node, const Nevra_ParamList *params,
                                           uint32_t expectedCount, Nevra_ParamList **list)
{
   const std::string call = "Nevra_GetInstanceListAllocHint(" + std::string(node->identifier) + ", " +
                            NameAndParams(params) + ", " + std::to_string(expectedCount) + ')';
   return List("Nevra_GetInstanceListAllocHint", call, node, params, nullptr, list);
}

NevraStatus Nevra_UseCache(const char *path, int flags)
{
   const NevraStatus status = TheScript().cacheStatus;
   Trace("Nevra_UseCache(" + Quoted(path) + ", " + std::to_string(flags) + ") = " + StatusText(status));
   return status;
}

NevraStatus Nevra_CheckSig(char *kernelBuild, size_t kernelBuildSize, const char **appBuild)
{
   const Script &script = TheScript();
   Trace("Nevra_CheckSig(" + std::to_string(kernelBuildSize) + ") = " + StatusText(script.signatureStatus));
   if (script.signatureStatus != 0) {
      // Not terminated when it fills the buffer: the caller has to see to that.
      std::strncpy(kernelBuild, script.kernelBuild.c_str(), kernelBuildSize);
      *appBuild = script.appBuild.c_str();
   }
   return script.signatureStatus;
}

void Warning(const char *format, ...)
{
   char text[8192];
   va_list arguments;
   va_start(arguments, format);
   std::vsnprintf(text, sizeof text, format, arguments);
   va_end(arguments);
   Trace("Warning(" + Quoted(text) + ')');
   if (write(STDERR_FILENO, text, std::strlen(text)) < 0) {
      Misuse("standard error is closed");
   }
}

char *Str_Strcpy(char *destination, const char *source, size_t size)
{
   Trace("Str_Strcpy(" + Quoted(source) + ", " + std::to_string(size) + ')');
   const size_t length = strnlen(source, size - 1);
   std::memcpy(destination, source, length);
   destination[length] = '\0';
   return destination;
}

// The C library's clock and waiting, so that banners and the profiler run by the script.
time_t time(time_t *timer) noexcept
{
   const time_t scripted = TheScript().now;
   if (timer != nullptr) {
      *timer = scripted;
   }
   return scripted;
}

unsigned sleep(unsigned seconds)
{
   Trace("sleep(" + std::to_string(seconds) + ')');
   return 0;
}

} // extern "C"

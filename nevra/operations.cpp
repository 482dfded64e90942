// The exported operations: parameters are checked against the node definitions, then the source answers.
#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "nevra/definitions.h"
#include "nevra/linux/linux_source.h"
#include "nevra/nevra.h"
#include "nevra/operations.h"
#include "nevra/param_list.h"
#include "nevra/snapshot/snapshot_source.h"
#include "nevra/source.h"

namespace {

using nevra::KeyDomain;

// Entries that a list gets room for ahead of use, whatever count the caller expects.
constexpr uint32_t kMostReserved = 4096;

std::unique_ptr<nevra::Source> source;

// Replaced sources: lists made by them may still hold their texts.
std::vector<std::unique_ptr<nevra::Source>> formerSources;

nevra::Source &CurrentSource()
{
   if (source == nullptr) {
      source = nevra::MakeLinuxSource("/");
   }
   return *source;
}

// The lines of the source's Unreadable() that were given.
size_t saidOfUnreadable = 0;

void TakeSource(std::unique_ptr<nevra::Source> next)
{
   source = std::move(next);
   saidOfUnreadable = 0;
}

// Says on standard error what the source could not read, once: the reports show rows, and no row says what is
// missing.
void SayWhatIsUnreadable()
{
   if (source == nullptr) {
      return;
   }
   const std::span<const std::string> lines = source->Unreadable();
   for (; saidOfUnreadable < lines.size(); saidOfUnreadable++) {
      Warning("%s\n", lines[saidOfUnreadable].c_str());
   }
}

// No C++ exception crosses the C interface.
template <typename Operation> NevraStatus Guarded(Operation operation) noexcept
{
   try {
      const NevraStatus status = operation();
      SayWhatIsUnreadable();
      return status;
   } catch (const std::system_error &error) {
      const std::errc code = static_cast<std::errc>(error.code().value());
      return code == std::errc::too_many_files_open || code == std::errc::too_many_files_open_in_system
                ? NEVRA_TOO_MANY_OPEN_FILES
                : NEVRA_FAILURE;
   } catch (const std::bad_alloc &) {
      return NEVRA_OUT_OF_MEMORY;
   } catch (...) {
      return NEVRA_FAILURE;
   }
}

const Nevra_ParamList &OrEmpty(const Nevra_ParamList *params)
{
   // Not made by Create, which needs memory: without entries, it takes none.
   static constinit Nevra_ParamList empty{};
   empty.kind = NEVRA_LIST_INSTANCE;
   return params != nullptr ? *params : empty;
}

bool KeysMatch(std::span<const KeyDomain> domains, const Nevra_ParamList &params)
{
   if (params.kind != NEVRA_LIST_INSTANCE || params.Used() != domains.size()) {
      return false;
   }
   for (uint32_t i = 0; i < params.Used(); i++) {
      if (nevra::IsTextKey(domains[i]) != (params[i].text != nullptr)) {
         return false;
      }
   }
   return true;
}

NevraStatus ListInstances(NevraNode node, const Nevra_ParamList *params, Nevra_ParamList &list)
{
   const Nevra_ParamList &keys = OrEmpty(params);
   if (node == nullptr || node->listed == KeyDomain::None || !KeysMatch(node->listKeys, keys)) {
      return NEVRA_BAD_PARAMETER;
   }
   return Guarded([&] { return CurrentSource().List(*node, keys, list); });
}

template <typename Integer>
NevraStatus GetInteger(const Nevra_ParamList *list, uint32_t index, Integer *value)
{
   if (list == nullptr || value == nullptr) {
      return NEVRA_BAD_PARAMETER;
   }
   if (index >= list->Used()) {
      return NEVRA_NOT_FOUND;
   }
   const Nevra_Param &param = (*list)[index];
   if (param.text != nullptr || param.integer < static_cast<int64_t>(std::numeric_limits<Integer>::min()) ||
       param.integer > static_cast<int64_t>(std::numeric_limits<Integer>::max())) {
      return NEVRA_BAD_PARAMETER;
   }
   *value = static_cast<Integer>(param.integer);
   return NEVRA_OK;
}

} // namespace

void nevra::AnswerFrom(std::unique_ptr<Source> next)
{
   TakeSource(std::move(next));
}

extern "C" {

Nevra_ParamList *Nevra_ParamListCreate(int kind, uint32_t capacity)
{
   if (kind != NEVRA_LIST_VALUES && kind != NEVRA_LIST_INSTANCE) {
      return nullptr;
   }
   // The tool addresses a register with six entries in a list that it made for one.
   Nevra_ParamList *list = Nevra_ParamList::Create(kind, Nevra_ParamList::kUnbounded);
   if (list != nullptr && !list->Reserve(std::min(capacity, kMostReserved), 0)) {
      Nevra_ParamList::Destroy(list);
      return nullptr;
   }
   return list;
}

Nevra_ParamList *Nevra_ParamListCreateAndAllocateParams(int kind, uint32_t capacity, size_t storageBytes)
{
   if (kind != NEVRA_LIST_VALUES && kind != NEVRA_LIST_INSTANCE) {
      return nullptr;
   }
   Nevra_ParamList *list = Nevra_ParamList::Create(kind, capacity);
   if (list != nullptr && !list->Reserve(capacity, storageBytes)) {
      Nevra_ParamList::Destroy(list);
      return nullptr;
   }
   return list;
}

NevraStatus Nevra_ParamListAddInt(Nevra_ParamList *list, int64_t value)
{
   return list != nullptr ? list->AddInt(value) : NEVRA_BAD_PARAMETER;
}

NevraStatus Nevra_ParamListAddString(Nevra_ParamList *list, const char *text)
{
   return list != nullptr && text != nullptr ? list->AddText(text) : NEVRA_BAD_PARAMETER;
}

NevraStatus Nevra_ParamListRemoveLastParam(Nevra_ParamList *list)
{
   return list != nullptr ? list->RemoveLast() : NEVRA_BAD_PARAMETER;
}

void Nevra_ParamListDestroy(Nevra_ParamList *list)
{
   Nevra_ParamList::Destroy(list);
}

uint32_t Nevra_ParamListUsedCount(const Nevra_ParamList *list)
{
   return list != nullptr ? list->Used() : 0;
}

NevraStatus Nevra_ParamListGetInt64(const Nevra_ParamList *list, uint32_t index, int64_t *value)
{
   return GetInteger(list, index, value);
}

NevraStatus Nevra_ParamListGetInt32(const Nevra_ParamList *list, uint32_t index, int32_t *value)
{
   return GetInteger(list, index, value);
}

NevraStatus Nevra_ParamListGetUInt32(const Nevra_ParamList *list, uint32_t index, uint32_t *value)
{
   return GetInteger(list, index, value);
}

NevraStatus Nevra_ParamListGetString(const Nevra_ParamList *list, uint32_t index, const char **text)
{
   if (list == nullptr || text == nullptr) {
      return NEVRA_BAD_PARAMETER;
   }
   if (index >= list->Used()) {
      return NEVRA_NOT_FOUND;
   }
   if ((*list)[index].text == nullptr) {
      return NEVRA_BAD_PARAMETER;
   }
   *text = (*list)[index].text;
   return NEVRA_OK;
}

const Nevra_Param *Nevra_ParamListGetParam(const Nevra_ParamList *list, uint32_t index)
{
   return list != nullptr && index < list->Used() ? &(*list)[index] : nullptr;
}

int64_t Nevra_ParamGetInt(const Nevra_Param *param)
{
   return param != nullptr ? param->integer : 0;
}

NevraStatus Nevra_Get(NevraNode node, const Nevra_ParamList *params, void *record, size_t recordSize)
{
   const Nevra_ParamList &keys = OrEmpty(params);
   if (node == nullptr || record == nullptr || node->record == nullptr || recordSize != node->record->size ||
       !KeysMatch(node->recordKeys, keys)) {
      return NEVRA_BAD_PARAMETER;
   }
   return Guarded([&] { return CurrentSource().Get(*node, keys, record); });
}

NevraStatus Nevra_Set(NevraNode node, const Nevra_ParamList *instance, const Nevra_ParamList *values,
                      int /*reserved1*/, int /*reserved2*/)
{
   const Nevra_ParamList &keys = OrEmpty(instance);
   if (node == nullptr || !node->settable || values == nullptr || values->kind != NEVRA_LIST_VALUES ||
       !KeysMatch(node->recordKeys, keys)) {
      return NEVRA_BAD_PARAMETER;
   }
   return Guarded([&] { return CurrentSource().Set(*node, keys, *values); });
}

NevraStatus Nevra_GetInstanceList(NevraNode node, const Nevra_ParamList *params, Nevra_ParamList *list)
{
   if (list == nullptr) {
      return NEVRA_BAD_PARAMETER;
   }
   const uint32_t usedBefore = list->used;
   const NevraStatus status = ListInstances(node, params, *list);
   if (status != NEVRA_OK) {
      list->used = usedBefore; // a source may have come part of the way
   }
   return status;
}

NevraStatus Nevra_GetInstanceListAlloc(NevraNode node, const Nevra_ParamList *params, Nevra_ParamList **list)
{
   return Nevra_GetInstanceListAllocHint(node, params, 0, list);
}

NevraStatus Nevra_GetInstanceListAllocHint(NevraNode node, const Nevra_ParamList *params,
                                           uint32_t expectedCount, Nevra_ParamList **list)
{
   if (list == nullptr) {
      return NEVRA_BAD_PARAMETER;
   }
   Nevra_ParamList *instances = Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, Nevra_ParamList::kUnbounded);
   if (instances == nullptr || !instances->Reserve(std::min(expectedCount, kMostReserved), 0)) {
      Nevra_ParamList::Destroy(instances);
      return NEVRA_OUT_OF_MEMORY;
   }
   const NevraStatus status = ListInstances(node, params, *instances);
   if (status != NEVRA_OK) {
      Nevra_ParamList::Destroy(instances);
      return status;
   }
   *list = instances;
   return NEVRA_OK;
}

NevraStatus Nevra_UseCache(const char *path, int flags)
{
   if (path == nullptr || flags != 0) {
      return NEVRA_BAD_PARAMETER;
   }
   return Guarded([&] {
      std::unique_ptr<nevra::Source> snapshot;
      const NevraStatus status = nevra::OpenSnapshotSource(path, &snapshot);
      if (status == NEVRA_OK) {
         if (source != nullptr) {
            formerSources.push_back(std::move(source));
         }
         TakeSource(std::move(snapshot));
      }
      return status;
   });
}

NevraStatus Nevra_CheckSig(char *kernelBuild, size_t kernelBuildSize, const char **appBuild)
{
   if (kernelBuild == nullptr || kernelBuildSize == 0 || appBuild == nullptr) {
      return NEVRA_BAD_PARAMETER;
   }
   return Guarded([&]() -> NevraStatus {
      const nevra::Source &current = CurrentSource();
      if (std::strcmp(current.Signature(), nevra::DefinitionSignature()) == 0) {
         return NEVRA_OK;
      }
      Str_Strcpy(kernelBuild, current.KernelBuildText(), kernelBuildSize);
      *appBuild = nevra::DefinitionBuildText();
      return NEVRA_VERSION_MISMATCH;
   });
}

} // extern "C"

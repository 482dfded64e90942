#include "snapshot-tool/platform_source.h"

#include <algorithm>
#include <utility>

#include <dlfcn.h>

#include "nevra/definitions.h"
#include "nevra/linux/linux_source.h"
#include "nevra/nevra.h"

namespace {

constexpr char kLibrary[] = "libnevra.so.1";

// This program has a parameter list and a Warning of its own linked in, so that the library's operations are
// looked up by name and called through pointers: none of one may meet a list of the other.
#define OPERATIONS(OPERATION)                                                                                \
   OPERATION(Nevra_CheckSig)                                                                                 \
   OPERATION(Nevra_Get)                                                                                      \
   OPERATION(Nevra_GetInstanceListAlloc)                                                                     \
   OPERATION(Nevra_ParamListAddInt)                                                                          \
   OPERATION(Nevra_ParamListAddString)                                                                       \
   OPERATION(Nevra_ParamListCreate)                                                                          \
   OPERATION(Nevra_ParamListDestroy)                                                                         \
   OPERATION(Nevra_ParamListGetInt64)                                                                        \
   OPERATION(Nevra_ParamListGetString)                                                                       \
   OPERATION(Nevra_ParamListUsedCount)

struct Close {
   void operator()(void *library) const { dlclose(library); }
};

struct Platform {
   std::unique_ptr<void, Close> library;
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name, declared
#define POINTER(operation) decltype(&::operation) operation = nullptr;
   OPERATIONS(POINTER)
#undef POINTER
   NevraNode nodes[nevra::kNodeCount] = {}; // by NodeId
};

bool LoadPlatform(Platform *platform, std::string *problem)
{
   platform->library.reset(dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL));
   if (platform->library == nullptr) {
      *problem = dlerror();
      return false;
   }
   const auto find = [&](const char *symbol) {
      void *const found = dlsym(platform->library.get(), symbol);
      if (found == nullptr) {
         *problem = std::string(kLibrary) + ": has no symbol " + symbol;
      }
      return found;
   };
#define FIND(operation)                                                                                      \
   platform->operation = reinterpret_cast<decltype(&::operation)>(find(#operation));                         \
   if (platform->operation == nullptr) {                                                                     \
      return false;                                                                                          \
   }
   OPERATIONS(FIND)
#undef FIND
   static constexpr const char *kSymbols[] = {
#define SYMBOL(node, ...) "NEVRA_NODE_" #node,
      NEVRA_NODES(SYMBOL)
#undef SYMBOL
   };
   for (size_t i = 0; i < nevra::kNodeCount; i++) {
      const auto *const identifier = static_cast<const NevraNode *>(find(kSymbols[i]));
      if (identifier == nullptr) {
         return false;
      }
      platform->nodes[i] = *identifier;
   }
   return true;
}

class PlatformSource : public nevra::Source {
 public:
   explicit PlatformSource(Platform loaded) : platform(std::move(loaded)) {}

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override
   {
      const ListPtr list = CopyOf(keys);
      return list != nullptr ? platform.Nevra_Get(IdentifierOf(node), list.get(), record, node.record->size)
                             : NEVRA_OUT_OF_MEMORY;
   }

   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override;

   NevraStatus Set(const NevraNodeDef &, const Nevra_ParamList &, const Nevra_ParamList &) override
   {
      return NEVRA_NOT_SUPPORTED; // no register is set by who only looks
   }

   // The interface has none: what there is, is of the kernel that this program runs on.
   nevra::KernelFigures KernelDetail() override { return nevra::ReadKernelDetail("/"); }

   // The interface says that the definitions are the kernel's, and no more; hostmem reads by this build's
   // then.
   const char *Signature() const override { return nevra::DefinitionSignature(); }
   const char *KernelBuildText() const override { return nevra::DefinitionBuildText(); }

 private:
   struct Destroy {
      const Platform *platform;
      void operator()(Nevra_ParamList *list) const { platform->Nevra_ParamListDestroy(list); }
   };
   using ListPtr = std::unique_ptr<Nevra_ParamList, Destroy>;

   NevraNode IdentifierOf(const NevraNodeDef &node) const
   {
      return platform.nodes[static_cast<size_t>(node.id)];
   }

   ListPtr CopyOf(const Nevra_ParamList &keys) const;
   NevraStatus Append(const Nevra_ParamList *from, uint32_t index, bool isText, Nevra_ParamList &to) const;

   Platform platform;
};

// The keys as a list of the library's; null when memory is short.
PlatformSource::ListPtr PlatformSource::CopyOf(const Nevra_ParamList &keys) const
{
   ListPtr list(platform.Nevra_ParamListCreate(NEVRA_LIST_INSTANCE, std::max(keys.Used(), 1U)), {&platform});
   for (uint32_t i = 0; list != nullptr && i < keys.Used(); i++) {
      const NevraStatus status = keys[i].text != nullptr
                                    ? platform.Nevra_ParamListAddString(list.get(), keys[i].text)
                                    : platform.Nevra_ParamListAddInt(list.get(), keys[i].integer);
      if (status != NEVRA_OK) {
         list.reset();
      }
   }
   return list;
}

NevraStatus PlatformSource::Append(const Nevra_ParamList *from, uint32_t index, bool isText,
                                   Nevra_ParamList &to) const
{
   int64_t value = 0;
   const char *text = nullptr;
   const NevraStatus status = isText ? platform.Nevra_ParamListGetString(from, index, &text)
                                     : platform.Nevra_ParamListGetInt64(from, index, &value);
   if (status != NEVRA_OK) {
      return status;
   }
   if (isText) {
      return text != nullptr ? to.AddText(text) : NEVRA_FAILURE;
   }
   return to.AddInt(value);
}

NevraStatus PlatformSource::List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                                 Nevra_ParamList &instances)
{
   const ListPtr list = CopyOf(keys);
   if (list == nullptr) {
      return NEVRA_OUT_OF_MEMORY;
   }
   Nevra_ParamList *given = nullptr;
   NevraStatus status = platform.Nevra_GetInstanceListAlloc(IdentifierOf(node), list.get(), &given);
   if (status != NEVRA_OK || given == nullptr) {
      return status != NEVRA_OK ? status : NEVRA_FAILURE;
   }
   // cppcheck-suppress unreadVariable // destroys the list
   const ListPtr owned(given, {&platform});
   const uint32_t count = platform.Nevra_ParamListUsedCount(given);
   for (uint32_t i = 0; i < count && !instances.IsFull() && status == NEVRA_OK; i++) {
      status = Append(given, i, nevra::IsTextKey(node.listed), instances);
   }
   return status;
}

} // namespace

std::unique_ptr<nevra::Source> OpenPlatformSource(std::string *problem)
{
   Platform platform;
   if (!LoadPlatform(&platform, problem)) {
      return nullptr;
   }
   char kernelBuild[64] = "";
   const char *libraryBuild = "";
   const NevraStatus status = platform.Nevra_CheckSig(kernelBuild, sizeof kernelBuild, &libraryBuild);
   if (status != NEVRA_OK) {
      *problem = status == NEVRA_VERSION_MISMATCH
                    ? std::string("the node definitions of the kernel, built on ") + kernelBuild +
                         ", are not those of " + kLibrary + ", built on " + libraryBuild
                    : std::string(kLibrary) + ": the version check failed";
      return nullptr;
   }
   return std::make_unique<PlatformSource>(std::move(platform));
}

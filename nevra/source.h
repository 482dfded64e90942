// What answers for the node tree: the running Linux kernel, or a snapshot file.
//
// A source supplies the operations below; the exported operations check parameters against the node
// definitions before they reach it, so that a source only sees keys of the right number and type.
#ifndef NEVRA_SOURCE_H
#define NEVRA_SOURCE_H

#include <span>
#include <string>

#include "nevra/definitions.h"
#include "nevra/kernel_detail.h"
#include "nevra/param_list.h"

namespace nevra {

class Source {
 public:
   virtual ~Source() = default;

   // Fills `record`, node.record->size bytes, with the instance that the keys address. "Not found" when there
   // is none. The record's content is undefined on failure.
   virtual NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) = 0;

   // Appends the instances below the keys to `instances`, in the kernel's order, until the list is full.
   // "Not found" when the parent does not exist. What was appended is dropped by the caller on failure.
   virtual NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                            Nevra_ParamList &instances) = 0;

   // Writes the values to an instance of a settable node.
   virtual NevraStatus Set(const NevraNodeDef &node, const Nevra_ParamList &keys,
                           const Nevra_ParamList &values) = 0;

   // What could not be read so far and what is missing from the answers for it, a line each without a
   // newline:
   // "/proc/slabinfo: Permission denied; heaps are not shown". Lines are added, never taken away or changed.
   virtual std::span<const std::string> Unreadable() const { return {}; }

   // What the kernel says about its memory beyond the records; none where it says nothing. Whether that
   // kernel is the host's own is to be checked against the records.
   virtual KernelFigures KernelDetail() { return {}; }

   // The signature of the node definitions that this source answers by, 32 hexadecimal digits.
   virtual const char *Signature() const = 0;

   // The build text of the kernel that answers; callers show at most 20 characters.
   virtual const char *KernelBuildText() const = 0;
};

} // namespace nevra

#endif

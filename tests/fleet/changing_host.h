// A host of the made-up fleet as a source: what its story says, and else what the sample says, with about a
// fifth of the figures changed from minute to minute, so that engines have something to store.
#ifndef TESTS_FLEET_CHANGING_HOST_H
#define TESTS_FLEET_CHANGING_HOST_H

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "nevra/source.h"
#include "tests/fleet/fleet_story.h"

// Where a VM is in the sample.
struct VmPlace {
   int64_t group = 0;
   int64_t leader = 0;    // of the VM
   int64_t vmmLeader = 0; // of its VMM
};

struct SampleVms {
   std::vector<VmPlace> places;
   std::vector<VmOfSample> vms; // in the same order
};

// The VMs of the sample, in the order of its groups.
SampleVms FindVms(nevra::Source &sample);

class ChangingHost : public nevra::Source {
 public:
   // All of them must outlive this.
   ChangingHost(nevra::Source *theSample, const SampleVms *vms, const HostStory *theStory);

   void SetMinute(unsigned now) { minute = now; }

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override;
   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override;
   NevraStatus Set(const NevraNodeDef &, const Nevra_ParamList &, const Nevra_ParamList &) override
   {
      return NEVRA_NOT_SUPPORTED;
   }
   const char *Signature() const override { return sample->Signature(); }
   const char *KernelBuildText() const override { return sample->KernelBuildText(); }

 private:
   using IndexByID = std::map<int64_t, size_t>;

   const VmFigures *VmIn(const IndexByID &index, const Nevra_ParamList &keys, size_t *vm) const;
   void ChangeVm(nevra::NodeId node, const Nevra_ParamList &keys, void *record) const;
   void ChangeHost(nevra::NodeId node, void *record) const;
   void ChangeOthers(nevra::NodeId node, const Nevra_ParamList &keys, void *record) const;
   bool IsLeftOut(nevra::NodeId node, const Nevra_Param &instance) const;

   nevra::Source *sample;
   const HostStory *story;
   IndexByID byGroup;
   IndexByID byLeader;
   IndexByID byVmmLeader;
   IndexByID leftOut; // groups of the sample's VMs that this host does not have
   unsigned minute = 0;
};

#endif

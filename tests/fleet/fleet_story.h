// A made-up fleet and what happens on its hosts in one night: the figures that every engine has to come to.
#ifndef TESTS_FLEET_FLEET_STORY_H
#define TESTS_FLEET_FLEET_STORY_H

#include <cstdint>
#include <string>
#include <vector>

#include "nevra/values.h"

// From 01:00 to 04:00, both included.
inline constexpr unsigned kMinutes = 181;

struct HostOfFleet {
   const char *name;
   unsigned vms; // at most those of the sample
};

inline constexpr HostOfFleet kFleet[] = {
   {"alder", 24}, {"apple", 8}, {"ash", 12},   {"aspen", 16},    {"beech", 40}, {"birch", 9},   {"cedar", 20},
   {"elm", 28},   {"fir", 32},  {"hazel", 36}, {"hornbeam", 10}, {"larch", 18}, {"lime", 14},   {"maple", 40},
   {"oak", 26},   {"pear", 11}, {"pine", 22},  {"rowan", 30},    {"spruce", 8}, {"willow", 40},
};

// A VM at one minute; amounts in KB.
struct VmFigures {
   uint64_t consumed = 0;
   uint64_t touched = 0;
   uint64_t swapped = 0;
   uint64_t swappedIn = 0; // since it was started
   uint64_t swappedOut = 0;
   bool isSwapping = false;
};

// What a VM of the sample is like.
struct VmOfSample {
   std::string name;
   uint64_t consumed = 0; // KB
   uint64_t touched = 0;
};

// The night of one host.
class HostStory {
 public:
   HostStory(const HostOfFleet &host, const std::vector<VmOfSample> &sample);

   const std::string &Name() const { return name; }
   size_t VmCount() const { return vms.size(); }
   const std::string &VmName(size_t vm) const { return vmNames[vm]; }
   const VmFigures &Vm(size_t vm, unsigned minute) const { return vms[vm][minute]; }
   // What the VM is given: more than it ever consumes.
   uint64_t VmSize(size_t vm) const { return sizes[vm]; }
   MemState State(unsigned minute) const { return states[minute]; }
   uint64_t Free(unsigned minute) const { return free[minute]; }

 private:
   std::string name;
   std::vector<std::string> vmNames;
   std::vector<std::vector<VmFigures>> vms; // by minute
   std::vector<uint64_t> sizes;
   std::vector<MemState> states;
   std::vector<uint64_t> free;
};

#endif

#include "tests/fleet/fleet_story.h"

#include <algorithm>
#include <random>
#include <string_view>

namespace {

constexpr int64_t kGB = int64_t{1} << 20; // in KB
constexpr int64_t kMB = 1024;

// What happens. Of each kind there is also what is not to be taken for it: growth that is over, a VM that
// shrank by more than any other grew, a host that was short, a VM that has swapped and does no longer.
struct Growth {
   std::string_view host, vm;
   int64_t kb;
   unsigned from, to; // minutes
};
constexpr Growth kGrowths[] = {
   {"beech", "app-04", 9 * kGB, 125, 178},
   {"fir", "web-02", 6 * kGB, 130, 175},
   {"larch", "web-03", 14 * kGB, 20, 100},
   {"maple", "db-03", -15 * kGB, 122, 179},
};

struct Shortage {
   std::string_view host;
   MemState state;
   unsigned from, to;
};
constexpr Shortage kShortages[] = {
   {"cedar", MemState::Soft, 150, 180},
   {"oak", MemState::Hard, 170, 180},
   {"aspen", MemState::Low, 174, 180},
   {"elm", MemState::Hard, 60, 100},
};

struct Swapping {
   std::string_view host, vm;
   int64_t outPerMinute, inPerMinute; // KB
   unsigned from, to;
};
constexpr Swapping kSwappings[] = {
   {"oak", "web-05", 200 * kMB, 20 * kMB, 172, 180},
   {"larch", "web-01", 40 * kMB, 4 * kMB, 164, 180},
   {"elm", "web-02", 90 * kMB, 30 * kMB, 60, 100},
   {"hazel", "web-03", 3 * kGB, 0, 1, 1},
};

// The minutes of an event that are over, of those that it takes.
unsigned Elapsed(unsigned from, unsigned to, unsigned minute)
{
   return std::clamp(minute + 1, from, to + 1) - from;
}

int64_t Grown(std::string_view host, std::string_view vm, unsigned minute)
{
   int64_t kb = 0;
   for (const Growth &growth : kGrowths) {
      if (growth.host == host && growth.vm == vm) {
         kb += growth.kb * Elapsed(growth.from, growth.to, minute) / (growth.to - growth.from + 1);
      }
   }
   return kb;
}

void AddSwap(std::string_view host, std::string_view vm, unsigned minute, VmFigures *figures)
{
   for (const Swapping &swapping : kSwappings) {
      if (swapping.host == host && swapping.vm == vm) {
         const unsigned minutes = Elapsed(swapping.from, swapping.to, minute);
         figures->swappedOut += minutes * static_cast<uint64_t>(swapping.outPerMinute);
         figures->swappedIn += minutes * static_cast<uint64_t>(swapping.inPerMinute);
         figures->isSwapping = figures->isSwapping || (minute >= swapping.from && minute <= swapping.to);
      }
   }
   figures->swapped = figures->swappedOut - figures->swappedIn;
}

// A figure that goes up and down around where it began, by up to two hundredths.
class Walk {
 public:
   Walk(uint64_t from, std::mt19937 *source) : middle(static_cast<double>(from)), random(source) {}
   int64_t Next()
   {
      // In steps of pages. The distributions of the standard library differ from one library to another.
      at += (static_cast<double>((*random)() % 2001) - 1000) / 1000 * 0.004;
      at = std::clamp(at * 0.98, -0.02, 0.02);
      return static_cast<int64_t>(middle * (1 + at)) / 4 * 4;
   }

 private:
   double middle;
   double at = 0;
   std::mt19937 *random;
};

uint32_t SeedOf(std::string_view host)
{
   uint32_t seed = 1;
   for (const char character : host) {
      seed = seed * 31 + static_cast<unsigned char>(character);
   }
   return seed;
}

std::vector<VmFigures> NightOf(std::string_view host, const VmOfSample &vm, std::mt19937 *random)
{
   // No two hosts have VMs of the same size.
   const uint64_t percent = 85 + (*random)() % 31;
   Walk consumed(vm.consumed * percent / 100, random);
   Walk touched(vm.touched * percent / 100, random);
   std::vector<VmFigures> night(kMinutes);
   for (unsigned minute = 0; minute < kMinutes; minute++) {
      VmFigures &figures = night[minute];
      figures.consumed = static_cast<uint64_t>(consumed.Next() + Grown(host, vm.name, minute));
      figures.touched = static_cast<uint64_t>(touched.Next());
      AddSwap(host, vm.name, minute, &figures);
   }
   return night;
}

MemState StateOf(std::string_view host, unsigned minute)
{
   for (const Shortage &shortage : kShortages) {
      if (shortage.host == host && minute >= shortage.from && minute <= shortage.to) {
         return shortage.state;
      }
   }
   return SeedOf(host) % 3 == 0 ? MemState::Clear : MemState::High;
}

// As much as the state leaves.
uint64_t FreeIn(MemState state)
{
   constexpr int64_t kFree[] = {150 * kGB, 40 * kGB, 6 * kGB, 3 * kGB, kGB};
   return static_cast<uint64_t>(kFree[static_cast<size_t>(state)]);
}

} // namespace

HostStory::HostStory(const HostOfFleet &host, const std::vector<VmOfSample> &sample) : name(host.name)
{
   std::mt19937 random(SeedOf(host.name));
   for (size_t vm = 0; vm < std::min<size_t>(host.vms, sample.size()); vm++) {
      vmNames.push_back(sample[vm].name);
      vms.push_back(NightOf(host.name, sample[vm], &random));
      uint64_t most = 0;
      for (const VmFigures &figures : vms.back()) {
         most = std::max(most, figures.consumed);
      }
      sizes.push_back((most / kGB + 1) * kGB);
   }
   for (unsigned minute = 0; minute < kMinutes; minute++) {
      states.push_back(StateOf(host.name, minute));
      Walk walk(FreeIn(states.back()), &random);
      free.push_back(static_cast<uint64_t>(walk.Next()));
   }
}

// Capture of the live source over a recorded tree: the snapshot answers every question as the kernel files
// did.
#include <cstring>
#include <variant>
#include <vector>

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "nevra/linux/linux_source.h"
#include "nevra/snapshot/capture.h"
#include "nevra/snapshot/snapshot_format.h"
#include "nevra/snapshot/snapshot_writer.h"
#include "tests/nevra/linux/recorded_tree.h"
#include "tests/nevra/snapshot/small_tree.h"

namespace {

struct ListDeleter {
   void operator()(Nevra_ParamList *list) const { Nevra_ParamList::Destroy(list); }
};
using ListPtr = std::unique_ptr<Nevra_ParamList, ListDeleter>;
using Value = std::variant<int64_t, std::string>;

std::vector<Value> ValuesOf(const Nevra_ParamList &list)
{
   std::vector<Value> values;
   for (uint32_t i = 0; i < list.Used(); i++) {
      if (list[i].text != nullptr) {
         values.emplace_back(list[i].text);
      } else {
         values.emplace_back(list[i].integer);
      }
   }
   return values;
}

struct Answer {
   const NevraNodeDef *node;
   bool isList;
   std::vector<Value> keys;
   NevraStatus status;
   std::string record;
   std::vector<Value> instances;
};

// Passes everything on, and keeps what was answered.
class NotingSource : public nevra::Source {
 public:
   explicit NotingSource(nevra::Source &source) : inner(source) {}

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override
   {
      const NevraStatus status = inner.Get(node, keys, record);
      const std::string bytes(static_cast<const char *>(record), status == NEVRA_OK ? node.record->size : 0);
      answers.push_back({&node, false, ValuesOf(keys), status, bytes, {}});
      return status;
   }
   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override
   {
      const NevraStatus status = inner.List(node, keys, instances);
      answers.push_back({&node, true, ValuesOf(keys), status, "", ValuesOf(instances)});
      return status;
   }
   NevraStatus Set(const NevraNodeDef &node, const Nevra_ParamList &keys,
                   const Nevra_ParamList &values) override
   {
      return inner.Set(node, keys, values);
   }
   nevra::KernelFigures KernelDetail() override { return inner.KernelDetail(); }
   const char *Signature() const override { return inner.Signature(); }
   const char *KernelBuildText() const override { return inner.KernelBuildText(); }

   std::vector<Answer> answers;

 private:
   nevra::Source &inner;
};

void MakeHost(RecordedTree *tree)
{
   tree->MountV2();
   tree->HostMemory();
   tree->V2("", "cgroup.procs", "2\n");
   tree->Process(2, {.name = "kthreadd", .parent = 0, .kthread = "1"});
   tree->V2("system.slice", "cgroup.procs", "");
   tree->V2("system.slice", "memory.max", "8388608\n");
   tree->V2("system.slice/cron.service", "cgroup.procs", "400\n401\n");
   tree->V2("system.slice/cron.service", "memory.current", "4096000\n");
   tree->Process(400, {.name = "cron", .vmSize = 9000, .vmRss = 2000});
   tree->V2("machine.slice", "cgroup.procs", "1200\n");
   tree->Process(1200, {.name = "qemu-system-x86", .vmSize = 6000000, .vmRss = 3000000, .threads = 9});
   tree->File("proc/buddyinfo", "Node 0, zone   Normal    100     10      0      1\n"
                                "Node 2, zone   Normal      7      0\n");
   tree->File("proc/slabinfo", "slabinfo - version: 2.1\n# name <active_objs>\n"
                               "dentry 100 200 192 21 1 : tunables 0 0 0 : slabdata 10 10 0\n");
}

nevra::SnapshotImage Capture(nevra::Source &source)
{
   nevra::SnapshotTree tree;
   nevra::SnapshotImage image;
   std::string problem;
   EXPECT_TRUE(CaptureTree(
      source, &tree, [](uint64_t) {}, &problem, nevra::kMaxSnapshotBytes))
      << problem;
   EXPECT_TRUE(MakeSnapshotImage(&tree, &image, &problem)) << problem;
   return image;
}

ListPtr KeysOf(const Answer &answer)
{
   ListPtr keys(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, nevra::kMaxKeys));
   for (const Value &key : answer.keys) {
      if (const int64_t *integer = std::get_if<int64_t>(&key)) {
         keys->AddInt(*integer);
      } else {
         keys->AddText(std::get<std::string>(key));
      }
   }
   return keys;
}

TEST(RecordedCapture, SnapshotAnswersEveryQuestionAsTheKernelFilesDid)
{
   RecordedTree tree;
   MakeHost(&tree);
   const auto live = nevra::MakeLinuxSource(tree.Root());
   NotingSource noting(*live);
   const auto snapshot = OpenBytes(BytesOfImage(Capture(noting)));
   ASSERT_NE(snapshot, nullptr);
   NotingSource replay(*snapshot);
   size_t found = 0;
   for (const Answer &answer : noting.answers) {
      if (answer.isList) {
         const ListPtr list(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, Nevra_ParamList::kUnbounded));
         replay.List(*answer.node, *KeysOf(answer), *list);
      } else {
         std::vector<uint8_t> record(answer.node->record->size);
         replay.Get(*answer.node, *KeysOf(answer), record.data());
      }
      const Answer &replayed = replay.answers.back();
      EXPECT_EQ(replayed.status, answer.status) << answer.node->path;
      EXPECT_EQ(replayed.record, answer.record) << answer.node->path;
      EXPECT_EQ(replayed.instances, answer.instances) << answer.node->path;
      found += answer.status == NEVRA_OK;
   }
   EXPECT_GT(found, 80u); // ten groups with eight records each, and the host's
}

TEST(RecordedCapture, SameTreeGivesTheSameBytes)
{
   RecordedTree tree;
   MakeHost(&tree);
   const auto first = nevra::MakeLinuxSource(tree.Root());
   const auto second = nevra::MakeLinuxSource(tree.Root());
   EXPECT_EQ(BytesOfImage(Capture(*first)), BytesOfImage(Capture(*second)));
}

// How often a file is opened in the meantime. The kernel merges equal events in a row; those of closing keep
// them apart.
class OpenCount {
 public:
   explicit OpenCount(const std::string &path) : events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
   {
      EXPECT_GE(inotify_add_watch(events, path.c_str(), IN_OPEN | IN_CLOSE_NOWRITE), 0) << path;
   }
   ~OpenCount() { close(events); }
   OpenCount(const OpenCount &) = delete;
   OpenCount &operator=(const OpenCount &) = delete;

   size_t Get() const
   {
      size_t count = 0;
      inotify_event event; // without a name, as the file itself is watched
      while (read(events, &event, sizeof event) == sizeof event) {
         count += (event.mask & IN_OPEN) != 0 ? 1 : 0;
      }
      return count;
   }

 private:
   int events;
};

TEST(RecordedCapture, AProcessIsReadOnce)
{
   RecordedTree tree;
   MakeHost(&tree);
   tree.V2("system.slice", "memory.current", "4096000\n"); // else its processes are summed up
   tree.File("proc/400/smaps_rollup", "0-1 ---p 00000000 00:00 0 [rollup]\nRss: 2000 kB\n");
   const OpenCount status(tree.Root() + "/proc/400/status");
   const OpenCount mappings(tree.Root() + "/proc/400/smaps_rollup");
   const auto live = nevra::MakeLinuxSource(tree.Root());
   Capture(*live);
   EXPECT_EQ(status.Get(), 1u);
   EXPECT_EQ(mappings.Get(), 1u);
}

TEST(RecordedCapture, PciDevicesAreListedOnce)
{
   RecordedTree tree;
   MakeHost(&tree);
   tree.File("sys/bus/pci/devices/0000:00:01.0/config", "header");
   tree.File("sys/bus/pci/devices/0000:3f:0a.2/config", "header");
   const OpenCount devices(tree.Root() + "/sys/bus/pci/devices");
   const auto live = nevra::MakeLinuxSource(tree.Root());
   Capture(*live);
   EXPECT_EQ(devices.Get(), 1u);
}

TEST(RecordedCapture, KernelDetailIsOfTheTree)
{
   RecordedTree tree;
   tree.HostMemory();
   const auto capture = [&] {
      nevra::SnapshotTree captured;
      std::string problem;
      const auto source = nevra::MakeLinuxSource(tree.Root());
      EXPECT_TRUE(CaptureTree(
         *source, &captured, [](uint64_t) {}, &problem, nevra::kMaxSnapshotBytes));
      return captured.kernelDetail;
   };
   EXPECT_EQ(capture(), nevra::ReadKernelDetail(tree.Root()));
   tree.Remove("proc/meminfo");
   EXPECT_EQ(capture(), nevra::KernelFigures{});
   EXPECT_EQ(nevra::ReadKernelDetail(tree.Root()), nevra::KernelFigures{});
}

} // namespace

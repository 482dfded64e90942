// Small files that would make big work: every report and every command on them ends soon, in little memory
// and with little output.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include "nevra/records.h"
#include "nevra/snapshot/snapshot_checksum.h"
#include "nevra/snapshot/snapshot_trailer.h"
#include "nevra/snapshot/snapshot_vectors.h"
#include "reports/report_list.h"
#include "tests/nevra/snapshot/forged_snapshot.h"

using nevra::snapshot::NodeT;
using nevra::snapshot::SnapshotT;

namespace {

constexpr rlim_t kMostSeconds = 5;
constexpr rlim_t kMostOutput = 64 << 20;
#ifndef __SANITIZE_ADDRESS__ // which takes memory of its own
constexpr long kMostMemoryKB = 400 << 10;
#else
constexpr long kMostMemoryKB = 2000 << 10;
#endif

constexpr struct {
   const char *type;
   ReportSource source;
} kReports[] = {
#define REPORT_ROW(type, Entry, description, source) {type, ReportSource::source},
   REPORT_LIST(REPORT_ROW)
#undef REPORT_ROW
};

constexpr char kGroups[] = "sched/groups/members/groups";

NodeT *AddNode(SnapshotT *root, const char *path, uint8_t keys, uint8_t texts, bool listsTexts)
{
   const auto found = std::ranges::find_if(root->nodes, [&](const auto &node) { return node->path == path; });
   if (found != root->nodes.end()) {
      root->nodes.erase(found);
   }
   auto node = std::make_unique<NodeT>();
   node->path = path;
   node->record_shape = std::make_unique<nevra::snapshot::KeyShape>();
   node->list_shape = std::make_unique<nevra::snapshot::KeyShape>(keys, texts);
   node->lists_texts = listsTexts;
   root->nodes.push_back(std::move(node));
   return root->nodes.back().get();
}

std::vector<uint64_t> Numbers(uint64_t first, uint64_t count)
{
   std::vector<uint64_t> numbers(count);
   std::iota(numbers.begin(), numbers.end(), first);
   return numbers;
}

// One text for all, of this length.
void PutOneText(SnapshotT *root, size_t length)
{
   root->text_offsets = {0};
   root->text_bytes.assign(length, 'a');
   root->text_bytes.push_back('\0');
   root->text_count = 1;
   root->text_size = static_cast<uint32_t>(root->text_bytes.size());
   std::erase_if(root->nodes, [](const auto &node) {
      return node->lists_texts || node->record_shape->texts() != 0 || node->list_shape->texts() != 0;
   });
}

template <typename Record> void PutRecord(SnapshotT *root, const char *path, const Record &record)
{
   NodeT *node = AddNode(root, path, 0, 0, false);
   node->record_size = sizeof record;
   node->record_count = 1;
   const auto *bytes = reinterpret_cast<const uint8_t *>(&record);
   node->records.assign(bytes, bytes + sizeof record);
}

// A record of zeros under each key.
void PutRecords(NodeT *node, uint32_t size, std::vector<uint64_t> keys)
{
   node->record_size = size;
   node->record_count = static_cast<uint32_t>(keys.size() / node->record_shape->count());
   node->records.assign(size_t{size} * node->record_count, 0);
   node->keys = std::move(keys);
   node->failed_count = 0;
   node->failed_keys.clear();
   node->failed_statuses.clear();
}

// The group reports go on into the groups that have flags.
void PutGroups(SnapshotT *root, const Lists &lists)
{
   PutLists(NodeOf(root, kGroups), lists);
   PutRecords(NodeOf(root, "sched/groups/groupFlags"), sizeof(GroupFlagsRecord), Numbers(0, lists.size()));
}

// ---- the files

// Every second list is all values, which name those groups.
void ListStartsUpAndDown(SnapshotT *root)
{
   constexpr uint64_t kGroupCount = 2000;
   Lists lists;
   for (uint64_t group = 0; group < kGroupCount; group++) {
      lists.push_back({group, {group * 2}});
   }
   PutGroups(root, lists);
   NodeT *node = NodeOf(root, kGroups);
   for (size_t i = 0; i < node->list_starts.size(); i++) {
      node->list_starts[i] = i % 2 == 0 ? 0 : kGroupCount / 2;
   }
}

void EveryGroupListsAllGroups(SnapshotT *root)
{
   Lists lists;
   for (uint64_t group = 0; group < 100; group++) {
      lists.push_back({group, Numbers(0, 100)});
   }
   PutGroups(root, lists);
}

// A long list of groups that have none, below each of many groups.
void GroupsWithoutLists(SnapshotT *root)
{
   constexpr uint64_t kParents = 5000;
   constexpr uint64_t kLong = kParents + 1;
   Lists lists = {{0, Numbers(1, kParents)}};
   for (uint64_t group = 1; group <= kParents; group++) {
      lists.push_back({group, {kLong}});
   }
   lists.push_back({kLong, Numbers(10000, 200000)});
   PutGroups(root, lists);
}

// Sound.
void GroupsThatAreListedOnce(SnapshotT *root)
{
   Lists lists = {{0, Numbers(1, 100000)}};
   for (uint64_t group = 1; group <= 100000; group++) {
      lists.push_back({group, {}});
   }
   PutGroups(root, lists);
}

void OneNameListedAgainAndAgain(SnapshotT *root)
{
   PutOneText(root, 200000);
   NodeT *heaps = AddNode(root, "system/heaps", 0, 0, true);
   PutLists(heaps, {{0, std::vector<uint64_t>(20000)}});
   heaps->list_keys.clear();
   NodeT *pools = AddNode(root, "memory/lpage/nodeList/vmPools", 1, 0, true);
   PutLists(pools, {{0, std::vector<uint64_t>(20000)}});
   *pools->record_shape = nevra::snapshot::KeyShape(2, 2);
   PutRecords(pools, sizeof(LPagePoolRecord), {0, 0});
   MemInfoRecord info = {};
   info.numMemNodes = 1;
   PutRecord(root, "memory/memInfo", info);
   PutRecord(root, "sched/globalStats/numVMs", NumVMsRecord{1});
}

void TextsWithinTexts(SnapshotT *root)
{
   PutOneText(root, 4000000);
   root->text_offsets.resize(250000);
   std::iota(root->text_offsets.rbegin(), root->text_offsets.rend(), 0);
   root->text_count = 250000;
}

void BillionsOfRowsDue(SnapshotT *root)
{
   PutOneText(root, 10);
   constexpr size_t kCount = 2000;
   const std::vector<uint64_t> repeated(kCount);
   NodeT *volumes = AddNode(root, "memory/pmem/volumes", 0, 0, true);
   PutLists(volumes, {{0, repeated}});
   volumes->list_keys.clear();
   NodeT *extents = AddNode(root, "memory/pmem/volumes/extents", 1, 1, false);
   PutLists(extents, {{0, repeated}});
   *extents->record_shape = nevra::snapshot::KeyShape(2, 1);
   PutRecords(extents, sizeof(PMemExtentRecord), {0, 0});
   PutLists(AddNode(root, "memory/pmem/volumes/regionStore/regions", 1, 1, true), {{0, repeated}});
   NodeT *numa = AddNode(root, "memory/pmem/volumes/regionStore/regions/numaAllocInfo", 2, 3, false);
   PutLists(numa, {{0, repeated}});
   numa->list_keys = {0, 0};
   *numa->record_shape = nevra::snapshot::KeyShape(3, 3);
   PutRecords(numa, sizeof(PMemRegionNumaRecord), {0, 0, 0});
}

// Nodes with one vector of zeros between them, every checksum right.
std::vector<uint8_t> NodesOfOneVector(unsigned count, uint32_t size)
{
   const std::vector<uint8_t> small = Forge([](SnapshotT *) {});
   const auto *model = nevra::snapshot::GetSnapshot(small.data());
   flatbuffers::FlatBufferBuilder builder(size + (1 << 20));
   const std::vector<uint8_t> zeros(size);
   const auto records = builder.CreateVector(zeros);
   const size_t vectorSize = builder.GetSize();
   nevra::NodeVectorBytes vectors = {};
   vectors[1] = zeros; // the records
   const uint64_t checksum = nevra::ChecksumOfVectors(vectors);
   const nevra::snapshot::KeyShape noKeys;
   std::vector<flatbuffers::Offset<nevra::snapshot::Node>> nodes;
   for (unsigned i = 0; i < count; i++) {
      const auto path = builder.CreateString("node" + std::to_string(i));
      nevra::snapshot::NodeBuilder node(builder);
      node.add_path(path);
      node.add_checksum(checksum);
      node.add_record_shape(&noKeys);
      node.add_list_shape(&noKeys);
      node.add_record_size(size);
      node.add_record_count(1);
      node.add_records(records);
      nodes.push_back(node.Finish());
   }
   const auto nodeVector = builder.CreateVector(nodes);
   const auto signature = builder.CreateString(model->definition_signature());
   const auto build = builder.CreateString(model->kernel_build());
   const auto host = builder.CreateString(model->host());
   nevra::snapshot::SnapshotBuilder root(builder);
   root.add_format_version(model->format_version());
   root.add_definition_signature(signature);
   root.add_kernel_build(build);
   root.add_host(host);
   root.add_nodes(nodeVector);
   root.add_text_checksum(nevra::ChecksumOfVectors(std::array<std::span<const uint8_t>, 2>{}));
   FinishSnapshotBuffer(builder, root.Finish());
   std::vector<uint8_t> file(builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize());
   const auto trailer = nevra::EncodeTrailer(file, file.size() - vectorSize);
   file.insert(file.end(), trailer.begin(), trailer.end());
   return file;
}

struct HostileFile {
   const char *name;
   std::function<void(SnapshotT *)> change;
};

const HostileFile kFiles[] = {
   {"ListStartsUpAndDown", ListStartsUpAndDown},
   {"EveryGroupListsAllGroups", EveryGroupListsAllGroups},
   {"GroupsWithoutLists", GroupsWithoutLists},
   {"GroupsThatAreListedOnce", GroupsThatAreListedOnce},
   {"OneNameListedAgainAndAgain", OneNameListedAgainAndAgain},
   {"TextsWithinTexts", TextsWithinTexts},
   {"BillionsOfRowsDue", BillionsOfRowsDue},
};

// ---- runs

class SnapshotWorkRuns : public testing::Test {
 protected:
   SnapshotWorkRuns()
   {
      char pattern[] = "/tmp/snapshot_work.XXXXXX";
      folder = mkdtemp(pattern);
      file = folder / "file";
   }
   ~SnapshotWorkRuns() override { std::filesystem::remove_all(folder); }

   // Each fails and says `refusal`, if there is one.
   void RunAll(const std::string &refusal = "") const
   {
      for (const auto &report : kReports) {
         if (report.source == ReportSource::LiveOrCache) {
            Run({HOSTMEM, "-c", file, "-r", report.type}, refusal);
         }
      }
      for (const char *command : {"info", "verify", "export"}) {
         Run({SNAPSHOT_TOOL, command, file}, refusal);
      }
      Run({SNAPSHOT_TOOL, "diff", file, SAMPLES "/small-host.snapshot"}, refusal);
      Run({SNAPSHOT_TOOL, "diff", SAMPLES "/small-host.snapshot", file}, refusal);
   }

   bool IsSound() const
   {
      return std::system((SNAPSHOT_TOOL " verify " + file.string() + " > /dev/null").c_str()) == 0;
   }

   void Run(const std::vector<std::string> &command, const std::string &refusal) const
   {
      std::vector<char *> arguments;
      std::string shown;
      for (const std::string &word : command) {
         arguments.push_back(const_cast<char *>(word.c_str()));
         shown += word + ' ';
      }
      arguments.push_back(nullptr);
      const std::string output = folder / "output";
      const pid_t child = fork();
      if (child == 0) {
         const rlimit seconds = {kMostSeconds, kMostSeconds};
         const rlimit bytes = {kMostOutput, kMostOutput};
         setrlimit(RLIMIT_CPU, &seconds);
         setrlimit(RLIMIT_FSIZE, &bytes);
         const int descriptor = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
         dup2(descriptor, STDOUT_FILENO);
         dup2(descriptor, STDERR_FILENO);
         execv(arguments[0], arguments.data());
         _exit(127);
      }
      int status = 0;
      rusage usage = {};
      ASSERT_EQ(wait4(child, &status, 0, &usage), child);
      ASSERT_TRUE(WIFEXITED(status)) << shown << "ended by signal " << WTERMSIG(status);
      EXPECT_LE(WEXITSTATUS(status), 2) << shown;
      EXPECT_LE(usage.ru_maxrss, kMostMemoryKB) << shown;
      if (!refusal.empty()) {
         std::ifstream stream(output);
         const std::string text{std::istreambuf_iterator<char>(stream), {}};
         EXPECT_NE(WEXITSTATUS(status), 0) << shown;
         EXPECT_NE(text.find(refusal), std::string::npos) << shown << text;
      }
   }

   std::filesystem::path folder;
   std::filesystem::path file;
};

class SnapshotWorkOfAFile : public SnapshotWorkRuns, public testing::WithParamInterface<HostileFile> {};

TEST_P(SnapshotWorkOfAFile, EndsSoon)
{
   const std::vector<uint8_t> bytes = Forge(GetParam().change);
   std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
   RunAll();
}

INSTANTIATE_TEST_SUITE_P(File, SnapshotWorkOfAFile, testing::ValuesIn(kFiles),
                         [](const auto &test) { return std::string(test.param.name); });

// ---- files that are too large to be forged in memory

// Every checksum is right; there is a hole between the vectors and the end.
bool WriteSparseFile(const std::string &path, size_t size)
{
   const std::vector<uint8_t> sound = Forge([](SnapshotT *) {});
   const std::span vectors = std::span(sound).first(sound.size() - nevra::kTrailerSize);
   nevra::SnapshotTrailer trailer;
   nevra::DecodeTrailer(std::span(sound).last<nevra::kTrailerSize>(), &trailer);
   const size_t bodyBytes = size - nevra::kTrailerSize;
   // Zeros that take no memory, as the file's take no room.
   void *memory =
      mmap(nullptr, bodyBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
   if (memory == MAP_FAILED) {
      return false;
   }
   std::ranges::copy(vectors, static_cast<uint8_t *>(memory));
   const auto sealed = nevra::EncodeTrailer({static_cast<const uint8_t *>(memory), bodyBytes},
                                            static_cast<size_t>(trailer.directorySize));
   munmap(memory, bodyBytes);
   std::ofstream stream(path, std::ios::binary);
   stream.write(reinterpret_cast<const char *>(vectors.data()), static_cast<std::streamsize>(vectors.size()));
   stream.seekp(static_cast<std::streamoff>(bodyBytes));
   stream.write(reinterpret_cast<const char *>(sealed.data()), static_cast<std::streamsize>(sealed.size()));
   stream.close();
   return stream.good();
}

TEST_F(SnapshotWorkRuns, ASparseFileIsRefusedWithoutBeingRead)
{
   ASSERT_TRUE(WriteSparseFile(file, 8 << 20));
   EXPECT_TRUE(IsSound()) << "nothing but the hole is wrong with it";
   ASSERT_TRUE(WriteSparseFile(file, size_t{1900} << 20));
   struct stat written = {};
   ASSERT_EQ(stat(file.c_str(), &written), 0);
   if (written.st_blocks > (1 << 20) / 512) {
      GTEST_SKIP() << "the file system of /tmp has no holes";
   }
   RunAll("sparse");
}

// Reading them all is reading the vector as often as there are nodes.
TEST_F(SnapshotWorkRuns, ManyNodesOfOneLongVectorAreRefusedWithoutBeingRead)
{
   constexpr uint32_t kBytes = 100 << 20;
   struct statvfs disk = {};
   if (statvfs(folder.c_str(), &disk) != 0 || disk.f_bavail * disk.f_frsize < uint64_t{2} * kBytes) {
      GTEST_SKIP() << "/tmp has no room for " << 2 * (kBytes >> 20) << " MB";
   }
   const auto write = [this](const std::vector<uint8_t> &bytes) {
      std::ofstream stream(file, std::ios::binary);
      stream.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
      stream.close();
      return stream.good();
   };
   ASSERT_TRUE(write(NodesOfOneVector(1, kBytes)));
   EXPECT_TRUE(IsSound()) << "nothing but the sharing is wrong with it";
   ASSERT_TRUE(write(NodesOfOneVector(950, kBytes)));
   RunAll("vectors overlap");
}

} // namespace

// Writes the seeds of the fuzz targets: fuzz_seeds FOLDER [SAMPLE.json...]
// The folder has the hosts of the seeds already.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "frontend/report_table.h"
#include "fuzz/linux_tree.h"
#include "fuzz/memory_folder.h"
#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_writer.h"
#include "recorder/folder_storage.h"
#include "recorder/recording_writer.h"
#include "snapshot-tool/json_export.h"
#include "snapshot-tool/json_import.h"
#include "tests/nevra/snapshot/small_tree.h"

namespace {

namespace fs = std::filesystem;

void WriteFile(const fs::path &path, const std::string &content)
{
   std::ofstream(path, std::ios::binary) << content;
}

// Once for each way of fixing it.
void WriteSnapshotSeeds(const fs::path &folder, const std::string &name, const std::vector<uint8_t> &snapshot)
{
   for (char repair = 0; repair < 4; repair++) {
      WriteFile(folder / "snapshot_fuzzer" / (name + static_cast<char>('0' + repair)),
                repair + std::string(snapshot.begin(), snapshot.end()));
   }
}

// A tree with one node of the small one, for short inputs.
std::vector<uint8_t> SnapshotOfOneNode(const NevraNodeDef &node)
{
   nevra::SnapshotTree tree = SmallTree();
   for (const NevraNodeDef &other : nevra::Definitions()) {
      if (other.id != node.id) {
         tree.nodes[static_cast<size_t>(other.id)] = {};
      }
   }
   nevra::SnapshotImage image;
   std::string problem;
   MakeSnapshotImage(&tree, &image, &problem);
   return BytesOfImage(image);
}

void WriteJsonSeed(const fs::path &path, const std::vector<uint8_t> &snapshot)
{
   nevra::SnapshotFile file;
   std::string problem;
   OpenSnapshotBytes(snapshot, &file, &problem);
   FILE *output = std::fopen(path.c_str(), "w");
   Progress progress("exporting");
   ExportSnapshot(file, output, &progress, &problem);
   std::fclose(output);
}

void WriteSampleSeeds(const fs::path &folder, const fs::path &sample)
{
   FILE *input = std::fopen(sample.c_str(), "r");
   if (input == nullptr || fs::file_size(sample) > 65536) {
      return; // a large one makes slow seeds
   }
   nevra::SnapshotTree tree;
   nevra::SnapshotImage image;
   Progress progress("importing");
   std::string problem;
   if (ImportSnapshot(input, 0, &progress, &tree, &problem) && MakeSnapshotImage(&tree, &image, &problem)) {
      WriteSnapshotSeeds(folder, sample.stem(), BytesOfImage(image));
   }
   std::fclose(input);
   fs::copy_file(sample, folder / "import_fuzzer" / sample.filename(), fs::copy_options::overwrite_existing);
}

// A file of a host as a seed of its own, after the byte that says which it is.
void WriteKernelFileSeeds(const fs::path &folder, const fs::path &host)
{
   static constexpr std::pair<const char *, char> kKinds[] = {
      {"/meminfo", 0}, {"/zoneinfo", 1}, {"/vmstat", 2},  {"/iomem", 3},  {"/slabinfo", 4},
      {"/status", 5},  {"/smaps", 6},    {"/cmdline", 7}, {"/cmdline", 8}};
   std::ifstream input(host, std::ios::binary);
   std::stringstream text;
   text << input.rdbuf();
   TreeEntries entries;
   ParseLinuxTree(text.view(), &entries);
   for (const auto &[path, entry] : entries) {
      for (const auto &[name, kind] : kKinds) {
         if (path.ends_with(name)) {
            std::string seed = host.filename().string() + "-" + path + static_cast<char>('0' + kind);
            std::ranges::replace(seed, '/', '-');
            WriteFile(folder / "kernel_files_fuzzer" / seed, kind + entry.content);
         }
      }
   }
}

// Every report, with each of its first questions answered otherwise once.
void WriteReportSeeds(const fs::path &folder)
{
   for (const ReportEntry &report : Reports()) {
      const char *name = report.name;
      for (int question = 1; question <= 12; question++) {
         for (const char *answer : {"1", "7abcdefgh", "8xyz"}) {
            const std::string seed = std::to_string(question) + " " + answer + "\n";
            WriteFile(folder / (std::string(name) + "-" + std::to_string(question) + "-" + answer[0]),
                      std::string("-r\n") + name + "\n---\n" + seed);
         }
      }
   }
}

// Texts that steer a terminal, where a text may stand.
void WriteSteeringSeeds(const fs::path &folder)
{
   int number = 0;
   for (const char *text : {"\\u001b[2J", "\\u009b2J", "\u009b2J", "\x7f", "\\n", "\u202e", "\u2066"}) {
      const std::string steering = std::string("\"") + text + "\"";
      WriteFile(folder / ("steering" + std::to_string(number++) + ".json"),
                "{\"host\": " + steering + ", \"kernelBuild\": " + steering +
                   ", \"nodes\": {\"system/heaps\": {\"lists\": [{\"instances\": [" + steering +
                   "]}]}, \"system/heaps/stats\": {\"records\": [{\"keys\": [" + steering +
                   "], \"name\": " + steering + "}]}}}");
      WriteFile(folder / ("steering" + std::to_string(number++) + ".json"), "{" + steering + ": 1}");
   }
}

// A recording of a few frames, sealed and not, once with its checksums put right.
void WriteSegmentSeeds(const fs::path &folder)
{
   fs::create_directories(folder);
   for (const bool isSealed : {false, true}) {
      const MemoryFolder made("segment_seeds");
      recorder::FolderStorage storage(made.Path() + "/recording");
      recorder::RecordingWriter writer(&storage, {.keyEvery = 3}, {}, [](const std::string &) {});
      writer.Open({});
      for (uint8_t i = 0; i < 5; i++) {
         std::vector<uint8_t> snapshot(300, 'x');
         snapshot[i] = i;
         writer.Append(snapshot, recorder::kReasonInterval, {.wall = i, .boot = i});
      }
      if (isSealed) {
         writer.Seal();
      }
      std::vector<recorder::StoredSegment> segments;
      storage.List(&segments);
      std::ifstream input(made.Path() + "/recording/" + segments.at(0).name, std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(input), {}};
      for (const char repair : {'\0', '\1'}) {
         WriteFile(folder / (std::string(isSealed ? "sealed" : "open") + static_cast<char>('0' + repair)),
                   repair + bytes);
      }
   }
}

// The words that mean something to the import.
void WriteDictionary(const fs::path &path)
{
   std::ofstream out(path);
   for (const char *word :
        {"definitionSignature", "kernelBuild", "host", "captured", "notes", "kernelDetail", "nodes",
         "records", "failures", "lists", "listFailures", "keys", "instances", "status", "hex"}) {
      out << "\"\\\"" << word << "\\\":\"\n";
   }
   for (const NevraNodeDef &node : nevra::Definitions()) {
      out << "\"\\\"" << node.path << "\\\":\"\n";
      if (node.record != nullptr) {
         for (const nevra::RecordField &field : node.record->fields) {
            out << "\"\\\"" << field.name << "\\\":\"\n";
         }
      }
   }
}

} // namespace

int main(int argc, char **argv)
{
   if (argc < 2) {
      std::fprintf(stderr, "Usage: fuzz_seeds FOLDER [SAMPLE.json...]\n");
      return 1;
   }
   const fs::path folder = argv[1];
   fs::create_directories(folder / "snapshot_fuzzer");
   fs::create_directories(folder / "import_fuzzer");
   WriteSnapshotSeeds(folder, "small", SmallSnapshot());
   WriteJsonSeed(folder / "import_fuzzer" / "small.json", SmallSnapshot());
   for (const NevraNodeDef &node : nevra::Definitions()) {
      const std::vector<uint8_t> snapshot = SnapshotOfOneNode(node);
      WriteSnapshotSeeds(folder, "node" + std::to_string(static_cast<int>(node.id)) + "-", snapshot);
      WriteJsonSeed(folder / "import_fuzzer" / ("node" + std::to_string(static_cast<int>(node.id)) + ".json"),
                    snapshot);
   }
   fs::create_directories(folder / "kernel_files_fuzzer");
   for (const fs::directory_entry &host : fs::directory_iterator(folder / "linux_tree_fuzzer")) {
      WriteKernelFileSeeds(folder, host.path());
   }
   WriteSegmentSeeds(folder / "segment_fuzzer");
   WriteReportSeeds(folder / "command_line_fuzzer");
   for (int i = 2; i < argc; i++) {
      WriteSampleSeeds(folder, argv[i]);
   }
   WriteDictionary(folder / "import_fuzzer.dict");
   WriteSteeringSeeds(folder / "import_fuzzer");
   fs::copy(folder / "import_fuzzer", folder / "snapshot_tool_fuzzer",
            fs::copy_options::recursive | fs::copy_options::overwrite_existing);
   fs::copy(folder / "import_fuzzer.dict", folder / "snapshot_tool_fuzzer.dict",
            fs::copy_options::overwrite_existing);
   return 0;
}

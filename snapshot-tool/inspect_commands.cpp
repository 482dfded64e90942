// info and verify.
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "nevra/records.h"
#include "nevra/shown_text.h"
#include "nevra/snapshot/snapshot_check.h"
#include "nevra/snapshot/snapshot_vectors.h"
#include "snapshot-tool/capture_time.h"
#include "snapshot-tool/commands.h"
#include "snapshot-tool/message.h"

namespace {

using nevra::SnapshotFile;
using nevra::SnapshotNode;

size_t BytesOfNode(const SnapshotNode &node)
{
   size_t bytes = 0;
   for (const std::span<const uint8_t> vector : nevra::BytesOfVectors(node)) {
      bytes += vector.size();
   }
   return bytes;
}

void PrintFact(const char *name, const std::string &value)
{
   std::printf("%-22s %s\n", name, nevra::ShownText(value).c_str());
}

void PrintHeader(const SnapshotFile &file)
{
   const bool ours = std::string(file.signature) == nevra::DefinitionSignature();
   PrintFact("host", file.host);
   PrintFact("captured", FormatCaptureTime(file.captured));
   PrintFact("kernel build", file.kernelBuild);
   PrintFact("definition signature",
             std::string(file.signature) + (ours ? " (this build's)" : " (another build's)"));
   PrintFact("format version", std::to_string(file.version));
   PrintFact("size", std::to_string(file.size) + " bytes");
   PrintFact("texts", std::to_string(file.textOffsets.size()));
}

// "kernel release: 6.1.0" is a fact like the others.
void PrintNotes(const SnapshotFile &file)
{
   for (std::string_view rest = file.notes; !rest.empty();) {
      const std::string_view line = rest.substr(0, rest.find('\n'));
      const size_t end = std::min(line.find(": "), line.size());
      PrintFact(nevra::ShownText(line.substr(0, end)).c_str(),
                std::string(line.substr(std::min(end + 2, line.size()))));
      rest.remove_prefix(std::min(line.size() + 1, rest.size()));
   }
}

// What follows from the answers: how many VMs there are, and how much was refused.
void PrintCounts(const SnapshotFile &file)
{
   uint64_t refused = 0;
   for (const SnapshotNode &node : file.nodes) {
      std::string ignored;
      for (const auto statuses : {node.failedStatuses, node.listFailedStatuses}) {
         refused += static_cast<uint64_t>(std::count(statuses.begin(), statuses.end(), NEVRA_NO_PERMISSION));
      }
      NumVMsRecord vms;
      if (std::strcmp(node.path, "sched/globalStats/numVMs") == 0 && node.fit.everything &&
          node.records.size() == sizeof vms && CheckNode(file, node, &ignored)) {
         std::memcpy(&vms, node.records.data(), sizeof vms);
         PrintFact("VMs", std::to_string(vms.numVMs));
      }
   }
   PrintFact("refused answers", std::to_string(refused) + " (no permission)");
}

const char *Remark(const SnapshotNode &node)
{
   if (node.fit.definition == nullptr) {
      return "  (unknown to this build)";
   }
   return node.fit.everything ? "" : "  (defined otherwise by this build)";
}

void PrintNodes(const SnapshotFile &file)
{
   std::printf("\n%10s %10s %10s %10s %12s  %s\n", "records", "failures", "lists", "listFail", "bytes",
               "node");
   for (const SnapshotNode &node : file.nodes) {
      std::printf("%10zu %10zu %10zu %10zu %12zu  %s%s\n", node.keys.count, node.failedKeys.count,
                  node.listKeys.count, node.listFailedKeys.count, BytesOfNode(node),
                  nevra::ShownText(node.path).c_str(), Remark(node));
   }
}

void PrintKernelDetail(const SnapshotFile &file)
{
   if (!file.kernelDetail.empty()) {
      std::printf("\n%12s  %s\n", "KB", "the kernel's detail");
   }
   for (const nevra::KernelFigure &figure : file.kernelDetail) {
      std::printf("%12" PRIu64 "  %s\n", figure.kb, figure.name.c_str());
   }
}

} // namespace

int InfoCommand(const std::string &path)
{
   SnapshotFile file;
   if (!OpenForCommand(path, false, &file)) {
      return kExitFailed;
   }
   PrintHeader(file);
   PrintNotes(file);
   PrintCounts(file);
   PrintNodes(file);
   PrintKernelDetail(file);
   return FinishOutput() ? kExitDone : kExitFailed;
}

int VerifyCommand(const std::string &path)
{
   SnapshotFile file;
   if (!OpenForCommand(path, true, &file)) {
      return kExitFailed;
   }
   std::printf("%s: sound, %zu nodes, %zu bytes\n", nevra::ShownText(path).c_str(), file.nodes.size(),
               file.size);
   return FinishOutput() ? kExitDone : kExitFailed;
}

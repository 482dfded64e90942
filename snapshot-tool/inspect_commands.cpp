// info and verify.
#include <cinttypes>
#include <cstdio>

#include "nevra/shown_text.h"
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

} // namespace

int InfoCommand(const std::string &path)
{
   SnapshotFile file;
   if (!OpenForCommand(path, false, &file)) {
      return kExitFailed;
   }
   PrintHeader(file);
   PrintNodes(file);
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

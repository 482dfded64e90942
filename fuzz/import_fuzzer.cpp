// Imports a readable form, whatever it is. What can be imported makes a sound snapshot, and its export gives
// the same snapshot again.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_verify.h"
#include "nevra/snapshot/snapshot_writer.h"
#include "snapshot-tool/json_export.h"
#include "snapshot-tool/json_import.h"

namespace {

bool Import(std::string json, std::vector<uint8_t> *snapshot)
{
   if (json.empty()) {
      return false;
   }
   FILE *input = fmemopen(json.data(), json.size(), "r");
   nevra::SnapshotTree tree;
   Progress progress("importing", stderr, false, std::chrono::steady_clock::now);
   std::string problem;
   const bool imported = ImportSnapshot(input, json.size(), &progress, &tree, &problem);
   std::fclose(input);
   Require(imported == problem.empty(), "a failure has a reason, and success has none");
   nevra::SnapshotImage image;
   if (!imported || !MakeSnapshotImage(&tree, &image, &problem)) {
      return false;
   }
   *snapshot = BytesOfImage(image);
   return true;
}

std::string Export(const std::vector<uint8_t> &snapshot)
{
   nevra::SnapshotFile file;
   std::string problem;
   Require(OpenSnapshotBytes(snapshot, &file, &problem) == NEVRA_OK, problem);
   Require(VerifySnapshot(file, &problem), problem);
   char *text = nullptr;
   size_t size = 0;
   FILE *output = open_memstream(&text, &size);
   Progress progress("exporting", stderr, false, std::chrono::steady_clock::now);
   Require(ExportSnapshot(file, output, &progress, &problem), problem);
   std::fclose(output);
   std::string json(text, size);
   std::free(text);
   return json;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
   std::vector<uint8_t> first;
   if (!Import({reinterpret_cast<const char *>(data), size}, &first)) {
      return 0;
   }
   const std::string json = Export(first);
   std::vector<uint8_t> second;
   Require(Import(json, &second), "an export cannot be imported:\n" + json);
   Require(first == second, "an export gives another snapshot:\n" + json);
   return 0;
}

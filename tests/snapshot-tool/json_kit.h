// Both ways between readable forms and snapshots, in memory.
#ifndef TESTS_SNAPSHOT_TOOL_JSON_KIT_H
#define TESTS_SNAPSHOT_TOOL_JSON_KIT_H

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "nevra/snapshot/snapshot_writer.h"
#include "snapshot-tool/json_export.h"
#include "snapshot-tool/json_import.h"

// The problem of an import, or "" and the snapshot that it gives.
inline std::string Import(std::string json, std::vector<uint8_t> *snapshot)
{
   FILE *input = fmemopen(json.data(), json.size(), "r");
   nevra::SnapshotTree tree;
   Progress progress("importing", stderr, false, std::chrono::steady_clock::now);
   std::string problem;
   nevra::SnapshotImage image;
   if (ImportSnapshot(input, json.size(), &progress, &tree, &problem) &&
       MakeSnapshotImage(&tree, &image, &problem)) {
      *snapshot = BytesOfImage(image);
   }
   std::fclose(input);
   return problem;
}

inline nevra::SnapshotFile Open(const std::vector<uint8_t> &snapshot)
{
   nevra::SnapshotFile file;
   std::string problem;
   EXPECT_EQ(OpenSnapshotBytes(snapshot, &file, &problem), NEVRA_OK) << problem;
   return file;
}

// What write(stream) writes.
template <typename Write> std::string Written(Write write)
{
   char *text = nullptr;
   size_t size = 0;
   FILE *output = open_memstream(&text, &size);
   write(output);
   std::fclose(output);
   std::string written(text, size);
   std::free(text);
   return written;
}

inline std::string Export(const std::vector<uint8_t> &snapshot)
{
   return Written([&](FILE *output) {
      Progress progress("exporting", stderr, false, std::chrono::steady_clock::now);
      std::string problem;
      EXPECT_TRUE(ExportSnapshot(Open(snapshot), output, &progress, &problem)) << problem;
   });
}

#endif

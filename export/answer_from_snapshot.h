// The moment that answers the reports which this process runs.
#ifndef EXPORT_ANSWER_FROM_SNAPSHOT_H
#define EXPORT_ANSWER_FROM_SNAPSHOT_H

#include <cstdint>
#include <span>
#include <string>

#include "export/row_writer.h"
#include "nevra/kernel_detail.h"

// What a snapshot says beside its records.
struct SnapshotFacts {
   std::string notes; // how it was captured, in lines
   nevra::KernelFigures kernelDetail;
};

// From here on the reports are answered by a snapshot: one in memory, which is copied, or a file. `*moment`
// says what it is of; `facts` may be null. False, with the source before still there, for what is no
// snapshot, is damaged or was taken with other node definitions; `*problem` says which.
bool AnswerFromSnapshot(std::span<const uint8_t> bytes, Moment *moment, std::string *problem,
                        SnapshotFacts *facts = nullptr);
bool AnswerFromSnapshotFile(const std::string &path, Moment *moment, std::string *problem,
                            SnapshotFacts *facts = nullptr);

#endif

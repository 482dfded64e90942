// A small tree with something of everything, and the questions that its snapshot is asked.
#ifndef TESTS_NEVRA_SNAPSHOT_SMALL_TREE_H
#define TESTS_NEVRA_SNAPSHOT_SMALL_TREE_H

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "nevra/snapshot/snapshot_tree.h"
#include "nevra/source.h"

using Key = std::variant<int64_t, const char *>;

// Records, failures, listings and failed listings under integer keys, text keys, both and none.
nevra::SnapshotTree SmallTree();

std::vector<uint8_t> SmallSnapshot();

// A group's name as its record.
std::string GroupNameBytes(const char *name);

// The answer that a failure gives.
std::string Status(NevraStatus status);

// One answer as text: the status, and on success the record's bytes or the values.
std::string AskRecord(nevra::Source &source, nevra::NodeId node, std::initializer_list<Key> keys);
std::string AskList(nevra::Source &source, nevra::NodeId node, std::initializer_list<Key> keys,
                    uint32_t capacity = Nevra_ParamList::kUnbounded);

// The answers to a fixed set of questions, which covers the small tree and what it does not have.
std::vector<std::string> AskEverything(nevra::Source &source);

std::unique_ptr<nevra::Source> OpenBytes(const std::vector<uint8_t> &bytes);

#endif

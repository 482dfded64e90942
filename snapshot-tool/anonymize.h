// A snapshot for strangers: figures stay, names go.
#ifndef SNAPSHOT_TOOL_ANONYMIZE_H
#define SNAPSHOT_TOOL_ANONYMIZE_H

#include <map>
#include <string>
#include <string_view>

#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_tree.h"

// Pseudonyms of names: "n1", "n2" and so on, as the names come. They are short enough for every field, and
// follow from nothing that the names hold: no key could leak that gives them back, no guess can be tried.
class Pseudonyms {
 public:
   // The same one for the same name. An empty name has none.
   std::string Of(std::string_view name);

   // The names by their pseudonyms, as a JSON object.
   std::string AsJson() const;

 private:
   std::map<std::string, std::string, std::less<>> pseudonyms; // by name
};

// Gives pseudonyms to groups and their tags, to VMs and the paths of their configurations, to pools of
// large pages, and to volumes and regions of persistent memory. The names of heaps stay. Bytes that no report
// reads become zeros, and messages of the platform go from the notes: nobody knows what they hold.
void Anonymize(nevra::SnapshotTree *tree, Pseudonyms *pseudonyms);

// The answers of a snapshot, checked, all of whose nodes this build defines as it does.
nevra::SnapshotTree TreeOf(const nevra::SnapshotFile &file);

#endif

// A snapshot for strangers: figures stay, names go.
#ifndef SNAPSHOT_TOOL_ANONYMIZE_H
#define SNAPSHOT_TOOL_ANONYMIZE_H

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_tree.h"

// Pseudonyms of names: "n" and six letters or digits, short enough for every field. They follow from the name
// and a key, so that another name changes none, and nobody without the key can try a guess.
class Pseudonyms {
 public:
   // Of a key that nobody has.
   Pseudonyms();
   explicit Pseudonyms(std::string theKey) : key(std::move(theKey)) {}

   // Takes the key and the names from what AsJson gave. False, with nothing taken, for anything else.
   bool Read(FILE *json);

   // The same one for the same name. An empty name has none.
   std::string Of(std::string_view name);

   // The key and the names by their pseudonyms, as a JSON object.
   std::string AsJson() const;

 private:
   std::string NewOneFor(std::string_view name) const;

   std::string key;
   std::map<std::string, std::string, std::less<>> pseudonyms; // by name
   std::set<std::string> taken;
};

// Gives pseudonyms to groups and their tags, to VMs and the paths of their configurations, to pools of
// large pages, and to volumes and regions of persistent memory. The names of heaps stay. Bytes that no report
// reads become zeros, and messages of the platform go from the notes: nobody knows what they hold.
void Anonymize(nevra::SnapshotTree *tree, Pseudonyms *pseudonyms);

// The answers of a snapshot, checked, all of whose nodes this build defines as it does.
nevra::SnapshotTree TreeOf(const nevra::SnapshotFile &file);

#endif

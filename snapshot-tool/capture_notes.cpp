#include "snapshot-tool/capture_notes.h"

#include "nevra/shown_text.h"
#include "nevra/snapshot/snapshot_format.h"

void NoteUnreadable(std::string_view message, std::string *notes)
{
   if (notes->size() + message.size() < nevra::kMaxSnapshotNotes / 2) {
      notes->append("\n").append(kNotReadNote).append(nevra::ShownText(message));
   }
}

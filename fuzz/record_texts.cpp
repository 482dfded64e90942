#include "fuzz/record_texts.h"

#include <cstddef>
#include <cstring>
#include <string>

#include "fuzz/fuzz_check.h"
#include "nevra/shown_text.h"

namespace {

using nevra::FieldKind;

void RequireShownFields(const char *path, const nevra::RecordLayout &layout, const uint8_t *record)
{
   for (const nevra::RecordField &field : layout.fields) {
      for (uint32_t i = 0; i < field.count; i++) {
         const uint8_t *at = record + field.offset + field.size * size_t{i};
         if (field.kind == FieldKind::Structure) {
            RequireShownFields(path, *field.structure, at);
         } else if (field.kind == FieldKind::Text) {
            const char *text = reinterpret_cast<const char *>(at);
            const size_t length = strnlen(text, field.size);
            Require(length < field.size && nevra::IsShownText({text, length}),
                    std::string(path) + ": a text that is not fit to be shown");
         }
      }
   }
}

} // namespace

void RequireShownTexts(const NevraNodeDef &node, const uint8_t *record)
{
   RequireShownFields(node.path, *node.record, record);
}

void RequireShownInstance(const NevraNodeDef &node, std::string_view text)
{
   Require(nevra::IsShownText(text), std::string(node.path) + ": lists a text that is not fit to be shown");
}

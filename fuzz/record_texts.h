// What must hold for the texts of an answer, whoever gives it.
#ifndef FUZZ_RECORD_TEXTS_H
#define FUZZ_RECORD_TEXTS_H

#include <cstdint>
#include <string_view>

#include "nevra/definitions.h"

// Each text field of a record is terminated, and fit to be shown.
void RequireShownTexts(const NevraNodeDef &node, const uint8_t *record);

// A text that a node lists is fit to be shown.
void RequireShownInstance(const NevraNodeDef &node, std::string_view text);

#endif

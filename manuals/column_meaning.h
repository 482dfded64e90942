// What a column means, as roff, for the manual pages and the list of all columns.
#ifndef MANUALS_COLUMN_MEANING_H
#define MANUALS_COLUMN_MEANING_H

#include <string>
#include <vector>

#include "manuals/page_source.h"
#include "report/report_description.h"

// A text as roff: hyphens that are meant as such, no control line by accident.
std::string Escape(const std::string &text);

// A text of the reports' tables as a sentence, with a capital and a full stop.
std::string Sentence(std::string text);

// The entry of a block; null when it has none for that name.
const PageEntry *FindEntry(const PageLine &block, const std::string &name);

// One sentence a line: the column's own description, that of its entry, and when it is shown. The entry may
// be null.
std::string ColumnMeaning(const ReportColumn &column, const PageEntry *entry);

#endif

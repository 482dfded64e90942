// All columns of all reports in one page of Markdown, from the sources of the manual pages and the tables of
// the reports.
#ifndef MANUALS_COLUMN_REFERENCE_H
#define MANUALS_COLUMN_REFERENCE_H

#include <map>
#include <string>
#include <vector>

#include "manuals/page_source.h"

// The text of a source as Markdown: bold becomes code, italics emphasis, what would make a table row end is
// escaped. Understands escapes in the line, no requests.
std::string MarkdownOf(const std::string &roff);

// The page, from the sources of the manual pages by name. A report without a page is left out, and named in
// `errors`.
std::string MakeColumnReference(const std::map<std::string, std::vector<PageLine>> &sources,
                                std::vector<std::string> *errors);

#endif

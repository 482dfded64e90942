// Manual pages made from their source and the tables of the reports.
#ifndef DOCS_MAN_MANUAL_PAGE_H
#define DOCS_MAN_MANUAL_PAGE_H

#include <string>
#include <vector>

#include "docs/man/page_source.h"

struct PageEdition {
   std::string version; // of the program
   std::string date;    // ISO 8601
};

// The page as roff. `name` is that of the page: "hostmem-" and a report type, or that of a program.
// Every column, flag or report type that a block leaves out, and every entry that names none, is an error, as
// is an option without help; they are appended to `errors`.
std::string MakeManualPage(const std::string &name, const std::vector<PageLine> &source,
                           const PageEdition &edition, std::vector<std::string> *errors);

#endif

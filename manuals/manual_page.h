// Manual pages made from their source and the tables of the reports.
#ifndef MANUALS_MANUAL_PAGE_H
#define MANUALS_MANUAL_PAGE_H

#include <map>
#include <string>
#include <vector>

#include "manuals/page_source.h"

struct PageEdition {
   std::string version;                           // of the program
   std::string date;                              // ISO 8601
   std::map<std::string, PageSummary> pages = {}; // the other pages, by name
};

// The page as roff. `name` is that of the page: "hostmem-" and a report type, or that of a program.
// Every column or flag that a block leaves out, every entry that names none, every report without a page and
// every option without help is an error; they are appended to `errors`.
std::string MakeManualPage(const std::string &name, const std::vector<PageLine> &source,
                           const PageEdition &edition, std::vector<std::string> *errors);

#endif

// The source of a manual page: roff, with lines that begin with '@' where the build fills in what it knows
// from the tables of the reports.
//
//    @title TEXT          the head of the page: title, name and synopsis
//    @options             the options of the report
//    @exit-status         the exit statuses that every report has
//    @see-also PAGE...    references to pages of section 8, hostmem(8) always among them
//    @columns             the columns of the report; a block of entries "NAME | MEANING". Units come from the
//                         table. A meaning that begins with "{Linux: VALUE}" is that of a column which shows
//                         nothing but this value on Linux
//    @on-linux            a section that lists those columns
//    @privileges          a section on what only root sees; a block of roff. That of a report is shown in
//                         hostmem(8) and in the page of all columns too, and has no requests
//    @all-privileges      the reports, each with that text
//    @flags               its flag names; a block of entries "NAME | MEANING", or empty: the names alone
//    @reports             the report types, each with the title of its page
//    @example             a block shown as it stands: a command after "$ ", continued after "> ", and
//                         what it prints
//    @end                 ends a block
#ifndef MANUALS_PAGE_SOURCE_H
#define MANUALS_PAGE_SOURCE_H

#include <iosfwd>
#include <string>
#include <vector>

// One line of a block, trimmed. The texts are empty where there are none.
struct PageEntry {
   std::string name;
   std::string onLinux; // the only value that the column has there
   std::string text;
};

struct PageLine {
   std::string directive; // without '@'; empty: a line of roff
   std::string text;      // the roff, or what follows the directive
   std::vector<PageEntry> entries;
   std::vector<std::string> lines; // those of an @example or of @privileges
};

// What other pages tell of a page.
struct PageSummary {
   std::string title;
   std::string privileges; // roff in one line
};

// Parses a source. On failure, for example a block without an end, `error` says why.
bool ReadPageSource(std::istream &input, std::vector<PageLine> *lines, std::string *error);

PageSummary Summarize(const std::vector<PageLine> &source);

#endif

// The source of a manual page: roff, with lines that begin with '@' where the build fills in what it knows
// from the tables of the reports.
//
//    @title TEXT          the head of the page: title, name and synopsis
//    @options             the options of the report
//    @exit-status         the exit statuses that every report has
//    @see-also PAGE...    references to pages of section 8, hostmem(8) always among them
//    @columns             the columns of the report; a block of entries "NAME | UNIT | MEANING"
//    @flags               its flag names; a block of entries "NAME | MEANING", or empty: the names alone
//    @reports             the report types; a block of entries "NAME | MEANING"
//    @example             a block shown as it stands: a command behind "$ ", going on behind "> ", and
//                         what it prints
//    @end                 ends a block
#ifndef DOCS_MAN_PAGE_SOURCE_H
#define DOCS_MAN_PAGE_SOURCE_H

#include <iosfwd>
#include <string>
#include <vector>

// One line of a block: its fields, trimmed. Missing ones are empty.
struct PageEntry {
   std::string name;
   std::vector<std::string> fields; // behind the name
};

struct PageLine {
   std::string directive; // without '@'; empty: a line of roff
   std::string text;      // the roff, or what follows the directive
   std::vector<PageEntry> entries;
   std::vector<std::string> example; // the lines of an @example
};

// Parses a source. On failure, for example a block without an end, `error` says why.
bool ReadPageSource(std::istream &input, std::vector<PageLine> *lines, std::string *error);

#endif

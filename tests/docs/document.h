// The commands in a page of Markdown.
//
// A fenced block says what it is: "sh" holds commands, "console" commands after "$ ", continued after "> ",
// each with what it prints. Any other block is text.
#ifndef TESTS_DOCS_DOCUMENT_H
#define TESTS_DOCS_DOCUMENT_H

#include <string>
#include <vector>

struct DocumentedCommand {
   std::string command;
   bool showsOutput; // of a console block
   std::string output;
   size_t line; // where it begins, from 1
};

std::vector<DocumentedCommand> ReadCommands(const std::string &path);

// Code within the text that begins so: `hostmem -h`.
std::vector<std::string> ReadInlineCode(const std::string &path, const std::string &start);

// The lines of blocks of text that look like commands of this project.
std::vector<std::string> FindUnmarkedCommands(const std::string &path);

// The places that a page links to, as they are written: "linux.md#groups", "#groups", "https://...".
std::vector<std::string> ReadLinks(const std::string &path);

// The anchors of its headings.
std::vector<std::string> ReadAnchors(const std::string &path);

// The output with the time in a report's title, which is that of the run, left out.
std::string WithoutTimes(const std::string &output);

#endif

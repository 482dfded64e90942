// The sources of all manual pages.
#ifndef MANUALS_SOURCE_FOLDER_H
#define MANUALS_SOURCE_FOLDER_H

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "manuals/page_source.h"

// The sources in a folder, NAME.8.in, by name. What is wrong with one, or with the folder, is added to
// `errors`.
std::map<std::string, std::vector<PageLine>> ReadSourceFolder(const std::filesystem::path &folder,
                                                              std::vector<std::string> *errors);

#endif

// What the built binaries show the dynamic linker: the library exports the platform interface and nothing
// else, and hostmem gets it, and nothing but the C library besides, from shared libraries.
#include <algorithm>
#include <array>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "nevra/definitions.h"
#include "tests/shell/run_command.h"

namespace {

using Names = std::set<std::string>;

// The lines that a command prints.
std::vector<std::string> Output(const std::string &command)
{
   const std::vector<std::string> lines = SplitLines(RunCommand(command).output);
   EXPECT_FALSE(lines.empty()) << command;
   return lines;
}

// The dynamic symbols of a file: those it defines, or those it takes from elsewhere.
Names DynamicSymbols(const char *file, bool defined)
{
   Names names;
   for (const std::string &line : Output(std::string(NM_PROGRAM) + " -D " +
                                         (defined ? "--defined-only " : "--undefined-only ") + file)) {
      std::string name = line.substr(line.rfind(' ') + 1);
      names.insert(name.substr(0, name.find('@')));
   }
   return names;
}

// The entries of a file's dynamic section with a tag: "[text]".
Names DynamicEntries(const char *file, const std::string &tag)
{
   Names entries;
   for (const std::string &line : Output(std::string(READELF_PROGRAM) + " -d -W " + file)) {
      if (line.find('(' + tag + ')') != std::string::npos) {
         const size_t open = line.find('[');
         entries.insert(open != std::string::npos ? line.substr(open + 1, line.find(']') - open - 1) : "");
      }
   }
   return entries;
}

// The interface as its documentation lists it.
Names PlatformInterface()
{
   Names names = {"Nevra_ParamListCreate",
                  "Nevra_ParamListCreateAndAllocateParams",
                  "Nevra_ParamListAddInt",
                  "Nevra_ParamListAddString",
                  "Nevra_ParamListRemoveLastParam",
                  "Nevra_ParamListDestroy",
                  "Nevra_ParamListUsedCount",
                  "Nevra_ParamListGetInt64",
                  "Nevra_ParamListGetInt32",
                  "Nevra_ParamListGetUInt32",
                  "Nevra_ParamListGetString",
                  "Nevra_ParamListGetParam",
                  "Nevra_ParamGetInt",
                  "Nevra_Get",
                  "Nevra_Set",
                  "Nevra_GetInstanceList",
                  "Nevra_GetInstanceListAlloc",
                  "Nevra_GetInstanceListAllocHint",
                  "Nevra_UseCache",
                  "Nevra_CheckSig",
                  "Warning",
                  "Str_Strcpy"};
#define NODE_NAME(node, ...) names.insert("NEVRA_NODE_" #node);
   NEVRA_NODES(NODE_NAME)
#undef NODE_NAME
   return names;
}

Names InBoth(const Names &one, const Names &other)
{
   Names both;
   std::set_intersection(one.begin(), one.end(), other.begin(), other.end(), std::inserter(both, both.end()));
   return both;
}

TEST(LibraryInterface, ExportsThePlatformInterfaceAndNothingElse)
{
   EXPECT_EQ(DynamicSymbols(NEVRA_LIBRARY, true), PlatformInterface());
}

TEST(LibraryInterface, IsDeclaredInFullByItsHeader)
{
   std::string text;
   for (const std::string &line : Output("cat " NEVRA_HEADER)) {
      text += line + '\n';
   }
   text = std::regex_replace(text, std::regex(R"(/\*[^*]*\*+([^/*][^*]*\*+)*/)"), " ");
   Names declared;
   const std::regex name(R"(\b(Nevra_\w+|Warning|Str_Strcpy)\s*\(|\b(NEVRA_NODE_\w+)\s*;)");
   for (std::sregex_iterator match(text.begin(), text.end(), name), end; match != end; ++match) {
      declared.insert((*match)[1].matched ? (*match)[1] : (*match)[2]);
   }
   EXPECT_EQ(declared, PlatformInterface());
}

TEST(LibraryInterface, GoesByItsVersionedName)
{
   EXPECT_EQ(DynamicEntries(NEVRA_LIBRARY, "SONAME"), Names{"libnevra.so.1"});
   EXPECT_EQ(DynamicEntries(SCRIPTED_LIBRARY, "SONAME"), Names{"libnevra.so.1"});
}

TEST(LibraryInterface, BindsItsSymbolsDynamically)
{
   EXPECT_EQ(DynamicEntries(NEVRA_LIBRARY, "SYMBOLIC"), Names());
   for (const std::string &line : Output(std::string(READELF_PROGRAM) + " -d -W " NEVRA_LIBRARY)) {
      EXPECT_EQ(line.find("SYMBOLIC"), std::string::npos) << line;
   }
}

TEST(ScriptedLibrary, ExportsThePlatformInterfaceAndTheClock)
{
   Names expected = PlatformInterface();
   expected.insert({"time", "sleep"});
   EXPECT_EQ(DynamicSymbols(SCRIPTED_LIBRARY, true), expected);
}

TEST(HostmemLinkage, TakesThePlatformFromALibrary)
{
   EXPECT_EQ(DynamicEntries(HOSTMEM, "NEEDED").count("libnevra.so.1"), 1U);
   EXPECT_EQ(DynamicEntries(HOSTMEM, "RPATH"), Names());
   EXPECT_EQ(DynamicEntries(HOSTMEM, "RUNPATH"), Names{"$ORIGIN/../lib"});
}

TEST(HostmemLinkage, NeedsNoOtherLibraryThanTheLanguages)
{
   const Names allowed = {"libnevra.so.1",  "libc.so.6",     "libm.so.6",
                          "libstdc++.so.6", "libgcc_s.so.1", "ld-linux-x86-64.so.2",
                          "libasan.so.8",   "libubsan.so.1", "libgcov.so.1"};
   const Names needed = DynamicEntries(HOSTMEM, "NEEDED");
   EXPECT_EQ(InBoth(needed, allowed), needed);
}

TEST(HostmemLinkage, CallsNoOtherPlatformOperation)
{
   const Names interface = PlatformInterface();
   unsigned operations = 0;
   for (const std::string &name : DynamicSymbols(HOSTMEM, false)) {
      const bool isPlatforms = name.starts_with("Nevra_") || name.starts_with("NEVRA_") ||
                               name == "Warning" || name.starts_with("Str_");
      if (isPlatforms) {
         EXPECT_EQ(interface.count(name), 1U) << name;
         operations++;
      }
      EXPECT_EQ(name.find("5nevra"), std::string::npos) << name; // nothing of the library's inside
      EXPECT_NE(name, "dlopen");
      EXPECT_NE(name, "dlsym");
   }
   EXPECT_GE(operations, 10U);
}

// A node identifier may be copied into hostmem, but no operation is defined there.
TEST(HostmemLinkage, HasNoPlatformOperationOfItsOwn)
{
   for (const std::string &line : Output(std::string(NM_PROGRAM) + " " HOSTMEM)) {
      const std::string name = line.substr(line.rfind(' ') + 1);
      if (name.starts_with("Nevra_") || name == "Warning" || name.starts_with("Str_Strcpy")) {
         EXPECT_NE(line.find(" U "), std::string::npos) << line;
      }
   }
}

} // namespace

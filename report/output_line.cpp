#include "report/output_line.h"

#include <cstdio>
#include <utility>

void OutputLine::Grow(size_t bytes)
{
   const size_t larger = (length + bytes + kSlack) * 2;
   std::unique_ptr<char[]> grown(new char[larger]);
   if (length > 0) {
      std::memcpy(grown.get(), storage.get(), length);
   }
   storage = std::move(grown);
   capacity = larger;
}

void OutputLine::Write()
{
   Append('\n');
   std::fwrite(storage.get(), 1, length, stdout);
}

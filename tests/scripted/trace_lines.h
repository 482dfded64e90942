// The usual sequences of trace lines, to put an expected trace together.
#ifndef TESTS_SCRIPTED_TRACE_LINES_H
#define TESTS_SCRIPTED_TRACE_LINES_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "nevra/nevra.h"

namespace scripted {

using TraceLines = std::vector<std::string>;

inline TraceLines &operator+=(TraceLines &lines, const TraceLines &more)
{
   lines.insert(lines.end(), more.begin(), more.end());
   return lines;
}

inline TraceLines operator+(TraceLines lines, const TraceLines &more)
{
   return lines += more;
}

inline std::string StatusInTrace(NevraStatus status)
{
   char text[16];
   std::snprintf(text, sizeof text, status == 0 ? "%u" : "%#x", status);
   return text;
}

// A read keyed by one integer: create with room for two, add, get, remove, destroy. `list` is the number by
// which the parameter list goes: 1 + the number of lists alive.
inline TraceLines OneKeyRead(const std::string &node, int64_t key, size_t recordSize, unsigned list = 1,
                             NevraStatus status = 0)
{
   const std::string name = '#' + std::to_string(list);
   const std::string keyText = std::to_string(key);
   return {"Nevra_ParamListCreate(1, 2) = " + name,
           "Nevra_ParamListAddInt(" + name + ", " + keyText + ") = 0",
           "Nevra_Get(" + node + ", " + name + " [" + keyText + "], " + std::to_string(recordSize) +
              ") = " + StatusInTrace(status),
           "Nevra_ParamListRemoveLastParam(" + name + ") = 0", "Nevra_ParamListDestroy(" + name + ')'};
}

// A listing of a group's children, into list number `list` + 1, or failing.
inline TraceLines ChildListing(int64_t groupID, const std::vector<int64_t> &childIDs, unsigned list = 1,
                               NevraStatus status = 0)
{
   const std::string name = '#' + std::to_string(list);
   const std::string keyText = std::to_string(groupID);
   std::string result = StatusInTrace(status);
   if (status == 0) {
      result += " #" + std::to_string(list + 1) + " [";
      for (size_t i = 0; i < childIDs.size(); i++) {
         result += (i > 0 ? ", " : "") + std::to_string(childIDs[i]);
      }
      result += ']';
   }
   return {
      "Nevra_ParamListCreate(1, 2) = " + name, "Nevra_ParamListAddInt(" + name + ", " + keyText + ") = 0",
      "Nevra_GetInstanceListAlloc(sched_groups_members_groups, " + name + " [" + keyText + "]) = " + result,
      "Nevra_ParamListRemoveLastParam(" + name + ") = 0", "Nevra_ParamListDestroy(" + name + ')'};
}

} // namespace scripted

#endif

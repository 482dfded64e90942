#include "frontend/usage.h"

#include <cstdio>

// NOLINTNEXTLINE(readability-function-size): one text
void PrintUsage(const char *program)
{
   std::printf(R"(Usage: %s [-hf] [-c <cacheFile>] -r <reportType> [report specific options]
   -h, --help                Show this message
   -f, --force               Continue even if version check fails
   -c, --cache <cacheFile>   Use Nevra cache file

   Supported report types:
      group-stats
      vm-stats
      uw-stats
      buddy-stats
      pshare-stats
      pshareHint-stats
      swap-stats
      comp-stats
      lpool-stats
      heap-stats
      guest-stats
      zip-stats
      lpage-stats
      asyncremap-stats
      pmem-regionstore-stats
      pmem-region-stats
      pmem-extent-stats
      pmem-region-numa-stats
      dcpmm-stats

   Options for all reports:
      -v, --verbose             Describe report header labels
      -s  --cSelect <mask>      Column selection filter
      -q  --csvMode             Display output as CSV, not as table
      Note 1: The column selection must be a string comprising of a ':' separated list of column names.

   'group-stats' report options
      -g, --gid <groupID>       Start scheduler group ID
      -l, --level <# levels>    Levels of hierarchy to display
      -u, --unit <unit type>    Display unit
      -i, --iFilter <mask>      Inclusion filter
      -e, --eFilter <mask>      Exclusion filter
      -t, --tags                Display a tag summary
      Note 1: Unit type must be one of the following: gb, mb, kb, pg.
      Note 2: A filter mask must be a string comprising of a ':' separated list of group flags.
      Note 3: Supported group flags:
                 pre            Predefined group
                 lf             Leaf group
                 vm             VM
                 uw             User world
                 sys            System world
                 tw             Test world
                 pr             Protected group
                 sd             Self-destruct group
                 np             Non-presistent group
                 ke             Kernel memory group
                 ug             User created group
                 co             Container group
                 sc             Sub-container group
                 vmm            VMM Sub-container group
                 usr            UW Sub-container group

   'vm-stats' report options
      -g, --gid <groupID>       Start scheduler group ID
      -l, --level <# levels>    Levels of hierarchy to display
      -u, --unit <unit type>    Display unit
      Note 1: Unit type must be one of the following: gb, mb, kb, pg.
      -x                        Display extra columns

   'uw-stats' report options
      -g, --gid <groupID>       Start scheduler group ID
      -l, --level <# levels>    Levels of hierarchy to display
      -u, --unit <unit type>    Display unit
      -i, --iFilter <mask>      Inclusion filter
      -e, --eFilter <mask>      Exclusion filter
      Note 1: Unit type must be one of the following: gb, mb, kb, pg.
      Note 2: A filter mask must be a string comprising of a ':' separated list of UW types.
      Note 3: Supported UW types:
                 uw             Stand-alone UW
                 vm             VM-based UW

   'pshare-stats' report options
      -u, --unit <unit type>    Display unit
      Note 1: Unit type must be one of the following: gb, mb, kb, pg.

   'pshareHint-stats' report options
      -u, --unit <unit type>    Display unit
      Note 1: Unit type must be one of the following: gb, mb, kb, pg.

   'swap-stats' report options
      -g, --gid <groupID>       Start scheduler group ID
      -l, --level <# levels>    Levels of hierarchy to display
      -u, --unit <unit type>    Display unit
      Note 1: Unit type must be one of the following: gb, mb, kb, pg.

   'comp-stats' report options
      -u, --unit <unit type>    Display unit
      Note 1: Unit type must be one of the following: gb, mb, kb, pg.

   'lpool-stats' report options
       none

   'heap-stats' report options
      -u, --unit <unit type>    Display unit {b,*kb,mb,gb,pg}
      Note 1: Unit type must be one of the following: gb, mb, kb, pg.

   'guest-stats' report options
      -g, --gid <groupID>       Start scheduler group ID
      -l, --level <# levels>    Levels of hierarchy to display
      -u, --unit <unit type>    Display unit
      Note 1: Unit type must be one of the following: gb, mb, kb, pg.

   'zip-stats' report options
      -g, --gid <groupID>       Start scheduler group ID
      -l, --level <# levels>    Levels of hierarchy to display
      -u, --unit <unit type>    Display unit
      Note 1: Unit type must be one of the following: gb, mb, kb, pg.

   'lpage-stats' report options
      -g, --gid <groupID>       Start scheduler group ID
      -l, --level <# levels>    Levels of hierarchy to display
      -u, --unit <unit type>    Display unit
      Note 1: Unit type must be one of the following: gb, mb, kb, pg.

   'asyncremap-stats' report options
      -g, --gid <groupID>       Start scheduler group ID
      -u, --unit <unit type>    Display unit
      Note 1: Unit type must be one of the following: gb, mb, kb, pg.

   'pmem-regionstore-stats'
      -u, --unit <unit type>    Display unit

   'pmem-region-stats'
      -u, --unit <unit type>    Display unit

   'pmem-extent-stats'
      -u, --unit <unit type>    Display unit

   'pmem-region-numa-stats'
      -u, --unit <unit type>    Display unit

   'dcpmm-stats' report options
      -t, --time                Time to Sleep in Seconds.
      -i, --iterations          Number of Iterations to run.
)",
               program);
}

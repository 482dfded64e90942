#include "report/report_options.h"

#include <cstdlib>

NevraStatus ParseReportOptions(const ReportArguments &arguments, const char *shortOptions,
                               const option *longOptions, ReportOptions *options)
{
   options->output = arguments.outputs.table;
   int letter;
   while ((letter = getopt_long(arguments.argc, arguments.argv, shortOptions, longOptions, nullptr)) != -1) {
      switch (letter) {
      case 'g': {
         const int32_t groupID = static_cast<int32_t>(std::strtol(optarg, nullptr, 10));
         options->startGroupID = static_cast<uint64_t>(static_cast<int64_t>(groupID));
         break;
      }
      case 'l': {
         const NevraStatus status = ParseLevel(optarg, &options->levels);
         if (status != NEVRA_OK) {
            return status;
         }
         break;
      }
      case 'u':
         options->unitText = optarg;
         break;
      case 'i':
         options->inclusionText = optarg;
         break;
      case 'e':
         options->exclusionText = optarg;
         break;
      case 's':
         options->selection = optarg;
         break;
      case 'v':
         options->verbose = true;
         break;
      case 'q':
         options->csv = true;
         options->output = arguments.outputs.csv;
         break;
      case 't':
         options->tags = true;
         break;
      case 'x':
         options->extra = true;
         break;
      default:
         break;
      }
   }
   return NEVRA_OK;
}

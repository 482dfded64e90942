// What clients and administrators write: an Accept header, and the text of a web configuration.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "exporter/accept_header.h"
#include "exporter/web_config.h"
#include "fuzz/fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
   const std::string_view text(reinterpret_cast<const char *>(data), size);
   const MetricFormat format = exporter::ChooseFormat(text);
   // A range that comes in no header is one more than there was: what is named by itself is got.
   const std::string named =
      "application/openmetrics-text;version=1.0.0;q=1,text/plain;version=0.0.4;q=0," + std::string(text);
   Require(exporter::ChooseFormat(named) == MetricFormat::OpenMetrics,
           "what comes first and is closest decides");
   Require(format == exporter::ChooseFormat(std::string(text) + ","), "an empty range changes the format");

   exporter::WebConfig config;
   std::string problem;
   if (!exporter::ReadWebConfig(std::string(text), "/nowhere", &config, &problem)) {
      Require(!problem.empty(), "a configuration is refused without a reason");
   } else {
      Require(config.certificate.empty() == config.key.empty(), "a certificate without its key");
   }
   return 0;
}

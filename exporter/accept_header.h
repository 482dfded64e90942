// Which text a client gets for the Accept header that it sends.
#ifndef EXPORTER_ACCEPT_HEADER_H
#define EXPORTER_ACCEPT_HEADER_H

#include <string_view>

#include "export/metric_text.h"

namespace exporter {

// The format that the header rates higher. Of two with the same rating OpenMetrics is taken if the header
// names it, else the text format, which everybody reads. So does a client that takes neither, or sends what
// is no such header.
MetricFormat ChooseFormat(std::string_view accept);

} // namespace exporter

#endif

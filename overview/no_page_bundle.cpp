// For builds without the tools that bundle the page.
#include "overview/page_bundle.h"

namespace overview {

const std::string_view kPageHead;
const std::string_view kPageTail;

} // namespace overview

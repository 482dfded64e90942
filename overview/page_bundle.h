// The page without its data, as the build made it.
#ifndef OVERVIEW_PAGE_BUNDLE_H
#define OVERVIEW_PAGE_BUNDLE_H

#include <string_view>

namespace overview {

// The text before the data, and that after them. Both are empty in a build without the page.
extern const std::string_view kPageHead;
extern const std::string_view kPageTail;

} // namespace overview

#endif

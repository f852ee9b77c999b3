#pragma once

#include <string>
#include <string_view>

namespace ostreljet::report {

// Text made safe for HTML and XML content and attribute values: & < > " and ' become references.
std::string escapeHtml(std::string_view text);

} // namespace ostreljet::report

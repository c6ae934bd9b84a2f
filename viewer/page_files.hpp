// The files of viewer/page/ as they are built into kavun.
#pragma once

#include <string_view>

namespace orvel {

extern const std::string_view page_html; // with places named "{{...}}"
extern const std::string_view page_css;
extern const std::string_view page_js; // all programs, joined

} // namespace orvel

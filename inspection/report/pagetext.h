// The page's text without its data. The build makes pagetext.cpp from the files in page/.
#pragma once

#include <string_view>

namespace inspection::report {

std::string_view PageBeforeData();
std::string_view PageAfterData();

}  // namespace inspection::report

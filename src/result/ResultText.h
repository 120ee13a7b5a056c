// The text of a result as seen by the application.
#pragma once

#include <string>
#include <string_view>

#include "result/TWork.h"

namespace VekApi {

// Converts a UTF-8 text to code page 950, into the empty `text`. False if the work stopped.
bool ConvertText(std::string_view utf8, std::string& text, TWork& work);

}  // namespace VekApi

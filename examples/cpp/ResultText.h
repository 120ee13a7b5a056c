#pragma once

#include <string>

#include "vekapi/VekTaskResult.h"

// All tables of a result, in UTF-8, with the columns' display texts as headings.
std::string ResultText(const VekApi::VekTaskResult& result);

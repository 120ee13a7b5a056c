// Displays the tables of a result, and the server's texts.
#pragma once

#include <string_view>

#include "vekapi/VekSessionC.h"
#include "vekterm/Output.h"

namespace VekTerm {

// Shows every table of a result; true when one of them is called "error".
bool ShowTables(const CVekTaskResult& result, Output& output);

// "fill\x01OrdNo=A00001\x01Left=0" in UTF-8: values with a name become fields, and the text is readable.
Note ReportNote(std::string_view bytes);

// The parts separated by 0x01, in UTF-8.
std::vector<std::string> Parts(std::string_view bytes);

}  // namespace VekTerm

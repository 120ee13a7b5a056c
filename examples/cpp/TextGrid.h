#pragma once

#include <string>
#include <vector>

// Formats rows of UTF-8 texts as aligned columns. The first row is the heading, with a rule below it. A
// column with only numbers below the heading is right-aligned. Rows may have different lengths.
std::string FormatGrid(const std::vector<std::vector<std::string>>& rows);

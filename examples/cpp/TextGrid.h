#pragma once

#include <string>
#include <vector>

// Rows of UTF-8 texts as lines whose columns stand below each other. The first row is the heading and gets a
// rule below it. A column whose texts below the heading are all numbers stands to the right. Rows may be of
// different lengths.
std::string FormatGrid(const std::vector<std::vector<std::string>>& rows);

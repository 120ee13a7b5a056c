#pragma once

#include <cstddef>
#include <string_view>

// Columns that a UTF-8 text takes in a terminal: two for Chinese and other wide characters, none for
// combining marks, one for each of the others and for every byte that is not UTF-8.
std::size_t TextWidth(std::string_view utf8);

#pragma once

#include <cstddef>
#include <string_view>

// Number of terminal columns of a UTF-8 text: two for Chinese and other wide characters, none for combining
// marks, one for every other character and every byte that is not UTF-8.
std::size_t TextWidth(std::string_view utf8);

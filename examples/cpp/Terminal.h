#pragma once

#include <string>
#include <string_view>

// Texts of the server, in code page 950, as UTF-8 for the terminal. What has no meaning in that code page
// becomes
// "?"; control bytes become blanks, so that no text of a server steers the terminal.
std::string ToUtf8(std::string_view cp950);

// Makes the terminal show UTF-8, where it has to be told.
void PrepareTerminal();

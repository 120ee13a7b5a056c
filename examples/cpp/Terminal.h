#pragma once

#include <string>
#include <string_view>

// Converts the server's texts from code page 950 to UTF-8 for the terminal. Invalid bytes become "?"; control
// bytes become blanks, so that a server's text cannot control the terminal.
std::string ToUtf8(std::string_view cp950);

// Switches the terminal to UTF-8 where necessary.
void PrepareTerminal();

// Makes the standard input yield its bytes unchanged.
void PrepareInput();

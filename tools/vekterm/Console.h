// The terminal that the program runs in.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace VekTerm::Console {

bool InputIsTerminal();
bool OutputIsTerminal();

// UTF-8 to the standard output or error; flushed.
void Write(std::string_view text);
void WriteError(std::string_view text);

// What standard input has, as it comes; 0 at its end.
std::size_t ReadInput(char* bytes, std::size_t room);

// Asks on the terminal, whatever standard input is, and does not show what is typed. Nothing when there is no
// terminal, or at its end or an interruption.
std::optional<std::string> AskSecret(std::string_view prompt);

// From now on Ctrl-C, a closed window and the system's wish that the program ends are kept here. On Windows
// a closed window waits until the program has ended.
void WatchSignals();
// Ctrl-C since the last call.
bool TakeInterrupt();
// Whether the program is to end. Nothing takes this back.
bool MustEnd();

}  // namespace VekTerm::Console

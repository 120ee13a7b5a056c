// The terminal of the program.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace VekTerm::Console {

// An argument of the command line in UTF-8. Windows passes arguments in the user's code page.
std::string ArgumentText(const std::string& argument);

bool InputIsTerminal();
bool OutputIsTerminal();
// The width of the output's terminal; 0 if it is none.
std::size_t OutputColumns();

// UTF-8 to the standard output or error; flushed.
void Write(std::string_view text);
void WriteError(std::string_view text);
// Whether the standard output could not be written. The program must end then.
bool OutputLost();

// Input as it arrives; 0 at its end, or if it cannot be read.
std::size_t ReadInput(char* bytes, std::size_t room);
// Whether it could not be read.
bool InputLost();

// Asks on the terminal, even if standard input is redirected, without echo. Nothing if there is no terminal,
// at the end of its input, or after an interruption.
std::optional<std::string> AskSecret(std::string_view prompt);

// From now on Ctrl-C, a closed window and the system's request to end are recorded here. On Windows a closed
// window waits until the program has ended.
void WatchSignals();
// Ctrl-C since the last call.
bool TakeInterrupt();
// Whether the program must end. Stays true once set.
bool MustEnd();

}  // namespace VekTerm::Console

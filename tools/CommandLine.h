// For command lines.
#pragma once

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>

// Of all options that `app` has so far an empty value is an error. Such as that of a shell's variable that is
// not set, it would pass for 0, or for no file.
inline void RefuseEmpty(CLI::App& app) {
  for (CLI::Option* const option : app.get_options()) {
    if (option->get_type_size() == 0) continue;  // a flag
    option->check(
        [](const std::string& value) { return std::string(value.empty() ? "the value is missing" : ""); });
  }
}

// Prints the help that was asked for, or what is wrong. Returns the exit code: `unwritten` for a help that
// could not be written.
inline int TellParsed(const CLI::App& app, const CLI::ParseError& error, int unwritten) {
  errno = 0;
  const int code = app.exit(error);
  if (std::cout.flush()) return code;
  std::cerr << app.get_name() << ": output could not be written: " << std::strerror(errno) << '\n';
  return unwritten;
}

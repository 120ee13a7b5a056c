// For command lines.
#pragma once

#include <CLI/CLI.hpp>
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

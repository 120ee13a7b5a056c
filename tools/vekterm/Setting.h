// Where to connect, as users write it.
#pragma once

#include <optional>
#include <string>

namespace VekTerm {

// As the library takes it: a kind may be written without the colon before it.
std::string SettingOf(const std::string& server);

struct TcpPlace {
  std::string host;
  unsigned short port = 0;
};

// Nothing when the setting is not of TCP.
std::optional<std::string> TcpParameters(const std::string& server);

// Throws Failure, which names what is wrong.
TcpPlace TcpPlaceOf(const std::string& parameters);

}  // namespace VekTerm

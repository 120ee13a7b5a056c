// Server settings as users write them.
#pragma once

#include <optional>
#include <string>

namespace VekTerm {

// In the form the library accepts: users may omit the colon before a kind.
std::string SettingOf(const std::string& server);

struct TcpPlace {
  std::string host;
  unsigned short port = 0;
};

// Nothing if the setting is not for TCP.
std::optional<std::string> TcpParameters(const std::string& server);

// Throws Failure, which says what is wrong.
TcpPlace TcpPlaceOf(const std::string& parameters);

}  // namespace VekTerm

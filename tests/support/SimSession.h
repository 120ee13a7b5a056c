// Calls of a client of the simulated server.
#pragma once

#include <string>

#include "vekapi/VekClient.h"

namespace vektest {

template <class Listener>
std::string Setting(const Listener& listener) {
  return "127.0.0.1:" + std::to_string(listener.Port());
}

inline void Connect(VekApi::VekClient& client, const std::string& setting,
                    const std::string& password = "secret") {
  client.Connect(setting, "Test", "1.2.3.4", "trader", "9800001", password);
}

inline bool Send(VekApi::VekClient& client, int code, const std::string& text) {
  std::string request = "....." + text;
  return client.SendVekRequest(code, request.data(), static_cast<unsigned>(request.size()));
}

}  // namespace vektest

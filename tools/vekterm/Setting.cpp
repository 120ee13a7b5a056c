#include "vekterm/Setting.h"

#include "platform/transport/TCPSetting.h"
#include "vekterm/Client.h"

namespace VekTerm {
namespace {

constexpr std::string_view kTcp = ":TCPClient:";

}  // namespace

std::string SettingOf(const std::string& server) {
  for (const std::string_view kind : {"TCPClient:", "ShMemCli:"})
    if (server.starts_with(kind)) return ':' + server;
  return server;
}

std::optional<std::string> TcpParameters(const std::string& server) {
  const std::string setting = SettingOf(server);
  if (!setting.starts_with(':')) return setting;
  if (setting.starts_with(kTcp)) return setting.substr(kTcp.size());
  return {};
}

TcpPlace TcpPlaceOf(const std::string& parameters) {
  std::string refused;
  const auto setting = Dova::TTCPSetting::Parse(parameters, &refused);
  if (setting) return {setting->host, setting->port};
  throw Failure(refused.empty() ? "it has no HOST:PORT" : "\"" + refused + "\" is not understood");
}

}  // namespace VekTerm

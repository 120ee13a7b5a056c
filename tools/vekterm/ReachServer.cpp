#include <fmt/core.h>
#include <fmt/format.h>

#include <algorithm>

#include "vekdump/Text.h"
#include "vekterm/Client.h"
#include "vekterm/Network.h"
#include "vekterm/Setting.h"
#include "vekterm/Steps.h"

namespace VekTerm {
namespace {

constexpr std::chrono::milliseconds kAddressLimit{5000};

TcpPlace PlaceOf(const std::string& parameters) {
  try {
    return TcpPlaceOf(parameters);
  } catch (const Failure& failure) {
    throw Fault{kBadSetting, failure.what(),
                "Write the server as HOST:PORT, such as gw1:9000 or [::1]:9000."};
  }
}

std::vector<std::string> AddressesOf(const std::string& host) {
  const Lookup found = LookUp(host);
  if (!found.addresses.empty()) return found.addresses;
  throw Fault{kNoName, fmt::format("\"{}\" is not known: {}", host, found.error),
              "The name is misspelt, or this machine's name service does not know it. Try the address as a "
              "number."};
}

const char* AdviceFor(bool refused) {
  return refused
             ? "The machine answers, but nothing listens on this port: the port is wrong, or the server does "
               "not "
               "run. A firewall may also refuse."
             : "Nothing answers at all: the address is wrong, the machine is off, or a firewall drops the "
               "packets. Ask who runs the network for this port.";
}

}  // namespace

void Steps::Tell(const char* name, bool good, std::int64_t ns, const std::string& text, EExit code) {
  const std::string time = ns == 0 ? "" : VekDump::Duration(ns);
  output_.Tell({"step",
                fmt::format("{} {:<16}{:>12}  {}", good ? "✓" : "✗", name, time, text),
                {{"step", name}, {"good", good}, {"ns", ns}, {"text", text}, {"exit", std::int64_t{code}}},
                {}});
}

// A failing address is reported; another may work.
std::string ReachServer(const Options& options, Steps& steps) {
  const auto parameters = TcpParameters(options.servers.front());
  if (!parameters) return {};
  TcpPlace place;
  std::string reached;
  std::vector<std::string> addresses;
  steps.Do("setting", [&] {
    place = PlaceOf(*parameters);
    return fmt::format("host {}, port {}", place.host, place.port);
  });
  steps.Do("look-up", [&] {
    addresses = AddressesOf(place.host);
    return fmt::format("{}", fmt::join(addresses, ", "));
  });
  const std::chrono::milliseconds limit = std::chrono::seconds(options.patienceSeconds);
  bool refused = false;
  for (const std::string& address : addresses) {
    try {
      steps.Do("address", [&] {
        const Attempt attempt = Connect(address, place.port, std::min(limit, kAddressLimit));
        refused = refused || attempt.refused;
        const std::string why = attempt.timedOut ? "no answer" : attempt.error;
        if (!attempt.made) throw Fault{kNoAddress, address + ": " + why, {}};
        reached = address;
        return address + " connected";
      });
    } catch (const Fault&) {
      continue;
    }
  }
  if (reached.empty()) throw Fault{kNoAddress, "no address can be connected", AdviceFor(refused)};
  return reached;
}

}  // namespace VekTerm

// What the other end of a TestMes does next, as the bytes say.
#pragma once

#include <string>

#include "fuzz/Input.h"
#include "support/TestMes.h"
#include "support/Wire.h"

namespace vekfuzz {

inline const char* SettingOf(Input& input) {
  constexpr const char* kSettings[] = {":TestMes:lend",   ":TestMes:ok", ":TestMes:lend",
                                       ":TestMes:noopen", ":Nothing:",   ""};
  return kSettings[input.Below(6)];
}

// Well-formed packets most of the time.
inline std::string PacketsOf(Input& input) {
  using namespace vektest;
  const bool big = input.Below(4) == 0;
  switch (input.Below(9)) {
    case 0:
      return ConnectResult(big, {}, input.Below(8) == 0 ? '\1' : '\0');
    case 1:
      return ConnectResult(false, {}) + SgnResult();
    case 2:
      return SgnResult(
          "2\x01"
          "500",
          big);
    case 3:
      return Message(129, "w1 done\nw2 done\nw3", big);
    case 4:
      return TaskResult("w" + std::to_string(input.Below(9)), "\x02T\n\x03N\n1\n", big);
    case 5:
      return Message(130, "report", big) + Message(131, "second", big);
    case 6:
      return SgnReply(input.Below(3), "reply", big) + ChgPassResult("id", "done");
    case 7:
      return Pack(static_cast<int>(input.Byte()) * 16, "body") + Pack(1, {});
    default:
      return input.Text();
  }
}

// Everything sent is packets, one behind the other. Not from inside an event.
inline void ServerStep(Input& input) {
  const auto mes = vektest::TestMes::Last();
  if (!mes) return;
  std::size_t whole = 0;
  const std::string sent = mes->TakeSent();
  for (const auto& packet : vektest::Split(sent)) whole += packet.bytes.size();
  Check(whole == sent.size(), "only whole packets are sent");
  switch (input.Below(8)) {
    case 0:
      return mes->Ready();
    case 1:
      return mes->Fail("refused");
    case 2:
      return mes->Break("gone");
    case 3:
      mes->refuseSends = input.Below(2) != 0;
      return;
    default:
      return mes->Deliver(PacketsOf(input));
  }
}

}  // namespace vekfuzz

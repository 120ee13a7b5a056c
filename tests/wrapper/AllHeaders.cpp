// Uses every header over the flat functions, for compilers with which the tests themselves are not built.
#include "vekapi/Client.hpp"
#include "vekapi/Detached.hpp"
#include "vekapi/Fate.hpp"
#include "vekapi/FlowControl.hpp"
#include "vekapi/IndexRange.hpp"
#include "vekapi/Milliseconds.hpp"
#include "vekapi/Result.hpp"
#include "vekapi/Session.hpp"
#include "vekapi/Text.hpp"

#if defined(_MSC_VER) && !defined(_MSC_EXTENSIONS)
#error "not what MSVC defines"
#endif

namespace vektest {

// Templates are checked where they are used.
VekApi::VekDetached UseAllHeaders(VekApi::VekSession& session, VekApi::VekGate& gate,
                                  VekApi::VekSender& sender);
VekApi::VekDetached UseAllHeaders(VekApi::VekSession& session, VekApi::VekGate& gate,
                                  VekApi::VekSender& sender) {
  VekApi::VekClientEvents events;
  events.onAck = [&](int code, std::string_view text) { sender.Acknowledge(code, text); };
  events.onResult = [](VekApi::VekResultView result) { static_cast<void>(result[0][0]["Prod"]); };
  VekApi::VekFlatClient client(std::move(events), VekApi::VekDelivery::Loop);
  const VekApi::VekFate fate = co_await session.Query("orders", std::chrono::seconds(3));
  const std::string name = "Price";
  for (VekApi::VekRecord record : fate.result["orders"]) {
    while (!co_await gate.NextTurn()) continue;
    for (const auto& [column, text] : record) {
      if (column.Name() == name) client.Send(cvmc_RequestAck, record[name]);
    }
  }
}

}  // namespace vektest

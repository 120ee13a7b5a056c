// A client without a session: queries sent directly, orders through a flow-controlled sender.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "chaos/Ledger.h"
#include "vekapi/VekClient.h"
#include "vekapi/VekFlowCtrlSender.h"

namespace Chaos {

class TPlain final : private VekApi::VekClientHandler {
 public:
  // Its work ids begin with `name`.
  TPlain(std::string name, std::string setting);
  ~TPlain() override;

  // Connects if necessary, sends some queries and orders, and waits for the answers until the link ends, or
  // does not answer soon: then it ends the link itself.
  void Turn();
  // The same on a link that is known to be good: the server sees everything.
  void LastTurn(TLedger& ledger);
  // Compares what it was told with what the server saw.
  void Judge(const std::vector<TSeen>& seen) const;

 private:
  struct TQuery {
    std::string id;
    int link;  // 0: it ended meanwhile
    bool taken;
  };

  bool Connect();
  void SendQuery(std::size_t padding);
  void SendOrder();
  bool IsUp();

  void OnVekConnectEvent(VekApi::VekClient& client, const std::string& reason) override;
  void OnVekApReadyEvent(VekApi::VekClient& client) override;
  void OnVekTaskResultEvent(VekApi::VekClient&, const VekApi::VekTaskResult&) override;
  void OnVekChgPassResultEvent(VekApi::VekClient&, const std::string&, const std::string&) override {}
  void OnVekRequestAckEvent(VekApi::VekClient&, int code, const std::string& text) override;
  void OnVekReportEvent(VekApi::VekClient&, const std::string&) override {}
  void OnVekClientDestroyEvent(VekApi::VekClient&) override {}
  void Answered(int count);

  const std::string name_, setting_;
  int turns_ = 0;
  std::vector<TQuery> queries_;
  std::vector<std::string> orders_;

  std::mutex mutex_;
  std::condition_variable changed_;
  int link_ = 0;  // counts the links that were ready
  bool up_ = false, over_ = false;
  int out_ = 0;           // answers that this link owes
  unsigned dropped_ = 0;  // orders that were held when a link ended

  VekApi::VekClient client_{*this};
  VekApi::VekFlowCtrlSender sender_{client_};
};

}  // namespace Chaos

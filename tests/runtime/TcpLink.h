// A TCP messenger, its recorded events, and the peer that it connects to.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "platform/transport/TMesRegs.h"
#include "support/MesRecorder.h"
#include "support/TcpPeer.h"

namespace vektest {

class TcpLink : public MesRecorder {
 public:
  explicit TcpLink(const std::string& parameters)
      : mes(Dova::TMesRegs::GetClientMesRegs().CreateMes("TCPClient:" + parameters)) {
    mes->SetEvHandler(this);
  }
  // Connected to that peer.
  explicit TcpLink(TestSupport::TTcpPeer& peer, const std::string& options = "")
      : TcpLink(At(peer) + options) {
    Open();
    peer.Accept();
    EXPECT_TRUE(WaitFor("ready"));
    Settle();  // an onEvent set from now on does not see this event
  }
  ~TcpLink() override {
    InContext([&] {
      mes->SetEvHandler(nullptr);
      mes->Close();
    });
  }

  static std::string At(const TestSupport::TTcpPeer& peer) {
    return "127.0.0.1:" + std::to_string(peer.Port());
  }

  void InContext(const std::function<void()>& action) {
    const Dova::TSyncScope inside(mes->SyncContext());
    action();
  }
  void Open() {
    InContext([&] { EXPECT_TRUE(mes->Open()); });
  }
  int Send(const std::string& bytes) { return mes->Send(bytes.data(), static_cast<int>(bytes.size())); }

  const Dstl::wise_ref<Dova::TMesBase> mes;
};

}  // namespace vektest

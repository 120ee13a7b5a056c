// A TCP messenger and its recorded events, for tests.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

#include "platform/transport/TMesRegs.h"

namespace TestSupport {

class TTcpLink : public Dova::TMesEvHandler {
 public:
  explicit TTcpLink(const std::string& parameters)
      : mes(Dova::TMesRegs::GetClientMesRegs().CreateMes("TCPClient:" + parameters)) {
    mes->SetEvHandler(this);
  }
  ~TTcpLink() override {
    InContext([&] {
      mes->SetEvHandler(nullptr);
      mes->Close();
    });
  }

  void InContext(const std::function<void()>& action) {
    const Dova::TSyncScope inside(mes->SyncContext());
    action();
  }
  void Open() {
    InContext([&] { opened = mes->Open(); });
  }

  int Send(const std::string& bytes) { return mes->Send(bytes.data(), static_cast<int>(bytes.size())); }

  // True once the recorded events contain the text; false after a long time.
  bool Tells(const std::string& text) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20),
                             [&] { return told_.find(text) != std::string::npos; });
  }
  std::string Told() {
    const std::lock_guard lock(mutex_);
    return told_;
  }

  void OnMesLinkReady(Dova::TMesBase*) override {
    if (onReady) onReady();
    Tell("ready;");
  }
  void OnMesLinkError(Dova::TMesBase*, const std::string& reason) override { Tell("error " + reason + ";"); }
  void OnMesLinkBroken(Dova::TMesBase*, const std::string& reason) override {
    Tell("broken " + reason + ";");
    if (onBroken) onBroken();
  }
  void OnMesRecvReady(Dova::TMesBase*) override {
    int count = 0;
    const char* bytes = mes->RecvInPlace(count);
    if (onReceived) onReceived(std::string(bytes, static_cast<std::size_t>(count)));
    Tell("received;");
  }

  const Dstl::wise_ref<Dova::TMesBase> mes;
  bool opened = false;
  std::function<void()> onReady;
  std::function<void()> onBroken;
  std::function<void(std::string)> onReceived;

 private:
  void Tell(const std::string& text) {
    const std::lock_guard lock(mutex_);
    told_ += text;
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::string told_;
};

}  // namespace TestSupport

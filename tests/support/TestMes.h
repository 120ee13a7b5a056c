// A messenger whose remote end is the test: it links, delivers and breaks on the test's thread, and records
// what was sent.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include "platform/transport/TMesBase.h"
#include "platform/transport/TMesRegs.h"

namespace vektest {

class TestMes : public Dova::TMesBase {
 public:
  // Kind "TestMes"; its parameter is "ok", "lend" (the same, lending its bytes) or "noopen" (Open fails).
  // Registered before main, because sessions copy the registry when the first one is opened.
  static bool Register() {
    Dova::TMesRegs::GetClientMesRegs().Register("TestMes",
                                                [] { return Dstl::wise_ref<Dova::TMesBase>(new TestMes); });
    return true;
  }

  // The messenger created last; null once it is closed.
  static Dstl::wise_ref<TestMes> Last() { return Dstl::wise_ref<TestMes>(last_); }

  bool SettingApply(const std::string& setting) override {
    if (setting != "ok" && setting != "lend" && setting != "noopen") return false;
    return TMesBase::SettingApply(setting);
  }
  bool Open() override {
    last_ = this;
    return GetSetting() != "noopen";
  }
  void Close() override {
    MarkClosed();
    if (last_ == this) last_ = nullptr;
  }
  std::size_t SendQueueBytes() const override { return queueBytes; }
  int Send(const char* bytes, int length) override {
    {
      const std::lock_guard lock(mutex_);
      if (refuseSends || static_cast<std::size_t>(length) > queueBytes) return 0;
      sent_.append(bytes, static_cast<std::size_t>(length));
      ++sends_;
    }
    if (onSend) onSend();
    return length;
  }
  int Recv(char* buffer, int size) override {
    const std::size_t count = waiting_.copy(buffer, static_cast<std::size_t>(size));
    waiting_.erase(0, count);
    return static_cast<int>(count);
  }
  char* RecvInPlace(int& count) override {
    if (GetSetting() != "lend") return nullptr;
    lent_.swap(waiting_);
    waiting_.clear();
    count = static_cast<int>(lent_.size());
    return lent_.data();
  }

  void Ready() {
    Raise([this](Dova::TMesEvHandler& handler) { handler.OnMesLinkReady(this); });
  }
  void Fail(const std::string& reason) {
    Raise([&](Dova::TMesEvHandler& handler) { handler.OnMesLinkError(this, reason); });
  }
  void Break(const std::string& reason) {
    Raise([&](Dova::TMesEvHandler& handler) { handler.OnMesLinkBroken(this, reason); });
  }
  void Deliver(const std::string& bytes) {
    waiting_ += bytes;
    const Dstl::wise_ref<TestMes> self(this);
    Raise([this](Dova::TMesEvHandler& handler) { handler.OnMesRecvReady(this); });
  }

  // What was sent since the last call.
  std::string TakeSent() {
    const std::lock_guard lock(mutex_);
    return std::exchange(sent_, {});
  }
  int Sends() const { return sends_; }

  bool refuseSends = false;
  std::size_t queueBytes = kSendQueueBytes;  // set before Ready
  // Called inside every accepted Send.
  std::function<void()> onSend;

 private:
  inline static TestMes* last_ = nullptr;

  std::mutex mutex_;
  std::string sent_;
  std::string waiting_;
  std::string lent_;
  int sends_ = 0;
};

inline const bool kTestMesRegistered = TestMes::Register();

}  // namespace vektest

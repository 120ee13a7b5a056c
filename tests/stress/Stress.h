// Clients that are used from everywhere at once, and what must hold then.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "vekapi/VekClient.h"

namespace Stress {

using TRandom = std::minstd_rand;

// A random number below `bound`, from the calling thread's own sequence.
unsigned Random(unsigned bound);
// The sequences of threads follow from this and from the order in which they first ask.
void SeedRandom(unsigned seed);

class TSlots;

// The handler of one client; lives longer than it, as an event that deleted its client is still on a stack.
class TWatched final : public VekApi::VekClientHandler {
 public:
  explicit TWatched(TSlots& slots) : slots_(slots), client_(std::make_unique<VekApi::VekClient>(*this)) {}

  VekApi::VekClient& Client() { return *client_; }

  // Each checks, when it returns, that no event of the link before is still running.
  void Connect(const std::string& setting);
  void Disconnect();
  void Delete();
  // `alone`: nobody connects it meanwhile.
  void Send(bool alone);
  void ChgPass();
  // In a forked child: nothing comes of it, and the client is deleted.
  void TryInherited(const std::string& setting);

  void OnVekConnectEvent(VekApi::VekClient& client, const std::string& reason) override;
  void OnVekApReadyEvent(VekApi::VekClient& client) override;
  void OnVekTaskResultEvent(VekApi::VekClient& client, const VekApi::VekTaskResult& result) override;
  void OnVekChgPassResultEvent(VekApi::VekClient&, const std::string&, const std::string&) override;
  void OnVekRequestAckEvent(VekApi::VekClient&, int code, const std::string& text) override;
  void OnVekReportEvent(VekApi::VekClient& client, const std::string& text) override;
  void OnVekClientDestroyEvent(VekApi::VekClient&) override;

 private:
  class TInside;
  class TOutside;

  TSlots& slots_;
  std::unique_ptr<VekApi::VekClient> client_;
  std::atomic<int> active_{0};       // events that run, and do not wait inside the library themselves
  std::atomic<bool> closed_{false};  // no event until the next Connect
  std::atomic<int> links_{0};
  std::atomic<int> connected_{0};  // the link whose Connect has returned
};

// The clients, each with what the application must see to itself: that one is not deleted while others use
// it, nor connected by two at once. Nobody waits: what cannot be done now is left.
class TSlots {
 public:
  TSlots(std::vector<std::string> settings);
  ~TSlots();

  // Something at random, on any client.
  void Act();
  // Holds every client that nobody is changing, for a forked child to try.
  std::vector<TWatched*> Hold();
  void LetGo(const std::vector<TWatched*>& held);

  // Counted without giving the threads an order that they would not have without the test.
  std::atomic<unsigned long> acts{0};
  std::atomic<unsigned long> events{0};
  std::atomic<int> running{0};  // events, those that wait included
  const std::vector<std::string> settings;

 private:
  struct TSlot {
    std::atomic<int> users{0};  // -1: is being replaced
    std::atomic<bool> connecting{false};
    TWatched* watched = nullptr;
  };

  static bool Share(TSlot& slot);
  static bool TakeAlone(TSlot& slot);
  void Change(TSlot& slot);
  void Replace(TSlot& slot);
  TWatched* Make();

  std::mutex mutex_;
  std::vector<std::unique_ptr<TWatched>> all_;
  std::vector<TSlot> slots_;
};

}  // namespace Stress

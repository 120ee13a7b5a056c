// Clients used from everywhere at once, and the conditions that must hold.
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
// The sequences of threads depend on this and on the order of their first calls.
void SeedRandom(unsigned seed);

class TSlots;

// The handler of one client; outlives it, because an event that deleted its client is still on a stack.
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
  // In a forked child: it has no effect, and the client is deleted.
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
  std::atomic<int> active_{0};       // running events that do not themselves wait inside the library
  std::atomic<bool> closed_{false};  // no event until the next Connect
  std::atomic<int> links_{0};
  std::atomic<int> connected_{0};  // the link whose Connect has returned
};

// The clients, each with the application's duties: none is deleted while others use it, nor connected by two
// at once. Nobody waits: an action that is impossible now is skipped.
class TSlots {
 public:
  TSlots(std::vector<std::string> settings);
  ~TSlots();

  // A random action on any client.
  void Act();
  // Reserves every client that nobody is changing, for use by a forked child.
  std::vector<TWatched*> Hold();
  void LetGo(const std::vector<TWatched*>& held);

  // Counted without imposing an order on the threads that they would not have without the test.
  std::atomic<unsigned long> acts{0};
  std::atomic<unsigned long> events{0};
  std::atomic<int> running{0};  // all events, including those that wait
  const std::vector<std::string> settings;

 private:
  struct TSlot {
    std::atomic<int> users{0};  // -1: being replaced
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

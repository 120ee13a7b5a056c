// A run of clients and senders whose callbacks run on the message loops of the application's threads.
#pragma once

#include <deque>

#include "simulation/World.h"
#include "vekapi/VekApiC.h"

namespace vektest {

class LoopWorld;

// One client from its creation to its end.
struct LoopLife {
  struct Call {
    int link;  // -1: a call that only ends links
    std::uint64_t begun, ended;
    bool told;
  };

  LoopWorld* world = nullptr;
  unsigned slot = 0;
  int number = 0;
  Task* owner = nullptr;
  CVekClient client{};
  CVekFlowCtrlSender sender{};
  CVekFlowCtrl gate{};
  bool hasSender = false;  // and a gate
  bool deleting = false, destroyed = false, orphaned = false;
  std::vector<Call> calls;
  std::uint64_t floor = 0;  // when the latest call began of which an event was told
  std::uint64_t lastChange = 0;
  int upLink = -1;
  int guessed = -1;  // the link that an error without memory was taken for
  std::vector<Task*> users, connecting, inEvent;
  std::vector<std::uint64_t> begun;  // of paced requests
  std::set<unsigned> came;
  unsigned tellsSent = 0, tellsRefused = 0;  // told by the sender
  std::uint64_t rateSince = 0;               // applies to requests begun since
  unsigned held = 0;                         // by the sender
  Ns heldSince = 0;
  int rated = -1;          // the link for which it was set
  Ns waitsSince = kNever;  // for the gate
};

class LoopWorld final : public World {
 public:
  using World::World;

  void Run() override;
  void OnPaced(const std::string& text, int link, bool trueAcks) override;

  void Told(LoopLife& life, const CVekClient& client, const std::string& line);
  void OnReady(LoopLife& life, const CVekClient& client);
  void OnAck(LoopLife& life, int code, const char* text);
  void OnSent(LoopLife& life, unsigned sent, unsigned refused);
  void OnFree(LoopLife& life);
  void OnDestroyed(LoopLife& life);

 private:
  void RunThread(unsigned thread);
  void Pump(unsigned thread, Ns until);
  void MakeClient(unsigned slot);
  void GiveUpHeld(LoopLife& life);
  void MakeSender(LoopLife& life);
  void DropSender(LoopLife& life);
  void NewSender(LoopLife& life);
  void SetRate(LoopLife& life);
  void RunInside(LoopLife& life);
  void Do(const Step& step, bool inside);
  void Structural(const Step& step, LoopLife& life);
  void Delete(LoopLife& life);
  void Request(const Step& step, LoopLife& life);
  void Paced(const Step& step, LoopLife& life);
  void Busy(const Step& step, bool inside);

  int Oldest(const LoopLife& life, int state);
  bool GuessAgain(LoopLife& life, int link);
  void CheckOwnWords(LoopLife& life, int state, const std::string& server, const std::string& line);
  void CheckEnd(LinkBook& book, int link, int state, const std::string& reason);
  int LinkOf(const LoopLife& life, const std::string& server, const std::string& line);
  bool Is(const std::string& told, const std::string& expected) const;
  void CheckCall(LoopLife& life, int link, const std::string& line);
  void CheckAtEnd(const LoopLife& life);

  struct Row {
    int last = -1;
    bool paced = true;  // all of it under the present rate
    std::vector<Ns> arrivals{};
  };
  std::map<int, Row> rows_;  // by link
  std::deque<LoopLife> lives_;
  std::vector<LoopLife*> now_;  // by slot
  std::vector<int> events_;
  std::vector<int> nested_;  // dispatches on the stack, by thread
  unsigned running_ = 0, busy_ = 0;
  bool over_ = false;
};

}  // namespace vektest

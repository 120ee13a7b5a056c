// A run of sessions: the fates they report are checked against the servers' records.
#pragma once

#include <deque>

#include "simulation/World.h"
#include "vekapi/VekSessionC.h"

namespace vektest {

class SessionWorld;

// One session from its creation to its end.
struct Keep {
  SessionWorld* world = nullptr;
  unsigned slot = 0;
  CVekSession session{};
  bool polled = false, byId = false;
  bool wantsEnd = false, ending = false, ended = false;
  unsigned count = 0, ms = 0;   // the rate
  std::uint64_t rateSince = 0;  // applies to requests begun since
  std::vector<Task*> users, inEvent;
  std::uint32_t over = 0;              // the ends of all links up to this one have been reported
  std::map<std::uint32_t, int> links;  // the network's number of a link, by the session's
};

// A request, and its outcome.
struct Asked {
  Keep* keep = nullptr;
  std::size_t number = 0;
  int code = 0;
  bool urgent = false, made = false;
  std::string id, text;  // the text without an id created by the session
  std::uint64_t begun = 0, returned = UINT64_MAX;
  int refused = 0;
  std::uint64_t ticket = 0;
  std::uint32_t link = 0;
  int fate = 0;
  bool taken = false;  // returned by Withdraw, or replaced
  int seen = -1;       // the link of the network on which it arrived whole

  std::string Mark() const { return "#" + std::to_string(number) + "#"; }
  bool Never() const { return refused != 0 || fate == vsf_NeverSent; }
};

class SessionWorld final : public World {
 public:
  using World::World;

  void Run() override;

  Attempt Try(unsigned port, unsigned address) override;
  std::shared_ptr<Line> Accept(unsigned port) override;

  int Who(int link) const override { return owners_.at(link); }
  std::string AckLine(const std::string& request) const override;
  void OnRequest(const std::string& text, int link) override { Saw(text, link); }
  void OnPaced(const std::string& text, int link, bool trueAcks) override;

 private:
  void Make(unsigned slot);
  void RunThread(unsigned thread);
  void RunInside(Keep& keep);
  void Poll(unsigned slot);
  void Do(const Step& step);
  void Use(Keep& keep, const Step& step, Draw& draw);
  void Submit(Keep& keep, Draw& draw, Asked* replaced = nullptr);
  Asked* Pending(Keep& keep, Draw& draw);
  void SetRate(Keep& keep, Draw& draw);
  void Open(Keep& keep);
  void Close(Keep& keep, unsigned drainMs);
  void End(Keep& keep);

  void OnTold(Keep& keep, const CVekEvent& event);
  int LastOf(unsigned slot) const;  // its latest link of the network
  void OnState(Keep& keep, const CVekEvent& event);
  void OnFate(Keep& keep, const CVekEvent& event);
  void CheckAnswer(const Asked& asked, const CVekEvent& event);
  void CheckFates(const Keep& keep, std::uint32_t link, const char* when);
  Asked* Saw(const std::string& text, int link);
  void CheckWire();
  void CheckHalf(int link, int code, const std::string& half);

  struct Row {
    std::uint64_t lastBegun[2] = {};  // normal, urgent
    std::vector<Ns> arrivals{};
  };
  std::vector<std::unique_ptr<Keep>> keeps_;
  std::vector<Keep*> slots_;
  std::vector<int> events_;
  std::deque<Asked> asked_;
  std::map<unsigned, int> tried_;  // by port
  std::map<int, int> owners_;      // slots, by link of the network
  std::map<int, Row> rows_;
  std::vector<Task*> waiting_;  // in calls that wait
  unsigned running_ = 0, polling_ = 0;
  bool over_ = false, judging_ = false;
};

}  // namespace vektest

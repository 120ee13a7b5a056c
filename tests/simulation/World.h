// A run: the clients, the application's threads, the servers, and the conditions that all of them must meet.
#pragma once

#include <algorithm>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <memory_resource>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/Net.h"
#include "simulation/Story.h"
#include "vekapi/VekClient.h"
#include "vekapi/VekFlowCtrlSender.h"
#include "vekapi/VekLink.h"

namespace vektest {

class World;
class Server;
class Gateway;

constexpr unsigned kFirstPort = 1000;
constexpr const char* kThreads[] = {"app0", "app1", "app2"};  // of the application

inline Task* Me() {
  return &Scheduler::Current()->Self();
}

inline bool OnlyMe(const std::vector<Task*>& tasks) {
  return std::all_of(tasks.begin(), tasks.end(), [](const Task* each) { return each == Me(); });
}

inline bool Begins(const std::string& text, const std::string& start) {
  return text.rfind(start, 0) == 0;
}

// The events that a client must report for one link, in the order sent.
struct LinkBook {
  struct Expected {
    std::string line;
    std::size_t end;  // bytes written up to the last of it
  };
  std::vector<Expected> expected;
  std::size_t told = 0;
  bool over = false;  // its end was reported
  bool badPacket = false;
  bool hungUp = false;
  Ns begun = 0;
  Ns opened = kNever;
  Ns lastTold = 0;
  std::size_t arrived = 0;  // bytes, when the run was over
  std::shared_ptr<Line> line;
  std::shared_ptr<Line> proxy;  // of a link over rings: its line is the gateway's
  int sender = -1;              // the first whose paced requests came
  Ns overBy = kNever;           // an event must tell by then that the gateway is gone

  // Fails unless all that was written up to there has been told.
  void CheckTold(std::size_t upTo) const;
};

// The text of a sender's request; its bytes tell which.
std::string PacedText(int sender, unsigned request);

// Every request of the application, and its outcome.
struct Request {
  unsigned client = 0;
  const void* thread = nullptr;
  int life = 0;  // of the client
  std::string text;
  bool returned = false, accepted = false;
  std::uint64_t begun = 0;
  int link = -1;  // on which it arrived
};

// One client from its creation to its end.
class Life final : public VekApi::VekClientHandler, public VekApi::VekTraceHandler {
 public:
  struct Call {
    int link;  // -1: a call that only ends links
    std::uint64_t begun, ended;
    const Task* caller;
  };

  Life(World& world, unsigned slot, int which) : number(which), world_(world), slot_(slot) {}

  // Whether an event of that link is allowed now.
  bool Allows(int link) const;
  std::size_t CallsEnded() const;

  unsigned Slot() const { return slot_; }

  const int number;
  bool destroyed = false;
  std::vector<Call> calls;
  std::vector<Task*> inEvent;
  std::uint64_t lastChange = 0;  // the last call or end that changed its link
  Ns lastEvent = 0, lastSend = 0;
  int upLink = -1;
  std::optional<Ns> ready;
  std::vector<Ns> queries;  // accepted since

  void OnVekConnectEvent(VekApi::VekClient& client, const std::string& reason) override;
  void OnVekApReadyEvent(VekApi::VekClient& client) override;
  void OnVekTaskResultEvent(VekApi::VekClient& client, const VekApi::VekTaskResult& result) override;
  void OnVekChgPassResultEvent(VekApi::VekClient& client, const std::string& user,
                               const std::string& text) override;
  void OnVekRequestAckEvent(VekApi::VekClient& client, int code, const std::string& text) override;
  void OnVekReportEvent(VekApi::VekClient& client, const std::string& text) override;
  void OnVekClientDestroyEvent(VekApi::VekClient& client) override;
  void OnVekTraceEvent(VekApi::VekClient& client, const CVekEvent& event) override;

 private:
  void OnVekUnknownMsgCodeEvent(VekApi::VekClient& client, int code, const char* packet, int length) override;
  void Check(VekApi::VekClient& client, const std::string& line);
  void CheckOwnWords(VekApi::VekClient& client, const std::string& line);
  void RestartSender();
  void CheckEnd(LinkBook& book, int link, const std::string& line);
  int LinkIn(const std::string& reason, VekApi::VekClient& client) const;
  int Unnamed(int state, const std::string& reason) const;
  void Within(VekApi::VekClient& client, const std::string& line);

  World& world_;
  const unsigned slot_;
  std::string lastLine_;
  bool lacksThread_ = false;  // the last reason
};

class Sender final : public VekApi::VekFlowCtrlSender {
 public:
  Sender(World& world, VekApi::VekClient& client, int which, const Life& of);
  ~Sender() override;

  // `singly`: each in a call of its own, with a pause between two calls.
  void Send(unsigned requests, bool singly, Ns pause);
  void Restart(std::size_t calls);
  // Called once a second; `calls`: how many have changed the client's link.
  void Look(bool sound, std::size_t calls);
  // Called by the server.
  void Arrived(unsigned request, int link, bool trueAcks);
  void CheckRefused();

  const int number;
  const int life;  // of its client
  Ns lastSend = 0;
  std::vector<Task*> users;

 private:
  void OnVekRequestsSent(unsigned requests, bool taken) override;
  void SendSome(unsigned requests);

  World& world_;
  const Ns made_;
  const int count_, ms_;
  unsigned issued_ = 0;
  std::set<unsigned> refused_, given_;  // refused by the link; given up by the application
  struct Row {
    unsigned last = 0;
    std::vector<Ns> arrivals{};
  };
  std::set<unsigned> came_;
  std::size_t calls_ = 0;  // at the last restart
  bool refusedSince_ = false;
  std::size_t seen_ = 0;      // had arrived at the last look
  Ns stuck_ = 0, sound_ = 0;  // durations
  Ns slack_ = 0;
  std::map<int, Row> rows_;  // by link
};

class World : public Net {
 public:
  World(const Story& story, Scheduler& scheduler);
  ~World() override;

  // The whole run, on a thread.
  virtual void Run();

  Attempt Try(unsigned port, unsigned address) override;
  std::shared_ptr<Line> Accept(unsigned port) override;
  unsigned LookUp(unsigned port) override;
  bool CouldBeOpened(int link) const;  // beyond doubt
  static Gateway* GatewayOf(const LinkBook& book);

  struct Slot {
    std::unique_ptr<VekApi::VekClient> client;
    Life* life = nullptr;
    std::unique_ptr<Sender> sender;
    std::vector<Task*> users;       // in any call
    std::vector<Task*> connecting;  // in a call that changes the link
    int events = 0;
  };

  void Do(const Step& step, VekApi::VekClient* inside);
  void RunInside(unsigned host, VekApi::VekClient& client);
  // The client whose name and password are sent over that link.
  virtual int Who(int link) const { return link; }
  // The line that acknowledges it; empty: any line.
  virtual std::string AckLine(const std::string&) const { return {}; }
  virtual void OnRequest(const std::string& text, int link);
  virtual void OnPaced(const std::string& text, int link, bool trueAcks);
  void Busy(Ns time);
  Ns Now() const { return scheduler_.Now(); }
  Ns Slack() const { return scheduler_.Stalled(); }
  void Log(const std::string& text);
  std::uint64_t Tick() { return ++ticks_; }

  const Story& story;
  Scheduler& scheduler_;
  std::vector<Slot> slots;
  std::map<int, LinkBook> links;
  std::map<int, Sender*> senders;
  static void Reach(std::string_view state) { reached.emplace(state); }
  // By any run; not counted as the run's memory.
  static inline std::pmr::set<std::pmr::string> reached;
  static inline bool tell = false;

 protected:
  using RequestCall = std::function<bool(const std::string& id, std::string& buffer)>;
  const Request& Make(const Step& step, int life, const RequestCall& call);

  void NoteArrivals();

  std::deque<Request> requests_;

 private:
  friend class Life;
  void LookAtHeld(Slot& slot);
  void RunThread(unsigned thread);
  void NewClient(Slot& slot);
  void NewSender(Slot& slot, VekApi::VekClient& client);
  bool IsSound(const Life& life, std::uint64_t since) const;
  void Structural(const Step& step, Slot& slot, VekApi::VekClient& client);
  void Delete(const Step& step, Slot& slot);
  void Send(const Step& step, Slot& slot, VekApi::VekClient& client);
  void CheckRate(Life& life, Ns begun);
  void Watch();
  void WatchClient(Slot& slot);
  void WatchGateway(const LinkBook& book, const Life& life, Ns quiet);
  static std::size_t BackedUp(const LinkBook& book);
  void CheckRequests();
  void CheckLinks();
  void CleanUp();

  std::vector<std::unique_ptr<Life>> lives_;
  unsigned running_ = 0;
  bool over_ = false;
  int sendersMade_ = 0;
  std::set<int> answered_;
  std::uint64_t ticks_ = 0;
  Ns busyBegun_ = 0, busyUntil_ = 0;
  int busyNow_ = 0;
};

// Registers a task for the duration of a scope.
class Using {
 public:
  Using(std::vector<Task*>& who, Task* task) : who_(who), task_(task) { who_.push_back(task); }
  ~Using() {
    for (auto at = who_.rbegin();; ++at) {
      if (*at != task_) continue;
      who_.erase(at.base() - 1);
      return;
    }
  }
  Using(const Using&) = delete;
  Using& operator=(const Using&) = delete;

 private:
  std::vector<Task*>& who_;
  Task* task_;
};

}  // namespace vektest

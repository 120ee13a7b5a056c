// No effect of one link reaches the next one, and sessions that end each other do not deadlock.
#include <thread>

#include "support/Rendezvous.h"
#include "support/SessionFixture.h"

namespace vektest {
namespace {

constexpr unsigned kHeartbeatMs = 30'000;
constexpr unsigned kStageMs = 45'000;

// A heartbeat that expires and waits for the context while `busy` runs inside it.
class LateExpiry {
 public:
  explicit LateExpiry(TestSupport::TVirtualTimerQueue& time)
      : due_(time.NowNs() + kHeartbeatMs * 1'000'000LL) {
    advancing_ = std::thread([&time] { time.Advance(kHeartbeatMs); });
    // From that time on the expiry can no longer be cancelled.
    while (time.NowNs() < due_) std::this_thread::yield();
  }
  ~LateExpiry() { advancing_.join(); }

 private:
  const std::int64_t due_;
  std::thread advancing_;
};

class LinkLifeTest : public SessionTest {
 protected:
  // The previous link's expiry must have no effect on the new one before its own timeout.
  void ExpectFreshLink() {
    late.reset();
    EXPECT_EQ(recorder.Take(), Lines{});
    EXPECT_EQ(client->State(), VekApi::vcs_Connecting);
    TestMes::Last()->Ready();
    time.Advance(kHeartbeatMs - 1);
    EXPECT_EQ(recorder.Take(), Lines{});
  }

  std::unique_ptr<LateExpiry> late;
};

TEST_F(LinkLifeTest, LateHeartbeatDoesNotMeetTheLinkMadeInsideABusyEvent) {
  SignOn();
  recorder.onEvent = [this](VekApi::VekClient&, const std::string& line) {
    if (line != "report busy") return;
    late = std::make_unique<LateExpiry>(time);
    Connect();
    recorder.Take();
  };
  FromServer(Message(130, "busy"));
  ExpectFreshLink();
}

TEST_F(LinkLifeTest, LateHeartbeatDoesNotMeetTheLinkMadeAfterABreak) {
  SignOn();
  recorder.onEvent = [this](VekApi::VekClient&, const std::string& line) {
    if (line != "connect -3 gone") return;
    Connect();
    recorder.Take();
  };
  // The expiry begins while the link's last report is being handled; the break follows.
  bool reported = false;
  auto connectOnBreak = recorder.onEvent;
  recorder.onEvent = [&](VekApi::VekClient& of, const std::string& line) {
    if (line == "report busy" && !reported) {
      reported = true;
      late = std::make_unique<LateExpiry>(time);
      mes->Break("gone");
    }
    connectOnBreak(of, line);
  };
  FromServer(Message(130, "busy"));
  ExpectFreshLink();
}

TEST_F(LinkLifeTest, LateHeartbeatDoesNotMeetTheLinkOfAThreadThatReconnects) {
  for (int round = 0; round < 200; ++round) {
    SignOn();
    {
      const LateExpiry expiry(time);
      Connect();
    }
    // Just before the Connect it may have ended in time.
    for (const std::string& line : recorder.Take()) EXPECT_EQ(line, "connect -7 Heartbeat timeout");
    ASSERT_EQ(client->State(), VekApi::vcs_Connecting);
  }
}

// ---- several sessions ----

struct Ring {
  enum class Act { Disconnect, Connect, Delete };

  explicit Ring(std::size_t size) : recorders(size), clients(size), links(size), inside(size) {
    for (std::size_t i = 0; i < size; ++i) {
      clients[i] = std::make_unique<VekApi::VekClient>(recorders[i]);
      links[i] = Open(*clients[i]);
      recorders[i].Take();
    }
  }

  static Dstl::wise_ref<TestMes> Open(VekApi::VekClient& client) {
    client.Connect(":TestMes:lend", "App", "1", "id", "sub", "secret");
    auto mes = TestMes::Last();
    mes->Ready();
    mes->Deliver(ConnectResult(false, {}) + SgnResult("5\x01"
                                                      "1000",
                                                      false));
    return mes;
  }

  // Every session gets a report at the same time, and ends the next session inside it.
  void Run(Act act) {
    const std::size_t size = clients.size();
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < size; ++i) {
      recorders[i].onEvent = [this, act, next = (i + 1) % size](VekApi::VekClient&, const std::string& line) {
        if (line.rfind("report", 0) != 0) return;
        inside.Meet();
        if (act == Act::Disconnect) clients[next]->Disconnect();
        if (act == Act::Connect) clients[next]->Connect(":TestMes:lend", "App", "1", "id", "sub", "new");
        if (act == Act::Delete) clients[next].reset();
      };
      // The second report in the same block must not be delivered once the link is over.
      threads.emplace_back([this, i] { links[i]->Deliver(Message(130, "first") + Message(130, "second")); });
    }
    for (auto& thread : threads) thread.join();
  }

  std::vector<Recorder> recorders;
  std::vector<std::unique_ptr<VekApi::VekClient>> clients;
  std::vector<Dstl::wise_ref<TestMes>> links;
  Rendezvous inside;
};

TEST(LinkLife, SessionsThatEndEachOtherDoNotWaitForEachOther) {
  for (const std::size_t size : {2U, 3U, 4U}) {
    for (int round = 0; round < 30; ++round) {
      Ring disconnecting(size);
      disconnecting.Run(Ring::Act::Disconnect);
      for (Recorder& recorder : disconnecting.recorders) {
        EXPECT_EQ(recorder.Take(), (Lines{"report first", "connect -1 Disconnect()"}));
      }
      Ring connecting(size);
      connecting.Run(Ring::Act::Connect);
      for (std::size_t i = 0; i < size; ++i) {
        EXPECT_EQ(connecting.recorders[i].Take(), Lines{"report first"});
        EXPECT_EQ(connecting.clients[i]->State(), VekApi::vcs_Connecting);
      }
      Ring deleting(size);
      deleting.Run(Ring::Act::Delete);
      for (Recorder& recorder : deleting.recorders) {
        EXPECT_EQ(recorder.Take(), (Lines{"report first", "destroy"}));
      }
    }
  }
}

// ---- every stage has its time ----

TEST_F(LinkLifeTest, EveryStageOfAHandshakeEndsInAnEvent) {
  Connect();
  time.Advance(kStageMs - 1);
  EXPECT_EQ(recorder.Take(), Lines{});
  time.Advance(1);
  EXPECT_EQ(recorder.Take(), Lines{"connect -2 Connect timeout"});
  EXPECT_FALSE(TestMes::Last()) << "closed";

  // A server that only sends heartbeats, and an application that sends: both postpone the heartbeat forever.
  std::string packet(3, '\0');
  const auto keepBusy = [&] {
    for (unsigned ms = 0; ms < kStageMs; ms += 5000) {
      VekApi::VekClient::SetPkHead(packet.data(), 200, 3);
      client->SendPk(packet.data(), 3);
      FromServer(Pack(1, ""));
      EXPECT_EQ(recorder.Take(), Lines{}) << ms;
      time.Advance(5000);
    }
  };
  Connect();
  mes = TestMes::Last();
  mes->Ready();
  keepBusy();
  EXPECT_EQ(recorder.Take(), Lines{"connect -4 Unknown server"});

  Link();
  recorder.Take();
  keepBusy();
  EXPECT_EQ(recorder.Take(), Lines{"connect -3 Sign-on timeout"});
  EXPECT_FALSE(TestMes::Last()) << "closed";

  Link();
  FromServer(SgnReply(7, "wait"));
  recorder.Take();
  keepBusy();
  EXPECT_EQ(recorder.Take(), Lines{"connect -3 Sign-on timeout"});

  // A stage that has ended in time is not affected.
  SignOn();
  keepBusy();
  Link();
  FromServer(SgnReply(0, "no"));
  recorder.Take();
  keepBusy();
  EXPECT_EQ(recorder.Take(), Lines{});
  EXPECT_EQ(client->State(), VekApi::vcs_SgnError);
}

TEST_F(LinkLifeTest, NothingGoesOutBeforeTheConnectRequest) {
  SignOn();
  std::string request = ".....x";
  recorder.onEvent = [&](VekApi::VekClient&, const std::string& line) {
    if (line != "report go") return;
    Connect();
    EXPECT_FALSE(client->SendVekRequest(129, request.data(), 6));
  };
  FromServer(Message(130, "go"));
  EXPECT_FALSE(client->SendVekRequest(129, request.data(), 6));
  mes = TestMes::Last();
  EXPECT_EQ(mes->TakeSent(), "");
  mes->Ready();
  EXPECT_EQ(mes->TakeSent().substr(2, 1), std::string(1, '\0')) << "code 0";
  EXPECT_TRUE(client->SendVekRequest(129, request.data(), 6));
}

}  // namespace
}  // namespace vektest

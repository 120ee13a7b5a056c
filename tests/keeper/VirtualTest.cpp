// What a session tells of its requests, its links and their ends.
#include <gtest/gtest.h>

#include <algorithm>

#include "keeper/Kept.h"
#include "protocol/Recording.h"

namespace vektest {
namespace {

constexpr char kUp[] = "up";

CVekSessionConfig Rated(int count, int ms) {
  CVekSessionConfig config = KeptSession::Config();
  config.rateCount = count;
  config.rateMs = ms;
  return config;
}

CVekSessionConfig Silent(const char* probe) {
  CVekSessionConfig config = KeptSession::Config();
  config.silenceMs = 10'000;
  config.probe = probe;
  return config;
}

TEST_F(Kept, TellsItsWayUpAndDown) {
  kept.emplace();
  CVekSession_AddResync(&kept->session, "orders");
  EXPECT_EQ(kept->Open({":TestMes:lend"}), 0);
  Connect();
  mes->TakeSent();
  mes->Deliver(SgnResult(kRates));
  EXPECT_EQ(kept->Take(), (Lines{"connecting", "signing on", "signed on, resynchronising"}));
  EXPECT_EQ(kept->Order("W1"), vsr_NotUp);
  const Lines ids = Sent();
  ASSERT_EQ(ids.size(), 1U);
  mes->Deliver(TaskResult(ids[0], "none"));
  mes->Deliver(SgnResult(kRates));  // a second one raises no event
  EXPECT_EQ(kept->Take(), (Lines{ids[0] + " answered", "up"}));
  EXPECT_EQ(kept->Order("W1"), 0);
  for (const unsigned drainMs : {1000, 100, 5000}) CVekSession_Close(&kept->session, drainMs);
  EXPECT_EQ(kept->Order("W2"), vsr_NotUp);
  EXPECT_EQ(After(99), Lines{"closing, waiting for answers"});
  Ack("W1 ok");
  EXPECT_EQ(After(0), (Lines{"W1 acknowledged", "closed: the session was closed"}));
}

TEST_F(Kept, HeldRequestsKeepTheRateAndTheirOrder) {
  MakeUp(Rated(2, 100));
  for (const char* id : {"W1", "W2", "W3", "W4"}) EXPECT_EQ(kept->Order(id), 0);
  EXPECT_EQ(kept->receipt.ahead, 1U);
  EXPECT_EQ(kept->receipt.waitMs, -1);
  EXPECT_EQ(kept->Order("U1", vsg_Urgent), 0);
  EXPECT_EQ(kept->Order("T1", 0, vsm_Try), vsr_TooFast);
  EXPECT_EQ(kept->Order("W5", 0, vsm_Hold, 50), 0);
  EXPECT_EQ(Sent(), (Lines{"W1", "W2"}));
  EXPECT_EQ(After(50), (Lines{"W5 not sent: it could not be sent in time"}));
  Ack("W1 ok\nW2 ok");
  EXPECT_EQ(kept->Take(), (Lines{"W1 acknowledged", "W2 acknowledged"}));
  EXPECT_EQ(Sent(), Lines{});
  After(100);
  EXPECT_EQ(Sent(), (Lines{"U1", "W3"}));
  Ack("ok");
  Ack("");
  EXPECT_EQ(After(100),
            (Lines{"U1 acknowledged", "W3 acknowledged: the acknowledgement was empty", "gate 129"}));
  EXPECT_EQ(Sent(), (Lines{"W4"}));
  EXPECT_EQ(kept->Order("T1", 0, vsm_Try), 0);
}

// Acknowledgements of requests sent without a rate free no slots of a rate set afterwards.
TEST_F(Kept, ARateCountsWhatIsOutAlready) {
  MakeUp(Rated(0, 0));
  for (const char* id : {"W1", "W2", "W3"}) EXPECT_EQ(kept->Order(id), 0);
  EXPECT_EQ(Sent(), (Lines{"W1", "W2", "W3"}));
  CVekSession_SetRate(&kept->session, 2, 100);
  EXPECT_EQ(kept->Order("W4"), 0);
  Ack("W1 ok\nW2 ok\nW3 ok");
  EXPECT_EQ(Sent(), Lines{});
  After(100);
  EXPECT_EQ(Sent(), Lines{"W4"});
}

TEST_F(Kept, LinesInOrderAreCountedAsAGateCountsThem) {
  MakeUp();
  for (const char* id : {"W1", "W2", "W3", "W4"}) EXPECT_EQ(kept->Order(id), 0);
  Ack("\nok\n\nok");
  EXPECT_EQ(kept->Take(), (Lines{"W1 acknowledged", "W2 acknowledged"}));
  Ack(std::string("ok\0\nok", 6));
  EXPECT_EQ(kept->Take(), Lines{"W3 acknowledged"});
  Ack("\n\n");
  EXPECT_EQ(kept->Take(), Lines{"W4 acknowledged: the acknowledgement was empty"});
}

TEST_F(Kept, WithdrawnAndReplacedOnesAreNeverSent) {
  MakeUp(Rated(1, 100));
  kept->Order("W1");
  const std::uint64_t out = kept->receipt.ticket;
  kept->Order("W2");
  const std::uint64_t held = kept->receipt.ticket;
  EXPECT_EQ(kept->Order("W2"), vsr_DuplicateId);
  EXPECT_EQ(CVekSession_Withdraw(&kept->session, out), vsr_TooLate);
  const std::string text = "W3 new\nprod=TXF";
  CVekSubmit request = KeptSession::Request(129, "W3", text);
  request.replaces = held;
  EXPECT_EQ(kept->Submit(request), 0);
  request.workId = "W4";
  EXPECT_EQ(kept->Submit(request), vsr_BadText);
  EXPECT_EQ(CVekSession_Withdraw(&kept->session, held), vsr_TooLate);
  EXPECT_EQ(CVekSession_Withdraw(&kept->session, kept->receipt.ticket), vsr_TooLate);
  EXPECT_EQ(After(0), (Lines{"W2 not sent: replaced by another request"}));
}

TEST_F(Kept, LateLinesFindTheirOwnRequest) {
  for (const std::int32_t rule : {vsa_InOrder, vsa_ByWorkId}) {
    CVekSessionConfig config = Rated(3, 10);
    config.ackRule = rule;
    config.answerMs = 1000;
    MakeUp(config);
    kept->Order("W1");
    EXPECT_EQ(After(1000), (Lines{"W1 sent, no answer in time: no answer in time"}));
    kept->Order("W2");
    Ack("W1 ok");
    EXPECT_EQ(kept->Take(), (Lines{"late W1"}));
    Ack("W2 ok");
    Ack("W9 ok");
    EXPECT_EQ(kept->Take(), (Lines{"W2 acknowledged", "stray W9 ok"}));
    kept->Query("Q1");
    mes->Deliver(TaskResult("Q1", "a") + TaskResult("Q1", "b") + TaskResult("Q2", "\x02t\nc\n") +
                 Message(130, "r"));
    EXPECT_EQ(kept->Take(), (Lines{"Q1 answered", "late Q1", "stray \x02t\nc\n", "report r"}));
    kept.reset();
  }
}

TEST_F(Kept, SkippedLinesMisleadNothingWhereLinesCarryIds) {
  CVekSessionConfig config = Rated(2, 100);
  config.ackRule = vsa_ByWorkId;
  config.answerMs = 1000;
  MakeUp(config);
  kept->Order("W1");
  kept->Order("W2");
  kept->Order("W3");
  Ack("W2 ok\nW2 ok");
  EXPECT_EQ(After(100), (Lines{"W2 acknowledged", "late W2"}));
  EXPECT_EQ(Sent(), (Lines{"W1", "W2", "W3"}));  // one slot, not two
  const Lines told = After(1000);
  ASSERT_EQ(told.size(), 3U);
  EXPECT_TRUE(told[2].starts_with("waiting to connect again: acknowledgements are missing")) << told[2];
}

TEST_F(Kept, AnswersInsideSend) {
  MakeUp(Rated(1, 100));
  mes->onSend = [this] {
    mes->onSend = nullptr;
    time.Advance(20);
    Ack("W1 ok");
  };
  EXPECT_EQ(kept->Order("W1"), 0);
  EXPECT_EQ(After(0), (Lines{"W1 acknowledged"}));
  const CVekEvent& fate = kept->fates[kept->receipt.ticket][0];
  EXPECT_EQ(fate.atNs - fate.handedNs, 20'000'000) << "the round trip";
}

TEST_F(Kept, AFullLinkGivesThePlaceBack) {
  MakeUp(Rated(1, 100));
  mes->refuseSends = true;
  EXPECT_EQ(kept->Order("W1", 0, vsm_Try), vsr_LinkFull);
  EXPECT_EQ(kept->Order("W1"), 0);
  EXPECT_EQ(kept->Order("W2"), 0);
  mes->refuseSends = false;
  time.Advance(10);
  EXPECT_EQ(Sent(), (Lines{"W1"}));
  Ack("ok");
  EXPECT_EQ(After(100), (Lines{"W1 acknowledged"}));
  EXPECT_EQ(Sent(), (Lines{"W2"}));
}

// What is longer than the link's send queue would stay in front of all others for good.
TEST_F(Kept, NothingIsHeldThatTheLinkCanNeverTake) {
  kept.emplace();
  kept->Open({":TestMes:lend"});
  TestMes::Last()->queueBytes = 300;
  Reconnect();
  mes->TakeSent();
  const auto submit = [&](int code, std::string text, std::size_t length) {
    const std::string id = text.substr(0, 2);
    text.resize(length, 'x');
    return kept->Submit(KeptSession::Request(code, id.c_str(), text));
  };
  mes->refuseSends = true;
  for (const char* id : {"W1 \n", "W2 \n", "W3 \n"}) EXPECT_EQ(submit(129, id, 120), 0);
  EXPECT_EQ(submit(128, "Q1 ", 295), 0);
  EXPECT_EQ(submit(128, "Q2 ", 296), vsr_BadText);
  mes->refuseSends = false;
  time.Advance(10);
  const auto packets = Split(mes->TakeSent());
  ASSERT_EQ(packets.size(), 3U);
  EXPECT_EQ(packets[0].bytes.size(), 5U + 120 + 1 + 120);
}

// A refused caller is told when a retry is worthwhile; waiting for an acknowledgement costs nothing
// meanwhile.
TEST_F(Kept, AGateIsOfferedWithoutPolling) {
  MakeUp(Rated(1, 100));
  mes->refuseSends = true;
  EXPECT_EQ(kept->Order("W1", 0, vsm_Try), vsr_LinkFull);
  mes->refuseSends = false;
  EXPECT_EQ(After(10), (Lines{"gate 129"}));
  EXPECT_EQ(kept->Order("W1"), 0);
  EXPECT_EQ(kept->Order("W2"), 0);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(kept->Query("Q" + std::to_string(i)), 0);
  const std::string query = "Q text";
  CVekSubmit tried = KeptSession::Request(128, "Q", query);
  tried.mode = vsm_Try;
  EXPECT_EQ(kept->Submit(tried), vsr_TooFast);
  const std::size_t before = time.Expiries();
  time.Advance(9000);
  EXPECT_LT(time.Expiries() - before, 20U);
  Ack("W1 ok");
  EXPECT_EQ(After(100), (Lines{"W1 acknowledged"}));
  EXPECT_EQ(After(1000), (Lines{"gate 128"}));
  EXPECT_EQ(Sent().size(), 102U);  // more than one thread may send at once for others
}

TEST_F(Kept, EveryStageHasItsTime) {
  const struct {
    int stage;
    const char* told;
  } cases[] = {{0, "connecting took too long"},
               {1, "connecting took too long"},
               {2, "no answer to the sign-on in time"},
               {3, "resynchronising failed"}};
  for (const auto& each : cases) {
    CVekSessionConfig config = KeptSession::Config();
    config.connectMs = config.signOnMs = config.resyncMs = 1000;
    config.flags = vsc_ResyncByHand | vsc_RetryByHand;
    kept.emplace(config);
    kept->Open({":TestMes:lend"});
    mes = TestMes::Last();
    if (each.stage > 0) mes->Ready();
    if (each.stage > 1) mes->Deliver(ConnectResult(false, {}));
    if (each.stage > 2) mes->Deliver(SgnResult(kRates));
    time.Advance(999);
    kept->Take();
    EXPECT_EQ(After(1), (Lines{std::string("waiting to connect again: ") + each.told}));
    EXPECT_EQ(CVekSession_RetryIn(&kept->session, 20), 0);
    EXPECT_EQ(After(19), Lines{});
    EXPECT_EQ(After(1), (Lines{std::string("connecting: ") + each.told}));
    kept.reset();
  }
}

TEST_F(Kept, ASilentLinkIsAskedAndThenLeft) {
  MakeUp(Silent("ping"));
  time.Advance(5000);
  const Lines first = Sent();
  ASSERT_EQ(first.size(), 1U);
  mes->Deliver(TaskResult(first[0], "pong"));
  EXPECT_EQ(After(9999), Lines{});
  EXPECT_EQ(Sent().size(), 1U);
  EXPECT_EQ(After(1), (Lines{"waiting to connect again: nothing came in time"}));
}

// The link may have survived the sleep: it is probed first.
TEST_F(Kept, ASleepIsNoSilence) {
  MakeUp(Silent("ping"));
  time.Sleep(3'600'000);
  EXPECT_EQ(After(0), Lines{});
  const Lines asked = Sent();
  ASSERT_EQ(asked.size(), 1U);
  mes->Deliver(TaskResult(asked[0], "pong"));
  EXPECT_EQ(After(9999), Lines{});
  time.Sleep(3'600'000);
  EXPECT_EQ(After(0), (Lines{"waiting to connect again: nothing came in time"}));
}

TEST_F(Kept, ASlowHandlerIsNoSilence) {
  MakeUp(Silent(nullptr));
  kept->onEvent = [this](CVekSession*, const CVekEvent&) {
    kept->onEvent = nullptr;
    time.Advance(25'000);
  };
  mes->Deliver(Message(130, "r"));
  EXPECT_EQ(After(9999), (Lines{"report r"}));
  EXPECT_EQ(After(1), (Lines{"waiting to connect again: nothing came in time"}));
}

TEST_F(Kept, ARefusedUserMayChangeThePassword) {
  Make();
  mes->Deliver(SgnReply(0, "wrong"));
  EXPECT_EQ(kept->Take().back(), "sign-on refused: the server refused the sign-on");
  CVekReceipt receipt{};
  receipt.size = sizeof receipt;
  const auto change = [&] {
    return CVekSession_ChangePassword(&kept->session, "trader", "a", "b", 5, &receipt);
  };
  mes->TakeSent();
  EXPECT_EQ(change(), 0);
  EXPECT_EQ(Split(mes->TakeSent()).at(0).code, 2);
  EXPECT_EQ(change(), vsr_Busy);
  mes->Deliver(ChgPassResult("trader", "done"));
  EXPECT_EQ(kept->Take(), (Lines{"code 2 answered"}));
  EXPECT_EQ(change(), 0);
  mes->Break("cut");
  EXPECT_EQ(change(), vsr_NotUp);
  EXPECT_EQ(After(0), (Lines{"code 2 unknown: it may have been sent: the connection broke"}));
  EXPECT_EQ(CVekSession_Open(&kept->session), 0);
  Reconnect();
  EXPECT_EQ(kept->Take().back(), kUp);
  kept->Order("W1");
  mes->Deliver(SgnReply(0, "thrown out"));
  EXPECT_EQ(kept->Take(), (Lines{"W1 unknown: it may have been sent: the server refused the sign-on",
                                 "sign-on refused: the server refused the sign-on"}));
}

// A client raises no event for the end of a link whose sign-on was refused.
TEST_F(Kept, ALossAfterARefusalIsNoticed) {
  Make();
  mes->Deliver(SgnReply(0, "wrong"));
  mes->Break("cut");
  time.Advance(60'000);
  EXPECT_EQ(kept->Take().back(), "sign-on refused: the server refused the sign-on");
  EXPECT_EQ(CVekSession_ChangePassword(&kept->session, "trader", "a", "b", 5, nullptr), vsr_NotUp);
  EXPECT_EQ(CVekSession_Open(&kept->session), 0);
  Reconnect();
  EXPECT_EQ(kept->Take(), (Lines{"connecting", "signing on", "up"}));
}

TEST_F(Kept, RoundsAndDelays) {
  CVekSessionConfig config = KeptSession::Config();
  config.maxAttempts = 5;
  config.firstDelayMs = 100;
  config.maxDelayMs = 300;
  kept.emplace(config);
  Lines waits;
  kept->onEvent = [&](CVekSession*, const CVekEvent& event) {
    if (event.kind == vse_State && event.state == vss_Waiting) waits.push_back(std::to_string(event.waitMs));
  };
  kept->Open({":TestMes:noopen", ":Unknown:x"});
  Lines told = kept->Take();
  EXPECT_EQ(told.size(), 3U);
  for (int ms = 0; ms < 2000; ++ms) time.Advance(1);
  told = kept->Take();
  EXPECT_EQ(told.back(), "given up: no more attempts");
  ASSERT_EQ(waits.size(), 2U);
  EXPECT_TRUE(std::stoi(waits[0]) >= 50 && std::stoi(waits[0]) <= 100) << waits[0];
  EXPECT_TRUE(std::stoi(waits[1]) >= 100 && std::stoi(waits[1]) <= 200) << waits[1];
}

TEST_F(Kept, ShortLinksEndInStopping) {
  CVekSessionConfig config = KeptSession::Config();
  config.maxShortLinks = 2;
  MakeUp(config);
  mes->Break("cut");
  time.Advance(250);
  Reconnect();
  time.Advance(9999);
  kept->Take();
  mes->Break("cut");
  EXPECT_EQ(kept->Take().back().substr(0, 8), "given up");
}

TEST_F(Kept, BadInputEntersNothing) {
  MakeUp();
  const auto refusal = [&](int code, const char* id, const std::string& text, std::uint32_t flags = 0) {
    CVekSubmit request = KeptSession::Request(code, id, text);
    request.flags = flags;
    return kept->Submit(request);
  };
  const struct {
    int reason;
    int code;
    const char* id;
    const char* text;
    std::uint32_t flags;
  } cases[] = {
      {vsr_BadText, 129, "W1", "W1 new", 0},
      {vsr_BadText, 129, "W1", "W1 new\na\nb", 0},
      {vsr_BadText, 129, "W1", "W2 new\na", 0},
      {vsr_BadText, 129, "W1", "W12 new\na", 0},
      {vsr_BadText, 128, "Sgn.Result", "Sgn.Result x", 0},
      {vsr_BadText, 128, "W 1", "W 1 x", 0},
      {vsr_BadText, 128, "W1", "", 0},
      {vsr_BadText, 128, nullptr, "", 0},
      {vsr_BadText, 128, "12345678901234567890123456789012", "12345678901234567890123456789012 x", 0},
      {vsr_BadArgument, 2, "W1", "W1 x", 0},
      {vsr_BadArgument, 4096, "W1", "W1 x", 0},
      {vsr_BadArgument, 128, "W1", "W1 x", 64},
  };
  for (const auto& each : cases)
    EXPECT_EQ(refusal(each.code, each.id, each.text, each.flags), each.reason) << each.text;
  const std::string query = "W1 x";
  CVekSubmit request = KeptSession::Request(128, "W1", query);
  request.size = 8;
  EXPECT_EQ(kept->Submit(request), vsr_BadArgument);
  request.size = sizeof request;
  request.mode = 2;
  EXPECT_EQ(kept->Submit(request), vsr_BadArgument);
  request.mode = vsm_Hold;
  request.replaces = 12345;
  EXPECT_EQ(kept->Submit(request), vsr_TooLate);
  request.replaces = 0;
  request.textLength = (16U << 20) + 1;
  EXPECT_EQ(kept->Submit(request), vsr_BadText);
  const std::string user(300, 'x');
  EXPECT_EQ(CVekSession_ChangePassword(&kept->session, user.c_str(), "", "", 0, nullptr), vsr_BadText);
  CVekReceipt receipt{};
  receipt.size = 4;
  request = KeptSession::Request(128, "W1", query);
  EXPECT_EQ(CVekSession_Submit(&kept->session, &request, &receipt), vsr_BadArgument);
  EXPECT_EQ(Sent(), Lines{});
  EXPECT_EQ(After(20'000), Lines{});

  CVekSessionConfig config = KeptSession::Config();
  config.delivery = 3;
  std::int32_t reason = 0;
  EXPECT_EQ(CVekSession_Create(&config, &reason).object, nullptr);
  EXPECT_EQ(reason, vsr_BadArgument);
}

TEST_F(Kept, WhoTakesNoEventsLosesTheLinkAndNoReport) {
  CVekSessionConfig config = KeptSession::Config();
  config.delivery = vsd_Poll;
  config.maxEvents = 16;
  kept.emplace(config);
  kept->Open({":TestMes:lend"});
  Connect();
  mes->Deliver(SgnResult(kRates));
  std::string reports;
  for (int i = 0; i < 30; ++i) reports += Message(130, "r");
  mes->Deliver(reports);
  time.Advance(0);
  CVekEvent event{};
  event.size = sizeof event;
  int told = 0;
  std::string last;
  while (CVekSession_Next(&kept->session, 0, &event) == 1) {
    last = LineOf(event);
    told += last == "report r";
  }
  EXPECT_EQ(told, 14);  // and three states: one more than the limit; the rest was not read from the link
  EXPECT_EQ(last, "waiting to connect again: the application does not take its events");
}

// Traces do not change what is delivered and answered, and contain no password.
TEST_F(Kept, TracesWithoutPasswords) {
  kept.emplace();
  CVekSession_SetTrace(&kept->session, 2);
  std::string traced;
  kept->onEvent = [&](CVekSession*, const CVekEvent& event) {
    if (event.kind != vse_Trace) return;
    traced += ((event.flags & vsg_Outbound) != 0 ? " >" : " <") + std::to_string(event.code);
    EXPECT_EQ(std::string(event.text, event.textLength).find("secret"), std::string::npos);
  };
  kept->Open({":TestMes:lend"});
  Connect();
  mes->Deliver(SgnResult(kRates));
  kept->Query("Q1");
  mes->Deliver(TaskResult("Q1", "x"));
  EXPECT_EQ(traced, " >0 <0 >2 <128 >128 <128");
}

// Every packet of both directions is a record that can be read back; none contains the password.
TEST_F(Kept, RecordsItsPackets) {
  kept.emplace();
  CVekSession_SetTrace(&kept->session, vtl_Packets);
  std::string recorded;
  kept->onEvent = [&](CVekSession*, const CVekEvent& event) {
    char record[5000];
    const std::uint32_t length = CVekApi_RecordOf(&event, record, sizeof record);
    if (length == 0) return;
    VekApi::TRecordHeadBytes bytes;
    std::copy_n(record, bytes.size(), bytes.begin());
    const auto head = VekApi::ReadRecordHead(bytes);
    ASSERT_TRUE(head);
    const std::string content(record + bytes.size(), head->length);
    EXPECT_EQ(bytes.size() + head->length, length);
    EXPECT_EQ(content.find("secret"), std::string::npos);
    if (head->kind == VekApi::ERecord::LinkUp) {
      EXPECT_EQ(content, "application to endpoint 0");
    }
    const bool isPacket = head->kind == VekApi::ERecord::Packet;
    const auto packets =
        isPacket ? Split(content) : std::vector<Packet>(1, {static_cast<int>(head->kind), ""});
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(packets[0].bytes, isPacket ? content : "");
    recorded += !isPacket ? " !" : head->fromServer ? " <" : " >";
    recorded += std::to_string(packets[0].code) + (head->order == VekApi::ERecordOrder::Big ? "+" : "");
    if (packets[0].code == 2) recorded += content.substr(3);
  };
  kept->Open({":TestMes:lend"});
  mes = TestMes::Last();
  mes->Ready();
  mes->Deliver(ConnectResult(true, {{"VekEnc\n", EncItem(1, "key")}}));
  mes->Deliver(Scrambled(SgnResult(kRates, true), "key"));
  const std::string tail = std::string("\0\x0E\0\0\x08\0\0\0\0trader/9800001********", 31);
  EXPECT_EQ(recorded, " !1 >0 <0+ >2+" + tail + " !3 <128+ !3");
  recorded.clear();
  kept->Query("Q1", std::string(5000, 'x'));
  mes->Deliver(Scrambled(Pack(1, "") + TaskResult("Q1", "x", true), "key"));
  EXPECT_EQ(recorded, " >3+ >128+ <1+ <128+");
  CVekSession_SetTrace(&kept->session, vtl_None);
  kept->Query("Q2");
  EXPECT_EQ(recorded, " >3+ >128+ <1+ <128+");
  kept.reset();
}

}  // namespace
}  // namespace vektest

#include "platform/os/CodePage.h"
#include "session/TImpl.h"
#include "support/SessionFixture.h"
#include "vekapi/VekLink.h"

namespace vektest {
namespace {

std::string Cp950(const char8_t* text) {
  std::string bytes;
  Dova::Os::Utf8ToCodePage950(reinterpret_cast<const char*>(text), bytes);
  return bytes;
}

// An application may read packets from elsewhere into its session.
TEST_F(SessionTest, ParsesWhatTheApplicationPassesToItsParser) {
  VekApi::VekClientParser parser(*client);
  const auto parse = [&] {
    std::string report = Message(130, "from elsewhere");
    const Dova::TSyncScope inside(VekApi::ContextOf(*client));
    parser.ParsePacket(report.data(), static_cast<unsigned>(report.size()));
  };
  parse();
  EXPECT_EQ(recorder.Take(), Lines{}) << "there is no session yet";
  SignOn();
  recorder.Take();
  parse();
  EXPECT_EQ(recorder.Take(), Lines{"report from elsewhere"});
  EXPECT_EQ(VekApi::VekClientParser(parser).ServerEndian(), vek_LittleEndian);
}

TEST_F(SessionTest, SettingsThatMakeNoMessengerAreRefused) {
  const struct {
    const char* setting;
    const char* word;  // named in the detail
  } cases[] = {{"", "missing"},
               {"  ", "missing"},
               {":", "missing"},
               {"nowhere", "\"nowhere\""},
               {":Nothing:1", "\"Nothing\""},
               {":TestMes:noopen", "thread"},
               {":TestMes:unknown", "missing"},
               {"h:1 x", "\"x\""},
               {":TCPClient:h:1 M1", "\"M1\""},
               {":TCPClient", "\"TCPClient\""},
               {":TCPClient:", "missing"},
               {"h:", "\"h:\""},
               {"a:b:1", "\"a:b:1\""},
               {"h:1 spin=", "\"spin=\""},
               {"h:1 sq=1 sq=1", "\"sq=1\""},
               {":ShMemCli:TCPClient:h:1 zz", "\"zz\""},
               {":ShMemCli:Kind:h:1", "\"Kind\""}};
  for (const auto& [setting, word] : cases) {
    client->Connect(setting, "App", "1", "", "", "");
    EXPECT_EQ(recorder.Take(), Lines{"connect -2 " + Cp950(u8"連線參數錯誤")}) << setting;
    EXPECT_EQ(client->State(), VekApi::vcs_LinkError);
    EXPECT_NE(VekApi::VekLink::Detail(*client).find(word), std::string::npos)
        << VekApi::VekLink::Detail(*client);
    EXPECT_EQ(VekApi::VekLink::Reason(*client),
              std::string(word) == "thread" ? vsr_NoThread : vsr_BadSetting);
  }
}

TEST_F(SessionTest, ApplicationNameThatIsTooLongIsRefused) {
  client->Connect(":TestMes:ok", std::string(4063, 'n'), "1", "", "", "");
  EXPECT_EQ(recorder.Take(), Lines{"connect -2 " + Cp950(u8"不正確的[客戶端AP名稱]")});
  EXPECT_FALSE(TestMes::Last());
}

TEST_F(SessionTest, SecretsThatAreTooLongAreNotSent) {
  client->Connect(":TestMes:ok", "App", "1", std::string(2000, 'i'), "", std::string(2086, 'p'));
  TestMes::Last()->Ready();
  TestMes::Last()->TakeSent();
  TestMes::Last()->Deliver(ConnectResult(false, {}));
  EXPECT_EQ(recorder.Take(), Lines{"connect -5 " + Cp950(u8"使用者ID或密碼太長!")});
  EXPECT_TRUE(client->IsSessionConnected());
  EXPECT_FALSE(client->ChgPass("u", std::string(4091, 'x'), ""));
  EXPECT_EQ(recorder.Take(), Lines{"chgpass u " + Cp950(u8"使用者ID或密碼長度太長!")});
  EXPECT_EQ(TestMes::Last()->TakeSent(), "");
}

TEST_F(SessionTest, QueryRateOfTheSignOnResult) {
  struct Case {
    const char* text;
    int allowed;  // of 4 queries
    int waitMs;   // for the next; 0: none
  };
  for (const Case& c : {Case{"\x02head\n\x03QueryRate\x01QueryRateMS\n2\x01"
                             "500\n",
                             2, 500},
                        Case{"\x02mod\n\x03QueryRate\n3\n", 3, 1000},
                        Case{"\x02head\n\x03QueryRate\x01QueryRateMS\n2\x01"
                             "0\n",
                             2, 1000},
                        Case{"\x02head\n\x03QueryRateMS\n500\n", 4, 0},
                        Case{"\x02head\n\x03x\n1\n\x02mod\n\x03QueryRate\n1\n", 4, 0},
                        Case{"\x02other\n\x03QueryRate\n1\n", 4, 0}}) {
    time.Advance(2000);  // the limiter still counts the queries of the previous session
    Link();
    FromServer(TaskResult("Sgn.Result", c.text));
    int allowed = 0;
    int answer = 0;
    for (int i = 0; i < 4 && answer == 0; ++i) {
      std::string request = ".....q";
      answer = client->SendVekQueryRequest(request.data(), 6);
      if (answer == 0) ++allowed;
    }
    EXPECT_EQ(allowed, c.allowed) << c.text;
    EXPECT_EQ(answer, c.waitMs) << c.text;
    std::string request = ".....q";
    mes->TakeSent();
    EXPECT_EQ(client->SendVekRequest(128, request.data(), 6), c.waitMs == 0) << c.text;
    EXPECT_TRUE(client->SendVekRequest(129, request.data(), 6)) << "only code 128 is paced";
  }
}

TEST_F(SessionTest, CopiesShareTheSession) {
  SignOn();
  auto copy = std::make_unique<VekApi::VekClient>(*client);
  EXPECT_EQ(copy->State(), VekApi::vcs_ApReady);
  std::string request = ".....x";
  EXPECT_TRUE(copy->SendVekRequest(129, request.data(), 6));
  copy->Connect(":TestMes:lend", "App", "1.2", "id", "sub", "secret");
  EXPECT_NE(TestMes::Last().get(), mes.get()) << "closed";
  client.reset();
  EXPECT_EQ(recorder.Take(), Lines{"destroy"});
  EXPECT_TRUE(TestMes::Last()) << "the copy's own link";
  copy.reset();
  EXPECT_EQ(recorder.Take(), Lines{"destroy"});
  EXPECT_FALSE(TestMes::Last());
}

}  // namespace
}  // namespace vektest

// The password is nowhere in memory once the session no longer needs it.
#include <gtest/gtest.h>

#include <memory>

#include "platform/runtime/Wipe.h"
#include "support/Memory.h"
#include "support/Recorder.h"
#include "support/TcpPeer.h"
#include "support/Wire.h"

namespace vektest {
namespace {

// The server does not read the sign-on from the system, or its own copy would be found.
TEST(Secret, IsGoneWithTheLinkThatSignedOn) {
  TestSupport::TTcpPeer server;
  const TestSupport::TSecret secret;
  Recorder recorder;
  auto client = std::make_unique<VekApi::VekClient>(recorder);
  std::string password = secret.Text();
  client->Connect("127.0.0.1:" + std::to_string(server.Port()), "App", "1", "id", "sub", password);
  Dova::WipeText(password);
  EXPECT_GT(secret.Copies(), 0U) << "or it is not looked for well";
  server.Accept();
  server.Read(39);
  server.Write(ConnectResult(false, {}));
  server.AwaitBytes();
  ASSERT_TRUE(recorder.WaitFor("connect 2"));
  client->Disconnect();
  EXPECT_EQ(secret.Copies(), 0U);
  client.reset();
  EXPECT_EQ(secret.Copies(), 0U);
}

}  // namespace
}  // namespace vektest

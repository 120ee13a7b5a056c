// Unloading a plug-in whose client is connected: its destructor runs while the system unloads it, when no
// thread can start or end.
#include <gtest/gtest.h>

#include "platform/os/Event.h"
#include "platform/os/Thread.h"
#include "support/TcpPeer.h"
#include "unload/Plugin.h"

namespace {

TEST(Unload, APluginWithALiveClientGoes) {
  for (int round = 0; round < 6; ++round) {
    TestSupport::TTcpPeer peer;
    Dova::Os::TEvent unloaded;
    Dova::Os::TThread user;
    ASSERT_TRUE(user.Start("user", [&] {
      {
        TestSupport::TPlugin plugin;
        plugin.Connect(peer.Port());
        // Once the connect request has arrived, all threads of the session are running.
        peer.Accept();
        peer.Read(3);
        if (round % 2 != 0) peer.Close();  // the link is about to end by itself
      }
      unloaded.Set();
    }));
    if (!unloaded.Wait(60'000)) {
      // An orderly end of this process is no longer possible.
      std::fprintf(stderr, "unloading hangs\n");
      std::_Exit(1);
    }
    user.Join();
    EXPECT_TRUE(round != 0 || peer.IsCutOff()) << "nobody watches the farewell any more";
  }
}

}  // namespace

// Unloading a plug-in whose client is connected: its destructor runs while the system unloads it, when no
// thread can start or end.
#include <gtest/gtest.h>

#include <asio.hpp>

#include "platform/os/Event.h"
#include "platform/os/Thread.h"
#include "unload/Plugin.h"

namespace {

TEST(Unload, APluginWithALiveClientGoes) {
  asio::io_context io;
  asio::ip::tcp::acceptor acceptor(io, {asio::ip::make_address("127.0.0.1"), 0});
  for (int round = 0; round < 6; ++round) {
    Dova::Os::TEvent unloaded;
    Dova::Os::TThread user;
    ASSERT_TRUE(user.Start("user", [&] {
      asio::ip::tcp::socket peer(io);
      {
        TestSupport::TPlugin plugin;
        plugin.Connect(acceptor.local_endpoint().port());
        // Once the connect request has arrived, all threads of the session are running.
        acceptor.accept(peer);
        char head[3];
        asio::read(peer, asio::buffer(head));
        if (round % 2 != 0) peer.close();  // the link is about to end by itself
      }
      unloaded.Set();
    }));
    if (!unloaded.Wait(60'000)) {
      // An orderly end of this process is no longer possible.
      std::fprintf(stderr, "unloading hangs\n");
      std::_Exit(1);
    }
    user.Join();
  }
}

}  // namespace

#pragma once

#include <array>
#include <asio.hpp>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "sim/SimFaults.h"

namespace VekSim {

/// One accepted socket: reads into a callback, writes a queue, and plays LinkFaults while it does.
/// Lives on the server's thread alone. Pending operations hold references, so it outlives them.
class SimLink : public std::enable_shared_from_this<SimLink> {
 public:
  struct Events {
    std::function<void(std::string_view)> bytes;
    std::function<void()> drained;  ///< all that was queued has been written
    std::function<void()> closed;   ///< once, when the link has ended on either side
  };

  explicit SimLink(asio::ip::tcp::socket socket);
  void Start(Events events, const LinkFaults& faults);
  void Set(const LinkFaults& faults);
  const LinkFaults& Faults() const { return faults_; }

  void Write(std::string_view bytes);
  /// Ends the stream behind what is queued, and reads on until the peer has noticed.
  void Finish();
  /// Ends the link now: with a reset, or plainly.
  void Close(bool reset);
  bool Open() const { return open_; }

 private:
  void Read();
  void Pump();
  void WriteSome();
  void OnWritten(const asio::error_code& error, std::size_t count);
  void ShutDown();
  bool Idle() const { return queue_.empty() && written_ == writing_.size(); }

  asio::ip::tcp::socket socket_;
  asio::steady_timer delay_;
  std::shared_ptr<const Events> events_;  ///< let go of when the link closes, as they keep the session alive
  LinkFaults faults_;
  std::array<char, 16384> block_{};
  std::string queue_;
  std::string writing_;      ///< taken from the queue, which may grow meanwhile
  std::size_t written_ = 0;  ///< how much of writing_ has gone
  bool open_ = true;
  bool busy_ = false;  ///< a write or the wait in front of one is under way
  bool reading_ = false;
  bool finishing_ = false;
  bool shut_ = false;  ///< the sending half has ended
};

}  // namespace VekSim

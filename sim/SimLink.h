#pragma once

#include <array>
#include <asio.hpp>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "sim/SimFaults.h"

namespace VekSim {

/// One accepted socket: reads into a callback, writes from a queue, and applies LinkFaults. Used on the
/// server's thread only. Pending operations hold references, so it outlives them.
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
  /// Ends the stream after the queue, and reads until the peer has closed too.
  void Finish();
  /// Ends the link at once: with a reset, or normally.
  void Close(bool reset);
  bool Open() const { return open_; }
  /// "CLIENT:PORT to SERVER:PORT"
  std::string Addresses() const;

 private:
  void Read();
  void Deliver();
  void Pump();
  void WriteSome();
  void OnWritten(const asio::error_code& error, std::size_t count);
  void ShutDown();
  bool Idle() const { return queue_.empty() && written_ == writing_.size(); }

  asio::ip::tcp::socket socket_;
  asio::steady_timer delay_;
  std::shared_ptr<const Events>
      events_;  ///< released when the link closes, because they keep the session alive
  LinkFaults faults_;
  std::array<char, 16384> block_{};
  std::string queue_;
  std::string writing_;      ///< taken from the queue, which may grow meanwhile
  std::size_t written_ = 0;  ///< number of bytes of writing_ already sent
  bool open_ = true;
  bool busy_ = false;        ///< a write, or the delay before one, is pending
  bool reading_ = false;     ///< a read is pending, or its bytes are
  std::size_t arrived_ = 0;  ///< bytes read and not delivered
  bool finishing_ = false;
  bool shut_ = false;  ///< the sending side is shut down
};

}  // namespace VekSim

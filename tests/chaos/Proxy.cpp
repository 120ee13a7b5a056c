#include "chaos/Proxy.h"

#include <array>
#include <asio.hpp>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

#include "chaos/Plan.h"

namespace Chaos {
namespace Links {

using asio::ip::tcp;

struct TShared {
  std::atomic<bool> calm{false};
  std::atomic<unsigned> links{0}, resets{0}, halfCloses{0}, silences{0}, stops{0};
  std::atomic<std::uint64_t> bytes{0};
};

// Both sockets of a connection; lives as long as one of its directions does something.
struct TLink {
  explicit TLink(tcp::socket accepted) : client(std::move(accepted)), server(client.get_executor()) {}

  // As a broken network does it: no orderly end, and what was not delivered is lost.
  void Reset() {
    asio::error_code ignored;
    for (tcp::socket* const each : {&client, &server}) {
      each->set_option(asio::socket_base::linger(true, 0), ignored);
      each->close(ignored);
    }
  }

  tcp::socket client, server;
};

// One direction: reads, waits, writes in slices, and so on.
class TFlow : public std::enable_shared_from_this<TFlow> {
 public:
  TFlow(std::shared_ptr<TLink> link, bool up, const TPlan& plan, unsigned seed, TShared& shared)
      : link_(std::move(link)),
        from_(up ? link_->client : link_->server),
        to_(up ? link_->server : link_->client),
        timer_(from_.get_executor()),
        plan_(plan),
        random_(seed),
        shared_(shared) {}

  void Read() {
    if (passed_ == plan_.faultAt) return Fail();
    const std::size_t most = std::min(buffer_.size(), plan_.faultAt - passed_);
    from_.async_read_some(asio::buffer(buffer_, most),
                          [self = shared_from_this()](asio::error_code error, std::size_t count) {
                            if (error) return self->End(error);
                            self->count_ = count, self->at_ = 0;
                            self->Delay();
                          });
  }

 private:
  // `next` runs later, unless the link has ended.
  template <class TNext>
  void After(std::chrono::microseconds time, TNext next) {
    timer_.expires_after(time);
    timer_.async_wait([self = shared_from_this(), next](asio::error_code) { next(*self); });
  }

  void Delay() {
    const unsigned us =
        plan_.latencyUs + (plan_.jitterUs != 0 ? static_cast<unsigned>(random_() % plan_.jitterUs) : 0);
    if (us == 0) return Write();
    After(std::chrono::microseconds(us), [](TFlow& self) { self.Write(); });
  }

  void Write() {
    const std::size_t size = std::min(plan_.slice, count_ - at_);
    asio::async_write(to_, asio::buffer(buffer_.data() + at_, size),
                      [self = shared_from_this()](asio::error_code error, std::size_t count) {
                        if (error) return self->End(error);
                        self->Written(count);
                      });
  }

  void Written(std::size_t count) {
    at_ += count, passed_ += count;
    shared_.bytes += count;
    if (at_ < count_) return Write();
    if (plan_.bytesPerMs == 0) return Read();
    After(std::chrono::microseconds(count_ * 1000 / plan_.bytesPerMs), [](TFlow& self) { self.Read(); });
  }

  void End(asio::error_code error) {
    asio::error_code ignored;
    if (error != asio::error::eof) return link_->Reset();
    to_.shutdown(tcp::socket::shutdown_send, ignored);
  }

  void Fail() {
    plan_.faultAt = SIZE_MAX;
    const auto pause = std::chrono::milliseconds(plan_.pauseMs);
    switch (plan_.fault) {
      case EFault::Reset:
        ++shared_.resets;
        return link_->Reset();
      case EFault::HalfClose:
        ++shared_.halfCloses;
        End(asio::error::eof);
        return Discard();
      case EFault::Silence:
        ++shared_.silences;
        After(pause, [](TFlow& self) { self.link_->Reset(); });
        return Discard();
      default:
        ++shared_.stops;
        return After(pause, [](TFlow& self) { self.Read(); });
    }
  }

  void Discard() {
    from_.async_read_some(asio::buffer(buffer_),
                          [self = shared_from_this()](asio::error_code error, std::size_t) {
                            if (!error) self->Discard();
                          });
  }

  const std::shared_ptr<TLink> link_;
  tcp::socket &from_, &to_;
  asio::steady_timer timer_;
  TPlan plan_;
  TRandom random_;  // of the jitter
  TShared& shared_;
  std::array<char, 16384> buffer_;
  std::size_t count_ = 0, at_ = 0, passed_ = 0;
};

}  // namespace Links

using Links::tcp;

class TProxy::TImpl {
 public:
  TImpl(std::uint16_t server, unsigned seed)
      : server_(asio::ip::make_address("127.0.0.1"), server),
        acceptor_(io_, tcp::endpoint(server_.address(), 0)),
        random_(seed) {
    // So that senders soon have to wait when nothing is read.
    acceptor_.set_option(asio::socket_base::receive_buffer_size(4096));
    Accept();
    thread_ = std::thread([this] { io_.run(); });
  }
  ~TImpl() {
    io_.stop();
    thread_.join();
  }
  TImpl(const TImpl&) = delete;
  TImpl& operator=(const TImpl&) = delete;

  std::uint16_t Port() const { return port_; }

  Links::TShared shared;

 private:
  void Accept() {
    acceptor_.async_accept([this](asio::error_code error, tcp::socket accepted) {
      if (!error) Connect(std::make_shared<Links::TLink>(std::move(accepted)));
      Accept();
    });
  }

  void Connect(const std::shared_ptr<Links::TLink>& link) {
    ++shared.links;
    link->server.async_connect(server_, [this, link](asio::error_code error) {
      if (error) return link->Reset();
      Start(link);
    });
  }

  // Both plans are drawn whatever becomes of them, so that those of later links stay the same.
  void Start(const std::shared_ptr<Links::TLink>& link) {
    for (tcp::socket* const each : {&link->client, &link->server}) {
      asio::error_code ignored;
      each->set_option(tcp::no_delay(true), ignored);
    }
    for (const bool up : {true, false}) {
      const TPlan plan = MakePlan(random_);
      const auto seed = static_cast<unsigned>(random_());
      std::make_shared<Links::TFlow>(link, up, shared.calm ? TPlan{} : plan, seed, shared)->Read();
    }
  }

  asio::io_context io_{1};
  const tcp::endpoint server_;
  tcp::acceptor acceptor_;
  const std::uint16_t port_ = acceptor_.local_endpoint().port();
  TRandom random_;
  std::thread thread_;
};

TProxy::TProxy(std::uint16_t server, unsigned seed) : impl_(std::make_unique<TImpl>(server, seed)) {}
TProxy::~TProxy() = default;

std::uint16_t TProxy::Port() const {
  return impl_->Port();
}

void TProxy::Calm() {
  impl_->shared.calm = true;
}

TCounts TProxy::Counts() const {
  const Links::TShared& now = impl_->shared;
  return {now.links, now.resets, now.halfCloses, now.silences, now.stops, now.bytes};
}

}  // namespace Chaos

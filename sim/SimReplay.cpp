#include "sim/SimReplay.h"

#include <algorithm>
#include <asio.hpp>
#include <atomic>
#include <set>
#include <thread>
#include <utility>

#include "sim/SimLink.h"
#include "sim/SimListen.h"
#include "sim/SimWire.h"

namespace VekSim {

namespace {

using asio::ip::tcp;

constexpr std::chrono::hours kLongestPause{1};

/// Pieces do not count: a client may split a text elsewhere.
bool Counts(std::string_view packet) {
  return CodeOf(packet) != Code::kHeartbeat && CodeOf(packet) != Code::kPiece;
}

/// The key that a connect result announces; empty if it has none.
std::string KeyOf(std::string_view packet) {
  constexpr std::string_view kTag = "VekEnc\n";
  constexpr std::size_t kItems = 20;
  const std::size_t tag = packet.rfind(kTag), at = tag + kTag.size();
  if (tag == std::string_view::npos || tag < kItems || at + 2 > packet.size()) return {};
  return std::string(packet.substr(at + 2, static_cast<unsigned char>(packet[at + 1])));
}

}  // namespace

/// Plays one link's packets to its client.
class SimReplayed : public std::enable_shared_from_this<SimReplayed> {
 public:
  SimReplayed(const std::vector<SimRecorded>& packets, bool fast, std::shared_ptr<SimLink> link,
              asio::io_context& io)
      : packets_(packets), fast_(fast), link_(std::move(link)), timer_(io) {}

  void Start(std::function<void()> over) {
    link_->Start({[self = shared_from_this()](std::string_view bytes) { self->OnBytes(bytes); }, [] {},
                  [self = shared_from_this(), over = std::move(over)] {
                    self->timer_.cancel();
                    over();
                  }},
                 {});
    Go();
  }
  void Close() { link_->Close(false); }

 private:
  void OnBytes(std::string_view bytes) {
    cutter_.Feed(bytes);
    while (const auto packet = cutter_.Next()) arrived_ += Counts(*packet) ? 1 : 0;
    if (cutter_.Broken()) return Close();
    Go();
  }

  void Go() {
    while (!waiting_ && next_ < packets_.size()) {
      const SimRecorded& packet = packets_[next_];
      if (!packet.fromServer) {
        if (Counts(packet.packet)) {
          if (arrived_ == 0) return;
          --arrived_;
        }
      } else if (!fast_ && !paused_) {
        return Pause(packet.at - (next_ == 0 ? packet.at : packets_[next_ - 1].at));
      } else {
        Send(packet.packet);
      }
      paused_ = false;
      ++next_;
    }
    if (next_ == packets_.size()) link_->Finish();
  }

  void Pause(std::chrono::nanoseconds time) {
    waiting_ = true;
    timer_.expires_after(
        std::clamp<std::chrono::nanoseconds>(time, std::chrono::nanoseconds(0), kLongestPause));
    timer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
      self->waiting_ = false;
      self->paused_ = true;
      if (!error) self->Go();
    });
  }

  void Send(std::string packet) {
    if (CodeOf(packet) == Code::kConnect) {
      key_ = KeyOf(packet);
    } else {
      Scramble(packet, key_);
    }
    link_->Write(packet);
  }

  const std::vector<SimRecorded>& packets_;
  const bool fast_;
  const std::shared_ptr<SimLink> link_;
  asio::steady_timer timer_;
  PacketCutter cutter_;
  std::string key_;
  std::size_t next_ = 0;
  std::size_t arrived_ = 0;  ///< packets from the client not yet matched
  bool waiting_ = false;
  bool paused_ = false;  ///< the pause before the next packet is over
};

class SimReplay::Impl {
 public:
  Impl(SimRecording recording, SimReplayConfig config)
      : recording_(std::move(recording)), config_(std::move(config)), acceptor_(io_) {
    ListenOn(acceptor_, config_.host, config_.port);
    port = acceptor_.local_endpoint().port();
    asio::post(io_, [this] { Accept(); });
    thread_ = std::thread([this] { io_.run(); });
  }

  ~Impl() {
    asio::post(io_, [this] {
      asio::error_code ignored;
      acceptor_.close(ignored);
      for (const auto& link : std::set(links_)) link->Close();
    });
    thread_.join();
  }

  bool Over() const { return over_ == recording_.links.size(); }

  std::uint16_t port = 0;

 private:
  void Accept() {
    if (accepted_ == recording_.links.size()) return;
    acceptor_.async_accept([this](const asio::error_code& error, tcp::socket socket) {
      if (error == asio::error::operation_aborted || !acceptor_.is_open()) return;
      if (!error) Play(std::move(socket));
      Accept();
    });
  }

  void Play(tcp::socket socket) {
    const std::size_t number = ++accepted_;
    const auto link = std::make_shared<SimReplayed>(recording_.links[number - 1], config_.fast,
                                                    std::make_shared<SimLink>(std::move(socket)), io_);
    links_.insert(link);
    Note(number, "link");
    link->Start([this, link, number] {
      links_.erase(link);
      ++over_;
      Note(number, "closed");
    });
  }

  void Note(std::size_t link, const char* what) const {
    if (config_.log) config_.log({{}, static_cast<int>(link), what, {}, {}, {}, 0, {}, {}});
  }

  const SimRecording recording_;
  const SimReplayConfig config_;
  asio::io_context io_{1};
  tcp::acceptor acceptor_;
  std::set<std::shared_ptr<SimReplayed>> links_;
  std::size_t accepted_ = 0;
  std::atomic<std::size_t> over_{0};
  std::thread thread_;
};

SimReplay::SimReplay(SimRecording recording, SimReplayConfig config)
    : impl_(std::make_unique<Impl>(std::move(recording), std::move(config))) {}
SimReplay::~SimReplay() = default;

std::uint16_t SimReplay::Port() const {
  return impl_->port;
}
bool SimReplay::Over() const {
  return impl_->Over();
}

}  // namespace VekSim

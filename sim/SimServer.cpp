#include "sim/SimServer.h"

#include <asio.hpp>
#include <future>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "sim/SimListen.h"
#include "sim/SimOrderFile.h"
#include "sim/SimPage.h"
#include "sim/SimSession.h"

namespace VekSim {

using asio::ip::tcp;

namespace {

constexpr std::chrono::milliseconds kRelistenPeriod{200};

}  // namespace

class SimServer::Impl {
 public:
  explicit Impl(SimConfig config)
      : core(std::move(config)),
        acceptor_(core.io),
        port_(core.config.port),
        orders_(core.config.persistFile) {
    if (orders_.IsOpen()) {
      orders_.Restore(core.market);
      core.market.changed = [this](const SimChange& change) { orders_.Add(change); };
    }
    core.restart = [this](bool memory, std::chrono::milliseconds down) { Restart(memory, down); };
    Listen();
    if (!core.config.recordFile.empty()) core.recorder.Open(core.config.recordFile, core.config.order);
    if (core.config.webPort) page_.emplace(core, core.config.webHost, *core.config.webPort);
    // Posted to the thread that handles the results: a system may deliver them through the thread that
    // started the operation.
    asio::post(core.io, [this] {
      core.player.Start();
      if (page_) page_->Start();
      Accept();
    });
    thread_ = std::thread([this] { Run(); });
  }

  ~Impl() { Stop(); }

  void Stop() {
    const std::lock_guard lock(stopping_);
    if (!thread_.joinable()) return;
    asio::post(core.io, [this] {
      CloseAll();
      if (page_) page_->Stop();
      work_.reset();
    });
    thread_.join();  // run() returns when the last operation has been cancelled
  }

  std::uint16_t Port() const { return port_; }
  std::string PageUrl() const { return page_ ? page_->Url() : std::string(); }

  /// Runs an action on the server's thread for each selected session. False if there was none at the time of
  /// the call.
  template <class Action>
  bool For(int id, Action action) {
    const bool there = core.record.Read([&](const SimSeen& seen) {
      if (id != kAll) return seen.signedOn.count(id) != 0;
      for (const auto& [session, ready] : seen.signedOn) {
        if (ready) return true;
      }
      return false;
    });
    if (!there) return false;
    asio::post(core.io, [this, id, action = std::move(action)] {
      for (const auto& [session, it] : std::map(core.sessions)) {
        if (session == id || (id == kAll && it->Login())) action(*it);
      }
    });
    return true;
  }

  /// Runs an action on the server's thread and waits for it; nothing happens once the server has stopped.
  template <class Action>
  void Await(const Action& action) {
    const std::lock_guard lock(stopping_);
    if (!thread_.joinable()) return;
    std::promise<void> done;
    asio::post(core.io, [&] {
      action();
      done.set_value();
    });
    done.get_future().wait();
  }

  SimCore core;

 private:
  // An exception means that a file of orders, a ledger or a recording could not be written: then nothing more
  // may be answered.
  void Run() {
    for (;;) {
      try {
        core.io.run();
        return;
      } catch (const std::exception& error) {
        CloseAll();
        core.record.Update([&](SimSeen& seen) { seen.failure = error.what(); });
      }
    }
  }

  void CloseAll() {
    asio::error_code ignored;
    acceptor_.close(ignored);
    core.player.Stop();
    for (const auto& [id, session] : core.sessions) session->Link().Close(false);
  }

  void Restart(bool memory, std::chrono::milliseconds down) {
    const auto up = core.Now() + down;  // before any client learns of it
    asio::error_code ignored;
    acceptor_.close(ignored);
    for (const auto& [id, session] : std::map(core.sessions)) session->Link().Close(true);
    if (!memory) {
      core.market.Forget();
      core.users = SimUsers(core.config);
    }
    core.player.At(up, [this] { Relisten(); });
  }

  // Another program may have taken the port meanwhile.
  void Relisten() {
    if (acceptor_.is_open()) return;  // a second restart while the server was down
    try {
      Listen();
    } catch (const std::system_error& error) {
      asio::error_code ignored;
      acceptor_.close(ignored);
      core.Note({{}, 0, "listening", {}, {}, "failed", 0, {}, error.what()});
      core.player.At(core.Now() + kRelistenPeriod, [this] { Relisten(); });
      return;
    }
    core.Note({{}, 0, "listening", {}, {}, {}, 0, {}, "again on port " + std::to_string(port_)});
    Accept();
  }

  void Listen() {
    ListenOn(acceptor_, core.config.host, port_);
    port_ = acceptor_.local_endpoint().port();
  }

  void Accept() {
    acceptor_.async_accept([this](const asio::error_code& error, tcp::socket socket) {
      if (error == asio::error::operation_aborted || !acceptor_.is_open()) return;
      // Other errors concern one link that ended before it was accepted.
      if (!error) Serve(std::move(socket));
      Accept();
    });
  }

  void Serve(tcp::socket socket) {
    const int id = ++lastId_;
    const auto session = std::make_shared<SimSession>(core, id, std::make_shared<SimLink>(std::move(socket)));
    core.sessions[id] = session;
    session->Start();
  }

  tcp::acceptor acceptor_;
  std::uint16_t port_;
  SimOrderFile orders_;
  std::optional<SimPage> page_;
  int lastId_ = 0;
  // Otherwise the thread would end while a server is down, with neither links nor an acceptor.
  asio::executor_work_guard<asio::io_context::executor_type> work_{core.io.get_executor()};
  std::mutex stopping_;
  std::thread thread_;
};

SimServer::SimServer(SimConfig config) : impl_(std::make_unique<Impl>(std::move(config))) {}
SimServer::~SimServer() = default;

std::uint16_t SimServer::Port() const {
  return impl_->Port();
}
std::string SimServer::Setting() const {
  const std::string& host = impl_->core.config.host;
  const bool bare = host.find(':') == std::string::npos;
  return "TCPClient:" + (bare ? host : "[" + host + "]") + ":" + std::to_string(Port());
}
std::string SimServer::PageUrl() const {
  return impl_->PageUrl();
}
void SimServer::Stop() {
  impl_->Stop();
}
SimFaults& SimServer::Faults() {
  return impl_->core.faults;
}

void SimServer::SetLink(int session, const LinkFaults& faults) {
  impl_->For(session, [faults](SimSession& to) { to.Link().Set(faults); });
}

bool SimServer::SendReport(int session, std::string_view text) {
  return SendText(session, Code::kReport, text);
}
bool SimServer::SendHeartbeat(int session) {
  return SendPacket(session, Code::kHeartbeat, {});
}

bool SimServer::SendRaw(int session, std::string_view bytes) {
  return impl_->For(session, [bytes = std::string(bytes)](SimSession& to) { to.SendRaw(bytes); });
}

bool SimServer::SendPacket(int session, int code, std::string_view body) {
  return impl_->For(session, [packet = Packet(code, body)](SimSession& to) { to.Send(packet); });
}

bool SimServer::SendText(int session, int code, std::string_view text) {
  return impl_->For(session, [code, text = std::string(text)](SimSession& to) { to.SendText(code, text); });
}

bool SimServer::SendLong(int session, int code, std::string_view text, std::size_t pieceSize,
                         std::vector<SimInsert> between) {
  std::vector<std::string> packets;
  std::size_t next = 0;
  for (std::string& piece : TextPackets(code, text, impl_->core.config.order, pieceSize)) {
    const bool last = CodeOf(piece) != Code::kPiece;
    packets.push_back(std::move(piece));
    if (last || next == between.size()) continue;
    packets.push_back(Packet(between[next].code, between[next].body));
    ++next;
  }
  return impl_->For(session, [packets = std::move(packets)](SimSession& to) {
    for (const std::string& packet : packets) to.Send(packet);
  });
}

bool SimServer::SendResult(int session, std::string_view workId, std::string_view text) {
  return SendText(session, Code::kTask, TaskBody(workId, text, impl_->core.config.order));
}

bool SimServer::Disconnect(int session, bool reset) {
  return impl_->For(session, [reset](SimSession& to) {
    if (reset) return to.Link().Close(true);
    to.Link().Finish();
  });
}

bool SimServer::Play(const SimAction& action, int session, const std::string& order) {
  bool good = false;
  impl_->Await([&] {
    good = impl_->core.player.Do(action, session, order);
    impl_->core.player.Tick();
  });
  return good;
}

void SimServer::Tick() {
  impl_->Await([this] { impl_->core.player.Tick(); });
}

SimSeen SimServer::Seen() const {
  return impl_->core.record.Read([](const SimSeen& seen) { return seen; });
}

void SimServer::Forget() {
  impl_->core.record.Update([](SimSeen& seen) {
    SimSeen fresh;
    fresh.signedOn = std::move(seen.signedOn);
    seen = std::move(fresh);
  });
}

bool SimServer::WaitFor(const std::function<bool(const SimSeen&)>& predicate,
                        std::chrono::milliseconds timeout) const {
  return impl_->core.record.WaitFor(predicate, timeout);
}

}  // namespace VekSim

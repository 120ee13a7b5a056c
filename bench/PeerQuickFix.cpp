// An order and its execution report over a FIX 4.2 session: no files, no log, no data dictionary, and the
// next order sent inside the callback.
#include <quickfix/Application.h>
#include <quickfix/Message.h>
#include <quickfix/MessageStore.h>
#include <quickfix/Session.h>
#include <quickfix/SessionSettings.h>
#include <quickfix/ThreadedSocketAcceptor.h>
#include <quickfix/ThreadedSocketInitiator.h>

#include <asio.hpp>
#include <cstdlib>
#include <future>
#include <sstream>
#include <string>

#include "Trips.h"

namespace {

struct Quiet : FIX::Application {
  void onCreate(const FIX::SessionID&) override {}
  void onLogon(const FIX::SessionID&) override {}
  void onLogout(const FIX::SessionID&) override {}
  void toAdmin(FIX::Message&, const FIX::SessionID&) override {}
  void toApp(FIX::Message&, const FIX::SessionID&) noexcept override {}
  void fromAdmin(const FIX::Message&, const FIX::SessionID&) noexcept override {}
};

FIX::Message Made(const char* kind, std::initializer_list<std::pair<int, const char*>> fields) {
  FIX::Message message;
  message.getHeader().setField(FIX::FIELD::MsgType, kind);
  for (const auto& [tag, value] : fields) message.setField(tag, value);
  return message;
}

struct Broker : Quiet {
  void fromApp(const FIX::Message&, const FIX::SessionID& session) noexcept override {
    FIX::Message report = Made("8", {{37, "0001"},
                                     {17, "1"},
                                     {20, "0"},
                                     {150, "0"},
                                     {39, "0"},
                                     {55, "TXFL6"},
                                     {54, "1"},
                                     {151, "2"},
                                     {14, "0"},
                                     {6, "0"},
                                     {11, "W1"}});
    FIX::Session::sendToTarget(report, session);
  }
};

FIX::SessionSettings Settings(const char* kind, const char* from, const char* to, int port) {
  std::stringstream text;
  text << "[DEFAULT]\nConnectionType=" << kind << "\nHeartBtInt=30\nStartTime=00:00:00\nEndTime=00:00:00\n"
       << "UseDataDictionary=N\nSocketNodelay=Y\nReconnectInterval=1\nSocketAcceptPort=" << port
       << "\nSocketConnectHost=127.0.0.1\nSocketConnectPort=" << port
       << "\n[SESSION]\nBeginString=FIX.4.2\nSenderCompID=" << from << "\nTargetCompID=" << to << "\n";
  return FIX::SessionSettings(text);
}

int FreePort() {
  asio::io_context io;
  using asio::ip::tcp;
  return tcp::acceptor(io, tcp::endpoint(asio::ip::address_v4::loopback(), 0)).local_endpoint().port();
}

class QuickFix : public Trips, Quiet {
 public:
  QuickFix()
      : port_(FreePort()),
        accepts_(Settings("acceptor", "BROKER", "TRADER", port_)),
        initiates_(Settings("initiator", "TRADER", "BROKER", port_)),
        acceptor_(broker_, stores_, accepts_),
        initiator_(*this, stores_, initiates_) {
    acceptor_.start();
    initiator_.start();
    done_.get_future().wait();
  }
  ~QuickFix() override {
    initiator_.stop(true);
    acceptor_.stop(true);
  }
  void Run(int count, rows::Series& series) override {
    left_ = count, series_ = &series;
    done_ = std::promise<void>();
    Ping();
    done_.get_future().wait();
  }

 private:
  void onLogon(const FIX::SessionID& session) override {
    session_ = session;
    done_.set_value();
  }
  void fromApp(const FIX::Message&, const FIX::SessionID&) noexcept override {
    series_->Call(MicrosecondsSince(start_));
    if (--left_ > 0) return Ping();
    done_.set_value();
  }
  void Ping() {
    start_ = rows::Clock::now();
    FIX::Message order = Made("D", {{11, "W1"},
                                    {21, "1"},
                                    {55, "TXFL6"},
                                    {54, "1"},
                                    {38, "2"},
                                    {40, "2"},
                                    {44, "17500"},
                                    {59, "0"},
                                    {60, "20261121-08:45:00"}});
    if (!FIX::Session::sendToTarget(order, session_)) std::exit(3);
  }

  const int port_;
  Broker broker_;
  FIX::MemoryStoreFactory stores_;
  const FIX::SessionSettings accepts_, initiates_;
  FIX::ThreadedSocketAcceptor acceptor_;
  FIX::ThreadedSocketInitiator initiator_;
  FIX::SessionID session_;
  std::promise<void> done_;
  int left_ = 0;
  rows::Series* series_ = nullptr;
  rows::Clock::time_point start_;
};

const bool kLinked = (TripsPeers().push_back(
                          {"QuickFIX", [] { return std::unique_ptr<Trips>(std::make_unique<QuickFix>()); }}),
                      true);

}  // namespace

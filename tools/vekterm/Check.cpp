#include "vekterm/Check.h"

#include <fmt/core.h>
#include <fmt/format.h>

#include <algorithm>

#include "vekdump/Looks.h"
#include "vekdump/Text.h"
#include "vekterm/Advice.h"
#include "vekterm/Client.h"
#include "vekterm/Network.h"
#include "vekterm/Setting.h"

namespace VekTerm {
namespace {

using std::chrono::steady_clock;

// Why a step failed, and what to do.
struct Fault {
  EExit code;
  std::string what, advice;
};

// Nothing is sent or received for so long: a heartbeat has gone.
constexpr std::chrono::milliseconds kIdle{2 * kCheckSilenceMs};

constexpr std::chrono::milliseconds kFirstBytes{3000};

class Silent : public Output {
  void Tell(const Note&) override {}
  void Show(const Grid&) override {}
};

std::int64_t Since(steady_clock::time_point begin) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(steady_clock::now() - begin).count();
}

class Check : private EventSink {
 public:
  Check(const Options& options, Output& output)
      : options_(options), output_(output), limit_(std::chrono::seconds(options.patienceSeconds)) {}

  EExit Run(const std::string& password) {
    try {
      LookAround();
      Client client(options_, silent_, this);
      Step("connect request", [&] { return ConnectRequest(client, password); });
      Step("sign-on", [&] { return SignOn(client); });
      Step("round trips", [&] { return RoundTrips(client); });
      Step("heartbeat", [&] { return Heartbeat(client); });
      if (median_ > options_.slowMs * std::int64_t{1'000'000})
        throw Fault{kSlow, "slow: the median round trip takes " + VekDump::Duration(median_),
                    "Look at the network in between, or at the load of the server."};
    } catch (const Fault& fault) {
      Tell("result", false, 0, fault.what + "\n  " + fault.advice, fault.code);
      return fault.code;
    }
    Tell("result", true, 0, "everything works", kDone);
    return kDone;
  }

 private:
  // Does one step, which returns what it found or throws a Fault.
  template <class Do>
  void Step(const char* name, Do work) {
    const auto begin = steady_clock::now();
    try {
      const std::string found = work();
      Tell(name, true, Since(begin), found, kDone);
    } catch (const Fault& fault) {
      Tell(name, false, Since(begin), fault.what, fault.code);
      throw;
    }
  }

  void Tell(const char* name, bool good, std::int64_t ns, const std::string& text, EExit code) {
    const std::string time = ns == 0 ? "" : VekDump::Duration(ns);
    output_.Tell({"step",
                  fmt::format("{} {:<16}{:>12}  {}", good ? "✓" : "✗", name, time, text),
                  {{"step", name}, {"good", good}, {"ns", ns}, {"text", text}, {"exit", std::int64_t{code}}},
                  {}});
  }

  // What lies below the session, when it is TCP.
  void LookAround() {
    const auto parameters = TcpParameters(options_.servers.front());
    if (!parameters) return;
    Step("setting", [&] { return Setting(*parameters); });
    Step("look-up", [&] { return Names(); });
    for (const std::string& address : addresses_) Address(address);
    if (connected_.empty())
      throw Fault{
          kNoAddress, "no address can be connected",
          refused_
              ? "The machine answers, but nothing listens on this port: the port is wrong, or the server "
                "does not run. A firewall may also refuse."
              : "Nothing answers at all: the address is wrong, the machine is off, or a firewall drops "
                "the packets. Ask who runs the network for this port."};
  }

  std::string Setting(const std::string& parameters) {
    try {
      place_ = TcpPlaceOf(parameters);
    } catch (const Failure& failure) {
      throw Fault{kBadSetting, failure.what(),
                  "Write the server as HOST:PORT, such as gw1:9000 or [::1]:9000."};
    }
    return fmt::format("host {}, port {}", place_.host, place_.port);
  }

  std::string Names() {
    const Lookup found = LookUp(place_.host);
    addresses_ = found.addresses;
    if (addresses_.empty())
      throw Fault{
          kNoName, fmt::format("\"{}\" is not known: {}", place_.host, found.error),
          "The name is misspelt, or this machine's name service does not know it. Try the address as a "
          "number."};
    return fmt::format("{}", fmt::join(addresses_, ", "));
  }

  // One that fails is told; another may do.
  void Address(const std::string& address) {
    const auto begin = steady_clock::now();
    const Attempt attempt = Connect(address, place_.port, limit_);
    if (attempt.made) connected_ = address;
    refused_ = refused_ || attempt.refused;
    const std::string why = attempt.timedOut ? "no answer" : attempt.error;
    Tell("address", attempt.made, Since(begin), address + (attempt.made ? " connected" : ": " + why),
         attempt.made ? kDone : kNoAddress);
  }

  std::string ConnectRequest(Client& client, const std::string& password) {
    client.Open(password);
    client.WaitUntil([&] { return accepted_ || Ended(client); }, limit_ + limit_);
    if (accepted_) return "answered";
    const std::string bytes =
        connected_.empty() ? "" : FirstBytes(connected_, place_.port, std::min(limit_, kFirstBytes));
    if (const auto other = VekDump::OtherProtocol(bytes); !other.empty())
      throw Fault{kNoConnect, fmt::format("another protocol: what answers looks like {}", other),
                  Advice(vsr_BadStream)};
    // The address was connected: it is the server that says nothing.
    if (end_ == vsr_ConnectTimeout && !connected_.empty()) end_ = vsr_UnknownServer;
    throw Fault{kNoConnect, Why(), Advice(end_)};
  }

  std::string SignOn(Client& client) {
    client.WaitUntil([&] { return client.LastState().state == vss_Up || Ended(client); }, limit_ + limit_);
    if (client.LastState().state != vss_Up) throw Fault{kNoSignOn, Why(), Advice(end_)};
    return "signed on as " + options_.user;
  }

  std::string RoundTrips(Client& client) {
    std::vector<std::int64_t> times;
    for (unsigned i = 0; i < options_.rounds; ++i) {
      client.WaitUntil([&] { return client.Session().WaitMs(cvmc_TaskResult) == 0 || Ended(client); },
                       limit_);
      const Request& request = client.Submit(cvmc_TaskResult, options_.query + '\n', false);
      client.Await(request);
      if (request.fate != vsf_Answered)
        throw Fault{kNoRound,
                    fmt::format("query \"{}\": {}", options_.query,
                                end_ != 0 ? Why() : CVekApi_Text(vst_Fate, request.fate, 0)),
                    end_ != 0
                        ? Advice(end_)
                        : "The server takes queries but does not answer this one. Try another: --query."};
      times.push_back(request.tookNs);
    }
    std::sort(times.begin(), times.end());
    median_ = times[times.size() / 2];
    return fmt::format("{} of \"{}\": median {}, worst {}", times.size(), options_.query,
                       VekDump::Duration(median_), VekDump::Duration(times.back()));
  }

  // When nothing is sent for a while, the session sends a heartbeat and the query.
  std::string Heartbeat(Client& client) {
    const auto begin = client.Session().Stats();
    CVekSessionStats now = begin;
    const auto heard = [&] {
      now = client.Session().Stats();
      return (beats_ != 0 && now.bytesIn != begin.bytesIn) || Ended(client);
    };
    if (!client.WaitUntil(heard, kIdle)) return "not tried: the server sends all the time";
    if (Ended(client)) throw Fault{kNoHeartbeat, Why(), Advice(end_)};
    return now.messagesIn == begin.messagesIn ? "answered" : "not answered, which is allowed; the query was";
  }

  bool Ended(const Client& client) const {
    const int state = client.LastState().state;
    return state == vss_Waiting || state == vss_Refused || state == vss_Stopped || state == vss_Closed;
  }

  std::string Why() const {
    std::string why = CVekApi_Text(vst_Reason, end_, 0);
    return detail_.empty() ? why : why + ": " + detail_;
  }

  void Add(const CVekEvent& event) override {
    const bool out = (event.flags & vsg_Outbound) != 0;
    if (event.kind == vse_Trace && event.code == 1 && out) ++beats_;
    if (event.kind != vse_State) return;
    if (event.state == vss_SigningOn) accepted_ = true;
    if (event.reason == 0 || end_ != 0) return;
    end_ = event.reason;
    detail_ = VekApi::ToUtf8(event.detail);
  }

  const Options& options_;
  Output& output_;
  Silent silent_;
  const std::chrono::milliseconds limit_;
  TcpPlace place_;
  std::vector<std::string> addresses_;
  std::string connected_;  // an address
  bool refused_ = false;
  bool accepted_ = false;
  std::int32_t end_ = 0;  // why the link ended
  std::string detail_;
  std::int64_t median_ = 0;
  int beats_ = 0;  // heartbeats sent
};

}  // namespace

EExit RunCheck(const Options& options, const std::string& password, Output& output) {
  return Check(options, output).Run(password);
}

}  // namespace VekTerm

#include "vekterm/Check.h"

#include <fmt/core.h>

#include <algorithm>

#include "vekdump/Text.h"
#include "vekterm/Advice.h"
#include "vekterm/Client.h"
#include "vekterm/Steps.h"

namespace VekTerm {
namespace {

// A heartbeat has been sent after this long without traffic.
constexpr std::chrono::milliseconds kIdle{2 * kCheckSilenceMs};

class Silent : public Output {
  void Tell(const Note&) override {}
  void Show(const Grid&) override {}
};

class Check : private EventSink {
 public:
  Check(const Options& options, Output& output)
      : options_(options), steps_(output), limit_(std::chrono::seconds(options.patienceSeconds)) {}

  EExit Run(const std::string& password) {
    try {
      address_ = ReachServer(options_, steps_);
      Client client(options_, silent_, this);
      steps_.Do(
          "connect request", [&] { return ConnectRequest(client, password); }, connectNs_);
      steps_.Do(
          "sign-on", [&] { return SignOn(client); }, signOnNs_);
      steps_.Do("round trips", [&] { return RoundTrips(client); });
      steps_.Do("heartbeat", [&] { return Heartbeat(client); });
      if (median_ > options_.slowMs * std::int64_t{1'000'000})
        throw Fault{kSlow, "slow: the median round trip takes " + VekDump::Duration(median_),
                    "Look at the network in between, or at the load of the server."};
    } catch (const Fault& fault) {
      steps_.Tell("result", false, 0, fault.what + "\n  " + fault.advice, fault.code);
      return fault.code;
    }
    steps_.Tell("result", true, 0, "everything works");
    return kDone;
  }

 private:
  std::string ConnectRequest(Client& client, const std::string& password) {
    client.Open(password);
    client.WaitUntil([&] { return accepted_ || Ended(client); }, limit_ + limit_);
    if (accepted_) return "answered";
    // The address accepted the connection: it is the server that does not answer.
    if (end_ == vsr_ConnectTimeout && !address_.empty()) end_ = vsr_UnknownServer;
    throw Fault{kNoConnect, Why(), Advice(end_)};
  }

  std::string SignOn(Client& client) {
    client.WaitUntil([&] { return client.LastState().state == vss_Up || Ended(client); }, limit_ + limit_);
    if (client.LastState().state != vss_Up) throw Fault{kNoSignOn, Why(), Advice(end_)};
    return "signed on as " + options_.user;
  }

  // As soon as the rate allows, so that only network and server are measured.
  std::int64_t RoundTrip(Client& client) {
    const auto ready = [&] { return client.Session().WaitMs(cvmc_TaskResult) == 0 || Ended(client); };
    client.WaitUntil(ready, limit_);
    if (Ended(client)) throw Fault{kNoRound, Why(), Advice(end_)};
    const Request& request = client.Submit(cvmc_TaskResult, options_.query + '\n', false);
    client.Await(request);
    if (request.fate == vsf_Answered) return request.tookNs;
    const std::string query = fmt::format("query \"{}\": ", options_.query);
    if (end_ != 0) throw Fault{kNoRound, query + Why(), Advice(end_)};
    throw Fault{kNoRound, query + CVekApi_Text(vst_Fate, request.fate, 0),
                "The server takes queries but does not answer this one. Try another: --query."};
  }

  std::string RoundTrips(Client& client) try {
    std::vector<std::int64_t> times;
    for (unsigned i = 0; i < options_.rounds; ++i) times.push_back(RoundTrip(client));
    std::sort(times.begin(), times.end());
    median_ = times[times.size() / 2];
    return fmt::format("{} of \"{}\": median {}, worst {}", times.size(), options_.query,
                       VekDump::Duration(median_), VekDump::Duration(times.back()));
  } catch (const Interrupted&) {
    throw;
  } catch (const Failure& failure) {  // the session ended just now
    throw Fault{kNoRound, failure.what(), Advice(vsr_LinkBroken)};
  }

  // After a while without traffic the session sends a heartbeat and the query.
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
    const std::string why = CVekApi_Text(vst_Reason, end_, 0), more = BeyondReason(why, detail_);
    return more.empty() ? why : why + ": " + more;
  }

  void Add(const CVekEvent& event) override {
    const bool out = (event.flags & vsg_Outbound) != 0;
    if (event.kind == vse_Trace && event.code == 1 && out) ++beats_;
    if (event.kind != vse_State) return;
    Time(event);
    if (event.reason == 0 || end_ != 0) return;
    end_ = event.cause != 0 ? event.cause : event.reason;
    detail_ = VekApi::ToUtf8(event.detail);
  }

  // Several states may be delivered together.
  void Time(const CVekEvent& event) {
    const bool answers = event.state == vss_Up || event.state == vss_Refused;
    if (event.state == vss_Connecting) connectingNs_ = event.atNs;
    if (answers && accepted_ && signOnNs_ == 0) signOnNs_ = event.atNs - connectingNs_ - connectNs_;
    if (event.state != vss_SigningOn || accepted_) return;
    accepted_ = true;
    connectNs_ = event.atNs - connectingNs_;
  }

  const Options& options_;
  Steps steps_;
  Silent silent_;
  const std::chrono::milliseconds limit_;
  std::string address_;
  bool accepted_ = false;
  std::int32_t end_ = 0;  // why the link ended
  std::string detail_;
  std::int64_t connectingNs_ = 0;  // when it began to connect
  std::int64_t connectNs_ = 0;
  std::int64_t signOnNs_ = 0;
  std::int64_t median_ = 0;
  int beats_ = 0;  // heartbeats sent
};

}  // namespace

EExit RunCheck(const Options& options, const std::string& password, Output& output) {
  return Check(options, output).Run(password);
}

}  // namespace VekTerm

// A complete session with an order-routing server: sign-on, queries, an order until it is filled, a burst of
// orders at the rate the server allows, a new password, and a second sign-on with it. Exits with status 0 if
// every step succeeded within its time limit.
#include <fmt/core.h>

#include <chrono>
#include <cstdio>
#include <deque>
#include <string>
#include <thread>

#include "ResultText.h"
#include "SessionEvents.h"
#include "Terminal.h"
#include "vekapi/VekFlowCtrlSender.h"
#include "vekapi/VekTable.h"

namespace {

struct Options {
  std::string server = "127.0.0.1:9000";
  std::string user = "trader";
  std::string account;
  std::string password = "secret";
  std::string newPassword = "changed";
  int limitSeconds = 30;  // per step
  int orders = 5;         // number of orders the server accepts per interval, in milliseconds:
  int perMs = 200;
};

void Say(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
}

bool StartsWith(const std::string& text, const std::string& start) {
  return text.rfind(start, 0) == 0;
}

class Session {
 public:
  explicit Session(const Options& options)
      : options_(options), limit_(std::chrono::seconds(options.limitSeconds)), client_(events_) {
    events_.FeedGate(sender_);
  }
  // No event follows, so the members they use may be destroyed.
  ~Session() { client_.Disconnect(); }

  bool Run() {
    return SignOn(options_.password) && Query("products") && Query("orders") && Query("positions") &&
           Order() && Query("orders", 1) && Query("deals", 1) && Query("positions", 1) && Burst() &&
           Query("stats", 1) && KeptThePace() && ChangePassword() && SignOff() &&
           SignOn(options_.newPassword) && SignOff();
  }

 private:
  // Prints a step's outcome and returns it.
  bool Step(const std::string& name, bool done) {
    Say(done ? fmt::format("-- {}: done\n", name)
             : fmt::format("-- {}: FAILED in state {}\n", name, static_cast<int>(client_.State())));
    return done;
  }

  bool SignOn(const std::string& password) {
    Say(fmt::format("-- sign-on of {} at {}\n", options_.user, options_.server));
    events_.Forget();
    client_.Connect(options_.server, "VekApi example", "1.0.0.0", options_.user, options_.account, password);
    const bool ready = events_.Wait(limit_, [](const SessionSeen& seen) { return seen.signOn.has_value(); });
    if (ready) Say(ResultText(*events_.Seen().signOn));
    sender_.SetFlowCtrl(options_.orders, options_.perMs);  // again for each session
    return Step("sign-on", ready);
  }

  // The library fills the first five bytes of a request.
  std::string Request(const std::string& verb, const std::string& arguments) {
    workId_ = "w" + std::to_string(++requests_);
    return "     " + workId_ + ' ' + verb + '\n' + arguments;
  }

  bool SendQuery(std::string request) {
    const auto length = static_cast<unsigned>(request.size());
    int answer = client_.SendVekQueryRequest(request.data(), length);
    while (answer > 0) {  // the rate is used up: wait as long as the library says; the request is unmodified
      std::this_thread::sleep_for(std::chrono::milliseconds(answer));
      answer = client_.SendVekQueryRequest(request.data(), length);
    }
    return answer == 0;
  }

  // True if the result's first table has the name of the query and at least that many records.
  bool Query(const std::string& what, int leastRecords = 0) {
    const bool came = SendQuery(Request(what, "")) && events_.Wait(limit_, [&](const SessionSeen& seen) {
      return seen.results.count(workId_) != 0;
    });
    if (!came) return Step("query " + what, false);
    const VekApi::VekTaskResult result = events_.Seen().results.at(workId_);
    Say(ResultText(result));
    const VekApi::VekTable* table = result.Table(what);
    return Step("query " + what, table != nullptr && table->RecordsCount() >= leastRecords);
  }

  bool Order() {
    std::string request = Request("new", "prod=TXF side=B qty=3 price=MKT");
    return Step("order sent",
                sender_.SendVekRequest(request.data(), static_cast<unsigned>(request.size()))) &&
           Step("order acknowledged", WaitFor(&SessionSeen::acks, workId_ + "\x01"
                                                                            "accepted")) &&
           Step("order reported", WaitFor(&SessionSeen::reports, "accepted\x01")) &&
           Step("order filled", WaitFor(&SessionSeen::reports, "fill\x01", "\x01Left=0\x01"));
  }

  // More orders than the server accepts at once: the sender keeps the rate.
  bool Burst() {
    std::deque<std::string> orders;
    for (int i = 0; i < 4 * options_.orders + 2; ++i) {
      orders.push_back(Request("new", "prod=TXF side=B qty=1 price=15000").substr(5));
    }
    const std::size_t linesBefore = events_.Seen().acks.size();
    const std::size_t acksBefore = events_.Seen().ackLines.size();
    const unsigned sent = sender_.SendVekRequests(orders);
    Say(fmt::format("burst of {} orders: {} sent at once, {} held\n", orders.size(), sent,
                    orders.size() - sent));
    const bool done = events_.Wait(
        limit_, [&](const SessionSeen& seen) { return seen.acks.size() == linesBefore + orders.size(); });
    const SessionSeen seen = events_.Seen();
    for (std::size_t i = acksBefore; i < seen.ackLines.size(); ++i) {
      Say(fmt::format("batch {}: {} orders\n", i - acksBefore + 1, seen.ackLines[i]));
    }
    return Step("burst acknowledged", done);
  }

  // According to the server's own count, in the answer to the last query.
  bool KeptThePace() {
    const VekApi::VekTaskResult result = events_.Seen().results.at(workId_);
    const VekApi::VekTable& stats = *result.Table("stats");
    const std::string violations = stats.RecordField(0, stats.Fields().Field("RequestViolations"));
    Say(fmt::format("orders that came faster than {} in {} ms, says the server: {}\n", options_.orders,
                    options_.perMs, violations));
    return Step("pace kept", violations == "0");
  }

  // Waits for a text that starts with `start` and contains `part`; a report must also refer to the last
  // request.
  bool WaitFor(std::vector<std::string> SessionSeen::*texts, const std::string& start,
               const std::string& part = "") {
    const std::string ours = texts == &SessionSeen::reports ? "\x01WorkID=" + workId_ + "\x01" : "";
    return events_.Wait(limit_, [&](const SessionSeen& seen) {
      for (const std::string& text : seen.*texts) {
        if (StartsWith(text, start) && text.find(part) != std::string::npos &&
            text.find(ours) != std::string::npos)
          return true;
      }
      return false;
    });
  }

  // The answer is a text for display; whether the password was changed shows at the next sign-on.
  bool ChangePassword() {
    const bool answered =
        client_.ChgPass(options_.user, options_.password, options_.newPassword) &&
        events_.Wait(limit_, [](const SessionSeen& seen) { return seen.passwordResult.has_value(); });
    return Step("password change answered", answered);
  }

  bool SignOff() {
    client_.Disconnect();
    return Step("disconnected", events_.Seen().state == VekApi::vcs_Disconnected);
  }

  Options options_;
  std::chrono::milliseconds limit_;
  SessionEvents events_;  // outlives the client, which raises events until it is destroyed
  VekApi::VekClient client_;
  VekApi::VekFlowCtrlSender sender_{client_};
  int requests_ = 0;
  std::string workId_;
};

// Options from the command line; those not given keep their value.
bool Read(Options& options, int argc, char** argv) {
  std::string* const values[] = {&options.server, &options.user, &options.password, &options.newPassword};
  if (argc > 1 + static_cast<int>(std::size(values)) || (argc > 1 && argv[1][0] == '-')) return false;
  for (int i = 1; i < argc; ++i) *values[i - 1] = argv[i];
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!Read(options, argc, argv)) {
    Say("usage: session [SERVER [USER [PASSWORD [NEW-PASSWORD]]]]\n"
        "A complete session with an order-routing server, which ends with a change of the password.\n"
        "SERVER is HOST:PORT, 127.0.0.1:9000 if not given, or a setting that starts with a colon.\n");
    return 2;
  }

  PrepareTerminal();
  const bool done = Session(options).Run();
  Say(done ? "session: every step came through\n" : "session: FAILED\n");
  return done ? 0 : 1;
}

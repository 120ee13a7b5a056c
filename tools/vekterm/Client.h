// The session of the terminal: its requests, their fates, and its events. For one thread.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "keeper/ServerTexts.h"
#include "vekapi/Session.hpp"
#include "vekterm/EventSink.h"
#include "vekterm/Options.h"
#include "vekterm/Output.h"

namespace VekTerm {

// A command could not be carried out; the text says why.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};
// Ctrl-C during a wait.
struct Interrupted : Failure {
  Interrupted() : Failure("interrupted") {}
};

struct Request {
  std::int64_t number = 0;  // from 1, for people
  std::uint64_t ticket = 0;
  std::string workId;
  std::int32_t code = 0;
  std::string text;
  bool atOnce = false;  // not held back by the rate
  bool shown = false;   // its fate is printed as an event: nothing waits for it
  std::int32_t fate = vsf_None;
  std::int32_t reason = 0;
  std::string answer;       // the server's bytes: an acknowledgement's line, or a password reply
  std::int64_t tookNs = 0;  // from sending to the answer
  bool Rejected() const;    // acknowledged with the word "rejected"
  bool Good() const;
};

class Client {
 public:
  using Ms = std::chrono::milliseconds;
  using Result = std::shared_ptr<CVekTaskResult>;

  // `sink` may be null. Both arguments outlive this object.
  Client(const Options& options, Output& output, EventSink* sink);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Reports pending events; waits so long for the first.
  void Pump(Ms wait = Ms(0));
  static constexpr std::chrono::hours kLong{1000};

  // Until the condition is true; events are reported meanwhile. False after `limit`. Throws Interrupted.
  bool WaitUntil(const std::function<bool()>& over, Ms limit);
  // Until the session is up, refused or stopped, or the first round of attempts has failed.
  bool WaitUntilSettled(Ms limit);

  // Throws Failure with the reason of a refusal.
  void Open(const std::string& password);
  Request& Submit(std::int32_t code, const std::string& text, bool shown);
  Request& ChangePassword(const std::string& before, const std::string& after);
  // For the next sign-on.
  void SetPassword(const std::string& password);
  void SetRate(int count, int ms);

  // Waits for the fate.
  void Await(const Request& request);
  const Result& LastResult() const { return result_; }

  VekApi::VekSession& Session() { return *session_; }
  const std::deque<Request>& Requests() const { return requests_; }
  std::size_t Undecided() const { return waiting_.size(); }
  const CVekEvent& LastState() const { return state_; }
  const std::string& StateDetail() const { return detail_; }
  // Reports received and not yet looked at.
  std::deque<std::string>& Reports() { return reports_; }
  void ShowTrace(bool shown);

 private:
  void OnEvent(const CVekEvent& event);
  void OnState(const CVekEvent& event);
  void OnFate(const CVekEvent& event);
  void OnOther(const CVekEvent& event);
  void OnTrace(const CVekEvent& event, std::string_view packet);
  void KeepResult(const CVekEvent& event);
  Request& Taken(std::int32_t reason, const CVekReceipt& receipt, std::int32_t code, const std::string& text);

  const Options& options_;
  Output& output_;
  EventSink* const sink_;
  std::deque<Request> requests_;
  std::unordered_map<std::uint64_t, Request*> waiting_;  // by ticket; fate still open
  std::deque<std::string> reports_;
  CVekEvent state_{};
  std::string detail_;
  Result result_;
  VekApi::TServerTexts texts_;
  bool traced_ = false;
  bool roundFailed_ = false;
  std::unique_ptr<VekApi::VekSession> session_;
};

// During a check of a session: after half of this silence it sends a heartbeat.
inline constexpr std::uint32_t kCheckSilenceMs = 4000;

// The part of a reason's detail that is not in the reason already.
std::string BeyondReason(std::string_view reason, const std::string& detail);

// Texts for people, and fields for programs.
Note StateNote(const CVekEvent& event);
Note FateNote(const Request& request);
Note TraceNote(const CVekEvent& event, const VekApi::TServerText& text);

}  // namespace VekTerm

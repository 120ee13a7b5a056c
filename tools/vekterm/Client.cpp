#include "vekterm/Client.h"

#include <algorithm>
#include "platform/os/CodePage.h"
#include "vekterm/Console.h"
#include "vekterm/Setting.h"
#include "vekterm/Tables.h"

namespace VekTerm {
namespace {

using std::chrono::steady_clock;

constexpr Client::Ms kPumpTick{100};  // how soon Ctrl-C is noticed
constexpr std::uint32_t kHoldMs = 60'000;
constexpr std::size_t kLongestPassword = 255;  // bytes

std::string Reason(std::int32_t reason) {
  return CVekApi_Text(vst_Reason, reason, 0);
}

// The server's texts are in code page 950. What it lacks would become "?", and be sent.
std::string ToServer(const std::string& utf8) {
  std::string bytes;
  if (!Dova::Os::Utf8ToCodePage950(utf8, bytes)) throw Failure("the text is too long");
  if (std::count(bytes.begin(), bytes.end(), '?') > std::count(utf8.begin(), utf8.end(), '?'))
    throw Failure("not sent: a character is not UTF-8, or not in the server's code page 950");
  return bytes;
}

std::string PasswordToServer(const std::string& password) {
  std::string bytes = ToServer(password);
  if (bytes.size() > kLongestPassword)
    throw Failure("the password is too long: at most " + std::to_string(kLongestPassword) + " bytes");
  return bytes;
}

std::string FirstId(const Options& options) {
  return ToServer(options.user.substr(0, options.user.find('/')));
}

CVekSessionConfig ConfigOf(const Options& options, std::string& id1, std::string& id2) {
  const std::size_t slash = options.user.find('/');
  id1 = FirstId(options);
  id2 = slash == std::string::npos ? "" : ToServer(options.user.substr(slash + 1));
  CVekSessionConfig config = VekApi::VekSession::Defaults();
  config.apName = "vekterm";
  config.id1 = id1.c_str(), config.id2 = id2.c_str();
  config.delivery = vsd_Poll;
  config.rateCount = options.rateCount, config.rateMs = options.rateMs;
  config.answerMs = options.answerSeconds * 1000;
  config.connectMs = config.signOnMs = options.patienceSeconds * 1000;
  config.holdMs = kHoldMs;
  if (options.check) config.silenceMs = kCheckSilenceMs, config.probe = options.query.c_str();
  return config;
}

}  // namespace

bool Request::Rejected() const {
  const std::vector<std::string> parts = Parts(answer);
  return fate == vsf_Acknowledged && parts.size() > 1 && parts[1] == "rejected";
}

bool Request::Good() const {
  return (fate == vsf_Answered || fate == vsf_Acknowledged || fate == vsf_Left) && !Rejected();
}

Client::Client(const Options& options, Output& output, EventSink* sink)
    : options_(options), output_(output), sink_(sink) {
  std::string id1, id2;
  const CVekSessionConfig config = ConfigOf(options, id1, id2);
  session_ = std::make_unique<VekApi::VekSession>(config, [this](const CVekEvent& event) { OnEvent(event); });
  for (const std::string& server : options.servers) session_->AddEndpoint(SettingOf(server));
  if (sink_ != nullptr) session_->SetTrace(vtl_Packets);
}

// Its last events are reported while all members still exist.
Client::~Client() {
  session_.reset();
}

void Client::Pump(Ms wait) {
  for (bool more = session_->Next(wait); more; more = session_->Next(Ms(0))) continue;
}

bool Client::WaitUntil(const std::function<bool()>& over, Ms limit) {
  const auto end = steady_clock::now() + limit;
  for (Pump(); !over(); Pump(kPumpTick)) {
    if (Console::TakeInterrupt() || Console::MustEnd()) throw Interrupted();
    if (steady_clock::now() >= end) return false;
  }
  return true;
}

bool Client::WaitUntilSettled(Ms limit) {
  const auto settled = [this] {
    const int state = state_.state;
    return state == vss_Up || state == vss_Refused || state == vss_Stopped || state == vss_Closed ||
           roundFailed_;
  };
  WaitUntil(settled, limit);
  return state_.state == vss_Up;
}

void Client::Open(const std::string& password) {
  try {
    roundFailed_ = false;
    session_->Open(PasswordToServer(password));
    state_.state = vss_Connecting;
  } catch (const VekApi::VekError& error) {
    throw Failure(error.what());
  }
}

Request& Client::Taken(std::int32_t reason, const CVekReceipt& receipt, std::int32_t code,
                       const std::string& text) {
  if (reason != 0) throw Failure("not sent: " + Reason(reason));
  Request& request = requests_.emplace_back();
  request.number = static_cast<std::int64_t>(requests_.size());
  request.ticket = receipt.ticket, request.workId = receipt.workId;
  request.code = code, request.text = text;
  request.atOnce = receipt.waitMs == 0;
  waiting_.emplace(receipt.ticket, &request);
  return request;
}

Request& Client::Submit(std::int32_t code, const std::string& text, bool shown) {
  const std::string bytes = ToServer(text);
  CVekSubmit submit{};
  submit.size = sizeof submit, submit.code = code, submit.mode = vsm_Hold;
  submit.text = bytes.data(), submit.textLength = static_cast<std::uint32_t>(bytes.size());
  CVekReceipt receipt{};
  receipt.size = sizeof receipt;
  const std::int32_t reason = CVekSession_Submit(session_->Handle(), &submit, &receipt);
  Request& request = Taken(reason, receipt, code, text);
  request.shown = shown;
  return request;
}

Request& Client::ChangePassword(const std::string& before, const std::string& after) {
  CVekReceipt receipt{};
  receipt.size = sizeof receipt;
  const std::int32_t reason = CVekSession_ChangePassword(session_->Handle(), FirstId(options_).c_str(),
                                                         PasswordToServer(before).c_str(),
                                                         PasswordToServer(after).c_str(), 0, &receipt);
  return Taken(reason, receipt, 2, "password");
}

void Client::SetPassword(const std::string& password) {
  session_->SetPassword(PasswordToServer(password));
}

void Client::SetRate(int count, int ms) {
  session_->SetRate(count, Ms(ms));
}

// The session eventually gives every request its fate.
void Client::Await(const Request& request) {
  WaitUntil([&] { return request.fate != vsf_None; }, kLong);
}

void Client::ShowTrace(bool shown) {
  traced_ = shown;
  if (sink_ == nullptr) session_->SetTrace(shown ? vtl_Packets : vtl_None);
}

void Client::OnEvent(const CVekEvent& event) {
  if (sink_ != nullptr) sink_->Add(event);
  if (event.kind == vse_State) return OnState(event);
  if (event.kind == vse_Fate) return OnFate(event);
  OnOther(event);
}

// The texts of the event are valid during the call only.
void Client::OnState(const CVekEvent& event) {
  detail_ = VekApi::ToUtf8(event.detail);
  if (event.state == vss_Waiting && event.waitMs > 0) roundFailed_ = true;
  state_ = event;
  if (event.state == vss_Up && event.result.object != nullptr) {
    KeepResult(event);
  }
  output_.Tell(StateNote(event));
}

void Client::KeepResult(const CVekEvent& event) {
  result_ = Result(new CVekTaskResult(CVekSession_KeepResult(session_->Handle(), &event)),
                   [](CVekTaskResult* result) {
                     CVekTaskResult_Free(result);
                     delete result;
                   });
}

void Client::OnFate(const CVekEvent& event) {
  const auto waiting = waiting_.extract(event.ticket);
  if (waiting.empty()) return;  // the session's own request
  Request& request = *waiting.mapped();
  request.fate = event.fate, request.reason = event.reason;
  if (event.handedNs != 0)
    request.tookNs = event.atNs - (request.atOnce ? event.submittedNs : event.handedNs);
  if (event.result.object != nullptr) {
    KeepResult(event);
  } else {
    request.answer.assign(event.text, event.textLength);
  }
  if (request.shown || options_.json) output_.Tell(FateNote(request));
}

void Client::OnOther(const CVekEvent& event) {
  const std::string_view bytes(event.text, event.textLength);
  if (event.kind == vse_Report) {
    Note note = ReportNote(bytes);
    reports_.push_back(note.text);
    output_.Tell(note);
  } else if (event.kind == vse_Late || event.kind == vse_Stray) {
    Note note = ReportNote(bytes.substr(0, 200));
    note.kind = event.kind == vse_Late ? "late" : "stray";
    note.fields.push_back({"workId", std::string(event.workId)});
    output_.Tell(note);
  } else if (event.kind == vse_Trace) {
    OnTrace(event, bytes);
  }
}

// Also while nothing is shown: what was sent before a piece says how it is encoded.
void Client::OnTrace(const CVekEvent& event, std::string_view packet) {
  const bool out = (event.flags & vsg_Outbound) != 0;
  const bool isPacket = packet.size() >= VekApi::kHeadBytes;
  VekApi::TServerText text;
  if (isPacket && !out) text = texts_.Of(packet);
  if (out && event.code >= VekApi::PkBigPart)
    text.text = packet.substr(std::min<std::size_t>(packet.size(), VekApi::kPrefixBytes));
  if (traced_) output_.Tell(TraceNote(event, text));
}

}  // namespace VekTerm

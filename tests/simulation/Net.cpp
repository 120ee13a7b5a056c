#include "simulation/Net.h"

#include <algorithm>
#include <cstring>
#include <list>
#include <utility>

#include "platform/os/Socket.h"

namespace vektest {

Line::Line(Draw draw, const LineScript& script)
    : draw_(draw), script_(script), made_(Scheduler::Current()->Now()), room_(script.window) {
  if (script_.frozenFrom == kNever) return;
  script_.frozenFrom += made_;
}

Ns Line::FrozenSince() const {
  const Ns now = Scheduler::Current()->Now();
  const bool frozen = !thawed_ && script_.frozenFrom != kNever && now >= script_.frozenFrom &&
                      now < script_.frozenFrom + script_.frozenFor;
  return frozen ? script_.frozenFrom : kNever;
}

// In the order in which they were held.
void Line::Thaw() {
  thawed_ = true;
  for (const auto& each : std::exchange(held_, {})) each();
}

bool Line::Held(std::function<void()> again) {
  if (FrozenSince() == kNever) return false;
  if (held_.empty()) {
    Scheduler::Current()->At(script_.frozenFrom + script_.frozenFor,
                             [self = shared_from_this()] { self->Thaw(); });
  }
  held_.push_back(std::move(again));
  return true;
}

Ns Line::Later(Ns& last) {
  return last = std::max(last, Scheduler::Current()->Now() + draw_.Time(kMs / 100, script_.latency));
}

// ---- to the client ----

void Line::Write(std::string bytes) {
  written_ += bytes.size();
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t rest = bytes.size() - at;
    const std::size_t count =
        script_.fragment ? std::min<std::size_t>(rest, draw_.From(1, script_.fragment)) : rest;
    const auto deliver = [self = shared_from_this(), part = bytes.substr(at, count)] { self->Deliver(part); };
    Scheduler::Current()->At(Later(lastDown_), deliver);
    at += count;
  }
}

void Line::End(Cut how) {
  Scheduler::Current()->At(Later(lastDown_), [self = shared_from_this(), how] { self->Break(how); });
}

void Line::Deliver(const std::string& bytes) {
  if (Held([self = shared_from_this(), bytes] { self->Deliver(bytes); })) return;
  if (cut_ != Cut::None) return;
  const std::size_t count = std::min(bytes.size(), script_.cutDown - delivered_);
  delivered_ += count;
  lastDelivery_ = Scheduler::Current()->Now();
  if (!closed_ || onNews) inbox_.append(bytes, 0, count);
  TellReaders();
  if (delivered_ == script_.cutDown) Break(script_.cut);
}

void Line::Break(Cut how) {
  if (Held([self = shared_from_this(), how] { self->Break(how); })) return;
  if (cut_ != Cut::None) return;
  cut_ = how == Cut::None ? Cut::Reset : how;
  if (cut_ == Cut::Reset && draw_.Chance(500)) {
    delivered_ -= inbox_.size();
    inbox_.clear();
  }
  TellReaders();
  Scheduler::WakeAll(writers_);
}

void Line::TellReaders() {
  Scheduler::WakeAll(readers_);
  if (onNews) onNews();
}

std::ptrdiff_t Line::Recv(char* buffer, std::size_t size, const char*& error) {
  Scheduler::Current()->Point();
  while (inbox_.empty() && cut_ == Cut::None && !closed_) Scheduler::Current()->Wait(readers_, kNever);
  if (inbox_.empty() && cut_ == Cut::Reset && !closed_) {
    error = "reset by the peer";
    return -1;
  }
  const std::size_t most = script_.fragment && draw_.Chance(300) ? script_.fragment : size;
  const std::size_t count = inbox_.copy(buffer, std::min(size, most));
  inbox_.erase(0, count);
  if (onNews) lastDelivery_ = Scheduler::Current()->Now();
  return static_cast<std::ptrdiff_t>(count);
}

// ---- from the client ----

std::ptrdiff_t Line::TrySend(const char* bytes, std::size_t size, const char*& error) {
  Scheduler::Current()->Point();
  if (!SendRefused() && sends_++ == script_.refuseSend) refusedAt_ = Scheduler::Current()->Now();
  if (SendRefused() || cut_ == Cut::Reset || finished_) {
    error = SendRefused() ? "no buffer space" : "broken pipe";
    return -1;
  }
  std::size_t count = std::min(size, room_);
  if (count > 1 && script_.fragment && draw_.Chance(100)) count = draw_.From(1, static_cast<unsigned>(count));
  room_ -= count;
  const auto arrive = [self = shared_from_this(), part = std::string(bytes, count)] { self->Arrive(part); };
  taken_.append(bytes, count);
  if (count != 0) Scheduler::Current()->At(Later(lastUp_), arrive);
  return static_cast<std::ptrdiff_t>(count);
}

void Line::Arrive(const std::string& bytes) {
  if (Held([self = shared_from_this(), bytes] { self->Arrive(bytes); })) return;
  if (arrived_ == script_.cutUp) return;
  const std::size_t count = std::min(bytes.size(), script_.cutUp - arrived_);
  arrived_ += count;
  if (far) far->OnBytes(std::string_view(bytes).substr(0, count));
  if (arrived_ == script_.cutUp) Break(Cut::Reset);
  const auto read = [self = shared_from_this(), size = bytes.size()] {
    self->room_ += size;
    Scheduler::WakeAll(self->writers_);
  };
  Scheduler::Current()->At(Scheduler::Current()->Now() + script_.readDelay, read);
}

bool Line::WaitWritable() {
  Scheduler::Current()->Point();
  // A peer that has finished sending may still read.
  while (room_ == 0 && cut_ != Cut::Reset && !finished_) Scheduler::Current()->Wait(writers_, kNever);
  return !finished_;
}

void Line::Finish(bool both) {
  closed_ = closed_ || both;
  Scheduler::WakeAll(readers_);
  Scheduler::WakeAll(writers_);
  if (std::exchange(finished_, true)) return;
  Scheduler::Current()->At(Later(lastUp_), [self = shared_from_this()] {
    if (self->far) self->far->OnFinished();
  });
}

void Line::Leave() {
  Finish(true);
}

}  // namespace vektest

namespace Dova::Os {

using vektest::Line;
using vektest::Net;
using vektest::Scheduler;

namespace {

constexpr int kRefused = 111;

const char*& Failure() {
  return Scheduler::Current()->Self().error;
}

}  // namespace

struct TSocket::TNative {
  struct TTry {
    Net::Attempt::Outcome outcome;
    vektest::Ns decided;
    unsigned port;
  };
  std::shared_ptr<Line> line;
  std::list<TTry> tries;
  bool over = false;
  vektest::Task* waiting = nullptr;
};

TSocket::TSocket() : native_(std::make_unique<TNative>()) {}
TSocket::~TSocket() {
  const vektest::OutOfLibrary system;
  if (native_->line) native_->line->Leave();
}

bool TSocket::Begin(const TEndpoint& to, int& failure) {
  const vektest::OutOfLibrary system;
  unsigned where[2];
  std::memcpy(where, to.address, sizeof where);
  const auto answer = Net::current->Try(where[0], where[1]);
  if (answer.outcome == Net::Attempt::Refuses && answer.delay == 0) {
    failure = kRefused;
    return false;
  }
  native_->tries.push_back({answer.outcome, Scheduler::Current()->Now() + answer.delay, where[0]});
  return true;
}

TSocket::EAttempt TSocket::Await(std::int64_t dueNs, int& failure) {
  const vektest::OutOfLibrary system;
  for (;;) {
    Scheduler::Current()->Point();
    if (native_->over) return EAttempt::Aborted;
    vektest::Ns next = dueNs;
    for (auto each = native_->tries.begin(); each != native_->tries.end(); ++each) {
      if (each->outcome == Net::Attempt::Silent) continue;
      if (each->decided > Scheduler::Current()->Now()) {
        next = std::min(next, each->decided);
        continue;
      }
      const TNative::TTry decided = *each;
      native_->tries.erase(each);
      if (decided.outcome == Net::Attempt::Accepts) {
        native_->line = Net::current->Accept(decided.port);
        return EAttempt::Made;
      }
      failure = kRefused;
      return EAttempt::Failed;
    }
    if (Scheduler::Current()->Now() >= dueNs) return EAttempt::TimedOut;
    Scheduler::Current()->Wait(native_->waiting, next);
  }
}

bool TSocket::IsUnderWay() const noexcept {
  return !native_->tries.empty();
}

void TSocket::DropAttempts() noexcept {
  native_->tries.clear();
}

void TSocket::SetNoDelay() noexcept {}

void TSocket::FinishSending() noexcept {
  const vektest::OutOfLibrary system;
  native_->over = true;
  if (native_->line) native_->line->Finish(false);
}

void TSocket::Abort() noexcept {
  const vektest::OutOfLibrary system;
  native_->over = true;
  Scheduler::WakeAll(native_->waiting);
  if (native_->line) native_->line->Finish(true);
}

void TSocket::Reset() noexcept {
  Abort();
}

std::ptrdiff_t TSocket::Recv(char* buffer, std::size_t size) noexcept {
  const vektest::OutOfLibrary system;
  return native_->line ? native_->line->Recv(buffer, size, Failure()) : -1;
}

std::ptrdiff_t TSocket::TryRecv(char* buffer, std::size_t size) noexcept {
  return Recv(buffer, size);
}

std::ptrdiff_t TSocket::TrySend(const char* bytes, std::size_t size) noexcept {
  const vektest::OutOfLibrary system;
  return native_->line ? native_->line->TrySend(bytes, size, Failure()) : -1;
}

bool TSocket::WaitWritable() noexcept {
  const vektest::OutOfLibrary system;
  if (native_->line && native_->line->WaitWritable()) return true;
  Failure() = "given up";
  return false;
}

TError TSocket::LastError() {
  return {Failure(), 0};
}

// "10.0.0.N" stands for itself; every other host is a name.
std::vector<TEndpoint> ResolveNumeric(const std::string& host, std::uint16_t port) {
  if (host.rfind("10.", 0) != 0) return {};
  TEndpoint endpoint;
  const unsigned where[2] = {port, 0};
  std::memcpy(endpoint.address, where, sizeof where);
  return {endpoint};
}

std::vector<TEndpoint> ResolveName(const std::string&, std::uint16_t port, TError& error) {
  const vektest::OutOfLibrary system;
  const unsigned count = Net::current->LookUp(port);
  if (count == 0) error = {"no such host", 0};
  std::vector<TEndpoint> endpoints;
  for (unsigned i = 0; i < count; ++i) {
    const unsigned where[2] = {port, i};
    std::memcpy(endpoints.emplace_back().address, where, sizeof where);
    endpoints.back().family = static_cast<int>(i % 2);
  }
  return endpoints;
}

}  // namespace Dova::Os

#include "platform/mbus/TResolver.h"

#include <utility>

#include "platform/os/Thread.h"

namespace Dova {

struct TResolver::TState {
  std::mutex mutex;
  std::condition_variable changed;
  bool aborted = false;
  bool done = false;
  std::vector<Os::TEndpoint> endpoints;
  std::string error;
};

TResolver::TResolver() : state_(std::make_shared<TState>()) {}

std::vector<Os::TEndpoint> TResolver::Resolve(const std::string& host, std::uint16_t port,
                                              std::string& error) {
  if (auto numeric = Os::ResolveNumeric(host, port); !numeric.empty()) return numeric;
  Os::TThread worker;
  const bool started = worker.Start("vek-resolve", [state = state_, host, port] {
    std::string reason;
    auto endpoints = Os::ResolveName(host, port, reason);
    const std::lock_guard lock(state->mutex);
    state->endpoints = std::move(endpoints);
    state->error = std::move(reason);
    state->done = true;
    state->changed.notify_all();
  });
  worker.Detach();
  if (!started) {
    error = "no thread to look the host up";
    return {};
  }
  std::unique_lock lock(state_->mutex);
  state_->changed.wait(lock, [this] { return state_->done || state_->aborted; });
  error = state_->aborted ? "given up" : state_->error;
  return state_->aborted ? std::vector<Os::TEndpoint>{} : std::move(state_->endpoints);
}

void TResolver::Abort() {
  const std::lock_guard lock(state_->mutex);
  state_->aborted = true;
  state_->changed.notify_all();
}

}  // namespace Dova

#include "platform/transport/TResolver.h"

#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "platform/os/Clock.h"
#include "platform/os/Mutex.h"
#include "platform/os/Thread.h"
#include "platform/runtime/PerProcess.h"

namespace Dova {
namespace {

struct TLookup {
  bool done = false;
  std::vector<Os::TEndpoint> endpoints;
  Os::TError error;
  std::vector<Os::TEvent*> waiters;
};
using TLookupRef = std::shared_ptr<TLookup>;
using THost = std::pair<std::string, std::uint16_t>;

struct TLookups {
  Os::TMutex mutex;
  std::map<THost, TLookupRef> pending;
};

void Run(const THost& host, TLookup& lookup) noexcept {
  std::vector<Os::TEndpoint> endpoints;
  Os::TError error;
  try {
    endpoints = Os::ResolveName(host.first, host.second, error);
  } catch (const std::bad_alloc&) {
    error = {"Out of memory", 0, Os::ECause::NoMemory};
  }
  TLookups& lookups = PerProcess<TLookups>();
  const std::lock_guard lock(lookups.mutex);
  lookup.endpoints = std::move(endpoints);
  lookup.error = error;
  lookup.done = true;
  lookups.pending.erase(host);
  for (Os::TEvent* const each : lookup.waiters) each->Set();
}

// The pending look-up of that host, or a new one; null if the system has no thread for it.
TLookupRef Find(TLookups& lookups, const std::unique_lock<Os::TMutex>&, const THost& host) {
  const auto pending = lookups.pending.find(host);
  if (pending != lookups.pending.end()) return pending->second;
  const auto lookup = std::make_shared<TLookup>();
  const auto entry = lookups.pending.emplace(host, lookup).first;
  bool started = false;
  try {
    started = Os::TThread().Start("vek-resolve", [host, lookup] { Run(host, *lookup); });
  } catch (const std::bad_alloc&) {
    lookups.pending.erase(entry);
    throw;
  }
  if (started) return lookup;
  lookups.pending.erase(entry);
  return nullptr;
}

// Waits until it has finished, was aborted, or timed out.
void Await(TLookup& lookup, Os::TEvent& changed, const std::atomic<bool>& aborted, Os::TTime due,
           std::unique_lock<Os::TMutex>& lock) {
  lookup.waiters.push_back(&changed);
  for (;;) {
    const int leftMs = Os::MsUntil(due);
    if (lookup.done || aborted || leftMs == 0) break;
    lock.unlock();
    changed.Wait(leftMs);
    lock.lock();
  }
  std::erase(lookup.waiters, &changed);
}

}  // namespace

std::vector<Os::TEndpoint> TResolver::Resolve(const std::string& host, std::uint16_t port, Os::TTime due,
                                              Os::TError& error) {
  if (auto numeric = Os::ResolveNumeric(host, port); !numeric.empty()) return numeric;
  TLookups& lookups = PerProcess<TLookups>();
  std::unique_lock lock(lookups.mutex);
  const TLookupRef lookup = Find(lookups, lock, {host, port});
  if (!lookup) {
    error = {"no thread to look the host up", 0, Os::ECause::NoThread};
    return {};
  }
  Await(*lookup, changed_, aborted_, due, lock);
  if (lookup->done) {
    error = lookup->error;
    return lookup->endpoints;
  }
  error = {aborted_ ? "given up" : "look-up timed out", 0, Os::ECause::LookupTimeout};
  return {};
}

void TResolver::Abort() {
  aborted_ = true;
  changed_.Set();
}

}  // namespace Dova

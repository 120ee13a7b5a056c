#include "sim/SimFaults.h"

#include <algorithm>
#include <random>
#include <utility>

namespace VekSim {

void SimFaults::Push(Fault fault) {
  const std::lock_guard lock(mutex_);
  faults_.push_back(std::move(fault));
}

void SimFaults::PushLink(const LinkFaults& faults) {
  const std::lock_guard lock(mutex_);
  links_.push_back(faults);
}

Fault SimFaults::Take(SimEvent event) {
  const std::lock_guard lock(mutex_);
  const auto it = std::find_if(faults_.begin(), faults_.end(), [&](const Fault& f) { return f.on == event; });
  if (it == faults_.end()) return {event, FaultKind::None};
  Fault fault = std::move(*it);
  faults_.erase(it);
  return fault;
}

std::optional<LinkFaults> SimFaults::TakeLink() {
  const std::lock_guard lock(mutex_);
  if (links_.empty()) return {};
  const LinkFaults faults = links_.front();
  links_.pop_front();
  return faults;
}

std::size_t SimFaults::Waiting() const {
  const std::lock_guard lock(mutex_);
  return faults_.size() + links_.size();
}

std::string Noise(std::size_t n, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::string bytes(n, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random() & 0xFF);
  return bytes;
}

}  // namespace VekSim

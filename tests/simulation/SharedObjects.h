// Memory and events with names, shared by the clients and the gateways of a simulated run.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace vektest {

// For the run from now on. `refused`: joining an object fails, per thousand. `eager`: a set event ends a wait
// that begins, even if that wait does not ask for it.
void BeginSharedObjects(std::uint64_t seed, unsigned refused, bool eager);

// Called after every Set of that event, while it exists.
void WatchSharedEvent(const std::string& name, std::function<void()> onSet);

}  // namespace vektest

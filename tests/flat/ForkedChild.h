#pragma once

#include <functional>

namespace vektest {

// True when `body` returned in a forked child, which is killed when it takes too long; true where no process
// can be forked.
bool EndsWellForked(const std::function<void()>& body);

}  // namespace vektest

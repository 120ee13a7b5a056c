#pragma once

#include <functional>
#include <optional>

#include "support/Sanitized.h"

namespace TestSupport {

// Whether a process may be forked whatever its threads do. The allocator and the thread registry of the
// sanitizers do not follow a fork: there all other threads have to be asleep.
constexpr bool kForksAtAnyMoment = !kSanitized;

// The exit code of a forked child that runs `body` and then ends in order; -1 when it crashed, or took too
// long. None where no child was tried: the system has no such thing.
//
// Where processes cannot be forked at any moment it waits until the others sleep, which has to come by
// itself, and fails the test when it does not.
std::optional<int> ExitCodeOfChild(const std::function<int()>& body);

}  // namespace TestSupport

#pragma once

#include <functional>
#include <optional>

#include "support/Sanitized.h"

namespace TestSupport {

// Whether a process may fork whatever its threads do. The allocator and the thread registry of the sanitizers
// do not support that: all other threads must be asleep.
constexpr bool kForksAtAnyMoment = !kSanitized;

// The exit code of a forked child that runs `body` and then exits normally; -1 if it crashed, or took too
// long. Nothing if no child was tried, because the system cannot fork.
//
// If a process cannot fork at any moment, waits until the other threads sleep, which must happen by itself,
// and fails the test otherwise.
std::optional<int> ExitCodeOfChild(const std::function<int()>& body);

}  // namespace TestSupport

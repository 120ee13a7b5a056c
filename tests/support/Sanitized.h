#pragma once

namespace TestSupport {

// Under AddressSanitizer or ThreadSanitizer, which keep freed memory for a while, and do not follow forks.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

}  // namespace TestSupport

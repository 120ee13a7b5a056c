// The return type of a coroutine that nobody waits for: it starts at once and frees itself when it ends.
#ifndef VEKAPI_DETACHED_HPP
#define VEKAPI_DETACHED_HPP

#include <coroutine>

namespace VekApi {

//     VekApi::VekDetached Trade(VekApi::VekSession& session) {
//       VekApi::VekFate fate = co_await session.Query("products", 3s);
//       ...
//     }
//
// An exception that leaves the coroutine ends it and is dropped, as in callbacks.
struct VekDetached {
  struct promise_type {
    VekDetached get_return_object() const { return {}; }
    std::suspend_never initial_suspend() const noexcept { return {}; }
    std::suspend_never final_suspend() const noexcept { return {}; }
    void return_void() const {}
    void unhandled_exception() const noexcept {}
  };
};

}  // namespace VekApi

#endif  // VEKAPI_DETACHED_HPP

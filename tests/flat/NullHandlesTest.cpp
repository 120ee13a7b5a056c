// Every exported function with a null handle and with no handle at all.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>

#include "platform/os/Signal.h"
#include "vekapi/VekApiC.h"
#include "vekapi/VekSessionC.h"

namespace vektest {
namespace {

// ---- what a function gives, as a number: 0 for nothing, false, a null pointer and a null handle ----

template <class T>
concept THandle = std::is_class_v<T> && sizeof(T) == sizeof(void*) && requires(T handle) {
  handle.object;
};

void Delete(CVekClient& made) {
  CVekClient_Delete(&made);
}
void Delete(CVekFlowCtrl& made) {
  CVekFlowCtrl_Delete(&made);
}
void Delete(auto&) {}

template <class TCall>
std::intptr_t NumberOf(const TCall& call) {
  using TResult = decltype(call());
  if constexpr (std::is_void_v<TResult>) {
    call();
    return 0;
  } else if constexpr (std::is_pointer_v<TResult>) {
    return call() ? 1 : 0;
  } else if constexpr (THandle<TResult>) {
    TResult made = call();
    const bool there = made.object;
    Delete(made);
    return there && !made.object ? 1 : 0;
  } else {
    return static_cast<std::intptr_t>(call());
  }
}

// ---- calls: with a handle all other arguments are good, so that it alone decides; otherwise there are none
// ----

char anyText[256] = "text";

template <class T>
T Good() {
  if constexpr (!std::is_pointer_v<T>) {
    return static_cast<T>(129);
  } else if constexpr (std::is_convertible_v<char*, T>) {
    return anyText;
  } else {
    return nullptr;
  }
}

template <class TResult, class T, class... TMore>
requires THandle<std::remove_const_t<T>>
void Expect(std::intptr_t answer, TResult (*function)(T*, TMore...)) {
  std::remove_const_t<T> null{};
  EXPECT_EQ(NumberOf([&] { return function(&null, Good<TMore>()...); }), answer);
  EXPECT_EQ(null.object, nullptr);
  EXPECT_EQ(NumberOf([&] { return function(nullptr, Good<TMore>()...); }), answer);
}
template <class TResult, class... T>
void Expect(std::intptr_t answer, TResult (*function)(T...)) {
  EXPECT_EQ(NumberOf([&] { return function(T{}...); }), answer);
}

TEST(NullHandles, EveryExportAnswersWithItsNullResult) {
  // Of those that do not give nothing.
  const std::map<std::string, std::intptr_t> answers = {
      {"CVekApi_ReasonOf", cvre_Other},
      {"CVekApi_RecordHeader", 8},
      {"CVekApi_Text", 1},
      {"CVekApi_Version", 1},
      {"CVekClient_Create", 1},
      {"CVekClient_Create_OnMessageLoop", 1},
      {"CVekClient_SendVekQueryRequest", -1},
      {"CVekField_Index", -1},
      {"CVekFlowCtrl_Create", 1},
      {"CVekFlowCtrl_Create_OnMessageLoop", 1},
      {"CVekMessageLoop_Fd", CVekMessageLoop_Fd()},
      {"CVekSession_AddEndpoint", vsr_BadArgument},
      {"CVekSession_AddResync", vsr_BadArgument},
      {"CVekSession_ChangePassword", vsr_BadArgument},
      {"CVekSession_Next", -1},
      {"CVekSession_Open", vsr_BadArgument},
      {"CVekSession_ResyncDone", vsr_BadArgument},
      {"CVekSession_RetryIn", vsr_BadArgument},
      {"CVekSession_SetPassword", vsr_BadArgument},
      {"CVekSession_SetRate", vsr_BadArgument},
      {"CVekSession_Submit", vsr_BadArgument},
      {"CVekSession_WaitHandle", Dova::Os::TSignal::kNone},
      {"CVekSession_WaitMs", -1},
      {"CVekSession_Withdraw", vsr_BadArgument},
  };
  const auto expect = [&](const char* name, auto function) {
    SCOPED_TRACE(name);
    const auto answer = answers.find(name);
    Expect(answer == answers.end() ? 0 : answer->second, function);
  };
// From the list used to link the library.
#define EXPORT(function) expect(#function, &(function));
#include "vekapi_exports.inc"
  EXPECT_EQ(CVekApi_ToUtf8(nullptr, 9, nullptr, 0), 0U);
  EXPECT_STREQ(CVekApi_Text(-1, -1, -1), "");
}

}  // namespace
}  // namespace vektest

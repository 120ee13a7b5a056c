#pragma once

#include <string>
#include <string_view>

namespace VekSim {

// Why an order, amendment or cancel is rejected: name, code, text. docs/orders.md has the same table.
#define VEKSIM_REJECTS(X)                 \
  X(UnknownAccount, 101, "無此帳號")      \
  X(UnknownProduct, 102, "無此商品")      \
  X(BadSide, 103, "買賣別錯誤")           \
  X(BadQuantity, 104, "委託口數錯誤")     \
  X(BadPrice, 105, "委託價格錯誤")        \
  X(BadTimeInForce, 106, "委託條件錯誤")  \
  X(UnknownOrder, 107, "無此委託書號")    \
  X(NothingLeft, 108, "無剩餘口數可取消") \
  X(QuantityNotLess, 109, "口數只能減少") \
  X(NothingToAmend, 110, "無變更內容")    \
  X(UnknownVerb, 120, "不支援的指令")     \
  X(UnknownQuery, 121, "不支援的查詢")    \
  X(TooFast, 190, "傳送過於頻繁")         \
  X(Refused, 199, "系統拒絕")

#define VEKSIM_REJECT_CODE(name, code, text) name = (code),
enum class SimReject { None = 0, VEKSIM_REJECTS(VEKSIM_REJECT_CODE) };
#undef VEKSIM_REJECT_CODE

/// A rejection of a request. Scripts may use other codes and texts (UTF-8).
struct SimRejection {
  int code = 0;  ///< 0: not rejected
  std::string text{};

  SimRejection() = default;
  SimRejection(SimReject reject) : SimRejection(static_cast<int>(reject), {}) {}
  /// An empty text stands for the code's own, or for that of Refused.
  SimRejection(int number, std::string_view words);
  explicit operator bool() const { return code != 0; }
};

}  // namespace VekSim

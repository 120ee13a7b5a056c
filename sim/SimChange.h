#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sim/SimSeen.h"

namespace VekSim {

/// One change of the market. All changes since the start, in order, make the market what it is.
struct SimChange {
  enum class Kind { New, Amend, Cancel, Fill, Reject, Price, Forget };
  Kind kind = Kind::New;
  std::string id{};  ///< number of an order; the product of a Price
  int quantity = 0;  ///< Amend: new quantity; Cancel, Fill: lots; Price: lots that trade; Reject: code
  int price = 0;     ///< Amend, Fill, Price; hundredths
  SimOrder order{};  ///< New
};

/// One line, without a line feed: words separated by one blank.
std::string LineOf(const SimChange& change);
/// Empty if the line was not written by LineOf.
std::optional<SimChange> ReadChange(std::string_view line);

}  // namespace VekSim

// A session as a sequence diagram in SVG: client and server, packets as arrows with their times, states, long
// gaps, breaks.
#pragma once

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "vekdump/RoundTrips.h"

namespace VekDump {

class Chart : public Output {
 public:
  // Written at the end of the input.
  explicit Chart(std::ostream& out) : out_(out) {}
  void Show(const Item& item) override;
  void End() override;

 private:
  struct Row {
    Kind kind;
    Side from;
    Moment at;
    Moment last;  // of several packets drawn as one
    std::uint64_t count = 1;
    std::string name;
    std::string label;
    std::optional<std::int32_t> state;
  };
  struct Panel {
    std::string title;
    std::vector<Row> rows;
    std::uint64_t leftOut = 0;
    std::optional<std::int32_t> state;  // the last one
  };
  class Drawing;

  static bool Joins(const Panel& panel, const Row& row);

  std::ostream& out_;
  RoundTrips roundTrips_;
  std::map<std::uint32_t, Panel> panels_;
  std::size_t rows_ = 0;
};

}  // namespace VekDump

// Draws the rows of a chart.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "vekdump/Chart.h"

namespace VekDump {

class Chart::Drawing {
 public:
  void Title(const std::string& link, const std::string& addresses);
  void Add(const Row& row);
  void LeftOut(std::uint64_t count);
  void EndPanel();
  void Write(std::ostream& out) const;

 private:
  void Times(const Row& row);
  void Gap(std::int64_t ns);
  void Arrow(const Row& row);
  void State(std::int32_t state);
  void Remark(std::string_view style, std::string_view text);
  void Text(double x, double y, std::string_view style, std::string_view text);
  void Line(double x1, double y1, double x2, double y2, std::string_view style);
  void Lifelines(double to);

  std::string body_;
  double y_ = 20;
  double drawnTo_ = 0;  // how far the lifelines reach
  Moment first_{};
  Moment last_{};
  bool started_ = false;
  std::string_view stateStyle_ = "s0";
};

}  // namespace VekDump

#include "vekdump/ChartDrawing.h"

#include <fmt/core.h>

#include <algorithm>
#include <iterator>

#include "vekdump/Outputs.h"
#include "vekdump/Text.h"

namespace VekDump {
namespace {

constexpr double kWidth = 1120;
constexpr double kClientX = 390;
constexpr double kServerX = 1060;
constexpr double kMiddleX = (kClientX + kServerX) / 2;
constexpr double kTimeX = 20;
constexpr double kStateX = 372;
constexpr double kRow = 30;
constexpr std::int64_t kLongGapNs = 1'000'000'000;

constexpr std::string_view kHead =
    R"(<svg xmlns="http://www.w3.org/2000/svg" width="{0}" height="{1}" viewBox="0 0 {0} {1}">
<style>
text {{ font: 13px "DejaVu Sans", "Noto Sans CJK TC", "Microsoft JhengHei", sans-serif; fill: #222 }}
.title {{ font-weight: bold; font-size: 15px }}
.time {{ font: 12px "DejaVu Sans Mono", Consolas, monospace; fill: #555 }}
.remark {{ font-style: italic; fill: #8a5a00 }}
.broken {{ font-weight: bold; fill: #b00020 }}
.end {{ stroke: #b00020; stroke-width: 2 }}
.up {{ stroke: #1a5fb4; stroke-width: 1.5 }}
.down {{ stroke: #26734d; stroke-width: 1.5 }}
.life {{ stroke: #bbb; stroke-width: 2 }}
.gap {{ stroke: #bbb; stroke-width: 2; stroke-dasharray: 2 5 }}
.s0 {{ stroke: #bbb; stroke-width: 6 }}
.s1 {{ stroke: #e5a50a; stroke-width: 6 }}
.s2 {{ stroke: #1a5fb4; stroke-width: 6 }}
.s3 {{ stroke: #26a269; stroke-width: 6 }}
.sx {{ stroke: #c01c28; stroke-width: 6 }}
</style>
<rect width="100%" height="100%" fill="white"/>
)";

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string_view StyleOf(std::int32_t state) {
  constexpr std::string_view kStyles[] = {"s0", "s1", "s2", "s3"};
  if (state < -1) return "sx";
  return kStyles[static_cast<std::size_t>(std::clamp(state, 0, 3))];
}

}  // namespace

void Chart::Drawing::Text(double x, double y, std::string_view style, std::string_view text) {
  body_ += fmt::format("<text x=\"{}\" y=\"{}\" {}>{}</text>\n", x, y, style, Escaped(text));
}

void Chart::Drawing::Line(double x1, double y1, double x2, double y2, std::string_view style) {
  body_ +=
      fmt::format("<line x1=\"{}\" y1=\"{}\" x2=\"{}\" y2=\"{}\" class=\"{}\"/>\n", x1, y1, x2, y2, style);
}

void Chart::Drawing::Lifelines(double to) {
  if (to > drawnTo_) {
    Line(kClientX, drawnTo_, kClientX, to, stateStyle_);
    Line(kServerX, drawnTo_, kServerX, to, "life");
  }
  drawnTo_ = to;
}

void Chart::Drawing::Title(const std::string& link, const std::string& addresses) {
  y_ += 24;
  Text(kTimeX, y_, "class=\"title\"", addresses.empty() ? link : link + ": " + addresses);
  y_ += 30;
  constexpr std::string_view kCentred = "text-anchor=\"middle\" class=\"title\"";
  Text(kClientX, y_, kCentred, "client");
  Text(kServerX, y_, kCentred, "server");
  y_ += 8;
  drawnTo_ = y_;
  started_ = false;
  stateStyle_ = "s0";
}

void Chart::Drawing::Add(const Row& row) {
  if (!started_) first_ = last_ = row.at;
  started_ = true;
  const std::int64_t since = Between(last_.ns, row.at.ns);
  if (since >= kLongGapNs) Gap(since);
  last_ = row.last;
  y_ += kRow;
  Times(row);
  switch (row.kind) {
    case Kind::Packet:
      Arrow(row);
      break;
    case Kind::LinkUp:
      Remark("class=\"time\"", "connection opened");
      break;
    case Kind::LinkEnd:
      Lifelines(y_);
      Line(kClientX, y_, kServerX, y_, "end");
      Remark("class=\"broken\"", row.label);
      break;
    case Kind::State:
    case Kind::Note:
      Remark("class=\"remark\"", row.label);
      break;
  }
  if (row.state) State(*row.state);
}

void Chart::Drawing::Times(const Row& row) {
  Text(kTimeX, y_ + 4, "class=\"time\"", ClockTime(row.at.wallNs));
  Text(kTimeX + 225, y_ + 4, "class=\"time\" text-anchor=\"end\"",
       "+" + Duration(Between(first_.ns, row.at.ns)));
}

void Chart::Drawing::Gap(std::int64_t ns) {
  Lifelines(y_ + 8);
  y_ += 34;
  for (const double x : {kClientX, kServerX}) Line(x, drawnTo_, x, y_, "gap");
  Text(kMiddleX, y_ - 8, "text-anchor=\"middle\" class=\"remark\"", Duration(ns) + " of silence");
  drawnTo_ = y_;
}

void Chart::Drawing::Arrow(const Row& row) {
  const bool client = row.from == Side::Client;
  const double from = client ? kClientX : kServerX;
  const double to = client ? kServerX : kClientX;
  const double back = client ? -9 : 9;  // from the tip
  const std::string_view style = client ? "up" : "down";
  Line(from, y_, to + back, y_, style);
  body_ += fmt::format("<path d=\"M{} {} l{} -4.5 v9 z\" fill=\"{}\"/>\n", to, y_, back,
                       client ? "#1a5fb4" : "#26734d");
  if (row.count > 1) Line(from, y_ + 4, to + back, y_ + 4, style);
  Text(kMiddleX, y_ - 5, "text-anchor=\"middle\"", row.label);
}

void Chart::Drawing::State(std::int32_t state) {
  Lifelines(y_);
  stateStyle_ = StyleOf(state);
  Text(kStateX, y_ + 4, "text-anchor=\"end\"", StateName(state));
}

void Chart::Drawing::Remark(std::string_view style, std::string_view text) {
  Text(kMiddleX, y_ - 5, fmt::format("text-anchor=\"middle\" {}", style), text);
}

void Chart::Drawing::LeftOut(std::uint64_t count) {
  y_ += kRow;
  Remark("class=\"broken\"", Counted(count, "further item") + " left out");
}

void Chart::Drawing::EndPanel() {
  Lifelines(y_ + 14);
  y_ += 24;
}

void Chart::Drawing::Write(std::ostream& out) const {
  out << fmt::format(fmt::runtime(kHead), kWidth, y_ + 20) << body_ << "</svg>\n";
}

}  // namespace VekDump

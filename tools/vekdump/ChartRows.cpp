#include <fmt/core.h>

#include <algorithm>

#include "vekdump/Chart.h"
#include "vekdump/ChartDrawing.h"
#include "vekdump/Text.h"

namespace VekDump {
namespace {

constexpr std::size_t kMostRows = 2000;
constexpr std::size_t kLongestLabel = 76;
constexpr std::size_t kLongestTimed = 60;  // with a round trip behind it
// Up to this many packets of a kind in a row are drawn one by one.
constexpr std::size_t kAlone = 3;

// Distinguishes this packet from others of its kind.
std::string Detail(const Item& item) {
  for (const char* const field : {"refused", "work id", "identity", "server", "application", "user"}) {
    if (const std::string* const text = FieldOf(item, field)) return *text;
  }
  if (item.code >= 128) return item.text.substr(0, item.text.find('\n'));
  return {};
}

std::string Label(const Item& item, std::size_t longest) {
  const std::string detail = item.kind == Kind::Packet ? Detail(item) : item.text;
  const std::string text = item.name + (item.name.empty() || detail.empty() ? "" : " ") + OneLine(detail);
  const std::string_view front = Front(text, longest);
  const std::string* const requests = item.from == Side::Client ? FieldOf(item, "requests") : nullptr;
  return std::string(front) + (front.size() < text.size() ? " ..." : "") +
         (requests == nullptr || *requests == "1" ? "" : ", " + *requests + " requests");
}

}  // namespace

// The preceding rows are of its kind too.
bool Chart::Joins(const Panel& panel, const Row& row) {
  if (row.kind != Kind::Packet || row.state || panel.rows.size() < kAlone) return false;
  for (std::size_t i = panel.rows.size() - kAlone; i < panel.rows.size(); ++i) {
    const Row& before = panel.rows[i];
    if (before.kind != row.kind || before.from != row.from || before.name != row.name || before.state)
      return false;
  }
  return true;
}

void Chart::Show(const Item& item) {
  Panel& panel = panels_[item.link];
  // Recordings of the library state what its packets have shown.
  if (item.kind == Kind::State && item.text.empty() && item.state == panel.state) return;
  if (item.state) panel.state = item.state;
  std::int64_t longestNs = -1;
  roundTrips_.Add(item, [&](const Answered& answered) { longestNs = std::max(longestNs, answered.tookNs); });
  Row row{item.kind, item.from, item.at, item.at, 1, item.name, "", item.state};
  row.label = Label(item, longestNs >= 0 ? kLongestTimed : kLongestLabel);
  if (longestNs >= 0) row.label += ", after " + Duration(longestNs);
  if (item.kind == Kind::LinkUp) panel.title = OneLine(item.text);
  if (Joins(panel, row)) {
    Row& last = panel.rows.back();
    ++last.count;
    last.last = row.at;
    last.label = fmt::format("{} more: {}", last.count, row.name);
  } else if (rows_ < kMostRows) {
    ++rows_;
    panel.rows.push_back(std::move(row));
  } else {
    ++panel.leftOut;
  }
}

void Chart::End() {
  Drawing drawing;
  for (const auto& [link, panel] : panels_) {
    drawing.Title(fmt::format("link {}", link), panel.title);
    for (const Row& row : panel.rows) drawing.Add(row);
    if (panel.leftOut != 0) drawing.LeftOut(panel.leftOut);
    drawing.EndPanel();
  }
  drawing.Write(out_);
}

}  // namespace VekDump

#include <fmt/core.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "TextGrid.h"
#include "vekdump/Outputs.h"
#include "vekdump/TableCells.h"
#include "vekdump/Text.h"

namespace VekDump {
namespace {

constexpr std::string_view kIndent = "        ";
constexpr std::size_t kLongestLine = 4000;
// All rows are padded to the largest width that a grid may need.
constexpr std::size_t kLongestCell = 120;
constexpr std::size_t kMostColumns = 100;
constexpr std::size_t kMostRows = 10000;

std::string FieldsLine(const Item& item) {
  std::string line;
  for (const Field& field : item.fields) {
    line += line.empty() ? "" : "   ";
    line += field.name + ": " + OneLine(field.text);
  }
  return line;
}

std::string What(const Item& item) {
  switch (item.kind) {
    case Kind::Packet:
      break;
    case Kind::LinkUp:
      return "=== link from " + OneLine(item.text);
    case Kind::LinkEnd:
      return "=== link ended: " + OneLine(item.text);
    case Kind::State:
      return fmt::format("=== state {} ({}){}{}", *item.state, StateName(*item.state),
                         item.text.empty() ? "" : " ", OneLine(item.text));
    case Kind::Note:
      return "*** " + OneLine(item.text);
  }
  std::string line = item.from == Side::Client ? "--> " : "<-- ";
  line += fmt::format("{} ({}), {}", item.name, item.code, Counted(item.wireBytes, "byte"));
  if (item.pieces > 1) line += fmt::format(", {} pieces, {} bytes of text", item.pieces, item.messageBytes);
  if (!item.decoded) line += ", scrambled with a key that was not seen";
  return line;
}

}  // namespace

const char* StateName(std::int32_t state) {
  constexpr const char* kNames[] = {
      "heartbeat timeout", "connect refused", "sign-on refused", "unknown server",
      "link broken",       "link error",      "disconnected",    "new",
      "connecting",        "connected",       "signed on"};
  constexpr int kFirst = VekApi::vcs_HeartbeatTimeout;
  return state >= kFirst && state <= VekApi::vcs_ApReady ? kNames[state - kFirst] : "unknown";
}

void TextOutput::Show(const Item& item) {
  const std::int64_t since = count_++ == 0 ? 0 : Between(lastNs_, item.at.ns);
  lastNs_ = item.at.ns;
  out_ << fmt::format("{:>6}  {} {:>12}  {}  {}\n", count_, ClockTime(item.at.wallNs), "+" + Duration(since),
                      item.link, Shortened(What(item), kLongestLine));
  if (item.kind == Kind::Packet) ShowPacket(item);
}

void TextOutput::ShowPacket(const Item& item) {
  if (!item.fields.empty()) out_ << kIndent << Shortened(FieldsLine(item), kLongestLine) << '\n';
  if (item.state) out_ << kIndent << fmt::format("state {}: {}\n", *item.state, StateName(*item.state));
  ShowText(item.text);
  for (unsigned i = 0; item.result && i < item.result->TableCount(); ++i) ShowTable(*item.result->Table(i));
  if (shown_.hex) out_ << HexLines(item.packet, kIndent);
}

void TextOutput::ShowText(const std::string& text) {
  std::string_view rest = text;
  for (std::size_t lines = 0; !rest.empty(); ++lines) {
    if (shown_.rows != 0 && lines == shown_.rows) {
      out_ << kIndent << fmt::format("... {} more bytes\n", rest.size());
      return;
    }
    const std::string_view line = rest.substr(0, rest.find('\n'));
    out_ << kIndent << Shortened(OneLine(line), kLongestLine) << '\n';
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
}

void TextOutput::ShowTable(const VekApi::VekTable& table) {
  const TableCells cells(table, kMostColumns);
  const auto count = static_cast<std::size_t>(table.RecordsCount());
  const std::size_t rows = std::min({shown_.rows == 0 ? count : shown_.rows, count, kMostRows});
  const auto& properties = table.Properties();
  out_ << kIndent
       << fmt::format("table {} ({}), {}\n", OneLine(WireText(properties.Name())),
                      OneLine(WireText(properties.DisplayText())), Counted(count, "record"));
  std::vector<std::vector<std::string>> grid{cells.Headings()};
  for (std::size_t row = 0; row < rows; ++row) grid.push_back(cells.Row(static_cast<int>(row)));
  for (auto& row : grid)
    for (std::string& cell : row) cell = Shortened(OneLine(cell), kLongestCell);
  const std::string text = FormatGrid(grid);
  for (std::string_view lines = text; !lines.empty(); lines.remove_prefix(lines.find('\n') + 1))
    out_ << kIndent << "  " << lines.substr(0, lines.find('\n') + 1);
  if (rows < count) out_ << kIndent << fmt::format("  ... {} more records\n", count - rows);
}

}  // namespace VekDump

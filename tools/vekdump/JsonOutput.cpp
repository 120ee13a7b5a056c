#include <nlohmann/json.hpp>

#include "vekdump/Outputs.h"
#include "vekdump/TableCells.h"
#include "vekdump/Text.h"

namespace VekDump {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostColumns = 1000;

std::string Dump(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// Record by record, to avoid a second copy of the table in memory.
void WriteTable(std::ostream& out, const VekApi::VekTable& table) {
  const TableCells cells(table, kMostColumns);
  const auto& properties = table.Properties();
  out << R"({"name":)" << Dump(WireText(properties.Name())) << R"(,"title":)"
      << Dump(WireText(properties.DisplayText())) << R"(,"columns":)" << Dump(cells.Names())
      << R"(,"rows":[)";
  for (int row = 0; row < table.RecordsCount(); ++row) out << (row == 0 ? "" : ",") << Dump(cells.Row(row));
  out << "]}";
}

void WriteTables(std::ostream& out, const VekApi::VekTaskResult& result) {
  out << R"(,"tables":[)";
  for (unsigned i = 0; i < result.TableCount(); ++i) {
    if (i != 0) out << ',';
    WriteTable(out, *result.Table(i));
  }
  out << ']';
}

void AddPacket(const Item& item, bool hex, Json& made) {
  made["from"] = item.from == Side::Client ? "client" : "server";
  made["code"] = item.code;
  made["name"] = item.name;
  made["bytes"] = item.wireBytes;
  if (!item.decoded) made["scrambled"] = true;
  if (item.pieces > 1) {
    made["pieces"] = item.pieces;
    made["messageBytes"] = item.messageBytes;
  }
  for (const Field& field : item.fields) {
    Json& value = made["fields"][field.name];
    if (field.isNumber) {
      value = std::stoll(field.text);
    } else {
      value = field.text;
    }
  }
  if (!item.text.empty()) made["text"] = item.text;
  if (hex) made["hex"] = HexDigits(item.packet);
}

}  // namespace

void JsonOutput::Show(const Item& item) {
  constexpr const char* kKinds[] = {"packet", "link", "end", "state", "note"};
  const std::int64_t since = count_++ == 0 ? 0 : Between(lastNs_, item.at.ns);
  lastNs_ = item.at.ns;
  Json made{{"n", count_},
            {"kind", kKinds[static_cast<std::size_t>(item.kind)]},
            {"time", IsoTime(item.at.wallNs)},
            {"ns", item.at.ns},
            {"sinceNs", since},
            {"link", item.link}};
  if (item.kind == Kind::Packet) AddPacket(item, hex_, made);
  if (item.kind != Kind::Packet) made["text"] = item.text;
  if (item.state) made["state"] = *item.state;
  std::string line = Dump(made);
  line.pop_back();
  out_ << line;
  if (item.result && item.result->TableCount() != 0) WriteTables(out_, *item.result);
  out_ << "}\n";
}

}  // namespace VekDump

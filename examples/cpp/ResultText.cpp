#include "ResultText.h"

#include <cstddef>
#include <vector>

#include "Terminal.h"
#include "TextGrid.h"
#include "vekapi/VekField.h"
#include "vekapi/VekFields.h"
#include "vekapi/VekProperties.h"
#include "vekapi/VekTable.h"

namespace {

std::vector<std::string> Heading(const VekApi::VekFields& fields) {
  std::vector<std::string> heading;
  heading.reserve(static_cast<std::size_t>(fields.Count()));
  for (int i = 0; i < fields.Count(); ++i)
    heading.push_back(ToUtf8(fields.Field(i)->Properties().DisplayText()));
  return heading;
}

std::vector<std::string> Record(const VekApi::VekTable& table, int row) {
  std::vector<std::string> texts;
  texts.reserve(static_cast<std::size_t>(table.Fields().Count()));
  for (int i = 0; i < table.Fields().Count(); ++i) {
    // A record that arrived before the columns has no values.
    const char* value = table.RecordField(row, i);
    texts.push_back(value == nullptr ? "" : ToUtf8(value));
  }
  return texts;
}

std::string TableText(const VekApi::VekTable& table) {
  const VekApi::VekProperties& properties = table.Properties();
  std::string text = ToUtf8(properties.DisplayText()) + " (" + ToUtf8(properties.Name()) + "), " +
                     std::to_string(table.RecordsCount()) + " records\n";
  std::vector<std::vector<std::string>> rows{Heading(table.Fields())};
  for (int row = 0; row < table.RecordsCount(); ++row) rows.push_back(Record(table, row));
  return text + FormatGrid(rows);
}

}  // namespace

std::string ResultText(const VekApi::VekTaskResult& result) {
  std::string text;
  for (unsigned i = 0; i < result.TableCount(); ++i) text += '\n' + TableText(*result.Table(i));
  return text;
}

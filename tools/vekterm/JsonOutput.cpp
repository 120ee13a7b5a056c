#include <nlohmann/json.hpp>

#include "vekterm/Output.h"

namespace VekTerm {
namespace {

using Json = nlohmann::ordered_json;

std::string Line(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace

void JsonOutput::Tell(const Note& note) {
  Json made{{"kind", note.kind}};
  for (const Field& field : note.fields)
    std::visit([&](const auto& value) { made[field.name] = value; }, field.value);
  for (const auto& [name, value] : note.values) made["values"][name] = value;
  if (!made.contains("text")) made["text"] = note.text;
  screen_.Print(Line(made));
}

void JsonOutput::Show(const Grid& grid) {
  screen_.Print(Line({{"kind", "table"},
                      {"name", grid.name},
                      {"title", grid.title},
                      {"columns", grid.columns},
                      {"headings", grid.headings},
                      {"rows", grid.rows}}));
}

}  // namespace VekTerm

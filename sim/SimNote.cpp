#include "sim/SimNote.h"

#include <algorithm>

#include "sim/SimJson.h"
#include "sim/SimMarket.h"

namespace VekSim {

namespace {

void Add(std::string& line, const std::string& word) {
  if (!word.empty()) line += ' ' + word;
}

void Add(std::string& json, const char* name, const std::string& text) {
  if (!text.empty()) json += std::string(",\"") + name + "\":" + Quoted(text);
}

void Add(std::string& json, const char* name, int number) {
  if (number != 0) json += std::string(",\"") + name + "\":" + std::to_string(number);
}

}  // namespace

std::string TextOf(const SimNote& note, std::chrono::microseconds start) {
  std::string line = TimeText(start + note.at);
  if (note.session != 0) line += " #" + std::to_string(note.session);
  for (const std::string* word : {&note.what, &note.workId, &note.verb}) Add(line, *word);
  if (!note.outcome.empty()) line += ": " + note.outcome;
  if (note.code != 0) line += ' ' + std::to_string(note.code);
  Add(line, note.order);
  Add(line, note.detail);
  // Text from clients must not look like lines of the log, nor move a terminal's cursor.
  std::replace_if(
      line.begin(), line.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, '|');
  return line;
}

std::string JsonOf(const SimNote& note, std::chrono::microseconds start) {
  std::string json =
      "{\"at\":" + std::to_string(note.at.count() / 1000) + ",\"time\":" + Quoted(TimeText(start + note.at));
  Add(json, "session", note.session);
  Add(json, "what", note.what);
  Add(json, "workId", note.workId);
  Add(json, "verb", note.verb);
  Add(json, "outcome", note.outcome);
  Add(json, "code", note.code);
  Add(json, "order", note.order);
  Add(json, "detail", note.detail);
  return json + "}";
}

}  // namespace VekSim

// Result packets as a server sends them.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "vekapi/VekTaskResult.h"

namespace results {

// A text with visible marks for control bytes: # header, @ fields, | between values or columns, ; between a
// name and its pairs, ~ NUL. Line ends are unchanged.
inline std::string Bytes(std::string_view visible) {
  constexpr std::string_view kMarks = "~|#@;";
  std::string text(visible);
  for (char& c : text)
    if (const std::size_t mark = kMarks.find(c); mark != kMarks.npos) c = static_cast<char>(mark);
  return text;
}

inline std::string Number(std::size_t number, int bytes, EVekEndian endian) {
  std::string text;
  for (int i = 0; i < bytes; ++i) {
    const int place = endian == vek_LittleEndian ? i : bytes - 1 - i;
    text += static_cast<char>(number >> (8 * place) & 0xFF);
  }
  return text;
}

inline std::string Head(const std::string& workId) {
  return std::string("\0\0\0\0\0", 5) + static_cast<char>(workId.size()) + workId;
}

inline std::string LongPacket(const std::string& text, EVekEndian endian = vek_LittleEndian) {
  return Head("Work") + "\xFF\xFF" + Number(text.size(), 4, endian) + text;
}

inline std::string Packet(const std::string& text, EVekEndian endian = vek_LittleEndian) {
  if (text.size() >= 0xFFFF) return LongPacket(text, endian);
  return Head("Work") + Number(text.size(), 2, endian) + text;
}

inline void Parse(VekApi::VekTaskResult& result, const std::string& packet,
                  EVekEndian endian = vek_LittleEndian) {
  result.Parse(packet.data(), static_cast<unsigned>(packet.size()), endian);
}

inline VekApi::VekTaskResult ResultOf(const std::string& text) {
  VekApi::VekTaskResult result;
  Parse(result, Packet(text));
  return result;
}

inline std::string Visible(std::string text) {
  std::replace(text.begin(), text.end(), '\x01', '|');
  return text;
}

// The content of a result in a readable form for comparison: [table](column)/value,value, with | for 0x01.
inline std::string Describe(const VekApi::VekFields& fields) {
  std::string text;
  for (int i = 0; i < fields.Count(); ++i) text += "(" + fields.Field(i)->Properties().ToString() + ")";
  return Visible(text);
}

// Both ways to the values must agree: singly, and in blocks, whose texts contain nothing else.
inline bool BlocksAgree(const VekApi::VekTable& table) {
  int row = 0;
  for (VekApi::VekRecordBlock block; (block = table.RecordBlock(row)).records > 0; row += block.records) {
    std::string values;
    for (int i = 0; i < block.records * block.columns; ++i) {
      const int r = i / block.columns, c = i % block.columns;
      const char* const value = c < block.values ? block.text + block.starts[r * block.stride + c] : "";
      if (std::strcmp(value, table.RecordField(row + r, c)) != 0) return false;
      if (c < block.values) values.append(value).push_back('\0');
    }
    if (table.RecordField(row, block.columns)) return false;
    if (block.text && std::string(block.text + block.starts[0], block.text + block.textEnd) != values)
      return false;
  }
  return row == table.RecordsCount();
}

inline std::string Describe(const VekApi::VekTable& table) {
  if (!BlocksAgree(table)) return "the blocks differ from the values";
  std::string text = "[" + table.Properties().ToString() + "]" + Describe(table.Fields());
  for (int row = 0; row < table.RecordsCount(); ++row) {
    text += '/';
    for (int column = 0; const char* value = table.RecordField(row, column); ++column)
      (text += column ? "," : "") += value;
  }
  return Visible(text);
}

inline std::string Describe(const VekApi::VekTaskResult& result) {
  std::string text;
  for (unsigned i = 0; i < result.TableCount(); ++i) text += Describe(*result.Table(i));
  return text;
}

}  // namespace results

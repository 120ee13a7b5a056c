// A simple reader of results that implements the format literally.
#pragma once

#include <algorithm>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "vekapi/VekProperties.h"

namespace results {

// Texts are read up to their first NUL, in whole lines.
class TModel {
 public:
  explicit TModel(std::string text) {
    if (text.find('\n') > text.find('\0')) return;
    text = text.c_str();
    for (std::size_t at = 0, end = 0; at < text.size(); at = end + 1) {
      end = std::min(text.find('\n', at), text.size());
      OnLine(text.substr(at, end - at));
    }
  }

  std::string Describe() const {
    std::string all;
    for (const TTable& table : tables_) {
      all += "[" + table.properties + "]";
      for (const std::string& column : table.columns) all += "(" + column + ")";
      all += table.records;
    }
    for (char& c : all)
      if (c == '\x01') c = '|';
    return all;
  }

 private:
  struct TTable {
    std::string properties;
    std::vector<std::string> columns;
    std::string records;
  };

  static std::string NameOf(const std::string& text) { return text.substr(0, text.find('\x04')); }

  void Open(const std::string& text) {
    const auto [place, isNew] = numbers_.emplace(NameOf(text), tables_.size());
    if (isNew) tables_.push_back({VekApi::VekProperties(text).ToString(), {}, {}});
    table_ = &tables_[place->second];
  }

  void OnLine(const std::string& line) {
    if (line[0] == '\x02') return Open(line.substr(1));
    if (line[0] == '\x03') return SetColumns(line.substr(1));
    if (table_) AddRecord(line);
  }

  void SetColumns(const std::string& text) {
    if (!table_ || !table_->columns.empty()) Open("");
    table_->columns.clear();
    std::map<std::string, int> names;
    for (std::size_t at = 0, end = 0; end != text.npos; at = end + 1) {
      end = text.find('\x01', at);
      const std::string column = text.substr(at, end - at);
      if (names.emplace(NameOf(column), 0).second)
        table_->columns.push_back(VekApi::VekProperties(column).ToString());
    }
  }

  void AddRecord(std::string line) {
    const std::size_t columns = table_->columns.size();
    std::size_t cut = 0;
    for (std::size_t column = 1; column < columns; ++column) {
      cut = line.find('\x01', cut);
      if (cut == line.npos) {
        line.append(columns - column, ',');
        break;
      }
      line[cut] = ',';
    }
    table_->records += "/" + (columns ? line : "");
  }

  std::map<std::string, std::size_t> numbers_;
  std::deque<TTable> tables_;
  TTable* table_ = nullptr;
};

}  // namespace results

// What the terminal prints, for people or for programs.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace VekTerm {

struct Field {
  std::string name;
  std::variant<std::string, std::int64_t, double, bool> value;
};

// An event, an answer or an error: a text for people, fields for programs. All texts are UTF-8.
struct Note {
  std::string kind;
  std::string text;
  std::vector<Field> fields;
  std::vector<std::pair<std::string, std::string>> values;  // named by the server
};

struct Grid {
  std::string name, title;
  std::vector<std::string> columns;   // names
  std::vector<std::string> headings;  // shown above them to users
  std::vector<std::vector<std::string>> rows;
};

class Output {
 public:
  virtual ~Output() = default;
  virtual void Tell(const Note& note) = 0;
  virtual void Show(const Grid& grid) = 0;
  // Whether tables may be wider than the terminal.
  virtual void ShowWide(bool) {}
};

// Receives finished lines. `error`: on standard error, for people.
class Screen {
 public:
  virtual ~Screen() = default;
  virtual void Print(const std::string& lines) = 0;
  virtual void PrintError(const std::string& lines) = 0;
};

// Notes of kind "error" go to the screen's errors. Tables are cut after `rows` rows, unless it is 0, and at
// the terminal's edge, unless they may be wide.
class TextOutput : public Output {
 public:
  TextOutput(Screen& screen, std::size_t rows) : screen_(screen), rows_(rows) {}
  void Tell(const Note& note) override;
  void Show(const Grid& grid) override;
  void ShowWide(bool wide) override { wide_ = wide; }

 private:
  Screen& screen_;
  const std::size_t rows_;
  bool wide_ = false;
};

// One JSON object per line, errors too.
class JsonOutput : public Output {
 public:
  explicit JsonOutput(Screen& screen) : screen_(screen) {}
  void Tell(const Note& note) override;
  void Show(const Grid& grid) override;

 private:
  Screen& screen_;
};

}  // namespace VekTerm

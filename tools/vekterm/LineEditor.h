// A line that is edited on the terminal, with history and completion, while other things happen.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace VekTerm {

struct EditorEvents {
  std::intptr_t waitHandle;  // as CVekSession_WaitHandle
  // Called while a line is read, when the handle has something, and at least a few times a second.
  std::function<void()> pump;
  // What the last word of the text before the cursor may become.
  std::function<std::vector<std::string>(std::string_view before)> complete;
};

class LineEditor {
 public:
  explicit LineEditor(EditorEvents events);
  ~LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  // Without line end. Empty after Ctrl-C, which drops what was typed. Nothing at the end of input.
  std::optional<std::string> Read();
  // Prints lines above the one that is being read, if one is.
  void Print(const std::string& lines, bool isError);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace VekTerm

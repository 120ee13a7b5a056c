// Edits a line on the terminal, with history and completion, while other events are handled.
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
  // Called while a line is read: whenever the handle is signalled, and at least a few times a second.
  std::function<void()> pump;
  // Completions of the last word before the cursor.
  std::function<std::vector<std::string>(std::string_view before)> complete;
};

class LineEditor {
 public:
  explicit LineEditor(EditorEvents events);
  ~LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  // Without the line end. Empty after Ctrl-C, which discards the input. Nothing at the end of input.
  std::optional<std::string> Read();
  // Prints lines above the line being edited, if there is one.
  void Print(const std::string& lines, bool isError);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace VekTerm

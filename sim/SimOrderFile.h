#pragma once

#include <cstdio>
#include <string>

#include "sim/SimChange.h"

namespace VekSim {

class SimMarket;

/// A file of a market's changes, one line each, written before anyone is told. An incomplete last line is
/// dropped, because nobody was told of its change. A complete line that does not fit is an error. For one
/// thread.
class SimOrderFile {
 public:
  /// Creates the file if it does not exist; an empty path opens nothing. Throws std::runtime_error.
  explicit SimOrderFile(const std::string& path);
  ~SimOrderFile();
  SimOrderFile(const SimOrderFile&) = delete;
  SimOrderFile& operator=(const SimOrderFile&) = delete;

  bool IsOpen() const { return file_ != nullptr; }
  /// Repeats the file's changes. Throws std::runtime_error, "FILE:LINE: words".
  void Restore(SimMarket& market);
  /// Survives a kill of this process. Throws std::runtime_error if the line could not be written.
  void Add(const SimChange& change);

 private:
  std::string path_;
  std::string text_;  ///< complete lines found at the start
  std::FILE* file_ = nullptr;
};

}  // namespace VekSim

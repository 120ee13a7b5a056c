// Decodes a file of any kind.
#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <string>
#include <vector>

#include "vekdump/Item.h"

namespace VekDump {

// What was skipped in a file.
struct LeftOut {
  std::uint32_t connections = 0;  // that do not look like the protocol
  std::uint64_t frames = 0;       // of unknown link types
};

// Decodes a recording or a capture and ends the output. Throws BadInput; by then everything before the error
// has been shown, and the output has been ended.
LeftOut DumpFile(std::istream& stream, const std::string& name, std::uint16_t serverPort, Output& output);

// Several outputs as one, which see only the selected links and codes; none selected means all.
class Filter : public Output {
 public:
  Filter(std::vector<std::uint32_t> links, std::vector<int> codes)
      : links_(std::move(links)), codes_(std::move(codes)) {}
  void Add(std::unique_ptr<Output> output) { outputs_.push_back(std::move(output)); }
  void Show(const Item& item) override;
  void End() override;

 private:
  const std::vector<std::uint32_t> links_;
  const std::vector<int> codes_;
  std::vector<std::unique_ptr<Output>> outputs_;
};

}  // namespace VekDump
